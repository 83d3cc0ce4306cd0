#include "layer_survey.h"

#include "host/host_error.h"
#include "interrupt.h"
#include "tools/reports/configurations.h"
#include "tools/runs/subtype_fields.h"
#include "tools/text/text.h"
#include "tools/workbench/row_outcome.h"

#include <fmt/format.h>
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>

namespace cxml {
namespace {

using embedded_host::Cell;
using embedded_host::CellPart;
using embedded_host::Cells;
using embedded_host::Column;
using embedded_host::ColumnType;
using embedded_host::GdalWorkspace;
using embedded_host::LayerInfo;

constexpr std::size_t longestValue = 60;  // bytes
constexpr std::size_t longestCode = 6;

template <class Value>
void extend(std::optional<std::pair<Value, Value>>& range, const Value& value) {
    if (!range) range.emplace(value, value);
    if (value < range->first) range->first = value;
    if (range->second < value) range->second = value;
}

// The codes of "3,4"; nothing when the text is no list of codes.
std::optional<std::set<std::string_view>> codesOf(std::string_view text) {
    std::set<std::string_view> codes;
    for (bool isMore = true; isMore;) {
        const std::size_t comma = text.find(',');
        const std::string_view code = text.substr(0, comma);
        const bool isCode = !code.empty() && code.size() <= longestCode &&
                            std::ranges::all_of(code, [](unsigned char c) { return std::isdigit(c) != 0; });
        if (!isCode) return std::nullopt;
        codes.insert(code);
        isMore = comma != std::string_view::npos;
        if (isMore) text.remove_prefix(comma + 1);
    }
    return codes;
}

}  // namespace

const char* FieldSurvey::type() const noexcept {
    switch (column_.type) {
        case ColumnType::Boolean:
            return "boolean";
        case ColumnType::Int16:
        case ColumnType::Integer:
        case ColumnType::Integer64:
            return "integer";
        case ColumnType::Real:
        case ColumnType::Float32:
            return "real";
        case ColumnType::Text:
            return "text";
        case ColumnType::Date:
        case ColumnType::Time:
        case ColumnType::DateTime:
            return "date";
        case ColumnType::Unsupported:
            return "binary";
        default:
            return "list";
    }
}

bool FieldSurvey::isText() const noexcept {
    return column_.type == ColumnType::Text;
}

bool FieldSurvey::isNumber() const noexcept {
    return column_.type == ColumnType::Int16 || column_.type == ColumnType::Integer ||
           column_.type == ColumnType::Integer64 || partOf(column_.type) == CellPart::Real;
}

bool FieldSurvey::isList() const noexcept {
    if (!isText() || !isAllCodes_) return false;
    return attribute_ ? attribute_->type == 'L' : hasList_;
}

std::size_t FieldSurvey::mostValues() const noexcept {
    return attribute_ && attribute_->hasCodes() ? 60 : 20;
}

void FieldSurvey::count(Counts& counts, bool& overflows, std::string_view value) const {
    if (overflows) return;
    if (const auto known = counts.find(value); known != counts.end()) {
        ++known->second;
    } else if (counts.size() < mostValues() && value.size() <= longestValue) {
        counts.emplace(value, 1);
    } else {
        overflows = true;
        counts.clear();
    }
}

void FieldSurvey::addText(const std::string& text) {
    count(values_, hasMoreValues_, text);
    if (!isAllCodes_) return;
    const std::optional<std::set<std::string_view>> codes = codesOf(text);
    isAllCodes_ = codes.has_value();
    if (!codes) return;
    hasList_ = hasList_ || codes->size() > 1;
    for (const std::string_view code : *codes) count(codes_, hasMoreCodes_, code);
}

void FieldSurvey::add(const Cell& cell) {
    if (cell.state == Cell::State::Foreign) ++foreign_;
    if (cell.state != Cell::State::Value) return;
    const CellPart part = partOf(column_.type);
    if (part == CellPart::Text && cell.text.empty()) {
        ++empty_;
        return;
    }
    ++filled_;
    if (part == CellPart::Integer) {
        extend(integers_, cell.integer);
        count(values_, hasMoreValues_, std::to_string(cell.integer));
    } else if (part == CellPart::Real) {
        extend(reals_, cell.real);
        count(values_, hasMoreValues_, fmt::format("{}", cell.real));
    } else if (isText()) {
        addText(cell.text);
    } else {
        if (column_.type == ColumnType::Date || column_.type == ColumnType::Time ||
            column_.type == ColumnType::DateTime)
            extend(dates_, cell.text);
        count(values_, hasMoreValues_, cell.text);
    }
}

std::optional<std::vector<std::pair<std::string, std::int64_t>>> FieldSurvey::values() const {
    const bool ofCodes = isList();
    if (ofCodes ? hasMoreCodes_ : hasMoreValues_) return std::nullopt;
    const Counts& counts = ofCodes ? codes_ : values_;
    std::vector<std::pair<std::string, std::int64_t>> values(counts.begin(), counts.end());
    if (ofCodes || isNumber())
        std::ranges::sort(values, {}, [](const auto& value) {
            return std::pair(std::strtod(value.first.c_str(), nullptr), std::string_view(value.first));
        });
    return values;
}

std::optional<std::pair<std::string, std::string>> FieldSurvey::range() const {
    if (integers_ && isNumber()) return std::pair(std::to_string(integers_->first), std::to_string(integers_->second));
    if (reals_) return std::pair(fmt::format("{}", reals_->first), fmt::format("{}", reals_->second));
    return dates_;
}

LayerSurvey survey(GdalWorkspace& workspace, const LayerInfo& layer) {
    const S57Catalogue& catalogue = S57Catalogue::installed();
    LayerSurvey found;
    found.layer = layer;
    found.ofClass = catalogue.findClass(layer.name, layer.alias);
    found.subtypeField = subtypeFieldOf(workspace.openFeatureClass(layer.name, std::nullopt));
    const std::vector<Column> columns = workspace.columns(layer.name);
    std::size_t subtypeColumn = columns.size();
    for (std::size_t i = 0; i < columns.size(); ++i) {
        found.fields.emplace_back(columns[i], catalogue.findField(found.ofClass, columns[i].name));
        if (columns[i].name == found.subtypeField && partOf(columns[i].type) == CellPart::Integer) subtypeColumn = i;
    }
    constexpr std::size_t mostSubtypes = 50;
    workspace.readRows(layer.name, [&](const Cells& cells) {
        if (stopRequested()) throw embedded_host::HostError("interrupted");
        ++found.rows;
        for (std::size_t i = 0; i < found.fields.size(); ++i) found.fields[i].add(cells[i]);
        if (subtypeColumn == columns.size() || cells[subtypeColumn].state != Cell::State::Value) return;
        const std::int64_t code = cells[subtypeColumn].integer;
        if (code != static_cast<LONG>(code)) return;
        const auto known = found.subtypes.find(static_cast<LONG>(code));
        if (known != found.subtypes.end())
            ++known->second;
        else if (found.subtypes.size() < mostSubtypes)
            found.subtypes.emplace(static_cast<LONG>(code), 1);
        else
            found.hasMoreSubtypes = true;
    });
    std::erase_if(found.fields, [](const FieldSurvey& field) { return isTargetField(field.name()); });
    return found;
}

}  // namespace cxml
