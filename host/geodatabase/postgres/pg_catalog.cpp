// What a PostgreSQL server's catalog tells about tables.
#include "host/geodatabase/postgres/pg_catalog.h"

#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/base/text.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <tuple>
#include <utility>

namespace embedded_host {

namespace {

constexpr const char* relationColumns = R"(
SELECT c.oid::int8, n.nspname::text, c.relname::text,
       EXISTS (SELECT FROM pg_attribute a JOIN pg_type t ON t.oid = a.atttypid
               WHERE a.attrelid = c.oid AND a.attnum > 0 AND NOT a.attisdropped
                 AND t.typname IN ('geometry', 'geography')),
       pg_table_is_visible(c.oid),
       coalesce(btrim(substring(obj_description(c.oid, 'pg_class') FROM 'SUBTYPE_FIELD=("[^"]+"|[^[:space:],;]+)'), '"'), '')
FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace
WHERE c.relkind IN ('r', 'p', 'v', 'm', 'f') AND n.nspname !~ '^(pg_|(information_schema|ogr_system_tables)$)'
)";

constexpr const char* pathOrder = "ORDER BY array_position(current_schemas(false), n.nspname) NULLS LAST, 2, 3";

// A domain may be over another one; the base type's modifier stands with the innermost that has one.
constexpr const char* columnsSql = R"(
SELECT a.attname::text, b.typname::text, coalesce(e.typname::text, ''), format_type(a.atttypid, NULL), b.modifier::int8,
       format_type(a.atttypid, a.atttypmod)
FROM pg_attribute a
JOIN LATERAL (
  WITH RECURSIVE type AS (
    SELECT t.typname, t.typelem, t.typcategory, t.typtype, t.typbasetype, t.typtypmod, a.atttypmod AS modifier
    FROM pg_type t WHERE t.oid = a.atttypid
    UNION ALL
    SELECT t.typname, t.typelem, t.typcategory, t.typtype, t.typbasetype, t.typtypmod, d.typtypmod
    FROM type d JOIN pg_type t ON t.oid = d.typbasetype WHERE d.typtype = 'd')
  SELECT * FROM type WHERE typtype <> 'd') b ON true
LEFT JOIN pg_type e ON e.oid = b.typelem AND b.typcategory = 'A'
WHERE a.attrelid = $1::oid AND a.attnum > 0 AND NOT a.attisdropped
  AND has_column_privilege(a.attrelid, a.attnum, 'SELECT')
ORDER BY a.attnum
)";

constexpr const char* keySql = R"(
SELECT a.attname::text FROM pg_index i JOIN pg_attribute a ON a.attrelid = i.indrelid AND a.attnum = i.indkey[0]
WHERE i.indrelid = $1::oid AND i.indnkeyatts = 1 AND i.indisunique AND i.indisvalid AND i.indpred IS NULL
  AND a.attnotnull AND a.atttypid IN ('int2'::regtype, 'int4'::regtype, 'int8'::regtype)
  AND has_column_privilege(a.attrelid, a.attnum, 'SELECT')
ORDER BY i.indisprimary DESC, i.indexrelid LIMIT 1
)";

// GDAL's own table of metadata, which is there when GDAL has made it, and may be closed to the role.
constexpr const char* hasMetadataSql = R"(
SELECT FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace
WHERE n.nspname = 'ogr_system_tables' AND c.relname = 'metadata'
  AND has_schema_privilege(n.oid, 'USAGE') AND has_table_privilege(c.oid, 'SELECT')
)";

constexpr const char* metadataSql = R"(
SELECT (xpath('string(//MDI[@key="SUBTYPE_FIELD"])', metadata::xml))[1]::text
FROM ogr_system_tables.metadata WHERE schema_name = $1 AND table_name = $2
)";

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::ranges::find(names, name) != names.end();
}

std::string lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string layerPart(const std::string& name) {
    return name.find_first_of(".\"") == std::string::npos ? name : quotedName(name);
}

PgRelation relationOf(const PgResult& result, int row) {
    return {result.int64(row, 0),   result.text(row, 1),    result.text(row, 2),
            result.boolean(row, 3), result.boolean(row, 4), result.text(row, 5)};
}

