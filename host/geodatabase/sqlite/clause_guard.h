// Where clauses may read and nothing else, whatever functions they call.
#pragma once

struct sqlite3;

namespace embedded_host {

/// A connection's functions can run SQL of their own: GDAL brings some that drop an index, SpatiaLite some that drop a
/// table, and a clause, made of a row's values perhaps, can call them all. The guard refuses that SQL while a clause is
/// at work. It is set up once, because SQLite prepares all statements anew when it changes.
class ClauseGuard {
public:
    enum class Phase {
        Off,
        Preparing,  ///< Virtual tables, spatial indexes for one, prepare statements for their own tables then.
        Running,
    };

    ClauseGuard() = default;
    ClauseGuard(const ClauseGuard&) = delete;
    ClauseGuard& operator=(const ClauseGuard&) = delete;

    /// Must outlive the connection.
    void watch(sqlite3* connection) noexcept;

private:
    friend class ClauseScope;
    static int authorize(void* guard, int action, const char* first, const char* second, const char* database,
                         const char* trigger) noexcept;

    Phase phase_ = Phase::Off;
};

/// A clause is at work while it lives.
class ClauseScope {
public:
    ClauseScope(ClauseGuard& guard, ClauseGuard::Phase phase) noexcept : guard_(guard) { guard_.phase_ = phase; }
    ~ClauseScope() { guard_.phase_ = ClauseGuard::Phase::Off; }
    ClauseScope(const ClauseScope&) = delete;
    ClauseScope& operator=(const ClauseScope&) = delete;

    /// Its statement is prepared and runs from now on.
    void run() noexcept { guard_.phase_ = ClauseGuard::Phase::Running; }

private:
    ClauseGuard& guard_;
};

}  // namespace embedded_host
