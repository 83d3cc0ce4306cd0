// The host in memory. Its tables answer where clauses by a database of SQLite's that has the same rows.
#include "conformance/hosts.h"
#include "conformance/variants.h"
#include "memhost/messages.h"
#include "memhost/table.h"
#include "memhost/workspace.h"
#include "symbology/symbology_manager.h"

#include <sqlite3.h>
#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>

namespace conformance {
namespace {

constexpr std::array<const char*, 4> targets{"SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C"};

VARTYPE variantType(Type type) {
    switch (type) {
        case Type::Small:
            return VT_I2;
        case Type::Integer:
            return VT_I4;
        case Type::Big:
            return VT_I8;
        case Type::Real:
            return VT_R8;
        case Type::Float:
            return VT_R4;
        case Type::Boolean:
            return VT_BOOL;
        case Type::Date:
        case Type::Moment:
            return VT_DATE;
        case Type::Text:
            break;
    }
    return VT_BSTR;
}

const char* sqlType(Type type) {
    switch (type) {
        case Type::Real:
        case Type::Float:
            return "REAL";
        case Type::Text:
        case Type::Date:
        case Type::Moment:
            return "TEXT";
        default:
            return "INTEGER";
    }
}

/// The rows once more, for questions in SQL. What a run has written is carried over before each.
class Questions {
public:
    Questions() {
        if (sqlite3_open(":memory:", &connection_) != SQLITE_OK) throw std::runtime_error("no database in memory");
    }
    ~Questions() { sqlite3_close(connection_); }
    Questions(const Questions&) = delete;
    Questions& operator=(const Questions&) = delete;

    void add(const Table& table, memhost::TableObject* object) {
        std::string sql = "CREATE TABLE \"" + table.name + "\" (\"memhost id\" INTEGER PRIMARY KEY";
        for (const Field& field : table.fields) sql += ", \"" + field.name + "\" " + sqlType(field.type);
        run(sql + ")");
        for (std::size_t row = 0; row < table.rows.size(); ++row) {
            sql = "INSERT INTO \"" + table.name + "\" VALUES (" + std::to_string(row + 1);
            for (std::size_t i = 0; i < table.fields.size(); ++i)
                sql += ", " + quoted(stored(table.fields[i].type, table.rows[row][i]));
            run(sql + ")");
        }
        object->answerWhere = [this, &table, object](const std::string& where) {
            return answer(table, *object, where);
        };
    }

private:
    // Databases compare a single float as the double that it is.
    static Value stored(Type type, const Value& value) {
        return type == Type::Float && value ? Value(textOf(double{floatOf(*value)})) : value;
    }

    static std::string quoted(const Value& value) {
        if (!value) return "NULL";
        std::string text = "'";  // the column's type makes a number of it
        for (const char letter : *value) text += letter == '\'' ? "''" : std::string(1, letter);
        return text + '\'';
    }

    void run(const std::string& sql) {
        if (sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
            throw std::runtime_error(sql + ": " + sqlite3_errmsg(connection_));
    }

    std::vector<ObjectId> answer(const Table& table, const memhost::TableObject& object, const std::string& where) {
        for (std::size_t& next = carried_[table.name]; next < object.updates.size(); ++next) {
            std::string changes;
            for (const auto& [name, value] : object.updates[next].values) {
                const Type type = table.fields.at(*table.find(name)).type;
                const Value text = stored(type, textOf(type, value));
                changes += (changes.empty() ? "\"" : ", \"") + name + "\" = " + quoted(text);
            }
            if (changes.empty()) continue;
            run("UPDATE \"" + table.name + "\" SET " + changes +
                " WHERE \"memhost id\" = " + std::to_string(object.updates[next].id));
        }
        // Text between double quotes is a name, as in the other hosts.
        sqlite3_db_config(connection_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
        std::vector<ObjectId> ids;
        sqlite3_stmt* statement = nullptr;
        const std::string sql = "SELECT \"memhost id\" FROM \"" + table.name + "\" WHERE (" + where + "\n) ORDER BY 1";
        int status = sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr);
        while (status == SQLITE_OK || status == SQLITE_ROW)
            if (status = sqlite3_step(statement); status == SQLITE_ROW)
                ids.push_back(static_cast<ObjectId>(sqlite3_column_int64(statement, 0)));
        sqlite3_finalize(statement);
        if (status != SQLITE_DONE) ids.clear();
        return ids;
    }

    sqlite3* connection_ = nullptr;
    std::map<std::string, std::size_t> carried_;  // how many updates of a table
};

class MemoryHost final : public Host {
public:
    std::string name() const override { return "memory"; }

