#include "source_lines.h"

#include <utility>

namespace cxml {
namespace {

constexpr OLECHAR lineFeed = OLESTR('\n');
constexpr OLECHAR carriageReturn = OLESTR('\r');

bool isSpace(OLECHAR c) noexcept {
    return c == OLESTR(' ') || c == OLESTR('\t') || c == carriageReturn || c == lineFeed;
}

bool isTrailingSurrogate(OLECHAR c) noexcept {
    return c >= 0xDC00 && c <= 0xDFFF;
}

// Walks the characters of the pieces and keeps count of the lines, those written and those of the finished source.
class Walk {
public:
    Walk(int wanted, bool escapesResolved) : wanted_(wanted), escapesResolved_(escapesResolved) {}

    // Goes through a piece. \return whether the line has been found.
    bool through(WideView text, const Place& begin) {
        Place here = begin;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const OLECHAR c = text[i];
            const bool endsWritten =
                c == lineFeed || (c == carriageReturn && (i + 1 == text.size() || text[i + 1] != lineFeed));
            const bool escapedFeed = afterBackslash_ && c == OLESTR('n');
            afterBackslash_ = escapesResolved_ && !afterBackslash_ && c == OLESTR('\\');
            if (current_ == wanted_ && !escapedFeed) {
                place = here;
                if (!isSpace(c) && !afterBackslash_) return true;
            }
            if (endsWritten && here.line != 0) {
                ++here.line;
                here.column = 1;
            } else if (here.column != 0 && !isTrailingSurrogate(c)) {
                ++here.column;
            }
            if (endsWritten || escapedFeed) ++current_;
            if (current_ > wanted_) return true;
        }
        if (!text.empty() && current_ < wanted_) place = std::move(here);
        return false;
    }

    Place place;

private:
    int wanted_;
    bool escapesResolved_;
    bool afterBackslash_ = false;
    int current_ = 1;
};

}  // namespace

void SourceLines::add(WideView text, const Place& place) {
    pieces_.push_back({WideString(text), place});
}

Place SourceLines::find(int line, bool escapesResolved) const {
    Walk walk(line, escapesResolved);
    for (const Piece& piece : pieces_)
        if (walk.through(piece.text, piece.place)) break;
    return walk.place;  // behind the end, where a compiler may miss something: the last line
}

}  // namespace cxml
