// What the embedded host throws at its tools.
#pragma once

#include <stdexcept>

namespace embedded_host {

/// What went wrong with a dataset or with Python: one line, UTF-8, that names the dataset, layer or field and says what
/// GDAL said.
class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A dataset that can be read and not written: its format has no transactions, or the file is read-only.
class ReadOnlyError : public HostError {
public:
    using HostError::HostError;
};

}  // namespace embedded_host
