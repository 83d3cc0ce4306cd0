// The one connection of a dataset on a PostgreSQL server. Statements are queued and sent at once, so that the server
// works while the caller goes on; finish() waits for all of them.
#pragma once

#include "host/host_error.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct pg_conn;
struct pg_result;

namespace embedded_host {

/// What the server, or the way to it, said.
class PgError : public HostError {
public:
    /// \param sqlState the server's five characters; empty when the connection itself failed.
    PgError(const std::string& text, std::string sqlState) : HostError(text), sqlState_(std::move(sqlState)) {}
    const std::string& sqlState() const noexcept { return sqlState_; }

private:
    std::string sqlState_;
};

/// The rows that a statement gave, with values in the server's binary form.
class PgResult {
public:
    PgResult() = default;
    explicit PgResult(pg_result* result) noexcept : result_(result) {}

    /// Whether the statement was carried out.
    bool isThere() const noexcept { return result_ != nullptr; }
    int rows() const noexcept;
    int columns() const noexcept;
    bool isNull(int row, int column) const noexcept;
    std::string_view bytes(int row, int column) const noexcept;
    std::int64_t int64(int row, int column) const noexcept;
    bool boolean(int row, int column) const noexcept { return bytes(row, column) == std::string_view("\1", 1); }
    std::string text(int row, int column) const { return std::string(bytes(row, column)); }
    /// The bytes that the result takes.
    std::size_t memory() const noexcept;
    /// How many rows a statement changed.
    std::int64_t changed() const noexcept;
    /// The command that was carried out, as the server names it.
    std::string_view command() const noexcept;

private:
    struct Clear {
        void operator()(pg_result* result) const noexcept;
    };
    std::unique_ptr<pg_result, Clear> result_;
};

/// A parameter in the server's binary form.
struct PgParameter {
    unsigned type;  // the type's number on every server
    std::string bytes;
};

struct PgStatement {
    std::string sql;
    std::vector<PgParameter> parameters;
};

class PgConnection {
public:
    using Take = std::function<void(PgResult&&)>;
    using Failed = std::function<void(const PgError&)>;

    /// What a wait does when it is to stop: the server is asked to cancel; when that does not help at once, the
    /// connection is cut, or waited for all the same.
    enum class OnStop { Cut, Wait };

    /// Waits for a server that does not answer as long as the setting connect_timeout says, 10 seconds without it; 0:
    /// for ever.
    /// \param settings libpq's connection string. \param stop when it turns true, waits end; null: never.
    /// \throws HostError with libpq's words.
    PgConnection(const std::string& settings, const std::atomic<bool>* stop);
    ~PgConnection();
    PgConnection(const PgConnection&) = delete;
    PgConnection& operator=(const PgConnection&) = delete;

    std::string database() const;
    /// The server's version as libpq counts.
    int serverVersion() const noexcept;
    /// Tells which of the server's sessions works for the connection now: the number of its process, and when the
    /// server was started, in seconds. Without it, a server that says nothing is waited for without asking.
    void setSession(std::string process, std::string serverStart);

    /// Sends a statement and does not wait.
    /// \param take called by finish() with the result; may be empty.
    /// \param failed called by finish() when this is the first statement that failed; may throw.
    void queue(const PgStatement& statement, Take take, Failed failed = {});
    /// Sends and reads as much as goes without waiting, so that the server need not wait for a caller that works long
    /// between queue() and finish().
    void advance() noexcept;
    /// Waits for all that was queued. Statements behind one that failed are not carried out. A server that says nothing
    /// for three times connect_timeout is asked, over a second connection, whether it works for this one; if it does
    /// not answer, or does not, the connection is lost.
    /// \throws PgError the first failure, after its `failed` was told.
    void finish(OnStop onStop = OnStop::Cut);
    /// Queues a statement and finishes.
    PgResult run(const PgStatement& statement);

    /// Whether nothing is queued.
    bool isIdle() const noexcept { return commands_.empty(); }
    bool isLost() const noexcept;

private:
    struct Command {
        Take take;
        Failed failed;
    };
    struct Close {
        void operator()(pg_conn* connection) const noexcept;
    };

    using Clock = std::chrono::steady_clock;

    static void hear(void* self, const pg_result* notice);
    void send() noexcept;
    bool wait(bool sending);
    void watchStop();
    void watchServer(bool heard);
    bool serverIsGone() const;
    void cancel() noexcept;
    void cut(const std::string& why);
    pg_result* nextResult();
    void readCommands(std::vector<PgResult>& results, std::unique_ptr<PgError>& failure, std::size_t& failedAt);
    PgError lastError() const;
    PgError errorOf(const pg_result* result) const;

    std::string settings_;
    std::unique_ptr<pg_conn, Close> connection_;
    std::chrono::seconds patience_{};  // 0: without end
    std::vector<Command> commands_;
    std::string whyCut_;  // why the connection is lost, in better words than libpq's
    // The server's session.
    std::string process_;
    std::string serverStart_;
    // Of the wait that goes on.
    const std::atomic<bool>* stop_;
    OnStop onStop_ = OnStop::Cut;
    bool cancelled_ = false;
    bool doubted_ = false;  // the server does not work for us, but its answer may still be on its way
    int unsent_ = 0;
    Clock::time_point stoppedAt_;
    Clock::time_point heardAt_;  // the last sign of life
};

}  // namespace embedded_host
