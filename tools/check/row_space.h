// RowSpace: the rows that the rules of a list can tell apart.
#pragma once

#include "cell_set.h"
#include "rules/rule.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace cxml {

/// The values of each field that rules look at, cut into cells for whose values each of the rules answers the same.
/// What a rule answers for a cell it is asked itself, for a value of the cell.
///
/// There may be more cells than rows can reach, never fewer: values are of the types of columns (numbers, dates, texts
/// and NULL), every field is there, and what a field's text is by order, by pattern and as a list of codes are axes of
/// their own. A field that is compared by order is taken to hold numbers when all that it is compared with are numbers,
/// and no numbers when none of them is.
class RowSpace {
public:
    using Cell = CellSet::Cell;

    /// What of one axis a rule holds for. A rule without answer asks something else than one field (a query, a second
    /// field, what was fetched), or too much.
    struct Answer {
        std::size_t axis;
        CellSet may;   // at most
        CellSet must;  // at least
    };

    /// \param rules of a list, outer and nested ones. They must outlive this; their operands are as they were then.
    explicit RowSpace(const std::vector<ConditionalXml::Rule*>& rules);
    ~RowSpace();
    RowSpace(const RowSpace&) = delete;
    RowSpace& operator=(const RowSpace&) = delete;

    /// Null when there is none.
    const Answer* answerOf(const ConditionalXml::Rule& rule) const;

    std::size_t size() const noexcept { return axes_.size(); }
    /// The cells that values can be in.
    const CellSet& universe(std::size_t axis) const { return axes_[axis].universe; }
    const CComBSTR& fieldOf(std::size_t axis) const { return axes_[axis].field; }
    ConditionalXml::FieldNames::Slot slotOf(std::size_t axis) const { return axes_[axis].slot; }
    /// A value of the cell; null when none is known.
    const CComVariant* valueAt(std::size_t axis, Cell cell) const;
    /// "numbers", or "texts or dates", where that is all that the field is taken to hold; else empty.
    const char* assumptionOf(std::size_t axis) const { return axes_[axis].assumption; }

    /// How many rules were too much.
    std::size_t leftOut() const noexcept { return leftOut_; }
    /// How often rules were asked.
    std::size_t asked() const noexcept { return asked_; }

private:
    using AttributeRule = ConditionalXml::CXAttributeRule;
    using Values = std::vector<std::optional<CComVariant>>;

    enum class Family : std::uint8_t { Order, Pattern, List };

    struct Axis {
        ConditionalXml::FieldNames::Slot slot;
        CComBSTR field;
        Family family;
        WideString pattern{};  // of an axis of its own
        std::vector<AttributeRule*> rules{};
        Values values{};  // by cell
        CellSet universe{};
        const char* assumption = "";
    };

    void sort(const std::vector<ConditionalXml::Rule*>& rules);
    void cut(Axis& axis, std::size_t number);
    void cutOrder(Axis& axis, std::size_t number);
    void cutType(Axis& axis, VARTYPE type, std::vector<Answer>& answers);
    void cutPattern(Axis& axis, std::size_t number);
    void cutOnePattern(Axis& axis, std::size_t number);
    void cutList(Axis& axis, std::size_t number);
    void askAll(Axis& axis, std::size_t number);
    bool ask(AttributeRule& rule, const VARIANT& value);

    std::vector<Axis> axes_;
    std::map<const ConditionalXml::Rule*, Answer> answers_;
    std::unique_ptr<ConditionalXml::RowValueMap> row_;
    std::size_t leftOut_ = 0;
    std::size_t asked_ = 0;
};

}  // namespace cxml
