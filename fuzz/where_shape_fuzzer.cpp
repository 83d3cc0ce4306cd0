// Shapes of where clauses: SQLite understands a clause and its shape alike, and both select the same rows.
#include "fuzz/sqlite_database.h"
#include "host/geodatabase/sqlite/where_shape.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace {

using embedded_host::CellPart;
using embedded_host::WhereShape;

// Functions that answer otherwise when they are asked again, the clock among them, are nothing to compare.
int authorize(void* /*nothing*/, int action, const char* /*first*/, const char* function, const char* /*database*/,
              const char* /*trigger*/) {
    if (action == SQLITE_SELECT || action == SQLITE_READ) return SQLITE_OK;
    constexpr std::array steady{"lower", "upper", "length", "abs", "coalesce", "like", "typeof", "substr"};
    return action == SQLITE_FUNCTION &&
                   std::ranges::any_of(steady, [&](const char* one) { return sqlite3_stricmp(one, function) == 0; })
               ? SQLITE_OK
               : SQLITE_DENY;
}

const fuzzing::Database& database() {
    static const fuzzing::Database one(
        "CREATE TABLE t (fid INTEGER PRIMARY KEY, a TEXT, b INTEGER, c REAL, d, \"a b\" TEXT COLLATE NOCASE);"
        "INSERT INTO t (a, b, c, d, \"a b\") VALUES ('x', 1, 1.5, 1, 'X'), ('7', 7, 7, '7', 'it''s'),"
        "('07', 0, 0, x'37', ''), (NULL, NULL, NULL, NULL, NULL), ('', -1, 1e300, 7, '7'),"
        "('it''s', 999999999999999999, -7, 'x', 'x'), (x'78', 'seven', 'x', 0, '1')");
    static const int guarded = sqlite3_set_authorizer(one.connection(), authorize, nullptr);
    fuzzing::require(guarded == SQLITE_OK, "the database is guarded");
    return one;
}

std::string selection(std::string_view clause) {
    return "SELECT fid FROM t WHERE (" + std::string(clause) + "\n) ORDER BY fid";
}

// The ids, and last how it ended.
std::vector<std::int64_t> answer(fuzzing::Statement& statement) {
    std::vector<std::int64_t> ids;
    int status = SQLITE_ROW;
    while ((status = statement.step()) == SQLITE_ROW && ids.size() < 1000)
        ids.push_back(sqlite3_column_int64(statement.get(), 0));
    ids.push_back(status);
    return ids;
}

void bindLiterals(const fuzzing::Statement& statement, const WhereShape& shape) {
    for (std::size_t i = 0; i < shape.literalCount(); ++i) {
        const auto& [part, cell] = shape.literal(i);
        const int parameter = static_cast<int>(i) + 1;
        const int bound = part == CellPart::Text
                              ? sqlite3_bind_text(statement.get(), parameter, cell.text.data(),
                                                  static_cast<int>(cell.text.size()), SQLITE_TRANSIENT)
                              : sqlite3_bind_int64(statement.get(), parameter, cell.integer);
        fuzzing::require(bound == SQLITE_OK, "each literal has its parameter");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view clause = fuzzing::Input(data, size).rest();
    static WhereShape shape;  // used again and again, as tables do
    if (!shape.read(clause)) return 0;

    fuzzing::Statement original(database(), selection(clause));
    fuzzing::Statement shaped(database(), selection(shape.text()));
    fuzzing::require(original.isPrepared() == shaped.isPrepared(), "a clause and its shape are understood alike");
    if (!shaped.isPrepared()) return 0;
    const auto parameters = static_cast<std::size_t>(sqlite3_bind_parameter_count(shaped.get()));
    fuzzing::require(parameters == shape.literalCount(), "there are as many parameters as literals");
    bindLiterals(shaped, shape);
    const std::vector<std::int64_t> expected = answer(original);
    const std::vector<std::int64_t> found = answer(shaped);
    if (expected.back() == SQLITE_INTERRUPT || found.back() == SQLITE_INTERRUPT) return 0;  // too long to compare
    fuzzing::require(expected == found, "a clause and its shape select the same rows");
    return 0;
}
