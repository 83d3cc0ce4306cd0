// GeoPackages and databases on a server, with the one call.
#include "conformance/hosts.h"
#include "support/documents.h"
#include "symbology/geodatabase.h"

#include <gdal_priv.h>
#include <libpq-fe.h>
#include <ogrsf_frmts.h>
#include <sqlite3.h>
#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>

namespace conformance {
namespace {

// What the one call makes of the case's tables; `read` gives a table as it is afterwards.
std::vector<LayerAnswer> oneCall(const std::string& dataset, const Case& which,
                                 const std::function<std::string(const Table&)>& layerOf,
                                 const std::function<Table(const Table&)>& read) {
    symbology::SymbolizeOptions options;
    options.addMissingFields = true;
    for (const std::string& title : which.runs) {
        const Table& table = which.ofTitle(title);
        options.layers.push_back(layerOf(table));
        if (!table.subtypeField.empty()) options.subtypeFields[layerOf(table)] = table.subtypeField;
    }
    std::vector<LayerAnswer> answers;
    if (which.runs.empty()) return answers;
    const symbology::Outcome outcome = symbology::symbolize(dataset, which.document.string(), options);
    for (std::size_t i = 0; i < outcome.layers.size(); ++i) {
        const symbology::LayerOutcome& layer = outcome.layers[i];
        LayerAnswer& answer = answers.emplace_back();
        answer.title = which.runs.at(i);
        answer.failure = layer.why;
        answer.rows = layer.rows;
        answer.changed = layer.changed;
        for (const symbology::Message& message : layer.messages)
            answer.messages.emplace_back(message.text, message.count);
        answer.after = read(which.ofTitle(answer.title));
    }
    return answers;
}

class GeoPackageHost final : public Host {
public:
    GeoPackageHost() { GDALAllRegister(); }

    std::string name() const override { return "GeoPackage"; }

    std::vector<LayerAnswer> run(const Case& which) override {
        const TemporaryFolder folder;
        const std::string path = folder.pathOf("chart.gpkg");
        make(path, which);
        return oneCall(
            path, which, [](const Table& table) { return table.name; },
            [&](const Table& table) { return readTable(path, table); });
    }

private:
    static void addField(OGRLayer& layer, const Field& field) {
        static const std::map<Type, std::pair<OGRFieldType, OGRFieldSubType>> types{
            {Type::Small, {OFTInteger, OFSTInt16}},     {Type::Integer, {OFTInteger, OFSTNone}},
            {Type::Big, {OFTInteger64, OFSTNone}},      {Type::Real, {OFTReal, OFSTNone}},
            {Type::Float, {OFTReal, OFSTFloat32}},      {Type::Text, {OFTString, OFSTNone}},
            {Type::Boolean, {OFTInteger, OFSTBoolean}}, {Type::Date, {OFTDate, OFSTNone}},
            {Type::Moment, {OFTDateTime, OFSTNone}}};
        OGRFieldDefn definition(field.name.c_str(), types.at(field.type).first);
        definition.SetSubType(types.at(field.type).second);
        if (layer.CreateField(&definition) != OGRERR_NONE) throw std::runtime_error(field.name);
    }

