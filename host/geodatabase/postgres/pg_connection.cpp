// The one connection of a dataset on a PostgreSQL server.
#include "host/geodatabase/postgres/pg_connection.h"

#include "host/geodatabase/postgres/pg_values.h"

#include <libpq-fe.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <span>
#include <thread>
#include <utility>

namespace embedded_host {

namespace {

constexpr int binaryFormat = 1;
constexpr int stopCheckMilliseconds = 100;
constexpr std::chrono::milliseconds cancelTakes{600};  // at most; then a connection that is to stop is cut
constexpr int quietWaits = 3;                          // times connect_timeout, before the server is asked

// libpq's messages have several lines, each behind its severity; ours are one line.
std::string oneLine(std::string_view message) {
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.remove_suffix(1);
    std::string line;
    for (const char c : message) {
        if (c == '\n')
            line += "; ";
        else if (c != '\t')
            line += c;
    }
    return line;
}

std::string field(const PGresult* result, int code) {
    const char* text = PQresultErrorField(result, code);
    return text ? text : "";
}

struct Setting {
    const char* keyword;
    const char* value;
};

using Settings = std::vector<Setting>;
using RawConnection = std::unique_ptr<PGconn, decltype(&PQfinish)>;

// What libpq takes from elsewhere than the connection string; null when nothing.
std::string settingOf(PQconninfoOption* options, std::string_view keyword) {
    const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> owned(options, &PQconninfoFree);
    for (const PQconninfoOption* option = options; option && option->keyword; ++option)
        if (option->keyword == keyword && option->val) return option->val;
    return {};
}

// The later of two settings counts, so that what stands before the string ("dbname") is what holds without it.
template <class Connect>
PGconn* connectWith(const std::string& settings, const Settings& overrides, Connect&& connect) {
    std::vector<const char*> keywords;
    std::vector<const char*> values;
    const auto add = [&](const char* keyword, const char* value) {
        keywords.push_back(keyword);
        values.push_back(value);
    };
    for (const auto& [keyword, value] : {Setting{"connect_timeout", "10"},
                                         {"keepalives_idle", "30"},
                                         {"keepalives_interval", "10"},
                                         {"keepalives_count", "3"}})
        if (settingOf(PQconndefaults(), keyword).empty()) add(keyword, value);
    add("dbname", settings.c_str());
    add("client_encoding", "UTF8");
    for (const auto& [keyword, value] : overrides) add(keyword, value);
    add(nullptr, nullptr);
    return connect(keywords.data(), values.data(), 1);
}

// Waits until something can be read, or written. False when the deadline has passed.
bool waitFor(PGconn* connection, bool writing, std::chrono::steady_clock::time_point deadline) {
    using std::chrono::milliseconds;
    pollfd waiting{PQsocket(connection), static_cast<short>(writing ? POLLOUT : POLLIN), 0};
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left <= milliseconds::zero()) return false;
        const int ready = poll(&waiting, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
}

enum class Opened { Yes, Refused, NotInTime };

Opened open(PGconn* connection, std::chrono::steady_clock::time_point deadline) {
    PostgresPollingStatusType state = PGRES_POLLING_WRITING;
    while (state == PGRES_POLLING_READING || state == PGRES_POLLING_WRITING) {
        if (PQstatus(connection) == CONNECTION_BAD) return Opened::Refused;
        if (!waitFor(connection, state == PGRES_POLLING_WRITING, deadline)) return Opened::NotInTime;
        state = PQconnectPoll(connection);
    }
    return state == PGRES_POLLING_OK ? Opened::Yes : Opened::Refused;
}

// The first value of a statement's answer; null when there is none in time.
PgResult askWithin(PGconn* connection, const char* sql, std::span<const char* const> values,
                   std::chrono::steady_clock::time_point deadline) {
    if (PQsendQueryParams(connection, sql, static_cast<int>(values.size()), nullptr, values.data(), nullptr, nullptr,
                          1) != 1)
        return {};
    while (PQisBusy(connection) != 0)
        if (!waitFor(connection, false, deadline) || PQconsumeInput(connection) != 1) return {};
    return PgResult(PQgetResult(connection));
}

}  // namespace

PgError PgConnection::errorOf(const PGresult* result) const {
    std::string text = field(result, PG_DIAG_MESSAGE_PRIMARY);
    if (text.empty()) return {whyCut_.empty() ? oneLine(PQresultErrorMessage(result)) : whyCut_, {}};
    std::string severity = field(result, PG_DIAG_SEVERITY_NONLOCALIZED);
    if (severity.empty()) severity = field(result, PG_DIAG_SEVERITY);  // poolers have but one
    text = severity + ": " + text;
    if (const std::string detail = field(result, PG_DIAG_MESSAGE_DETAIL); !detail.empty()) text += "; " + detail;
    if (const std::string hint = field(result, PG_DIAG_MESSAGE_HINT); !hint.empty()) text += "; " + hint;
    return {oneLine(text), field(result, PG_DIAG_SQLSTATE)};
}

void PgResult::Clear::operator()(pg_result* result) const noexcept {
    PQclear(result);
}

int PgResult::columns() const noexcept {
    return PQnfields(result_.get());
}

int PgResult::rows() const noexcept {
    return PQntuples(result_.get());
}

bool PgResult::isNull(int row, int column) const noexcept {
    return PQgetisnull(result_.get(), row, column) != 0;
}

std::string_view PgResult::bytes(int row, int column) const noexcept {
    return {PQgetvalue(result_.get(), row, column), static_cast<std::size_t>(PQgetlength(result_.get(), row, column))};
}

std::int64_t PgResult::int64(int row, int column) const noexcept {
    return readInt64(bytes(row, column));
}

std::size_t PgResult::memory() const noexcept {
    return PQresultMemorySize(result_.get());
}

std::int64_t PgResult::changed() const noexcept {
    const std::string_view text = PQcmdTuples(result_.get());
    std::int64_t count = 0;
    std::from_chars(text.data(), text.data() + text.size(), count);
    return count;
}

std::string_view PgResult::command() const noexcept {
    return PQcmdStatus(result_.get());
}

void PgConnection::Close::operator()(pg_conn* connection) const noexcept {
    PQfinish(connection);
}

PgConnection::PgConnection(const std::string& settings, const std::atomic<bool>* stop)
    : settings_(settings), connection_(connectWith(settings, {}, &PQconnectdbParams)), stop_(stop) {
    if (!connection_) throw HostError("out of memory");
    PQsetNoticeReceiver(connection_.get(), &PgConnection::hear, this);
    if (PQstatus(connection_.get()) != CONNECTION_OK) throw HostError(oneLine(PQerrorMessage(connection_.get())));
    if (PQenterPipelineMode(connection_.get()) != 1 || PQsetnonblocking(connection_.get(), 1) != 0) throw lastError();
    const std::string timeout = settingOf(PQconninfo(connection_.get()), "connect_timeout");
    // libpq, too, waits for two seconds at least.
    if (const long seconds = std::strtol(timeout.c_str(), nullptr, 10); seconds > 0)
        patience_ = std::chrono::seconds(std::max(seconds, 2L));
}

PgConnection::~PgConnection() = default;

std::string PgConnection::database() const {
    return PQdb(connection_.get());
}

// Between two statements a server that ends the session says why as a notice. Other notices are nobody's.
void PgConnection::hear(void* self, const pg_result* notice) {
    auto& connection = *static_cast<PgConnection*>(self);
    if (field(notice, PG_DIAG_SEVERITY_NONLOCALIZED) != "FATAL" || !connection.whyCut_.empty()) return;
    try {
        connection.whyCut_ = connection.errorOf(notice).what();
    } catch (const std::exception&) {
        connection.whyCut_ = "session ended";  // no memory for better words, and libpq calls from C
    }
}

int PgConnection::serverVersion() const noexcept {
    return PQserverVersion(connection_.get());
}

void PgConnection::setSession(std::string process, std::string serverStart) {
    process_ = std::move(process);
    serverStart_ = std::move(serverStart);
}

bool PgConnection::isLost() const noexcept {
    return PQstatus(connection_.get()) != CONNECTION_OK;
}

PgError PgConnection::lastError() const {
    static_cast<void>(PQisBusy(connection_.get()));  // reads what was heard last
    if (!whyCut_.empty()) return {whyCut_, {}};
    std::string text = oneLine(PQerrorMessage(connection_.get()));
    return {text.empty() ? "the connection to the server is lost" : text, {}};
}

void PgConnection::queue(const PgStatement& statement, Take take, Failed failed) {
    std::vector<Oid> types;
    std::vector<const char*> values;
    std::vector<int> lengths;
    std::vector<int> formats;
    for (const PgParameter& parameter : statement.parameters) {
        types.push_back(parameter.type);
        values.push_back(parameter.bytes.data());
        lengths.push_back(static_cast<int>(parameter.bytes.size()));
        formats.push_back(binaryFormat);
    }
    commands_.push_back({std::move(take), std::move(failed)});
    if (PQsendQueryParams(connection_.get(), statement.sql.c_str(), static_cast<int>(types.size()), types.data(),
                          values.data(), lengths.data(), formats.data(), binaryFormat) != 1) {
        const Failed tell = std::move(commands_.back().failed);
        commands_.pop_back();
        const PgError error = lastError();
        if (tell) tell(error);
        throw PgError(error);
    }
    send();
}

// Gives the kernel what it takes now; the rest goes out with advance(), or while finish() waits.
void PgConnection::send() noexcept {
    static_cast<void>(PQflush(connection_.get()));
}

void PgConnection::advance() noexcept {
    if (commands_.empty() || isLost()) return;
    send();
    // A connection that is lost here shows when its commands are finished.
    static_cast<void>(PQconsumeInput(connection_.get()));
}

// The request goes over a connection of its own, which may wait for longer than anybody should.
void PgConnection::cancel() noexcept {
    cancelled_ = true;
    try {
        const std::shared_ptr<PGcancel> request(PQgetCancel(connection_.get()), &PQfreeCancel);
        if (!request) return;
        std::thread([request] {
            std::array<char, 256> why{};
            static_cast<void>(PQcancel(request.get(), why.data(), static_cast<int>(why.size())));
        }).detach();
    } catch (const std::exception&) {
        cancelled_ = false;  // the next look tries again; in the end the connection will be cut
    }
}

// From now on the connection is lost, as if the server had gone.
void PgConnection::cut(const std::string& why) {
    if (whyCut_.empty()) whyCut_ = why;
    static_cast<void>(::shutdown(PQsocket(connection_.get()), SHUT_RDWR));
}

void PgConnection::watchStop() {
    if (!stop_ || !stop_->load(std::memory_order_relaxed)) {
        cancelled_ = false;
        return;
    }
    if (stoppedAt_ == Clock::time_point{}) stoppedAt_ = Clock::now();
    if (!cancelled_) cancel();
    if (onStop_ == OnStop::Cut && Clock::now() - stoppedAt_ > cancelTakes) cut("interrupted");
}

// Keeps a server that is gone, or an answer that is lost, from being waited for.
void PgConnection::watchServer(bool heard) {
    int unsent = 0;
    if (ioctl(PQsocket(connection_.get()), TIOCOUTQ, &unsent) != 0) unsent = 0;
    const Clock::time_point now = Clock::now();
    if (heard || std::exchange(unsent_, unsent) != unsent) {
        heardAt_ = now;
        doubted_ = false;
    }
    if (patience_ == decltype(patience_)::zero() || process_.empty()) return;
    if (now - heardAt_ < (doubted_ ? patience_ : quietWaits * patience_)) return;
    if (doubted_)
        return cut("the server has not answered for " + std::to_string((1 + quietWaits) * patience_.count()) +
                   " seconds");
    doubted_ = serverIsGone();
    heardAt_ = Clock::now();
}

// Only what is certain: no answer in time, or a server that does nothing for us.
bool PgConnection::serverIsGone() const {
    const Clock::time_point deadline = Clock::now() + patience_;
    const RawConnection other(connectWith(settings_,
                                          {{"host", PQhost(connection_.get())},
                                           {"hostaddr", PQhostaddr(connection_.get())},
                                           {"port", PQport(connection_.get())},
                                           {"target_session_attrs", "any"}},
                                          &PQconnectStartParams),
                              &PQfinish);
    if (!other) return false;
    if (const Opened opened = open(other.get(), deadline); opened != Opened::Yes) return opened == Opened::NotInTime;
    // Another server than ours may answer behind one address; and what does not tell its state may well be working. A
    // session that waits for its client has nothing to do.
    constexpr const char* sql =
        "SELECT extract(epoch FROM pg_postmaster_start_time())::text = $1 AND NOT EXISTS (SELECT FROM pg_stat_activity "
        "WHERE pid = $2::int AND coalesce(state, '') NOT LIKE 'idle%' AND wait_event_type IS DISTINCT FROM 'Client')";
    const std::array<const char*, 2> values{serverStart_.c_str(), process_.c_str()};
    const PgResult answer = askWithin(other.get(), sql, values, deadline);
    if (!answer.isThere()) return true;
    return answer.rows() == 1 && answer.boolean(0, 0);
}

// False when the connection is lost.
bool PgConnection::wait(bool sending) {
    pollfd waiting{PQsocket(connection_.get()), static_cast<short>(sending ? POLLIN | POLLOUT : POLLIN), 0};
    const bool heard = poll(&waiting, 1, stopCheckMilliseconds) > 0;
    watchStop();
    watchServer(heard);
    return !heard || PQconsumeInput(connection_.get()) == 1;
}

// Null when the statement has no more results.
pg_result* PgConnection::nextResult() {
    for (;;) {
        if (PQisBusy(connection_.get()) == 0) return PQgetResult(connection_.get());
        const int unsent = PQflush(connection_.get());
        // Where the connection is lost, the next result says so.
        if (unsent < 0 || isLost() || !wait(unsent == 1)) return PQgetResult(connection_.get());
    }
}

void PgConnection::readCommands(std::vector<PgResult>& results, std::unique_ptr<PgError>& failure,
                                std::size_t& failedAt) {
    const auto note = [&](std::size_t command, const PgError& error) {
        if (failure) return;
        failure = std::make_unique<PgError>(error);
        failedAt = command;
    };
    for (std::size_t i = 0; i < commands_.size(); ++i) {
        pg_result* result = nextResult();
        PgResult held(result);
        if (!result) return note(i, lastError());
        switch (PQresultStatus(result)) {
            case PGRES_COMMAND_OK:
            case PGRES_TUPLES_OK:
                results[i] = std::move(held);
                break;
            case PGRES_PIPELINE_ABORTED:
                break;
            default:
                note(i, errorOf(result));
        }
        // What has been answered is not lost with the connection.
        while (pg_result* more = isLost() ? nullptr : nextResult()) PQclear(more);  // ends with null
        if (isLost()) return note(i + 1, lastError());
    }
    while (pg_result* result = nextResult()) {
        const bool atSync = PQresultStatus(result) == PGRES_PIPELINE_SYNC;
        PQclear(result);
        if (atSync) return;
        if (isLost()) break;
    }
    note(commands_.size(), lastError());
}

void PgConnection::finish(OnStop onStop) {
    if (commands_.empty()) return;
    onStop_ = onStop;
    doubted_ = false;
    stoppedAt_ = {};
    heardAt_ = Clock::now();
    std::vector<PgResult> results(commands_.size());
    std::unique_ptr<PgError> failure;
    std::size_t failedAt = 0;
    // What the server said before the connection was lost may have been read already.
    try {
        if (PQpipelineSync(connection_.get()) == 1 || isLost())
            readCommands(results, failure, failedAt);
        else
            failure = std::make_unique<PgError>(lastError());
    } catch (...) {
        // Whose answer the next one is, nobody knows any more.
        cut("an answer of the server could not be read");
        throw;
    }
    const std::vector<Command> commands = std::exchange(commands_, {});
    // What was carried out before a failure is not lost with it.
    for (std::size_t i = 0; i < (failure ? failedAt : commands.size()); ++i)
        if (commands[i].take) commands[i].take(std::move(results[i]));
    if (!failure) return;
    if (failedAt < commands.size() && commands[failedAt].failed) commands[failedAt].failed(*failure);
    throw PgError(*failure);
}

PgResult PgConnection::run(const PgStatement& statement) {
    PgResult answer;
    queue(statement, [&](PgResult&& result) { answer = std::move(result); });
    finish();
    return answer;
}

}  // namespace embedded_host
