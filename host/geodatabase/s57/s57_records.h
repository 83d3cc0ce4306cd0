// The records of an S-57 file: ISO 8211 in the binary form of edition 3.1. GDAL reads what can be read of a file and
// says nothing of the rest; here a file is whole or it is refused.
#pragma once

#include "host/host_error.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace embedded_host {

/// A field of a record; `data` is without its terminator and lives as long as the file.
struct S57Field {
    std::string_view tag;
    std::string_view data;
};

/// A record without its leading identifier field.
struct S57Record {
    std::size_t offset = 0;
    std::vector<S57Field> fields;

    /// The data of the field with the tag; null when the record has none.
    const std::string_view* find(std::string_view tag) const noexcept;
};

/// Takes whole numbers and texts off the front of a field.
class S57Reader {
public:
    explicit S57Reader(std::string_view data) noexcept : rest_(data) {}
    bool atEnd() const noexcept { return rest_.empty(); }
    /// \throws HostError when fewer bytes are left.
    std::uint32_t number(std::size_t size);
    std::int32_t coordinate() { return static_cast<std::int32_t>(number(4)); }
    std::string_view bytes(std::size_t count);
    /// Up to the terminator, which is passed over; \throws HostError when there is none.
    std::string_view text();

private:
    std::string_view rest_;
};

/// Whether the file begins as a cell or an update does: with the leader and directory of a description that has a DSID.
/// Nothing is said of the rest, which may be missing; false, too, when it cannot be read.
bool beginsAsCell(const std::string& path);

/// A file in memory, record by record.
class S57File {
public:
    /// \throws HostError, with the path and the reason, when it cannot be read or is not S-57 in its binary form.
    explicit S57File(const std::string& path);
    S57File(const S57File&) = delete;
    S57File& operator=(const S57File&) = delete;

    /// False at the end of the file. \throws HostError when what follows is no record.
    bool next(S57Record& record);
    const std::string& path() const noexcept { return path_; }
    const std::string& bytes() const noexcept { return bytes_; }
    /// \throws HostError with the path, the place of the record and the reason.
    [[noreturn]] void refuse(const S57Record& record, const std::string& why) const;

private:
    S57Record recordAt(std::size_t offset, char kind, std::size_t& end) const;
    void checkDescriptions(const S57Record& record) const;

    std::string path_;
    std::string bytes_;
    S57Record described_;
    std::size_t next_ = 0;
};

}  // namespace embedded_host