// 0 for the exact name, 1 for the name as the server folds it, 2 for any other case.
int distance(const std::string& found, const std::string& wanted) {
    if (wanted.empty() || found == wanted) return 0;
    return found == lower(wanted) ? 1 : 2;
}

struct Described {
    std::string name;     // of the column
    std::string type;     // the base type of a domain
    std::string element;  // of an array
    std::string sqlType;
    int modifier;
    std::string fullType;  // with the modifier
};

ColumnType numericType(int modifier) {
    // The declared precision and scale; without them anything may come.
    constexpr int header = 4;
    if (modifier < header) return ColumnType::Real;
    const int precision = ((modifier - header) >> 16) & 0xFFFF;
    const int scale = (modifier - header) & 0x7FF;
    if (scale != 0 || precision > 18) return ColumnType::Real;
    return precision > 9 ? ColumnType::Integer64 : ColumnType::Integer;
}

ColumnType scalarType(const Described& described) {
    const std::string& type = described.type;
    if (type == "bool") return ColumnType::Boolean;
    if (type == "int2") return ColumnType::Int16;
    if (type == "int4") return ColumnType::Integer;
    if (type == "int8") return ColumnType::Integer64;
    if (type == "float4") return ColumnType::Float32;
    if (type == "float8") return ColumnType::Real;
    if (type == "numeric") return numericType(described.modifier);
    if (type == "date") return ColumnType::Date;
    if (isOneOf(type, {"time", "timetz"})) return ColumnType::Time;
    if (isOneOf(type, {"timestamp", "timestamptz"})) return ColumnType::DateTime;
    return type == "bytea" ? ColumnType::Unsupported : ColumnType::Text;
}

ColumnType listType(const std::string& element) {
    if (isOneOf(element, {"bool", "int2", "int4", "int8"})) return ColumnType::IntegerList;
    if (isOneOf(element, {"float4", "float8", "numeric"})) return ColumnType::RealList;
    return element == "bytea" ? ColumnType::Unsupported : ColumnType::TextList;
}

// Of what is not read, whether it is there.
std::string presence(const std::string& name) {
    return "CASE WHEN " + name + " IS NOT NULL THEN '' END";
}

PgColumn textColumn(const Described& described, ColumnType type, const std::string& name) {
    const bool plain = isOneOf(described.type, {"text", "varchar", "bpchar"});
    const bool padded = described.type == "bpchar";
    constexpr int header = 4;
    const int width = plain && described.modifier > header ? described.modifier - header : 0;
    // Text is assigned to any type of text, with the server's own check of the length; other types want a cast.
    return {{described.name, type, width},
            plain ? name : name + "::text",
            plain ? "@" : "@::" + described.sqlType,
            PgArray::Item::Text,
            plain && !padded ? std::string() : described.fullType};
}

PgColumn listColumn(const Described& described, const std::string& name) {
    const ColumnType type = listType(described.element);
    const std::string items = described.element == "bool" ? name + "::int4[]" : name;
    return {{described.name, type},
            type == ColumnType::Unsupported ? presence(name) : "array_to_string(" + items + ", ',')",
            "string_to_array(@, ',')::" + described.sqlType,
            PgArray::Item::Text,
            described.fullType};
}

PgColumn columnOf(const Described& described) {
    const std::string name = quotedName(described.name);
    if (!described.element.empty()) return listColumn(described, name);
    const ColumnType type = scalarType(described);
    const bool numeric = described.type == "numeric";
    switch (partOf(type)) {
        case CellPart::Integer:
            return {{described.name, type},
                    numeric ? name + "::int8" : name,
                    type == ColumnType::Boolean ? "(@ <> 0)" : "@",
                    PgArray::Item::Integer,
                    {}};
        case CellPart::Real:
            return {{described.name, type},
                    numeric ? name + "::float8" : name,
                    "@",
                    PgArray::Item::Real,
                    numeric ? described.fullType : std::string()};
        case CellPart::Text:
            return textColumn(described, type, name);
        default:
            return {{described.name, type}, presence(name), "@", PgArray::Item::Text, {}};
    }
}

}  // namespace

