#include "tools/lookups/lookup_document.h"

#include "tools/text/xml_text.h"

#include <fmt/format.h>
#include <algorithm>
#include <optional>

namespace cxml {
namespace {

constexpr const char* rotationField = "Rotate_C";

// Something that expressions compute in a list. A condition that holds computes it although a later one decides, so
// from the first row on that has it all have to, some of them nothing. Where every row is the same it is computed
// once, before all of them.
template <class Value>
class Computed {
public:
    Computed(const LookupList& list, std::optional<Value> LookupCondition::* member, bool isNeeded) {
        const auto has = [&](const LookupCondition& condition) { return (condition.*member).has_value(); };
        const auto last = std::find_if(list.conditions.rbegin(), list.conditions.rend(), has);
        if (!isNeeded || last == list.conditions.rend()) return;
        const auto isSame = [&](const LookupCondition& one) { return one.*member == list.conditions.front().*member; };
        // Without a row that every object satisfies the one before all of them would be for others, too.
        isOnce_ = list.conditions.back().tests.empty() && std::ranges::all_of(list.conditions, isSame);
        count_ = isOnce_ ? 0 : static_cast<std::size_t>(list.conditions.rend() - last);
    }

    bool isOnce() const noexcept { return isOnce_; }
    bool isIn(std::size_t condition) const noexcept { return condition < count_; }

private:
    bool isOnce_ = false;
    std::size_t count_ = 0;  // of conditions that compute it, from the one that decides first
};

class Writer {
public:
    explicit Writer(PrimitiveAs primitives) : primitives_(primitives) {}

    void list(const LookupList& list) {
        const auto isTurnedByField = [](const LookupCondition& condition) {
            return condition.rotation && !condition.rotation->field.empty();
        };
        const bool computesRotation = std::ranges::any_of(list.conditions, isTurnedByField);
        const Computed<RowText> text(list, &LookupCondition::text, true);
        const Computed<Rotation> rotation(list, &LookupCondition::rotation, computesRotation);
        begin(list.primitive);
        const LookupCondition& any = list.conditions.front();
        if (rotation.isOnce()) condition({{}, {}, rotationField, {}, generateRotation(any.rotation)});
        if (text.isOnce()) condition({{}, {}, labelField, {}, generateText(any.text)});
        for (std::size_t i = list.conditions.size(); i-- > 0;) {
            const LookupCondition& one = list.conditions[i];
            if (rotation.isIn(i)) condition({one.tests, {}, rotationField, {}, generateRotation(one.rotation)});
            std::optional<double> angle;
            if (!computesRotation && one.rotation) angle = one.rotation->degrees;
            if (text.isIn(i))
                condition({one.tests, one.symbol, labelField, angle, generateText(one.text)});
            else if (!one.symbol.empty())
                condition({one.tests, one.symbol, {}, angle, {}});
        }
        end();
    }

    std::string take() { return std::move(text_); }

private:
    struct Condition {
        std::vector<AttributeTest> tests;
        std::string symbol;
        std::string field;
        std::optional<double> angle;
        std::string source;
    };

    void begin(Primitive primitive) {
        rule_.clear();
        const int code = static_cast<int>(primitive);
        if (primitives_ == PrimitiveAs::Subtype) {
            text_ += fmt::format("    <subtype number=\"{}\">\n", code);
            indent_ = inSubtype;
        } else {
            rule_ = fmt::format("      <rule type=\"A\" field=\"PRIM\" operator=\"equal\" value=\"{}\"/>\n", code);
        }
    }

    void end() {
        if (primitives_ == PrimitiveAs::Subtype) text_ += "    </subtype>\n";
    }

    void condition(const Condition& one) {
        const std::string margin(indent_, ' ');
        text_ += margin + "<condition";
        if (!one.symbol.empty()) text_ += fmt::format(" rulename=\"{}\"", xmlText(one.symbol));
        if (!one.field.empty()) text_ += fmt::format(R"( type="2" field="{}")", one.field);
        if (one.angle) text_ += fmt::format(" angle=\"{}\"", *one.angle);
        if (rule_.empty() && one.tests.empty() && one.source.empty()) {
            text_ += "/>\n";
            return;
        }
        text_ += ">\n" + rule_;
        for (const AttributeTest& test : one.tests) text_ += ruleOf(test, static_cast<int>(indent_ + 2));
        if (!one.source.empty())
            text_ += fmt::format("{}  <expression library=\"{}\"><![CDATA[\n{}]]></expression>\n", margin, textLibrary,
                                 one.source);
        text_ += margin + "</condition>\n";
    }

    static constexpr std::size_t inClass = 4;
    static constexpr std::size_t inSubtype = 6;

    PrimitiveAs primitives_;
    std::size_t indent_ = inClass;
    std::string rule_;  // over the primitive
    std::string text_;
};

bool computes(const LookupLists& lists) {
    for (const LookupClass& one : lists.classes)
        for (const LookupList& list : one.lists)
            for (const LookupCondition& condition : list.conditions)
                if (condition.text || (condition.rotation && !condition.rotation->field.empty())) return true;
    return false;
}

}  // namespace

std::string lookupDocument(const LookupLists& lists, PrimitiveAs primitives, const std::string& name,
                           const std::string& remark) {
    std::string text =
        fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- {} -->\n<conditionMap name=\"{}\">\n",
                    xmlText(remark), xmlText(name));
    if (computes(lists))
        text += fmt::format(
            "  <functionLibrary>\n    <expression name=\"{}\"><![CDATA[{}]]></expression>\n  </functionLibrary>\n",
            textLibrary, textLibrarySource());
    for (const LookupClass& one : lists.classes) {
        Writer writer(primitives);
        for (const LookupList& list : one.lists) writer.list(list);
        text += fmt::format("  <featureClass name=\"{}\">\n{}  </featureClass>\n", xmlText(one.name), writer.take());
    }
    return text + "</conditionMap>\n";
}

}  // namespace cxml
