// What a dataset on a database server knows besides.
#pragma once

#include <string>

namespace embedded_host {

/// The parts of a table's name on a server; what was not given is empty.
struct TableName {
    std::string database;
    std::string owner;
    std::string table;
};

/// All of it may throw HostError.
class DatabaseServer {
public:
    virtual std::string connectedDatabase() = 0;
    virtual std::string connectedUser() = 0;
    virtual TableName parseName(const std::string& name) const = 0;
    virtual std::string qualifiedName(const TableName& name) const = 0;

protected:
    ~DatabaseServer() = default;
};

}  // namespace embedded_host
