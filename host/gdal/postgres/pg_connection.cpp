// The one connection of a dataset on a PostgreSQL server.
#include "host/gdal/postgres/pg_connection.h"

#include "host/gdal/postgres/pg_values.h"

#include <libpq-fe.h>
#include <poll.h>

#include <array>
#include <charconv>
#include <optional>
#include <utility>

namespace embedded_host {

namespace {

constexpr int binaryFormat = 1;
constexpr int stopCheckMilliseconds = 200;

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

PgError errorOf(const PGresult* result) {
    std::string text = field(result, PG_DIAG_MESSAGE_PRIMARY);
    if (text.empty()) return {oneLine(PQresultErrorMessage(result)), {}};
    text = field(result, PG_DIAG_SEVERITY_NONLOCALIZED) + ": " + text;
    if (const std::string detail = field(result, PG_DIAG_MESSAGE_DETAIL); !detail.empty()) text += "; " + detail;
    if (const std::string hint = field(result, PG_DIAG_MESSAGE_HINT); !hint.empty()) text += "; " + hint;
    return {oneLine(text), field(result, PG_DIAG_SQLSTATE)};
}

}  // namespace

void PgResult::Clear::operator()(pg_result* result) const noexcept {
    PQclear(result);
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

PgConnection::PgConnection(const std::string& settings) : connection_(PQconnectdb(settings.c_str())) {
    if (!connection_) throw HostError("out of memory");
    if (PQstatus(connection_.get()) != CONNECTION_OK) throw HostError(oneLine(PQerrorMessage(connection_.get())));
    if (PQsetClientEncoding(connection_.get(), "UTF8") != 0 || PQenterPipelineMode(connection_.get()) != 1 ||
        PQsetnonblocking(connection_.get(), 1) != 0)
        throw lastError();
    PQsetNoticeProcessor(connection_.get(), [](void*, const char*) {}, nullptr);
}

PgConnection::~PgConnection() = default;

std::string PgConnection::database() const {
    return PQdb(connection_.get());
}

bool PgConnection::isLost() const noexcept {
    return PQstatus(connection_.get()) != CONNECTION_OK;
}

PgError PgConnection::lastError() const {
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

void PgConnection::cancel() noexcept {
    cancelled_ = true;
    if (PGcancel* request = PQgetCancel(connection_.get())) {
        std::array<char, 256> why{};
        static_cast<void>(PQcancel(request, why.data(), static_cast<int>(why.size())));
        PQfreeCancel(request);
    }
}

// False when the connection is lost.
bool PgConnection::wait(bool sending) {
    pollfd waiting{PQsocket(connection_.get()), static_cast<short>(sending ? POLLIN | POLLOUT : POLLIN), 0};
    static_cast<void>(poll(&waiting, 1, stopCheckMilliseconds));
    if (stop_ && stop_->load(std::memory_order_relaxed) && !cancelled_) cancel();
    return waiting.revents == 0 || PQconsumeInput(connection_.get()) == 1;
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
        if (isLost()) return note(i, lastError());
        while (pg_result* more = nextResult()) PQclear(more);  // ends with null
        if (isLost()) return note(i, lastError());
    }
    while (pg_result* result = nextResult()) {
        const bool atSync = PQresultStatus(result) == PGRES_PIPELINE_SYNC;
        PQclear(result);
        if (atSync) return;
        if (isLost()) break;
    }
    note(commands_.size() - 1, lastError());
}

void PgConnection::finish() {
    if (commands_.empty()) return;
    cancelled_ = false;
    std::vector<PgResult> results(commands_.size());
    std::unique_ptr<PgError> failure;
    std::size_t failedAt = 0;
    // What the server said before the connection was lost may have been read already.
    if (PQpipelineSync(connection_.get()) == 1 || isLost())
        readCommands(results, failure, failedAt);
    else
        failure = std::make_unique<PgError>(lastError());
    const std::vector<Command> commands = std::exchange(commands_, {});
    // What was carried out before a failure is not lost with it.
    for (std::size_t i = 0; i < (failure ? failedAt : commands.size()); ++i)
        if (commands[i].take) commands[i].take(std::move(results[i]));
    if (!failure) return;
    if (commands[failedAt].failed) commands[failedAt].failed(*failure);
    throw PgError(*failure);
}

PgResult PgConnection::run(const PgStatement& statement) {
    PgResult answer;
    queue(statement, [&](PgResult&& result) { answer = std::move(result); });
    finish();
    return answer;
}

}  // namespace embedded_host