    std::vector<LayerAnswer> run(const Case& which) override {
        const auto workspace = memhost::make<memhost::Workspace>(workspaceLocalDatabase);
        Questions questions;
        std::vector<Table> tables;
        for (const Table& table : which.tables) tables.push_back(withTargets(which, table));
        std::map<std::string, CComPtr<memhost::TableObject>> objects;
        for (const Table& table : tables) {
            const CComPtr<memhost::TableObject> object = build(table);
            questions.add(table, object);
            for (const DatasetType type : {datasetFeatureClass, datasetTable}) workspace->add(type, object);
            objects[lower(table.title)] = object;
        }
        SymbologyManager manager;
        if (!manager.loadCXML(WideString(memhost::bstr(which.document.string())).c_str(), nullptr))
            throw std::runtime_error(which.document.string() + " does not load");
        std::vector<LayerAnswer> answers;
        for (const std::string& title : which.runs) {
            const auto of = std::ranges::find_if(tables, [&](const Table& t) { return t.title == title; });
            answers.push_back(runTable(manager, *of, *objects.at(lower(title))));
        }
        return answers;
    }

private:
    static Table withTargets(const Case& which, Table table) {
        if (std::ranges::find(which.runs, table.title) == which.runs.end()) return table;
        std::vector<Field> wanted;
        for (const char* name : targets) wanted.push_back({name, wanted.empty() ? Type::Text : Type::Real});
        for (const std::string& name : which.computed) wanted.push_back({name, Type::Text});
        for (const Field& field : wanted) {
            if (table.find(field.name)) continue;
            table.fields.push_back(field);
            for (std::vector<Value>& row : table.rows) row.emplace_back();
        }
        return table;
    }

    static CComPtr<memhost::TableObject> build(const Table& table) {
        memhost::Table builder(table.name);
        builder.alias(table.title).converts();
        for (const Field& field : table.fields) builder.field(field.name, variantType(field.type));
        if (!table.subtypeField.empty()) builder.subtypes(table.fields.at(*table.find(table.subtypeField)).name);
        for (const std::vector<Value>& row : table.rows) {
            std::vector<memhost::Cell> cells;
            for (std::size_t i = 0; i < row.size(); ++i) cells.emplace_back(variantOf(table.fields[i].type, row[i]));
            builder.row(cells);
        }
        return builder.build();
    }

    static LayerAnswer runTable(SymbologyManager& manager, const Table& table, memhost::TableObject& object) {
        LayerAnswer answer;
        answer.title = table.title;
        const auto messages = memhost::make<memhost::Messages>();
        if (!manager.symbolize(object.featureClass(), nullptr, messages)) answer.failure = "refused";
        answer.rows = static_cast<std::int64_t>(object.rowCount());
        for (const memhost::Messages::Entry& entry : messages->entries()) {
            const auto known = std::ranges::find(answer.messages, entry.text, [](const auto& m) { return m.first; });
            if (known == answer.messages.end())
                answer.messages.emplace_back(entry.text, 1);
            else
                ++known->second;
        }
        answer.after = table;
        for (std::size_t row = 0; row < table.rows.size(); ++row)
            for (std::size_t i = 0; i < table.fields.size(); ++i)
                answer.after.rows[row][i] = textOf(table.fields[i].type, object.value(row, static_cast<LONG>(i)));
        // This host also takes what a row has already.
        for (std::size_t row = 0; row < table.rows.size(); ++row)
            answer.changed += answer.after.rows[row] != table.rows[row] ? 1 : 0;
        return answer;
    }
};

}  // namespace

std::unique_ptr<Host> makeMemoryHost() {
    return std::make_unique<MemoryHost>();
}

}  // namespace conformance
