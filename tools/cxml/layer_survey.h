// What a layer holds: its fields, and the values that occur in them.
#pragma once

#include "host/geodatabase/gdal_workspace.h"
#include "tools/s57/catalogue.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

/// A field and what rows have in it. What is kept does not grow with the rows.
class FieldSurvey {
public:
    /// \param attribute of S-57, which the field is; null when it is none.
    FieldSurvey(embedded_host::Column column, const S57Attribute* attribute)
        : column_(std::move(column)), attribute_(attribute) {}

    void add(const embedded_host::Cell& cell);

    const std::string& name() const noexcept { return column_.name; }
    const S57Attribute* attribute() const noexcept { return attribute_; }
    /// "integer", "real", "text", "date", "boolean", "list", "binary".
    const char* type() const noexcept;
    bool isText() const noexcept;
    bool isNumber() const noexcept;
    /// Whether its texts are lists of codes.
    bool isList() const noexcept;

    std::int64_t filled() const noexcept { return filled_; }  // rows with a value that is not the empty text
    std::int64_t empty() const noexcept { return empty_; }    // rows with the empty text
    std::int64_t foreign() const noexcept { return foreign_; }

    /// The different values, of a list the codes, and in how many rows: numbers by size. Nothing when there are more
    /// than are kept.
    std::optional<std::vector<std::pair<std::string, std::int64_t>>> values() const;
    /// How many different ones are kept.
    std::size_t mostValues() const noexcept;
    /// The least and the greatest number or date; nothing where there is none.
    std::optional<std::pair<std::string, std::string>> range() const;

private:
    using Counts = std::map<std::string, std::int64_t, std::less<>>;

    void addText(const std::string& text);
    void count(Counts& counts, bool& overflows, std::string_view value) const;

    embedded_host::Column column_;
    const S57Attribute* attribute_;
    std::int64_t filled_ = 0;
    std::int64_t empty_ = 0;
    std::int64_t foreign_ = 0;
    Counts values_;
    bool hasMoreValues_ = false;
    Counts codes_;  // of texts that are lists of them
    bool hasMoreCodes_ = false;
    bool isAllCodes_ = true;
    bool hasList_ = false;
    std::optional<std::pair<std::int64_t, std::int64_t>> integers_;
    std::optional<std::pair<double, double>> reals_;
    std::optional<std::pair<std::string, std::string>> dates_;
};

struct LayerSurvey {
    embedded_host::LayerInfo layer;
    const S57Class* ofClass = nullptr;
    std::int64_t rows = 0;
    std::string subtypeField;               // empty without one
    std::map<LONG, std::int64_t> subtypes;  // codes that occur, and in how many rows
    bool hasMoreSubtypes = false;
    std::vector<FieldSurvey> fields;  // without those that a run writes
};

/// Reads the layer once. \throws embedded_host::HostError
LayerSurvey survey(embedded_host::GdalWorkspace& workspace, const embedded_host::LayerInfo& layer);

}  // namespace cxml
