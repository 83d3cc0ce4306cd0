#include "host/arrow/related_tables.h"

#include "host/arrow/arrow_error.h"
#include "host/arrow/stream_batch.h"
#include "host/arrow/stream_schema.h"
#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/sqlite/clause_guard.h"
#include "host/geodatabase/sqlite/lock_wait.h"
#include "host/geodatabase/sqlite/new_table.h"
#include "host/geodatabase/sqlite/sqlite_connection.h"
#include "host/geodatabase/sqlite/sqlite_table.h"

#include <sqlite3.h>

#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace embedded_host {
namespace {

constexpr const char* title = "the related tables";

struct CloseConnection {
    void operator()(sqlite3* connection) const noexcept { sqlite3_close(connection); }
};

std::unique_ptr<sqlite3, CloseConnection> openMemory() {
    sqlite3* opened = nullptr;
    const int status = sqlite3_open(":memory:", &opened);
    std::unique_ptr<sqlite3, CloseConnection> connection(opened);
    if (!connection) throw std::bad_alloc();
    if (status != SQLITE_OK) throw SqliteError(opened);
    return connection;
}

}  // namespace

class RelatedTables::Content final : public Dataset {
public:
    explicit Content(const std::atomic<bool>* stop)
        : Dataset(title, Access::Read),
          wait_(std::nullopt, stop),
          memory_(openMemory()),
          connection_(memory_.get(), guard_, wait_, stop) {}

    void add(const std::string& name, nanoarrow::UniqueArrayStream stream);

    WorkspaceType type() const noexcept override { return workspaceLocalDatabase; }
    std::vector<Entry> entries() override {
        std::vector<Entry> all;
        for (const auto& [name, place] : places_) all.push_back({name, name, false});
        return all;
    }
    std::optional<Entry> find(const std::string& layer) override {
        const auto found = place(layer);
        return found == places_.end() ? std::nullopt : std::optional<Entry>({found->first, found->first, false});
    }
    std::shared_ptr<Table> table(const std::string& layer) override;
    std::int64_t rowCount(const std::string& layer) override {
        const auto found = place(layer);
        return found == places_.end() ? -1 : found->second.rows;
    }
    void addFields(Table& /*table*/, const std::vector<FieldRequest>& /*requests*/) override { checkWritable(); }
    void expectStyles(bool /*createTable*/) override { checkWritable(); }
    ShapeValues shapeValues(const std::string& /*layer*/, const std::string& /*field*/) override {
        throw HostError(name() + ": there are no shapes");
    }
    std::vector<KeptDefault> writeStyles(const std::vector<StyledLayer>& /*layers*/) override {
        checkWritable();
        return {};
    }
    void begin() override {}
    void commit() override {}
    void rollback() noexcept override {}
    void checkWritable() const override {
        throw StatusError(E_ACCESSDENIED, name() + ": they are read and nothing else");
    }

private:
    struct Place {
        std::shared_ptr<const TableSchema> schema;
        std::string key;
        std::int64_t rows = 0;
        std::weak_ptr<Table> open;
    };
    struct IgnoringCase {
        bool operator()(const std::string& left, const std::string& right) const {
            return sqlite3_stricmp(left.c_str(), right.c_str()) < 0;
        }
    };
    using Places = std::map<std::string, Place, IgnoringCase>;

    Places::iterator place(const std::string& layer) { return places_.find(layer); }
    std::int64_t fill(NewTable& table, const StreamSchema& schema, const std::vector<std::size_t>& columns,
                      ArrowArrayStream& stream) const;

    // These outlive the connection.
    ClauseGuard guard_;
    LockWait wait_;
    std::unique_ptr<sqlite3, CloseConnection> memory_;
    SqliteConnection connection_;
    Places places_;
};

std::int64_t RelatedTables::Content::fill(NewTable& table, const StreamSchema& schema,
                                          const std::vector<std::size_t>& columns, ArrowArrayStream& stream) const {
    std::int64_t rows = 0;
    std::vector<Cell> cells(columns.size());
    SqliteStatement& insertion = table.insertion();
    for (;;) {
        nanoarrow::UniqueArray array;
        ArrowError error{};
        expect(ArrowArrayStreamGetNext(&stream, array.get(), &error), "its stream cannot be read", error);
        if (!array->release) return rows;
        StreamBatch batch(schema, std::move(array));
        for (std::int64_t row = 0; row < batch.rows(); ++row, ++rows) {
            for (std::size_t i = 0; i < columns.size(); ++i) {
                batch.read(columns[i], row, cells[i]);
                const ColumnType type = schema.fields()[columns[i]].column().type;
                const bool isText = cells[i].state == Cell::State::Foreign;
                insertion.bind(static_cast<int>(i) + 1, isText ? CellPart::Text : partOf(type), cells[i]);
            }
            insertion.step();
            insertion.reset();
        }
    }
}

void RelatedTables::Content::add(const std::string& name, nanoarrow::UniqueArrayStream stream) {
    if (!stream->release) throw HostError("its stream has been used already");
    if (place(name) != places_.end()) throw HostError("there is such a table already");
    nanoarrow::UniqueSchema given;
    ArrowError error{};
    expect(ArrowArrayStreamGetSchema(stream.get(), given.get(), &error), "its schema cannot be read", error);
    const StreamSchema schema(std::move(given), {});
    std::vector<Column> fields;
    std::vector<std::size_t> columns;
    for (std::size_t i = 0; i < schema.fields().size(); ++i) {
        if (schema.fields()[i].column().type == ColumnType::Unsupported) continue;
        fields.push_back(schema.fields()[i].column());
        columns.push_back(i);
    }
    runSql(memory_.get(), "BEGIN");
    try {
        NewTable table(memory_.get(), name, fields);
        const std::int64_t rows = fill(table, schema, columns, *stream.get());
        runSql(memory_.get(), "COMMIT");
        places_.emplace(name, Place{std::make_shared<const TableSchema>(fields, table.key()), table.key(), rows, {}});
    } catch (...) {
        static_cast<void>(sqlite3_exec(memory_.get(), "ROLLBACK", nullptr, nullptr, nullptr));
        throw;
    }
}

std::shared_ptr<Table> RelatedTables::Content::table(const std::string& layer) {
    const auto found = place(layer);
    if (found == places_.end()) throw HostError(name() + ": there is no table '" + layer + "'");
    auto& [name, place] = *found;
    if (std::shared_ptr<Table> table = place.open.lock()) return table;
    auto table = std::make_shared<SqliteTable>(
        shared_from_this(), connection_,
        TableDescription{.name = name, .fullName = name, .alias = name, .subtypeMetadata = {}, .schema = place.schema},
        place.key, [schema = place.schema] { return schema; });
    place.open = table;
    return table;
}

RelatedTables::RelatedTables(const std::atomic<bool>* stop) : content_(std::make_shared<Content>(stop)) {}
RelatedTables::~RelatedTables() = default;

void RelatedTables::add(const std::string& name, ArrowArrayStream& stream) {
    nanoarrow::UniqueArrayStream taken(&stream);
    try {
        content_->add(name, std::move(taken));
    } catch (const HostError& error) {
        throw HostError("related table '" + name + "': " + error.what());
    }
}

std::shared_ptr<Dataset> RelatedTables::dataset() const {
    return content_;
}

}  // namespace embedded_host
