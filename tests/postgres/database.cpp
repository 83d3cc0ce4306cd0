#include "postgres/database.h"

#include <libpq-fe.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace postgres_test {

void Session::Close::operator()(pg_conn* connection) const noexcept {
    PQfinish(connection);
}

Session::Session(const std::string& server, const std::string& database, const std::string& user)
    : connection_(PQconnectdb(("host=" + server + " dbname=" + database + " user=" + user).c_str())) {
    if (PQstatus(connection_.get()) != CONNECTION_OK) throw std::runtime_error(PQerrorMessage(connection_.get()));
    PQsetNoticeProcessor(connection_.get(), [](void*, const char*) {}, nullptr);
}

std::vector<std::string> Session::sql(const std::string& text) {
    const std::unique_ptr<PGresult, void (*)(PGresult*)> result(PQexec(connection_.get(), text.c_str()), PQclear);
    const ExecStatusType status = PQresultStatus(result.get());
    EXPECT_TRUE(status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) << text << '\n'
                                                                         << PQerrorMessage(connection_.get());
    std::vector<std::string> rows;
    for (int row = 0; row < PQntuples(result.get()); ++row) {
        std::string& line = rows.emplace_back();
        for (int column = 0; column < PQnfields(result.get()); ++column) {
            if (column > 0) line += '|';
            line += PQgetisnull(result.get(), row, column) ? "-" : PQgetvalue(result.get(), row, column);
        }
    }
    return rows;
}

void DatabaseTest::SetUp() {
    const char* state = std::getenv("CXML_TEST_SERVER");
    ASSERT_TRUE(state) << "CXML_TEST_SERVER names no file; run the tests with ctest, which starts a server";
    std::getline(std::ifstream(state), server_);
    if (server_.starts_with("none: ")) GTEST_SKIP() << server_.substr(6);
    ASSERT_FALSE(server_.empty()) << state;
    database_ = "t" + std::to_string(getpid());
    Session(server_, "postgres").sql("CREATE DATABASE " + database_);
    admin_ = std::make_unique<Session>(server_, database_);
}

void DatabaseTest::TearDown() {
    admin_.reset();
    if (!database_.empty()) Session(server_, "postgres").sql("DROP DATABASE " + database_ + " WITH (FORCE)");
}

std::string DatabaseTest::dataset(const std::string& user) const {
    return "PG:host='" + server_ + "' dbname=" + database_ + " user=" + user;
}

void DatabaseTest::cutConnections() {
    sql("SELECT pg_terminate_backend(pid, 5000) FROM pg_stat_activity "
        "WHERE datname = current_database() AND pid <> pg_backend_pid()");
}

}  // namespace postgres_test
