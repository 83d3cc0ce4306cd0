// The hosts that the library runs in, each as who uses it has it: what they make of a case, in one form.
#pragma once

#include "conformance/rows_file.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace conformance {

/// What became of one table.
struct LayerAnswer {
    std::string title;
    std::string failure;  // why the run failed; empty when it did not
    std::int64_t rows = 0;
    std::int64_t changed = 0;
    std::vector<std::pair<std::string, std::uint64_t>> messages;  // each text once, in the order of their first coming
    Table after;
};

class Host {
public:
    virtual ~Host() = default;
    virtual std::string name() const = 0;
    /// The case's runs, in their order, over tables of this host's own.
    virtual std::vector<LayerAnswer> run(const Case& which) = 0;
};

/// The tests' own host in memory, with the exported class.
std::unique_ptr<Host> makeMemoryHost();
/// GeoPackages, with the one call.
std::unique_ptr<Host> makeGeoPackageHost();
/// The tables of a database, which may be emptied, with the one call.
/// \param dataset as the one call has it. \param connection as libpq has it. \param names whether messages have the
/// server's names of tables, or those of the case.
enum class Names { AsElsewhere, AsTheyAre };
std::unique_ptr<Host> makePostgresHost(std::string dataset, const std::string& connection,
                                       Names names = Names::AsElsewhere);
/// Streams, with the C interface. \param batchRows how many rows a batch has.
std::unique_ptr<Host> makeArrowHost(std::size_t batchRows);

/// The differences of the answers, one a line, each with case, host, table, row and field; at most ten.
std::vector<std::string> differences(const Case& which, const std::string& oneHost, const std::vector<LayerAnswer>& one,
                                     const std::string& otherHost, const std::vector<LayerAnswer>& other);

}  // namespace conformance
