// Tables of Arrow data that rules ask about: a database in memory, so that where clauses keep their SQL.
#pragma once

#include "host/geodatabase/base/dataset.h"

#include <nanoarrow.h>

#include <atomic>
#include <memory>
#include <string>

namespace embedded_host {

/// A dataset without a file. Used from one thread at a time.
class RelatedTables {
public:
    /// \param stop when it turns true, statements end with an error; null: never. Must outlive the dataset.
    explicit RelatedTables(const std::atomic<bool>* stop = nullptr);
    ~RelatedTables();
    RelatedTables(const RelatedTables&) = delete;
    RelatedTables& operator=(const RelatedTables&) = delete;

    /// Reads the stream to its end into a table; rows are numbered from 1. Columns that cannot be read are left out.
    /// \param stream is moved from, also when this throws. \throws HostError, naming the table, also when there is one.
    void add(const std::string& name, ArrowArrayStream& stream);

    /// What the tables are in, for runs; they may go on after this has ended.
    std::shared_ptr<Dataset> dataset() const;

private:
    class Content;

    std::shared_ptr<Content> content_;
};

}  // namespace embedded_host
