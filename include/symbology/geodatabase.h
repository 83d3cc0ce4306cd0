// One call that symbolizes a dataset: a GeoPackage, an SQLite file, or a database on a PostgreSQL server.
#pragma once

#include "platform/export.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#ifdef SYMBOLOGY_GEODATABASE_BUILDING
#define SYMBOLOGY_GEODATABASE_API SYMBOLOGY_DLL_EXPORT
#else
#define SYMBOLOGY_GEODATABASE_API SYMBOLOGY_DLL_IMPORT
#endif

namespace symbology {

// All texts are UTF-8.

/// Nothing was run: what() says in one line why, and names the file, dataset, layer or field.
class SYMBOLOGY_GEODATABASE_API Error : public std::runtime_error {
public:
    /// \param text one line.
    explicit Error(const std::string& text);
    ~Error() override;
};

// NOLINTBEGIN(readability-redundant-member-init): designated initializers leave them out
/// How a dataset is symbolized. Any of them may be named alone: {.where = "..."}.
struct SymbolizeOptions {
    /// Names of layers, run in this order; empty: all whose title, or else name, the document configures.
    std::vector<std::string> layers{};
    /// Whether SYMBOL_C, the placement fields and those that expressions compute are added to the layers that lack
    /// them, before the first layer runs. Added fields stay, whatever becomes of the runs.
    bool addMissingFields = false;
    /// The rows to visit, as an SQL condition of the dataset; none: all. One that is empty or blank is refused.
    std::optional<std::string> where{};
    /// By layer, the field with the subtypes' codes. A layer that is not named has that of the dataset, if any.
    std::map<std::string, std::string> subtypeFields{};
    /// Seconds, 0 to a million, to wait for what someone else has locked; none: 5 for a file, 30 on a server. In
    /// a file all waits together, and 0 is not to wait; on a server each wait, and 0 is for ever.
    std::optional<double> lockTimeout{};
};
// NOLINTEND(readability-redundant-member-init)

/// A text that was said, and how often.
struct Message {
    std::string text;     ///< one line
    std::uint64_t count;  ///< from 1
};

/// Some rows: how many, and the first 20 ids.
struct Rows {
    std::int64_t count = 0;         ///< of all of them
    std::vector<std::int64_t> ids;  ///< of the first, in the order of the run
};

/// What became of a layer.
struct LayerOutcome {
    std::string layer;  ///< its name
    /// Whether the run failed: the layer's rows are then what they were before.
    bool failed = false;
    /// Why, in one line; empty when it did not.
    std::string why;
    std::int64_t rows = 0;     ///< visited
    std::int64_t changed = 0;  ///< written
    /// What was said, each text once, in the order of their first coming: of 10,000 different ones.
    std::vector<Message> messages;
    /// Rows with a value that is not of its field's type. They make no run fail.
    Rows unreadable;
    /// Rows with a value that a field did not take: it keeps what it had. Likewise.
    Rows refused;
};

/// What became of a dataset.
struct Outcome {
    /// In the order of their runs; empty when the document configures none of the dataset's layers.
    std::vector<LayerOutcome> layers;
    /// What was said while the document loaded.
    std::vector<Message> documentMessages;

    /// Whether any layer's run failed.
    bool failed() const { return std::ranges::any_of(layers, &LayerOutcome::failed); }
};

/// Told of each text when it first comes, on the thread of the call. The source is the layer, the document's path while
/// it loads, or empty for what concerns the whole call. It may throw: the layer that runs is rolled back then, no other
/// one runs, and the exception leaves the call. It must not call symbolize().
using MessageListener = std::function<void(std::string_view source, std::string_view text)>;

/// Decides the symbols of the dataset's rows and writes them. Each layer is a transaction of its own, all or nothing:
/// one that fails is rolled back, and the next one runs.
///
/// May be called from any thread; calls of several threads run one after the other. No other thread may load documents
/// or symbolize through SymbologyManager meanwhile. A document with expressions needs a Python that the process has
/// initialised, and whose lock the caller does not hold. Nothing is written to the standard streams but what
/// expressions print.
/// \param dataset a path, or "PG:" with a connection string. \param document the path of a rule document.
/// \param messages may be empty.
/// \throws Error when the document does not load, the dataset cannot be opened or written, or has no such layer or
///         field: no row has been changed. \throws std::bad_alloc; layers that had ended before keep their symbols.
SYMBOLOGY_GEODATABASE_API Outcome symbolize(const std::string& dataset, const std::string& document,
                                            const SymbolizeOptions& options = {}, const MessageListener& messages = {});

}  // namespace symbology
