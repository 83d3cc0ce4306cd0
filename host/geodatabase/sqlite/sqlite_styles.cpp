#include "host/geodatabase/sqlite/sqlite_styles.h"

#include "host/geodatabase/base/text.h"
#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace embedded_host {

namespace {

constexpr const char* now = "strftime('%Y-%m-%dT%H:%M:%fZ', 'now')";

// As QGIS makes it.
constexpr const char* createTable = R"(CREATE TABLE "layer_styles" (
  "id" INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, "f_table_catalog" TEXT(256), "f_table_schema" TEXT(256),
  "f_table_name" TEXT(256), "f_geometry_column" TEXT(256), "styleName" TEXT(30), "styleQML" TEXT, "styleSLD" TEXT,
  "useAsDefault" BOOLEAN, "description" TEXT, "owner" TEXT(30), "ui" TEXT(30),
  "update_time" DATETIME DEFAULT (strftime('%Y-%m-%dT%H:%M:%fZ','now'))))";

StyleRows::Texts rowOf(const SqliteStatement& statement) {
    StyleRows::Texts texts;
    Cell cell;
    for (int column = 0; column < statement.columns(); ++column) {
        statement.read(column, CellPart::Text, cell);
        texts.push_back(cell.state == Cell::State::Null ? std::string() : cell.text);
    }
    return texts;
}

std::vector<StyleRows::Texts> run(sqlite3* connection, std::string sql, const StyleRows::Texts& parameters) {
    std::ranges::replace(sql, '$', '?');  // SQLite's way to number parameters
    std::vector<Cell> cells;
    for (const std::string& text : parameters) cells.push_back({.state = Cell::State::Value, .text = text});
    SqliteStatement statement(connection, sql);  // gone before the cells whose texts it has
    for (std::size_t i = 0; i < cells.size(); ++i) statement.bind(static_cast<int>(i) + 1, CellPart::Text, cells[i]);
    std::vector<StyleRows::Texts> rows;
    while (statement.step()) rows.push_back(rowOf(statement));
    return rows;
}

void makeTable(sqlite3* connection, bool& changed) {
    if (run(connection, "SELECT 1 FROM sqlite_master WHERE lower(name) = 'layer_styles'", {}).empty()) {
        run(connection, createTable, {});
        changed = true;
    }
    if (!run(connection, "SELECT 1 FROM gpkg_contents WHERE lower(table_name) = 'layer_styles'", {}).empty()) return;
    run(connection,
        std::string("INSERT INTO gpkg_contents (table_name, data_type, identifier, description, last_change, srs_id) "
                    "VALUES ('layer_styles', 'attributes', 'layer_styles', '', ") +
            now + ", 0)",
        {});
    changed = true;
}

}  // namespace

ShapeValues shapeValuesOf(sqlite3* connection, const std::string& table, const std::string& geometry,
                          const std::string& column) {
    ShapeValues result;
    for (const StyleRows::Texts& row :
         run(connection, "SELECT geometry_type_name FROM gpkg_geometry_columns WHERE lower(table_name) = lower($1)",
             {table}))
        result.declared = kindOfGeometryType(row.front());
    // The names are identifiers, which may hold the sign of a parameter; nothing is bound.
    SqliteStatement statement(connection, "SELECT ST_GeometryType(" + quotedName(geometry) + "), CAST(" +
                                              quotedName(column) + " AS TEXT), count(*) FROM " + quotedName(table) +
                                              " GROUP BY 1, 2");
    while (statement.step()) {
        StyleRows::Texts texts = rowOf(statement);
        const ShapeKind kind = kindOfGeometryType(texts[0]);
        if (kind != ShapeKind::None) result.values.push_back({kind, std::move(texts[1]), statement.integer(2)});
    }
    return result;
}

std::vector<KeptDefault> writeStyles(sqlite3* connection, const std::vector<StyledLayer>& layers,
                                     const std::function<std::string(const std::string& layer)>& geometryOf,
                                     bool& changed) {
    makeTable(connection, changed);
    StyleRows rows({"layer_styles", "$1", now}, [connection](const std::string& sql, const StyleRows::Texts& values) {
        return run(connection, sql, values);
    });
    std::vector<KeptDefault> kept;
    for (const StyledLayer& layer : layers)
        if (std::optional<std::string> other = rows.write({"", "", layer.layer, geometryOf(layer.layer)}, layer.styles))
            kept.push_back({layer.layer, std::move(*other)});
    changed = changed || rows.changed();
    return kept;
}

}  // namespace embedded_host
