// MarkupReader: a document's text, piece by piece, as it is written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace cxml {

/// The characters that markup calls white space.
inline constexpr std::string_view markupSpace = " \t\r\n";

struct MarkupAttribute {
    std::string_view name;
    std::size_t begin;  // of the name
    std::size_t value;  // begin of the text between the quotes
    std::size_t end;    // of that text
};

struct MarkupPiece {
    enum class Kind : std::uint8_t {
        Text,
        StartTag,
        EmptyTag,  // of an element without content
        EndTag,
        Comment,
        CharacterData,
        Instruction,  // the XML declaration, too
        DocumentType
    };

    Kind kind = Kind::Text;
    std::size_t begin = 0;
    std::size_t end = 0;                      // behind it
    std::string_view name;                    // of a tag
    bool isWhole = true;                      // whether it ends, and, of a start tag, has nothing but attributes
    std::optional<std::size_t> open;          // of a start tag that is not whole, the attribute whose value has no end
    std::vector<MarkupAttribute> attributes;  // of a start tag
};

/// Takes any text. Of one that an XML reader accepts every piece is whole; what comes behind a piece that is not whole
/// is not read. Nothing is checked, and what entities stand for is not looked into.
class MarkupReader {
public:
    /// \param text must outlive the reader, and the pieces.
    explicit MarkupReader(std::string_view text) noexcept : text_(text) {}

    /// \return false at the end of the text.
    bool next(MarkupPiece& piece);

private:
    void until(MarkupPiece& piece, MarkupPiece::Kind kind, std::string_view begin, std::string_view end) const;
    void documentType(MarkupPiece& piece) const;
    void tag(MarkupPiece& piece) const;
    bool attribute(MarkupPiece& piece, std::size_t& at) const;

    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace cxml