    static void make(const std::string& path, const Case& which) {
        const GDALDatasetUniquePtr dataset(
            GetGDALDriverManager()->GetDriverByName("GPKG")->Create(path.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
        if (!dataset) throw std::runtime_error(path);
        dataset->StartTransaction();
        for (const Table& table : which.tables) {
            CPLStringList options;
            options.SetNameValue("IDENTIFIER", table.title.c_str());
            options.SetNameValue("FID", "gpkg id");
            OGRLayer* const layer = dataset->CreateLayer(table.name.c_str(), nullptr, wkbNone, options.List());
            if (!layer) throw std::runtime_error(table.name);
            for (const Field& field : table.fields) addField(*layer, field);
            for (const std::vector<Value>& row : table.rows) {
                OGRFeature feature(layer->GetLayerDefn());
                for (int i = 0; i < feature.GetFieldCount(); ++i) {
                    const Value& value = row[static_cast<std::size_t>(i)];
                    if (!value)
                        feature.SetFieldNull(i);
                    else if (table.fields[static_cast<std::size_t>(i)].type == Type::Float)
                        feature.SetField(i, double{floatOf(*value)});  // GDAL takes a text as it is
                    else
                        feature.SetField(i, value->c_str());
                }
                if (layer->CreateFeature(&feature) != OGRERR_NONE) throw std::runtime_error(table.name);
            }
        }
        dataset->CommitTransaction();
    }

    static Value valueAt(sqlite3_stmt* statement, int column, Type type) {
        switch (sqlite3_column_type(statement, column)) {
            case SQLITE_NULL:
                return std::nullopt;
            case SQLITE_FLOAT:
                return type == Type::Float ? textOf(static_cast<float>(sqlite3_column_double(statement, column)))
                                           : textOf(sqlite3_column_double(statement, column));
            default:
                return canonical(type, reinterpret_cast<const char*>(sqlite3_column_text(statement, column)));
        }
    }

    /// With the columns that were added.
    static Table readTable(const std::string& path, const Table& before) {
        Table after = before;
        after.rows.clear();
        sqlite3* connection = nullptr;
        if (sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
            throw std::runtime_error(path);
        sqlite3_stmt* statement = nullptr;
        const std::string sql = "SELECT * FROM \"" + before.name + "\" ORDER BY \"gpkg id\"";
        if (sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
            throw std::runtime_error(sql);
        const int columns = sqlite3_column_count(statement);
        for (int i = static_cast<int>(before.fields.size()) + 1; i < columns; ++i) {
            const bool isText = std::string(sqlite3_column_decltype(statement, i)).starts_with("TEXT");
            after.fields.push_back({sqlite3_column_name(statement, i), isText ? Type::Text : Type::Real});
        }
        while (sqlite3_step(statement) == SQLITE_ROW) {
            std::vector<Value>& row = after.rows.emplace_back();
            for (int i = 1; i < columns; ++i)
                row.push_back(valueAt(statement, i, after.fields[static_cast<std::size_t>(i) - 1].type));
        }
        sqlite3_finalize(statement);
        sqlite3_close(connection);
        return after;
    }
};

class PostgresHost final : public Host {
public:
    PostgresHost(std::string dataset, const std::string& connection, Names names)
        : dataset_(std::move(dataset)), connection_(PQconnectdb(connection.c_str()), PQfinish), messages_(names) {
        if (PQstatus(connection_.get()) != CONNECTION_OK) throw std::runtime_error(PQerrorMessage(connection_.get()));
        PQsetNoticeProcessor(connection_.get(), [](void*, const char*) {}, nullptr);
    }

    std::string name() const override { return "PostgreSQL"; }

    std::vector<LayerAnswer> run(const Case& which) override {
        sql("DROP SCHEMA IF EXISTS conformance CASCADE");
        sql("CREATE SCHEMA conformance");
        names_.clear();
        for (const Table& table : which.tables) {
            // There are no titles on a server: a class goes by its table's name.
            const bool isClass = std::ranges::find(which.runs, table.title) != which.runs.end();
            names_[table.name] = lower(isClass ? table.title : table.name);
            make(table);
        }
        std::vector<LayerAnswer> answers = oneCall(
            dataset_ + " active_schema=conformance schemas=conformance", which,
            [this](const Table& table) { return names_.at(table.name); },
            [this](const Table& table) { return readTable(table); });
        for (LayerAnswer& answer : answers)
            for (auto& [text, count] : answer.messages) text = withoutOwners(which, text);
        return answers;
    }

private:
    using Result = std::unique_ptr<PGresult, void (*)(PGresult*)>;

    const std::string& layerOf(const Table& table) const { return names_.at(table.name); }

    // A server's tables have longer names: database, owner, table.
    std::string withoutOwners(const Case& which, std::string text) const {
        if (messages_ == Names::AsTheyAre) return text;
        for (const Table& table : which.tables) {
            const std::string name = std::string(PQdb(connection_.get())) + ".conformance." + layerOf(table);
            if (const std::size_t at = text.find(name); at != std::string::npos)
                text.replace(at, name.size(), table.name);
        }
        return text;
    }

    Result sql(const std::string& text) {
        Result result(PQexec(connection_.get(), text.c_str()), PQclear);
        const ExecStatusType status = PQresultStatus(result.get());
        if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
            throw std::runtime_error(text.substr(0, 200) + ": " + PQresultErrorMessage(result.get()));
        return result;
    }

    std::string quoted(const Value& value) const {
        if (!value) return "NULL";
        const std::unique_ptr<char, void (*)(void*)> text(
            PQescapeLiteral(connection_.get(), value->c_str(), value->size()), PQfreemem);
        return text.get();
    }

    void make(const Table& table) {
        static const std::map<Type, std::string> types{
            {Type::Small, "smallint"},  {Type::Integer, "integer"}, {Type::Big, "bigint"},
            {Type::Real, "float8"},     {Type::Float, "float4"},    {Type::Text, "text"},
            {Type::Boolean, "boolean"}, {Type::Date, "date"},       {Type::Moment, "timestamp"}};
        std::string text = "CREATE TABLE conformance.\"" + layerOf(table) + "\" (\"pg id\" integer PRIMARY KEY";
        for (const Field& field : table.fields) text += ", \"" + lower(field.name) + "\" " + types.at(field.type);
        sql(text + ')');
        text.clear();
        for (std::size_t i = 0; i < table.rows.size(); ++i) {
            text += (text.empty() ? "(" : ", (") + std::to_string(i + 1);
            for (const Value& value : table.rows[i]) text += ", " + quoted(value);
            text += ')';
        }
        if (!text.empty()) sql("INSERT INTO conformance.\"" + layerOf(table) + "\" VALUES " + text);
    }

    Table readTable(const Table& before) {
        Table after = before;
        after.rows.clear();
        const Result result = sql("SELECT * FROM conformance.\"" + layerOf(before) + "\" ORDER BY \"pg id\"");
        for (int i = static_cast<int>(before.fields.size()) + 1; i < PQnfields(result.get()); ++i) {
            constexpr Oid float8 = 701;
            const bool isReal = PQftype(result.get(), i) == float8;
            after.fields.push_back({PQfname(result.get(), i), isReal ? Type::Real : Type::Text});
        }
        for (int row = 0; row < PQntuples(result.get()); ++row) {
            std::vector<Value>& values = after.rows.emplace_back();
            for (int i = 1; i < PQnfields(result.get()); ++i)
                values.push_back(PQgetisnull(result.get(), row, i)
                                     ? Value()
                                     : canonical(after.fields[static_cast<std::size_t>(i) - 1].type,
                                                 PQgetvalue(result.get(), row, i)));
        }
        return after;
    }

    std::string dataset_;
    std::unique_ptr<PGconn, void (*)(PGconn*)> connection_;
    Names messages_;
    std::map<std::string, std::string> names_;  // of the case's tables on the server
};

}  // namespace

std::unique_ptr<Host> makeGeoPackageHost() {
    return std::make_unique<GeoPackageHost>();
}

std::unique_ptr<Host> makePostgresHost(std::string dataset, const std::string& connection, Names names) {
    return std::make_unique<PostgresHost>(std::move(dataset), connection, names);
}

}  // namespace conformance
