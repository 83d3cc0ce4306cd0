// Triggers that are called idle: an update does the same with them as without.
#include "fuzz/sqlite_database.h"
#include "host/geodatabase/sqlite/sqlite_triggers.h"

#include <string_view>

namespace {

using embedded_host::Column;
using embedded_host::ColumnType;
using embedded_host::TableSchema;

// What the tables hold, as one text.
std::string contents(const fuzzing::Database& database) {
    fuzzing::Statement rows(database,
                            "SELECT 't', fid, quote(geom), quote(SYMBOL_C) FROM t UNION ALL SELECT 'log', rowid, "
                            "quote(a), quote(b) FROM log ORDER BY 1, 2");
    fuzzing::require(rows.isPrepared(), "the tables are there");
    std::string all;
    while (rows.step() == SQLITE_ROW)
        for (int i = 0; i < sqlite3_column_count(rows.get()); ++i)
            all.append(reinterpret_cast<const char*>(sqlite3_column_text(rows.get(), i))).push_back(' ');
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view trigger = fuzzing::Input(data, size).rest();
    const fuzzing::Database database(
        "CREATE TABLE t (fid INTEGER PRIMARY KEY, geom BLOB, SYMBOL_C TEXT); CREATE TABLE log (a, b);"
        "INSERT INTO t VALUES (1, x'01', 'old'), (2, NULL, NULL), (3, x'03', 'old'); INSERT INTO log VALUES (0, 0)");
    {
        fuzzing::Statement create(database, "CREATE TRIGGER " + std::string(trigger));
        if (!create.isPrepared() || create.step() != SQLITE_DONE) return 0;
    }
    static const TableSchema schema({Column{"SYMBOL_C", ColumnType::Text}}, "fid");
    if (!embedded_host::triggersAreIdle(database.connection(), "t", "fid", schema)) return 0;

    // A trigger that names what does not exist fails before anything is done.
    fuzzing::Statement update(database, "UPDATE t SET SYMBOL_C = 'new' WHERE fid >= 2");
    if (!update.isPrepared()) return 0;
    const int before = sqlite3_total_changes(database.connection());
    fuzzing::require(update.step() == SQLITE_DONE, "an idle trigger is in nobody's way");
    fuzzing::require(sqlite3_total_changes(database.connection()) == before + 2, "an idle trigger writes nothing");
    fuzzing::require(contents(database) == "log 1 0 0 t 1 X'01' 'old' t 2 NULL 'new' t 3 X'03' 'new' ",
                     "an idle trigger changes nothing");
    return 0;
}
