// The records of a cell while its updates are applied: as much of them as shows whether every instruction fits.
#pragma once

#include "host/geodatabase/s57/national_change.h"
#include "host/geodatabase/s57/s57_records.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace embedded_host {

/// Follows a base cell and its updates record by record. Every function throws HostError through S57File::refuse().
class CellRecords {
public:
    /// All records behind the first one, which identifies the file and is given.
    void readBase(S57File& file, const S57Record& identification);
    void readUpdate(S57File& file, const S57Record& identification);
    /// Every record that another one names is there. \throws HostError with the path of `last`, the last file read.
    void expectWhole(const S57File& last) const;

    std::size_t features() const noexcept;
    std::vector<NationalChange> takeNationalChanges() noexcept { return std::move(nationalChanges_); }

private:
    struct Key {
        std::uint32_t kind = 0;
        std::uint32_t number = 0;
        auto operator<=>(const Key&) const = default;
    };
    struct Held {
        std::uint32_t version = 0;
        std::uint32_t primitive = 0;  // of a feature
        std::uint32_t objectClass = 0;
        std::vector<Key> pointers;    // FSPT of a feature, VRPT of a vector
        std::size_t relations = 0;    // FFPT
        std::size_t coordinates = 0;  // SG2D or SG3D
    };
    /// How many records of each kind a file has or says to have, in the order of DSSI.
    using Counts = std::array<std::uint32_t, 8>;

    void read(S57File& file, const S57Record& identification, bool update);
    void readParameters(const S57Record& record);
    /// Returns where Counts has the record's kind.
    std::size_t readRecord(const S57File& file, const S57Record& record, bool update);
    void change(Held& held, const S57Record& record, bool modify);
    void changeNational(const Key& key, std::string_view data);
    void checkCoordinates(std::string_view data, bool sounding) const;
    Counts held() const;
    static std::size_t countOf(const Key& key, std::uint32_t objectClass);

    std::map<Key, Held> records_;
    std::vector<NationalChange> nationalChanges_;
    std::uint32_t nationalLevel_ = 0;
    std::uint32_t coordinateFactor_ = 0;
};

}  // namespace embedded_host
