// A database of a test's own on the private server.
#pragma once

#include "host/chart.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

struct pg_conn;

namespace postgres_test {

using host_test::Access;
using host_test::GdalWorkspace;

/// One connection of somebody else's, for looking and for getting in the way.
class Session {
public:
    Session(const std::string& server, const std::string& database, const std::string& user = "admin");

    /// Runs SQL. \return its rows, columns separated by |, NULL as "-". Failures are the test's.
    std::vector<std::string> sql(const std::string& text);

private:
    struct Close {
        void operator()(pg_conn* connection) const noexcept;
    };
    std::unique_ptr<pg_conn, Close> connection_;
};

/// Skipped with a reason where no server is installed.
class DatabaseTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// The connection string for a role of the server.
    std::string dataset(const std::string& user = "admin") const;
    std::shared_ptr<GdalWorkspace> open(Access access = Access::Update, const std::string& user = "admin") const {
        return GdalWorkspace::open(dataset(user), access);
    }
    std::vector<std::string> sql(const std::string& text) { return admin_->sql(text); }
    /// Ends every connection but the administrator's, as an administrator does.
    void cutConnections();

    std::string server_;  // the folder of its socket
    std::string database_;
    std::unique_ptr<Session> admin_;
};

}  // namespace postgres_test
