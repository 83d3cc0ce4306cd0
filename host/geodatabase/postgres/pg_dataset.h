// A database on a PostgreSQL server, over one connection of its own: rows, names and transactions.
#pragma once

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/postgres/pg_catalog.h"
#include "host/geodatabase/postgres/pg_writer.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace embedded_host {

/// GDAL's driver has its connection for itself, and a second one would be a second transaction: what a run reads, asks
/// and writes goes through this one. A failure that ends the transaction is remembered until it is rolled back, and
/// told to the monitor, because the library ignores failures of single rows and queries.
class PgDataset final : public Dataset, private DatabaseServer {
public:
    /// \throws HostError
    PgDataset(const std::string& name, Access access, const WorkspaceOptions& options);
    ~PgDataset() override;

    WorkspaceType type() const noexcept override { return workspaceRemoteDatabase; }
    DatabaseServer* server() noexcept override { return this; }
    std::vector<Entry> entries() override;
    std::optional<Entry> find(const std::string& layer) override;
    std::shared_ptr<Table> table(const std::string& layer) override;
    std::int64_t rowCount(const std::string& /*layer*/) override { return -1; }
    void addFields(Table& table, const std::vector<FieldRequest>& requests) override;
    void expectStyles(bool createTable) override;
    ShapeValues shapeValues(const std::string& layer, const std::string& field) override;
    std::vector<KeptDefault> writeStyles(const std::vector<StyledLayer>& layers) override;
    void begin() override;
    void commit() override;
    void rollback() noexcept override;
    void checkWritable() const override;

    /// Asks something that may fail without harm to the transaction; what was written before is seen. The statement may
    /// read and nothing else, whatever functions it calls: the server refuses what would write, and what it sets for
    /// the session is taken back.
    /// \throws PgError; HostError when the transaction has broken.
    PgResult ask(const PgStatement& statement);
    /// Has the server prepare a question and asks nothing. Not within a transaction.
    /// \return nothing when the server takes it. \throws HostError
    std::optional<Refusal> whyRefused(const std::string& question);
    /// Runs `questions` in a transaction of its own that only reads and is rolled back. Not within another transaction.
    /// \throws PgError
    void readOnly(const std::function<void()>& questions);
    /// Queues a statement. Outside a transaction, what is queued until the next finish() is one of its own.
    /// \throws PgError
    void send(const PgStatement& statement, PgConnection::Take take, PgConnection::Failed failed = {});
    /// Waits for what the connection has to do. \throws PgError; HostError when the connection is lost.
    void finish();
    /// Ends the run: remembers and throws HostError.
    [[noreturn]] void breakRun(const std::string& text);
    /// \throws HostError when the run has broken.
    void checkRun() const;
    void noteChange() noexcept { changed_ = true; }

    bool inTransaction() const noexcept { return inTransaction_; }
    /// Tells transactions apart; cursors end with theirs.
    int transactionNumber() const noexcept { return transactionNumber_; }
    PgConnection& connection() noexcept { return connection_; }
    PgCatalog& catalog() noexcept { return catalog_; }
    PgWriter& writer() noexcept { return writer_; }

private:
    PgDataset(const PgSettings& settings, Access access, const WorkspaceOptions& options,
              std::unique_ptr<PgConnection> connection);

    std::string connectedDatabase() override;
    std::string connectedUser() override;
    TableName parseName(const std::string& name) const override { return parseTableName(name); }
    std::string qualifiedName(const TableName& name) const override { return qualifyTableName(name); }

    void setUp();
    PgStatement settingsOf(const PgSettings& settings, const WorkspaceOptions& options) const;
    void queueBegin(const char* sql);
    void queueSettings();
    // Runs `question`, whose failures then begin with the database's name.
    template <class Question>
    auto named(Question&& question);
    void tell(const std::string& failure);
    PgResult askInTransaction(const PgStatement& statement);
    PgResult askAlone(const PgStatement& statement);
    std::optional<PgRelation> resolve(const std::string& layer);
    PgRelation relation(const std::string& layer);

    std::unique_ptr<PgConnection> ownedConnection_;
    PgConnection& connection_;
    PgCatalog catalog_;
    PgWriter writer_;
    std::vector<std::string> listedSchemas_;
    PgStatement transactionSettings_;
    bool inTransaction_ = false;
    int transactionNumber_ = 0;
    bool changed_ = false;
    std::string broken_;
    std::map<std::string, std::weak_ptr<Table>> tables_;
};

}  // namespace embedded_host
