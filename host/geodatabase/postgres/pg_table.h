// A table of a database on a PostgreSQL server.
#pragma once

#include "host/geodatabase/base/table.h"
#include "host/geodatabase/postgres/pg_catalog.h"
#include "host/geodatabase/postgres/pg_dataset.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace embedded_host {

/// Rows are identified by a column of whole numbers that is unique and never NULL. What has none (most views) can be
/// asked but not run over: a selection then keeps the rows that it found, under ids that it makes up.
class PgTable final : public Table {
public:
    PgTable(const std::shared_ptr<PgDataset>& dataset, const PgRelation& relation);

    PgDataset& dataset() const noexcept { return dataset_; }
    bool hasKey() const noexcept override { return !keySql_.empty(); }
    void refresh() override;
    ObjectIds select(const std::string& where, bool onlyOne, const ColumnSet& ahead) override;
    std::optional<Refusal> whyRefused(const std::string& where) override;
    ObjectIds restrict(const ObjectIds& ids, const std::string& where) override;
    std::unique_ptr<RowReader> read(const ColumnSet& columns, SharedIds ids) override;
    bool fetch(ObjectId id, const ColumnSet& columns, Cells& cells) override;
    bool update(ObjectId id, const ColumnSet& columns, const Cells& cells) override;

    const std::string& sqlName() const noexcept { return sqlName_; }
    const std::string& keySql() const noexcept { return keySql_; }
    const PgColumn& column(std::size_t position) const { return columns_[position]; }
    /// SELECT of the key and the columns, up to and with FROM.
    std::string selection(const ColumnSet& columns) const;
    /// Fills the columns from a row of such a selection.
    void readRow(const PgResult& result, int row, const ColumnSet& columns, Cells& cells) const;

private:
    void describe();
    void requireKey() const;
    PgResult ask(const PgStatement& statement, const std::string& where);
    ObjectIds selectRows(const std::string& where, bool onlyOne);
    ObjectIds allIds(const std::string& sql, const std::string& where);

    PgDataset& dataset_;  // kept alive by the base
    PgRelation relation_;
    std::string sqlName_;
    std::string keySql_;
    std::vector<PgColumn> columns_;
    // Of a table without key: the rows of the last selection.
    std::map<ObjectId, Cells> keptRows_;
    ObjectId lastKept_ = 0;
};

}  // namespace embedded_host
