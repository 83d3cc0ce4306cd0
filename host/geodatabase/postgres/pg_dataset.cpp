// A database on a PostgreSQL server: settings, names and transactions.
#include "host/geodatabase/postgres/pg_dataset.h"

#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/postgres/pg_styles.h"
#include "host/geodatabase/postgres/pg_table.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cmath>
#include <string_view>
#include <utility>

namespace embedded_host {

namespace {

constexpr double defaultLockTimeout = 30;  // seconds

std::unique_ptr<PgConnection> connect(const PgSettings& settings, const std::atomic<bool>* stop) {
    try {
        return std::make_unique<PgConnection>(settings.connection, stop);
    } catch (const HostError& error) {
        throw HostError(std::string("PG: cannot be opened: ") + error.what());
    }
}

std::string lockTimeoutOf(const WorkspaceOptions& options) {
    constexpr double most = 2'000'000'000.0;
    const double milliseconds = std::clamp(options.lockTimeout.value_or(defaultLockTimeout) * 1000.0, 0.0, most);
    return std::to_string(static_cast<int>(std::ceil(milliseconds)));
}

// What a wrong query brings about, and a right one over unfit data: the asker's affair. Anything else (a lock, rights,
// the server's end) is the run's.
bool isQuerysFault(std::string_view state) {
    constexpr std::string_view noRights = "42501";
    constexpr std::array<std::string_view, 10> kinds{
        "0A",  // not supported
        "21",  // several values where one is wanted
        "22",  // data
        "23",  // a domain's constraint
        "25",  // it would write
        "2F",  // a function
        "38",  // a function of another language
        "42",  // syntax, and names that are not there
        "54",  // too long, too deep
        "P0",  // what a function raises
    };
    return state != noRights && std::ranges::find(kinds, state.substr(0, 2)) != kinds.end();
}

// The server would write an unquoted name so.
std::string foldedName(std::string name) {
    for (char& c : name)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name;
}

}  // namespace

PgDataset::PgDataset(const std::string& name, Access access, const WorkspaceOptions& options)
    : PgDataset(parsePgSettings(name), access, options, nullptr) {}

PgDataset::PgDataset(const PgSettings& settings, Access access, const WorkspaceOptions& options,
                     std::unique_ptr<PgConnection> connection)
    : Dataset("PG:" + (connection = connect(settings, options.stop))->database(), access),
      ownedConnection_(std::move(connection)),
      connection_(*ownedConnection_),
      catalog_([this](const PgStatement& statement) { return ask(statement); }),
      writer_(*this),
      listedSchemas_(settings.schemas),
      transactionSettings_(settingsOf(settings, options)) {
    setUp();
}

PgDataset::~PgDataset() {
    rollback();
}

// Each transaction makes its settings itself, and they end with it: behind a pooler the next one may have another
// session, and the session another user.
PgStatement PgDataset::settingsOf(const PgSettings& settings, const WorkspaceOptions& options) const {
    PgStatement statement{
        "SELECT pg_backend_pid()::text, extract(epoch FROM pg_postmaster_start_time())::text, "
        "set_config('lock_timeout', $1, true), set_config('TimeZone', 'UTC', true), set_config('DateStyle', 'ISO', "
        "true), "
        "set_config('jit', 'off', true)",  // no statement of a run is long enough to be worth compiling
        {textParameter(lockTimeoutOf(options))}};
    if (access() != Access::Update) statement.sql += ", set_config('transaction_read_only', 'on', true)";
    // So that a statement ends soon when nobody waits for it any more. Servers on other systems cannot tell.
    constexpr int firstThatLooks = 140000;
    if (connection_.serverVersion() >= firstThatLooks)
        statement.sql +=
            ", CASE WHEN version() LIKE '%linux%' AND current_setting('client_connection_check_interval') = '0' "
            "THEN set_config('client_connection_check_interval', '1s', true) END";
    if (!settings.activeSchema.empty()) {
        statement.sql += ", set_config('search_path', quote_ident($2) || ', ' || current_setting('search_path'), true)";
        statement.parameters.push_back(textParameter(settings.activeSchema));
    }
    return statement;
}

void PgDataset::queueSettings() {
    connection_.queue(transactionSettings_,
                      [this](const PgResult& result) { connection_.setSession(result.text(0, 0), result.text(0, 1)); });
}

void PgDataset::queueBegin(const char* sql) {
    connection_.queue({sql, {}}, {});
    queueSettings();
}

// A pooler that takes the session away after each statement is noticed here.
void PgDataset::setUp() {
    try {
        readOnly([this] { connection_.finish(); });
    } catch (const HostError& error) {
        std::string text = name() + ": cannot be opened: " + error.what();
        if (text.find("pooling") != std::string::npos)
            text += "; the pooler must leave a session to each transaction (its mode 'transaction' or 'session')";
        throw HostError(text);
    }
}

void PgDataset::breakRun(const std::string& text) {
    if (inTransaction_ && broken_.empty()) {
        broken_ = text;
        tell(text);
    }
    throw HostError(text);
}

void PgDataset::tell(const std::string& failure) {
    if (monitor && monitor->failure.empty()) monitor->failure = failure;
}

void PgDataset::checkRun() const {
    if (!broken_.empty()) throw HostError(broken_);
}

void PgDataset::send(const PgStatement& statement, PgConnection::Take take, PgConnection::Failed failed) {
    if (!inTransaction_ && connection_.isIdle()) queueSettings();
    connection_.queue(statement, std::move(take), std::move(failed));
}

void PgDataset::finish() {
    checkRun();
    try {
        connection_.finish();
    } catch (const PgError& error) {
        if (connection_.isLost()) breakRun(name() + ": " + error.what());
        throw;
    }
}

PgResult PgDataset::ask(const PgStatement& statement) {
    checkRun();
    return inTransaction_ ? askInTransaction(statement) : askAlone(statement);
}

// A part of a transaction that only reads cannot be made to write again from within.
PgResult PgDataset::askInTransaction(const PgStatement& statement) {
    writer_.send();
    PgResult answer;
    bool failedHere = false;
    const auto lost = [this](const PgError& error) { breakRun(name() + ": " + error.what()); };
    const auto takeBack = [&] {
        connection_.queue({"ROLLBACK TO SAVEPOINT question", {}}, {}, lost);
        connection_.queue({"RELEASE SAVEPOINT question", {}}, {}, lost);
    };
    try {
        connection_.queue({"SAVEPOINT question", {}}, {}, lost);
        connection_.queue({"SET TRANSACTION READ ONLY", {}}, {}, lost);
        connection_.queue(
            statement, [&](PgResult&& result) { answer = std::move(result); },
            [&](const PgError& /*error*/) { failedHere = true; });
        takeBack();
        finish();
        return answer;
    } catch (const PgError& error) {
        if (!failedHere) throw;
        if (connection_.isLost() || !isQuerysFault(error.sqlState())) breakRun(name() + ": " + error.what());
        takeBack();
        finish();
        throw;
    }
}

PgResult PgDataset::askAlone(const PgStatement& statement) {
    PgResult answer;
    try {
        readOnly([&] { connection_.queue(statement, [&](PgResult&& result) { answer = std::move(result); }); });
    } catch (const PgError& error) {
        // Who asks may take a failure for an answer.
        if (connection_.isLost() || !isQuerysFault(error.sqlState())) tell(name() + ": " + error.what());
        throw;
    }
    return answer;
}

// What is prepared outlives a transaction, and behind a pooler it would be somebody else's.
std::optional<Refusal> PgDataset::whyRefused(const std::string& question) {
    checkRun();
    try {
        readOnly([&] {
            connection_.queue({"PREPARE question AS " + question, {}}, {});
            connection_.queue({"DEALLOCATE question", {}}, {});
            connection_.finish();
        });
        return std::nullopt;
    } catch (const PgError& error) {
        if (connection_.isLost() || !isQuerysFault(error.sqlState())) throw HostError(name() + ": " + error.what());
        constexpr std::string_view unfitData = "22";
        return Refusal{error.what(), error.sqlState().starts_with(unfitData)};
    }
}

void PgDataset::readOnly(const std::function<void()>& questions) {
    connection_.finish();  // what an abandoned cursor has left must not be the transaction's beginning
    try {
        queueBegin("BEGIN READ ONLY");
        questions();
        connection_.run({"ROLLBACK", {}});
    } catch (const PgError&) {
        if (!connection_.isLost()) connection_.run({"ROLLBACK", {}});
        throw;
    }
}

template <class Question>
auto PgDataset::named(Question&& question) {
    try {
        return question();
    } catch (const PgError& error) {
        throw HostError(name() + ": " + error.what());
    }
}

std::string PgDataset::connectedDatabase() {
    return named([&] { return ask({"SELECT current_database()::text", {}}).text(0, 0); });
}

std::string PgDataset::connectedUser() {
    return named([&] { return ask({"SELECT current_user::text", {}}).text(0, 0); });
}

std::vector<Dataset::Entry> PgDataset::entries() {
    std::vector<Entry> entries;
    for (const PgRelation& relation : named([&] { return catalog_.list(listedSchemas_); }))
        entries.push_back({relation.layerName(), relation.table, relation.spatial});
    return entries;
}

std::optional<PgRelation> PgDataset::resolve(const std::string& layer) {
    return named([&] { return catalog_.find(parseTableName(layer)); });
}

std::optional<Dataset::Entry> PgDataset::find(const std::string& layer) {
    const std::optional<PgRelation> relation = resolve(layer);
    if (!relation) return std::nullopt;
    return Entry{relation->layerName(), relation->table, relation->spatial};
}

PgRelation PgDataset::relation(const std::string& layer) {
    std::optional<PgRelation> relation = resolve(layer);
    if (!relation) throw HostError(name() + ": there is no layer '" + layer + "'");
    return std::move(*relation);
}

std::shared_ptr<Table> PgDataset::table(const std::string& layer) {
    PgRelation relation = this->relation(layer);
    std::weak_ptr<Table>& known = tables_[relation.sqlName()];
    if (std::shared_ptr<Table> table = known.lock()) return table;
    if (relation.subtypeField.empty())
        relation.subtypeField = named([&] { return catalog_.importedSubtypeField(relation); });
    auto table = std::make_shared<PgTable>(std::static_pointer_cast<PgDataset>(shared_from_this()), relation);
    known = table;
    return table;
}

void PgDataset::addFields(Table& table, const std::vector<FieldRequest>& requests) {
    std::string names;
    std::string columns;
    for (const FieldRequest& request : requests) {
        names += (names.empty() ? "" : ", ") + request.name;
        columns += (columns.empty() ? " ADD COLUMN " : ", ADD COLUMN ") + quotedName(foldedName(request.name)) +
                   (request.kind == FieldKind::Real ? " double precision" : " text");
    }
    const std::string sql = "ALTER TABLE " + static_cast<PgTable&>(table).sqlName() + columns;
    const std::string what =
        table.title() + (requests.size() > 1 ? ": cannot add fields " : ": cannot add field ") + names + ": ";
    checkRun();
    writer_.send();
    send({sql, {}}, {}, [&](const PgError& error) { breakRun(what + error.what()); });
    finish();
    noteChange();
    table.refresh();
}

ShapeValues PgDataset::shapeValues(const std::string& layer, const std::string& field) {
    return named([&] { return shapeValuesOf(*this, relation(layer), field); });
}

void PgDataset::expectStyles(bool createTable) {
    if (createTable || named([&] { return hasStyleTable(*this); })) return;
    throw HostError(name() +
                    ": there is no table public.layer_styles, in which styles are kept; --create-style-table "
                    "makes it");
}

std::vector<KeptDefault> PgDataset::writeStyles(const std::vector<StyledLayer>& layers) {
    checkWritable();
    std::vector<PgStyledLayer> found;
    found.reserve(layers.size());
    for (const StyledLayer& layer : layers) found.push_back({relation(layer.layer), layer.styles});
    std::vector<std::optional<std::string>> others = named([&] { return embedded_host::writeStyles(*this, found); });
    std::vector<KeptDefault> kept;
    for (std::size_t i = 0; i < layers.size(); ++i)
        if (others[i]) kept.push_back({layers[i].layer, std::move(*others[i])});
    return kept;
}

void PgDataset::checkWritable() const {
    if (access() != Access::Update)
        throw StatusError(E_ACCESSDENIED, name() + ": the dataset is open for reading only");
    checkRun();
}

void PgDataset::begin() {
    if (!isRehearsal()) checkWritable();
    if (inTransaction_) throw HostError(name() + ": a transaction is open already");
    try {
        connection_.finish();  // what an abandoned cursor has left must not be the transaction's beginning
        // One state of the database from the first row to the last: a row that someone else changes meanwhile ends the
        // run instead of getting the symbol of its old values.
        queueBegin("BEGIN ISOLATION LEVEL REPEATABLE READ");
        connection_.finish();
    } catch (const HostError& error) {
        throw HostError(name() + ": cannot begin a transaction: " + error.what());
    }
    inTransaction_ = true;
    ++transactionNumber_;
    changed_ = false;
}

void PgDataset::commit() {
    if (!inTransaction_) throw HostError(name() + ": there is no transaction to commit");
    try {
        checkWritable();
        writer_.send();
        finish();
    } catch (const HostError&) {
        rollback();
        throw;
    }
    if (!changed_) return rollback();
    std::string answer;
    std::string failure = "the server has rolled the transaction back";
    try {
        connection_.queue({"COMMIT", {}}, [&](const PgResult& result) { answer = result.command(); });
        connection_.finish(PgConnection::OnStop::Wait);
    } catch (const HostError& error) {
        failure = error.what();
    }
    inTransaction_ = answer != "COMMIT";
    if (!inTransaction_) return;  // whatever has become of the connection since
    if (connection_.isLost()) failure += "; whether the changes are in the database is not known";
    rollback();
    throw HostError(name() + ": cannot commit: " + failure);
}

void PgDataset::rollback() noexcept {
    if (!inTransaction_) return;
    inTransaction_ = false;
    broken_.clear();
    writer_.forget();
    const auto succeeds = [](auto&& work) {
        try {
            work();
            return true;
        } catch (const std::exception&) {
            return false;
        }
    };
    // A failure means that the server has rolled back, or will when it notices that we are gone.
    static_cast<void>(succeeds([this] { connection_.finish(); }));
    static_cast<void>(succeeds([this] { connection_.run({"ROLLBACK", {}}); }));
}

}  // namespace embedded_host
