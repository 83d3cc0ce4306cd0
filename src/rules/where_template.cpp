#include "rules/where_template.h"

#include "text/failures.h"
#include "text/text.h"

namespace ConditionalXml {

namespace {

constexpr WideView placeholder = OLESTR("%s");

/// A value as the clause shows it; one that has no text, NULL for instance, shows nothing.
void appendText(WideString& clause, const VARIANT& value) {
    if (value.vt == VT_BSTR) {
        clause += view(value.bstrVal);
        return;
    }
    CComVariant text;
    if (SUCCEEDED(checked(VariantChangeTypeEx(&text, const_cast<VARIANT*>(&value), 0, 0, VT_BSTR))))
        clause += view(text.bstrVal);
}

/// The piece without its placeholder; a doubled percent sign stands for one.
void appendLead(WideString& clause, WideView text) {
    if (text.ends_with(placeholder)) text.remove_suffix(placeholder.size());
    constexpr WideView percent = OLESTR("%%");
    for (std::size_t at = text.find(percent); at != WideView::npos; at = text.find(percent)) {
        clause += text.substr(0, at + 1);
        text.remove_prefix(at + percent.size());
    }
    clause += text;
}

/// Between the values of one placeholder: quotes too when the placeholder stands in quotes.
WideView separatorFor(WideView text) {
    constexpr std::size_t quoteDistance = 3;
    const bool quotedPlaceholder = text.size() >= quoteDistance && text[text.size() - quoteDistance] == OLESTR('\'');
    return quotedPlaceholder ? WideView(OLESTR("','")) : WideView(OLESTR(","));
}

}  // namespace

WhereTemplate::WhereTemplate(WideView text) {
    while (!text.empty()) {
        const std::size_t at = text.find(placeholder);
        const std::size_t end = at == WideView::npos ? text.size() : at + placeholder.size();
        pieces_.emplace_back().text = text.substr(0, end);
        text.remove_prefix(end);
    }
}

WhereTemplate::Piece* WhereTemplate::nextPiece() {
    return parameters_ < pieces_.size() ? &pieces_[parameters_++] : nullptr;
}

void WhereTemplate::addConstant(WideView text) {
    Piece* piece = nextPiece();
    if (!piece) return;
    piece->kind = Kind::Constant;
    piece->value = CComVariant(makeBstr(text));
}

void WhereTemplate::addField(const CComBSTR& name, FieldNames::Slot slot) {
    Piece* piece = nextPiece();
    if (!piece) return;
    piece->kind = Kind::Field;
    piece->fieldName = name;
    piece->fieldSlot = slot;
}

const WhereTemplate::Piece* WhereTemplate::fill(const RowValueMap& rowValues, WideString& clause) const {
    clause.clear();
    for (const Piece& piece : pieces_) {
        if (piece.kind == Kind::Literal) {
            clause += piece.text;
            continue;
        }
        if (piece.kind == Kind::Field && !rowValues.contains(piece.fieldSlot)) return &piece;
        appendLead(clause, piece.text);
        if (!WideView(piece.text).ends_with(placeholder)) continue;  // a closing piece: nothing to put it at
        if (piece.kind == Kind::Constant) {
            appendText(clause, piece.value);
            continue;
        }
        bool first = true;
        for (const CComVariant& value : rowValues.values(piece.fieldSlot)) {
            if (!first) clause += separatorFor(piece.text);
            first = false;
            appendText(clause, value);
        }
    }
    return nullptr;
}

}  // namespace ConditionalXml
