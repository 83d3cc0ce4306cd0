#include "host/geodatabase/postgres/pg_styles.h"

#include "host/geodatabase/base/text.h"
#include "host/geodatabase/postgres/pg_dataset.h"

#include <utility>

namespace embedded_host {

namespace {

// As QGIS makes it.
constexpr const char* createSql = R"(CREATE TABLE public.layer_styles (
  id serial PRIMARY KEY, f_table_catalog varchar, f_table_schema varchar, f_table_name varchar,
  f_geometry_column varchar, styleName text, styleQML xml, styleSLD xml, useAsDefault boolean, description text,
  owner varchar(63) DEFAULT CURRENT_USER, ui xml, update_time timestamp DEFAULT CURRENT_TIMESTAMP,
  type varchar NULL))";

// The first, as GDAL has it.
constexpr const char* geometrySql = R"(
SELECT a.attname::text, coalesce(postgis_typmod_type(a.atttypmod), '')
FROM pg_attribute a JOIN pg_type t ON t.oid = a.atttypid
WHERE a.attrelid = $1::oid AND a.attnum > 0 AND NOT a.attisdropped AND t.typname IN ('geometry', 'geography')
ORDER BY a.attnum LIMIT 1)";

PgResult geometryOf(PgDataset& dataset, const PgRelation& relation) {
    PgResult geometry = dataset.ask({geometrySql, {numberParameter(relation.oid)}});
    if (geometry.rows() == 0) throw HostError(dataset.name() + ": layer " + relation.layerName() + " has no shapes");
    return geometry;
}

// A statement that fails ends the transaction.
std::vector<StyleRows::Texts> run(PgDataset& dataset, const std::string& sql, const StyleRows::Texts& parameters) {
    PgStatement statement{sql, {}};
    for (const std::string& text : parameters) statement.parameters.push_back(textParameter(text));
    PgResult answer;
    dataset.send(
        statement, [&](PgResult&& result) { answer = std::move(result); },
        [&](const PgError& error) { dataset.breakRun(dataset.name() + ": table layer_styles: " + error.what()); });
    dataset.finish();
    std::vector<StyleRows::Texts> rows(static_cast<std::size_t>(answer.rows()));
    for (int row = 0; row < answer.rows(); ++row)
        for (int column = 0; column < answer.columns(); ++column)
            rows[static_cast<std::size_t>(row)].push_back(answer.text(row, column));
    return rows;
}

}  // namespace

ShapeValues shapeValuesOf(PgDataset& dataset, const PgRelation& relation, const std::string& column) {
    const PgResult geometry = geometryOf(dataset, relation);
    ShapeValues result{kindOfGeometryType(geometry.bytes(0, 1)), {}};
    const PgResult answer =
        dataset.ask({"SELECT coalesce(GeometryType(" + quotedName(geometry.text(0, 0)) + "::geometry), ''), coalesce(" +
                         quotedName(column) + "::text, ''), count(*) FROM " + relation.sqlName() + " GROUP BY 1, 2",
                     {}});
    for (int row = 0; row < answer.rows(); ++row) {
        const ShapeKind kind = kindOfGeometryType(answer.bytes(row, 0));
        if (kind != ShapeKind::None) result.values.push_back({kind, answer.text(row, 1), answer.int64(row, 2)});
    }
    return result;
}

bool hasStyleTable(PgDataset& dataset) {
    return dataset.ask({"SELECT to_regclass('public.layer_styles') IS NOT NULL", {}}).boolean(0, 0);
}

std::vector<std::optional<std::string>> writeStyles(PgDataset& dataset, const std::vector<PgStyledLayer>& layers) {
    const StyleRows::Run runHere = [&](const std::string& sql, const StyleRows::Texts& parameters) {
        return run(dataset, sql, parameters);
    };
    if (!hasStyleTable(dataset)) {
        runHere(createSql, {});
        dataset.noteChange();
    }
    const std::string catalog = runHere("SELECT current_database()::text", {}).front().front();
    StyleRows rows({"public.layer_styles", "XMLPARSE(DOCUMENT $1)", "CURRENT_TIMESTAMP"}, runHere);
    std::vector<std::optional<std::string>> others;
    for (const auto& [relation, styles] : layers) {
        const std::string geometry = geometryOf(dataset, relation).text(0, 0);
        others.push_back(rows.write({catalog, relation.schema, relation.table, geometry}, styles));
    }
    if (rows.changed()) dataset.noteChange();
    return others;
}

}  // namespace embedded_host
