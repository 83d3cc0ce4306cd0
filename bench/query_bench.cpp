// Query rules over a GeoPackage of 100,000 rows, through the embedded host, against the same prepared query stepped
// through the database library. The queried text or number is another one in every row; it is indexed for both.
#include "bench_support.h"

#include "host/geodatabase/gdal_workspace.h"
#include "memhost/text.h"

#include <fmt/format.h>
#include <sqlite3.h>
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

// Every opening of a table by the library passes here on its way; the linker sees to it.
extern "C" {
HRESULT realOpenTable(IWorkspace* workspace, BSTR name, ITable** table) __asm__(
    "__real__ZN20GeodatabaseUtilities19Workspace_OpenTableEP10IWorkspacePDsPP6ITable");
HRESULT countedOpenTable(IWorkspace* workspace, BSTR name, ITable** table) __asm__(
    "__wrap__ZN20GeodatabaseUtilities19Workspace_OpenTableEP10IWorkspacePDsPP6ITable");
}

namespace {

using embedded_host::GdalWorkspace;

constexpr int buoyCount = 100'000;
int openedTables = 0;

// ---- the chart ----

std::string nameOf(int buoy) {
    return "Gull Ledge No " + std::to_string(buoy);
}

/// Two of three buoys carry a light, every tenth buoy three.
int lightsOf(int buoy) {
    return buoy % 10 == 0 ? 3 : buoy % 3 == 0 ? 0 : 1;
}

int characterOf(int buoy, int light) {
    return (buoy + light) % 4 + 1;
}

std::string execute(sqlite3* connection, const std::string& sql) {
    char* message = nullptr;
    if (sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, &message) == SQLITE_OK) return {};
    std::string text(message ? message : "no reason given");
    sqlite3_free(message);
    return text;
}

