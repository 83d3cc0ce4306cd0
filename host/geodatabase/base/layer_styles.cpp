#include "host/geodatabase/base/layer_styles.h"

namespace embedded_host {

namespace {

constexpr const char* ofLayer =
    " WHERE f_table_catalog = $1 AND f_table_schema = $2 AND f_table_name = $3 AND f_geometry_column = $4";

}  // namespace

std::optional<std::string> StyleRows::otherDefault(const StyledTable& place, const std::string& own) const {
    const std::vector<Texts> rows = run_("SELECT coalesce(styleName, '') FROM " + dialect_.table + ofLayer +
                                             " AND useAsDefault AND (styleName IS NULL OR styleName <> $5)"
                                             " ORDER BY update_time DESC, id DESC LIMIT 1",
                                         {place.catalog, place.schema, place.table, place.geometry, own});
    return rows.empty() ? std::nullopt : std::optional(rows.front().front());
}

// What a row says already is not written again: it keeps its time, and the dataset its bytes.
void StyleRows::write(const StyledTable& place, const LayerStyle& style, const std::string& isDefault) {
    const std::vector<Texts> rows = run_(
        "SELECT CAST(id AS text), coalesce(CAST(styleQML AS text), ''), coalesce(description, ''),"
        " CASE WHEN useAsDefault THEN '1' ELSE '0' END FROM " +
            dialect_.table + ofLayer + " AND styleName = $5 ORDER BY id",
        {place.catalog, place.schema, place.table, place.geometry, style.name});
    if (rows.size() == 1 && rows[0][1] == style.qml && rows[0][2] == style.description && rows[0][3] == isDefault)
        return;
    changed_ = true;
    for (std::size_t i = 1; i < rows.size(); ++i)
        run_("DELETE FROM " + dialect_.table + " WHERE id = CAST($1 AS integer)", {rows[i][0]});
    if (!rows.empty()) {
        run_("UPDATE " + dialect_.table + " SET styleQML = " + dialect_.document +
                 ", useAsDefault = CAST($2 AS boolean), description = $3, update_time = " + dialect_.now +
                 " WHERE id = CAST($4 AS integer)",
             {style.qml, isDefault, style.description, rows[0][0]});
        return;
    }
    run_("INSERT INTO " + dialect_.table +
             " (styleQML, useAsDefault, description, f_table_catalog, f_table_schema, f_table_name, f_geometry_column,"
             " styleName, update_time) VALUES (" +
             dialect_.document + ", CAST($2 AS boolean), $3, $4, $5, $6, $7, $8, " + dialect_.now + ")",
         {style.qml, isDefault, style.description, place.catalog, place.schema, place.table, place.geometry,
          style.name});
}

std::optional<std::string> StyleRows::write(const StyledTable& place, const std::vector<LayerStyle>& styles) {
    const std::optional<std::string> other = otherDefault(place, styles.front().name);
    bool isFirst = true;
    for (const LayerStyle& style : styles) {
        write(place, style, isFirst ? (other ? "0" : "1") : (other == style.name ? "1" : "0"));
        isFirst = false;
    }
    return other;
}

}  // namespace embedded_host
