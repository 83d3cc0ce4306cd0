// Prepared statements that are kept for the sets of columns that they are for.
#pragma once

#include "host/geodatabase/base/table_schema.h"
#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace embedded_host {

/// Callers ask for few different sets; the oldest statement goes when there are many.
class StatementCache {
public:
    /// The statement for the columns, prepared from `makeSql()` when it is not known. \throws HostError
    template <class MakeSql>
    SqliteStatement& statementFor(const ColumnSet& columns, sqlite3* connection, MakeSql&& makeSql) {
        const auto found = std::ranges::find_if(known_, [&](const Prepared& entry) { return entry.first == columns; });
        if (found != known_.end()) return *found->second;
        constexpr std::size_t mostStatements = 32;
        if (known_.size() >= mostStatements) known_.erase(known_.begin());
        known_.emplace_back(columns, std::make_unique<SqliteStatement>(connection, makeSql()));
        return *known_.back().second;
    }
    void clear() noexcept { known_.clear(); }

private:
    using Prepared = std::pair<ColumnSet, std::unique_ptr<SqliteStatement>>;

    std::vector<Prepared> known_;
};

}  // namespace embedded_host