std::string PgRelation::layerName() const {
    return visible ? layerPart(table) : layerPart(schema) + '.' + layerPart(table);
}

std::string PgRelation::sqlName() const {
    return quotedName(schema) + '.' + quotedName(table);
}

std::vector<PgRelation> PgCatalog::list(const std::vector<std::string>& schemas) const {
    PgStatement statement{relationColumns, {}};
    statement.sql += R"(AND NOT c.relispartition AND has_schema_privilege(n.oid, 'USAGE')
  AND has_any_column_privilege(c.oid, 'SELECT')
  AND NOT EXISTS (SELECT FROM pg_depend d
                  WHERE d.classid = 'pg_class'::regclass AND d.objid = c.oid AND d.deptype = 'e')
)";
    if (!schemas.empty()) {
        PgArray names(PgArray::Item::Text);
        for (const std::string& schema : schemas) names.add(std::string_view(schema));
        statement.parameters.push_back(names.parameter());
        statement.sql += "AND n.nspname = ANY ($1)\n";
    }
    const PgResult result = ask_({statement.sql + pathOrder, std::move(statement.parameters)});
    std::vector<PgRelation> relations;
    relations.reserve(static_cast<std::size_t>(result.rows()));
    for (int row = 0; row < result.rows(); ++row) relations.push_back(relationOf(result, row));
    return relations;
}

std::optional<PgRelation> PgCatalog::find(const TableName& name) const {
    const PgResult result =
        ask_({std::string(relationColumns) +
                  "AND lower(c.relname) = lower($1) AND CASE WHEN $2 = '' "
                  "THEN n.nspname = ANY (current_schemas(false)) "
                  "ELSE lower(n.nspname) = lower($2) END\n"
                  "AND ($3 = '' OR lower($3) = lower(current_database()))\n" +
                  pathOrder,
              {textParameter(name.table), textParameter(name.owner), textParameter(name.database)}});
    std::optional<PgRelation> best;
    std::tuple<int, int> bestDistance;
    bool ambiguous = false;
    std::string firstSchema;
    for (int row = 0; row < result.rows(); ++row) {
        PgRelation relation = relationOf(result, row);
        // Without an owner, a table in an earlier schema of the search path hides those in later ones.
        if (name.owner.empty() && best && relation.schema != firstSchema) break;
        firstSchema = relation.schema;
        const std::tuple<int, int> here{distance(relation.schema, name.owner), distance(relation.table, name.table)};
        if (best && here > bestDistance) continue;
        ambiguous = best && here == bestDistance;
        bestDistance = here;
        best = std::move(relation);
    }
    if (ambiguous)
        throw StatusError(E_INVALIDARG,
                          "several tables have the name '" + qualifyTableName(name) + "' when case does not count");
    return best;
}

std::string PgCatalog::importedSubtypeField(const PgRelation& relation) const {
    if (ask_({hasMetadataSql, {}}).rows() == 0) return {};
    const PgResult result = ask_({metadataSql, {textParameter(relation.schema), textParameter(relation.table)}});
    return result.rows() == 0 ? std::string() : result.text(0, 0);
}

std::string PgCatalog::keyOf(const PgRelation& relation) const {
    const PgResult result = ask_({keySql, {numberParameter(relation.oid)}});
    return result.rows() == 0 ? std::string() : result.text(0, 0);
}

PgTableColumns PgCatalog::describe(const PgRelation& relation) const {
    PgTableColumns table;
    table.key = keyOf(relation);
    const PgResult result = ask_({columnsSql, {numberParameter(relation.oid)}});
    for (int row = 0; row < result.rows(); ++row) {
        const Described described{result.text(row, 0),
                                  result.text(row, 1),
                                  result.text(row, 2),
                                  result.text(row, 3),
                                  static_cast<int>(result.int64(row, 4)),
                                  result.text(row, 5)};
        const bool geometry = isOneOf(described.type, {"geometry", "geography"});
        if (!geometry && described.name != table.key) table.columns.push_back(columnOf(described));
    }
    return table;
}

}  // namespace embedded_host
