// WhereTemplate: the where clause of a query rule, with placeholders that each row fills.
#pragma once

#include "rules/row_value_map.h"

#include <vector>

namespace ConditionalXml {

/// A template cut at its placeholders "%s". A piece with a parameter is filled; one without is literal.
class WhereTemplate {
public:
    enum class Kind { Literal = 0, Field = 1, Constant = 2 };

    struct Piece {
        Kind kind = Kind::Literal;
        CComBSTR fieldName;            // Kind::Field: the row field whose values fill the placeholder
        FieldNames::Slot fieldSlot{};  // of fieldName
        WideString text;               // as written, with its placeholder at the end
        CComVariant value;             // Kind::Constant: a VT_BSTR
    };

    WhereTemplate() = default;
    explicit WhereTemplate(WideView text);

    /// Gives the next piece without a parameter a constant or a field of the row. Does nothing when there is none.
    void addConstant(WideView text);
    void addField(const CComBSTR& name, FieldNames::Slot slot);

    /// Writes the clause for a row into `clause`. Values go in as they are: nothing in them is escaped.
    /// \return null, or the piece whose field the row lacks: the clause is incomplete then.
    const Piece* fill(const RowValueMap& rowValues, WideString& clause) const;

    const std::vector<Piece>& pieces() const noexcept { return pieces_; }

private:
    Piece* nextPiece();

    std::vector<Piece> pieces_;
    std::size_t parameters_ = 0;  // pieces that have theirs
};

}  // namespace ConditionalXml
