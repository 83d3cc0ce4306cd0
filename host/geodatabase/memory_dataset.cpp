#include "host/geodatabase/memory_dataset.h"

#include "host/geodatabase/base/text.h"
#include "host/geodatabase/sqlite/new_table.h"

#include <cpl_vsi.h>
#include <sqlite3.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

namespace embedded_host {
namespace {

struct CloseConnection {
    void operator()(sqlite3* connection) const noexcept { sqlite3_close(connection); }
};
using Connection = std::unique_ptr<sqlite3, CloseConnection>;

// What makes a file a GeoPackage, as far as its readers insist.
constexpr const char* head =
    "PRAGMA application_id = 0x47504B47; PRAGMA user_version = 10300;"
    "CREATE TABLE gpkg_spatial_ref_sys (srs_name TEXT NOT NULL, srs_id INTEGER PRIMARY KEY, organization TEXT NOT NULL,"
    " organization_coordsys_id INTEGER NOT NULL, definition TEXT NOT NULL, description TEXT);"
    "INSERT INTO gpkg_spatial_ref_sys VALUES ('undefined', -1, 'NONE', -1, 'undefined', NULL),"
    " ('undefined', 0, 'NONE', 0, 'undefined', NULL);"
    "CREATE TABLE gpkg_contents (table_name TEXT NOT NULL PRIMARY KEY, data_type TEXT NOT NULL, identifier TEXT UNIQUE,"
    " description TEXT DEFAULT '', last_change DATETIME NOT NULL DEFAULT '2024-05-01T00:00:00.000Z',"
    " min_x DOUBLE, min_y DOUBLE, max_x DOUBLE, max_y DOUBLE, srs_id INTEGER);"
    "CREATE TABLE gpkg_geometry_columns (table_name TEXT NOT NULL, column_name TEXT NOT NULL,"
    " geometry_type_name TEXT NOT NULL, srs_id INTEGER NOT NULL, z TINYINT NOT NULL, m TINYINT NOT NULL);";

void bind(SqliteStatement& statement, int parameter, const MemoryDataset::Value& value, Cell& cell) {
    CellPart part = CellPart::None;
    cell.state = std::holds_alternative<std::monostate>(value) ? Cell::State::Null : Cell::State::Value;
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        cell.integer = *integer;
        part = CellPart::Integer;
    } else if (const auto* real = std::get_if<double>(&value)) {
        cell.real = *real;
        part = CellPart::Real;
    } else if (const auto* text = std::get_if<std::string>(&value)) {
        cell.text = *text;
        part = CellPart::Text;
    }
    statement.bind(parameter, part, cell);
}

void add(sqlite3* connection, const MemoryDataset::Table& table) {
    std::vector<Column> columns;
    columns.reserve(table.fields.size());
    for (const MemoryDataset::Field& field : table.fields) columns.push_back({field.name, field.type});
    NewTable made(connection, table.name, columns);
    runSql(connection, "INSERT INTO gpkg_contents (table_name, data_type, identifier) VALUES (" +
                           quotedText(table.name) + ", 'attributes', " +
                           quotedText(table.title.empty() ? table.name : table.title) + ")");
    SqliteStatement& insertion = made.insertion();
    std::vector<Cell> cells(table.fields.size());
    for (const std::vector<MemoryDataset::Value>& row : table.rows) {
        for (std::size_t i = 0; i < row.size(); ++i) bind(insertion, static_cast<int>(i) + 1, row[i], cells[i]);
        insertion.step();
        insertion.reset();
    }
}

Connection build(const std::vector<MemoryDataset::Table>& tables) {
    sqlite3* opened = nullptr;
    const int status = sqlite3_open(":memory:", &opened);
    Connection connection(opened);
    if (!connection) throw std::bad_alloc();
    if (status != SQLITE_OK) throw SqliteError(opened);
    runSql(opened, "BEGIN");
    runSql(opened, head);
    for (const MemoryDataset::Table& table : tables) add(opened, table);
    runSql(opened, "COMMIT");
    return connection;
}

}  // namespace

MemoryDataset::MemoryDataset(const std::vector<Table>& tables) {
    static std::atomic<std::uint64_t> count = 0;
    const Connection connection = build(tables);
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, decltype(&sqlite3_free)> image(
        sqlite3_serialize(connection.get(), "main", &size, 0), sqlite3_free);
    if (!image) throw std::bad_alloc();
    // The file grows, so the bytes have to be its own.
    const auto bytes = static_cast<std::size_t>(size);
    auto* const own = static_cast<GByte*>(VSIMalloc(bytes));
    if (!own) throw std::bad_alloc();
    std::memcpy(own, image.get(), bytes);
    name_ = "/vsimem/rows-" + std::to_string(count++) + ".gpkg";
    VSILFILE* const file = VSIFileFromMemBuffer(name_.c_str(), own, bytes, TRUE);
    if (!file) throw std::bad_alloc();
    VSIFCloseL(file);
}

MemoryDataset::~MemoryDataset() {
    for (const char* ending : {"", "-journal", "-wal", "-shm"}) VSIUnlink((name_ + ending).c_str());
}

}  // namespace embedded_host
