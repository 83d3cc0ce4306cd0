// Where clauses may read and nothing else.
#include "host/geodatabase/sqlite/clause_guard.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>

namespace embedded_host {

namespace {

// What these do comes when the clause is long done, or outside of the database: GDAL drops and makes indexes later, the
// pause is that of the process.
bool isRefusedFunction(const char* name) noexcept {
    constexpr std::array refused{"CreateSpatialIndex", "DisableSpatialIndex", "ImportFromEPSG",
                                 "load_extension",     "EnablePause",         "Pause"};
    return std::ranges::any_of(refused, [name](const char* one) { return sqlite3_stricmp(name, one) == 0; });
}

}  // namespace

void ClauseGuard::watch(sqlite3* connection) noexcept {
    sqlite3_set_authorizer(connection, authorize, this);
}

int ClauseGuard::authorize(void* guard, int action, const char* /*first*/, const char* second, const char* /*database*/,
                           const char* /*trigger*/) noexcept {
    const Phase phase = static_cast<const ClauseGuard*>(guard)->phase_;
    if (phase == Phase::Off) return SQLITE_OK;
    switch (action) {
        case SQLITE_SELECT:
        case SQLITE_READ:
        case SQLITE_RECURSIVE:
            return SQLITE_OK;
        case SQLITE_FUNCTION:
            return second && isRefusedFunction(second) ? SQLITE_DENY : SQLITE_OK;
        case SQLITE_INSERT:
        case SQLITE_UPDATE:
        case SQLITE_DELETE:
            return phase == Phase::Preparing ? SQLITE_OK : SQLITE_DENY;
        default:
            return SQLITE_DENY;
    }
}

}  // namespace embedded_host