class Connection {
public:
    explicit Connection(const std::string& path) {
        if (sqlite3_open_v2(path.c_str(), &connection_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
            fail("the database library cannot open " + path);
    }
    ~Connection() { sqlite3_close(connection_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    operator sqlite3*() const noexcept { return connection_; }  // NOLINT(google-explicit-constructor)

private:
    sqlite3* connection_ = nullptr;
};

class Statement {
public:
    Statement(sqlite3* connection, const std::string& sql) {
        if (sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK)
            fail(sql + ": " + sqlite3_errmsg(connection));
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    operator sqlite3_stmt*() const noexcept { return statement_; }  // NOLINT(google-explicit-constructor)

private:
    sqlite3_stmt* statement_ = nullptr;
};

/// A GeoPackage with the buoys and their lights, the queried columns indexed.
void makeChart(const Folder& folder) {
    std::string buoys = "x,y,SYMBOL_C,Xoffset_C,Yoffset_C,Rotate_C,FIDN,OBJNAM\n";
    std::string lights = "x,y,FCSUBTYPE,BUOY,COLOUR,LITCHR,SIGGRP,SIGPER,HEIGHT,VALNMR,STATUS,OBJNAM\n";
    for (int buoy = 0; buoy < buoyCount; ++buoy) {
        const int column = buoy % 1000;
        const int line = buoy / 1000;
        buoys += fmt::format("{},{},,,,,{},{}\n", column / 100.0, line / 100.0, buoy, nameOf(buoy));
        for (int light = 0; light < lightsOf(buoy); ++light)
            lights += fmt::format("{},{},1,{},3,{},(2),10,4.5,5,1,{}\n", column / 100.0, line / 100.0, buoy,
                                  characterOf(buoy, light), nameOf(buoy));
    }
    folder.write("BUOYS.csv", buoys);
    folder.write("BUOYS.csvt", "CoordX,CoordY,String,Real,Real,Real,Integer,String\n");
    folder.write("LIGHTS.csv", lights);
    folder.write("LIGHTS.csvt", "CoordX,CoordY,Integer,Integer,String,Integer,String,Real,Real,Real,String,String\n");
    for (const char* layer : {"BUOYS", "LIGHTS"})
        runCommand("ogr2ogr -q -update -append -f GPKG -a_srs EPSG:4326 -nln " + std::string(layer) + " '" +
                   folder.file("base.gpkg") + "' '" + folder.file(layer + std::string(".csv")) +
                   "' -oo EMPTY_STRING_AS_NULL=YES -oo KEEP_GEOM_COLUMNS=NO");
    const Connection chart(folder.file("base.gpkg"));
    for (const char* column : {"OBJNAM", "BUOY"}) {
        const std::string failure =
            execute(chart, std::string("CREATE INDEX lights_") + column + " ON LIGHTS(" + column + ")");
        if (!failure.empty()) fail(failure);
    }
}

// ---- the cases ----

/// A question about each buoy: as a rule, and as a query whose answer is LIT or not.
struct Case {
    const char* name;
    const char* rules;     // of the condition LIT
    const char* walk;      // the rows: the key, then what the query is asked with
    const char* query;     // its one parameter is the row's second column
    const char* answered;  // a further condition of the answer: "", or the LITCHR that the first light must have
    int columns;           // how many values of each row that the query finds are taken
};

constexpr Case cases[] = {
    {"existsText",
     "<rule type='Q' operator='exists' table='LIGHTS'><query>OBJNAM = '%s'</query>"
     "<params><param value='OBJNAM'/></params></rule>",
     "SELECT fid, OBJNAM, SYMBOL_C FROM BUOYS ORDER BY fid",
     "SELECT fid FROM LIGHTS WHERE OBJNAM = ?1 ORDER BY fid LIMIT 1", "", 1},
    {"existsNumber",
     "<rule type='Q' operator='exists' table='LIGHTS'><query>BUOY = %s AND FCSUBTYPE = 1</query>"
     "<params><param value='FIDN'/></params></rule>",
     "SELECT fid, FIDN, SYMBOL_C FROM BUOYS ORDER BY fid",
     "SELECT fid FROM LIGHTS WHERE BUOY = ?1 AND FCSUBTYPE = 1 ORDER BY fid LIMIT 1", "", 1},
    {"fetchOne",
     "<rule type='Q' operator='fetch' table='LIGHTS'><query>OBJNAM = '%s'</query>"
     "<params><param value='OBJNAM'/></params><fields><field name='LITCHR' alias='Light.LITCHR'/>"
     "<field name='SIGGRP' alias='Light.SIGGRP'/><field name='COLOUR' alias='Light.COLOUR'/>"
     "<field name='SIGPER' alias='Light.SIGPER'/></fields></rule>"
     "<rule type='A' operator='equal' field='Light.LITCHR' value='2'/>",
     "SELECT fid, OBJNAM, SYMBOL_C FROM BUOYS ORDER BY fid",
     "SELECT LITCHR, SIGGRP, COLOUR, SIGPER FROM LIGHTS WHERE OBJNAM = ?1 ORDER BY fid LIMIT 1", "2", 4},
    {"fetchMultiple",
     "<rule type='Q' operator='fetch' table='LIGHTS' selectOption='multiple'><query>OBJNAM = '%s' AND FCSUBTYPE = 1"
     "</query><params><param value='OBJNAM'/></params><fields><field name='LITCHR' alias='Lights.LITCHR'/>"
     "<field name='COLOUR' alias='Lights.COLOUR'/><field name='VALNMR' alias='Lights.VALNMR'/></fields></rule>"
     "<rule type='A' operator='equal' field='Lights.LITCHR' value='2'/>",
     "SELECT fid, OBJNAM, SYMBOL_C FROM BUOYS ORDER BY fid",
     "SELECT LITCHR, COLOUR, VALNMR FROM LIGHTS WHERE OBJNAM = ?1 AND FCSUBTYPE = 1 ORDER BY fid", "2", 3},
};

bool isLit(const Case& one, int buoy) {
    if (lightsOf(buoy) == 0) return false;
    return *one.answered == '\0' || std::to_string(characterOf(buoy, 0)) == one.answered;
}

/// One case's document, and a dataset of its own.
struct Run {
    const Case& one;
    std::string dataset;
    SymbologyManager manager;

    Run(const Case& which, const Folder& folder) : one(which), dataset(folder.file(which.name) + ".gpkg") {
        std::filesystem::copy_file(folder.file("base.gpkg"), dataset);
        const std::string path =
            folder.write(std::string(which.name) + ".cxml",
                         "<conditionMap name='bench'><featureClass name='BUOYS'>"
                         "<condition rulename='LIT'>" +
                             std::string(which.rules) + "</condition></featureClass></conditionMap>");
        loadDocument(manager, path);
    }
};

// ---- the library's way ----

/// One transaction over the buoys. \return how many were written.
std::int64_t symbolize(Run& run, GdalWorkspace& workspace) {
    openedTables = 0;
    const std::int64_t written = symbolizeLayer(run.manager, workspace, "BUOYS", buoyCount);
    if (openedTables != 1) fail("the queried table was opened " + std::to_string(openedTables) + " times");
    return written;
}

// ---- the database library's way ----

/// Takes a column as a program would that makes something of it.
std::size_t take(sqlite3_stmt* row, int column) {
    switch (sqlite3_column_type(row, column)) {
        case SQLITE_INTEGER:
            return static_cast<std::size_t>(sqlite3_column_int64(row, column));
        case SQLITE_FLOAT:
            return static_cast<std::size_t>(sqlite3_column_double(row, column));
        case SQLITE_TEXT:
            return std::string_view(reinterpret_cast<const char*>(sqlite3_column_text(row, column)),
                                    static_cast<std::size_t>(sqlite3_column_bytes(row, column)))
                .size();
        default:
            return 0;
    }
}

/// Walks the buoys and asks the query for each. \return for how many it answers LIT.
int stepQueries(const Case& one, sqlite3* connection) {
    const Statement walk(connection, one.walk);
    const Statement query(connection, one.query);
    int lit = 0;
    while (sqlite3_step(walk) == SQLITE_ROW) {
        benchmark::DoNotOptimize(take(walk, 2));
        if (sqlite3_column_type(walk, 1) == SQLITE_INTEGER)
            sqlite3_bind_int64(query, 1, sqlite3_column_int64(walk, 1));
        else
            sqlite3_bind_text(query, 1, reinterpret_cast<const char*>(sqlite3_column_text(walk, 1)),
                              sqlite3_column_bytes(walk, 1), SQLITE_STATIC);
        bool found = false;
        while (sqlite3_step(query) == SQLITE_ROW) {
            if (!found && (*one.answered == '\0' || std::string_view(one.answered) ==
                                                        reinterpret_cast<const char*>(sqlite3_column_text(query, 0))))
                ++lit;
            found = true;
            for (int column = 0; column < one.columns; ++column) benchmark::DoNotOptimize(take(query, column));
        }
        sqlite3_reset(query);
    }
    return lit;
}

// ---- checks ----

/// Both ways against the chart as it was made; and that a second run writes nothing. \return how many are LIT.
int check(Run& run) {
    int expected = 0;
    for (int buoy = 0; buoy < buoyCount; ++buoy) expected += isLit(run.one, buoy) ? 1 : 0;
    {
        const auto workspace = GdalWorkspace::open(run.dataset, GdalWorkspace::Access::Update);
        if (symbolize(run, *workspace) != expected) fail(std::string(run.one.name) + ": wrong number of rows written");
        if (symbolize(run, *workspace) != 0) fail(std::string(run.one.name) + ": a second run changed rows");
    }
    const Connection chart(run.dataset);
    const Statement rows(chart, "SELECT SYMBOL_C FROM BUOYS ORDER BY fid");
    for (int buoy = 0; buoy < buoyCount; ++buoy) {
        if (sqlite3_step(rows) != SQLITE_ROW) fail("a row is missing");
        const bool lit = sqlite3_column_type(rows, 0) == SQLITE_TEXT;
        if (lit != isLit(run.one, buoy)) fail(std::string(run.one.name) + ": wrong answer for " + nameOf(buoy));
    }
    if (stepQueries(run.one, chart) != expected) fail(std::string(run.one.name) + ": the bare query answers otherwise");
    return expected;
}

void measure(benchmark::State& state, Run& run, int expected) {
    const auto workspace = GdalWorkspace::open(run.dataset, GdalWorkspace::Access::Update);
    const Connection connection(run.dataset);
    compare(
        state, buoyCount, [&] { symbolize(run, *workspace); },
        [&] {
            if (stepQueries(run.one, connection) != expected) fail("the bare query answers otherwise");
        });
}

}  // namespace

HRESULT countedOpenTable(IWorkspace* workspace, BSTR name, ITable** table) {
    ++openedTables;
    return realOpenTable(workspace, name, table);
}

int main(int argc, char** argv) {
    const Folder folder;
    makeChart(folder);
    std::vector<std::unique_ptr<Run>> runs;
    for (const Case& one : cases) {
        Run& run = *runs.emplace_back(std::make_unique<Run>(one, folder));
        const int expected = check(run);
        std::printf("checked: %s, %d rows, %d lit, the queried table opened once in each run\n", one.name, buoyCount,
                    expected);
        benchmark::RegisterBenchmark(one.name,
                                     [&run, expected](benchmark::State& state) { measure(state, run, expected); })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
