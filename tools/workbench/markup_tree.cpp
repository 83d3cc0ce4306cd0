#include "markup_tree.h"

#include <algorithm>

namespace cxml {
namespace {

constexpr std::string_view blanks = " \t\r\n";

// Of a text that an XML reader has accepted: nothing is checked, but nothing is read beyond the end either.
class Reader {
public:
    explicit Reader(std::string_view text) : text_(text) {}

    MarkupElement read() {
        std::vector<MarkupElement> open(1);
        while (at_ < text_.size()) {
            const std::size_t tag = std::min(text_.find('<', at_), text_.size());
            line_ += static_cast<std::size_t>(std::ranges::count(text_.substr(at_, tag - at_), '\n'));
            at_ = tag;
            if (at_ == text_.size()) break;
            if (skips("<!--", "-->") || skips("<![CDATA[", "]]>") || skips("<?", "?>") || skipsDoctype()) continue;
            if (text_.substr(at_).starts_with("</")) {
                pass(text_.find('>', at_));
                close(open);
            } else if (startTag(open)) {
                close(open);
            }
        }
        MarkupElement document = std::move(open.front());
        return document.children.empty() ? document : std::move(document.children.front());
    }

private:
    void close(std::vector<MarkupElement>& open) const {
        if (open.size() < 2) return;
        MarkupElement closed = std::move(open.back());
        open.pop_back();
        closed.end = at_;
        open.back().children.push_back(std::move(closed));
    }

    // To behind the place.
    void pass(std::size_t place, std::size_t length = 1) {
        const std::size_t end = place == std::string_view::npos ? text_.size() : std::min(place + length, text_.size());
        line_ += static_cast<std::size_t>(std::ranges::count(text_.substr(at_, end - at_), '\n'));
        at_ = end;
    }

    bool skips(std::string_view begin, std::string_view end) {
        if (!text_.substr(at_).starts_with(begin)) return false;
        pass(text_.find(end, at_ + begin.size()), end.size());
        return true;
    }

    bool skipsDoctype() {
        if (!text_.substr(at_).starts_with("<!")) return false;
        const std::size_t subset = text_.find_first_of("[>", at_);
        const bool hasSubset = subset != std::string_view::npos && text_[subset] == '[';
        pass(hasSubset ? text_.find('>', text_.find(']', subset)) : subset);
        return true;
    }

    // \return whether the element has no content.
    bool startTag(std::vector<MarkupElement>& open) {
        MarkupElement element;
        element.line = line_;
        element.begin = at_;
        const std::size_t nameEnd = std::min(text_.find_first_of(" \t\r\n/>", at_), text_.size());
        element.name = text_.substr(at_ + 1, nameEnd - at_ - 1);
        std::size_t i = nameEnd;
        for (;;) {
            i = std::min(text_.find_first_not_of(blanks, i), text_.size());
            if (i == text_.size() || text_[i] == '>' || text_[i] == '/') break;
            const std::size_t equals = text_.find('=', i);
            const std::size_t quote = text_.find_first_of("\"'", equals);
            const std::size_t last = quote == std::string_view::npos ? quote : text_.find(text_[quote], quote + 1);
            if (last == std::string_view::npos) break;
            const std::string_view written = text_.substr(i, equals - i);
            element.attributes.push_back({written.substr(0, written.find_last_not_of(blanks) + 1), i, quote + 1, last});
            i = last + 1;
        }
        const bool isEmpty = i < text_.size() && text_[i] == '/';
        pass(text_.find('>', i));
        element.tagEnd = at_;
        open.push_back(std::move(element));
        return isEmpty;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t line_ = 1;
};

}  // namespace

const MarkupAttribute* MarkupElement::attribute(std::string_view wanted) const noexcept {
    const auto found = std::ranges::find(attributes, wanted, &MarkupAttribute::name);
    return found == attributes.end() ? nullptr : &*found;
}

MarkupElement readMarkup(std::string_view text) {
    return Reader(text).read();
}

}  // namespace cxml
