// What cursors tell about the run that uses them.
#pragma once

#include "symbology/host_interfaces.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace embedded_host {

/// Rows that have something in common: how many, and the first ids.
struct RowList {
    static constexpr std::size_t mostIds = 20;

    std::int64_t rows = 0;
    std::vector<ObjectId> ids;  // at most `mostIds`

    void add(ObjectId id) {
        ++rows;
        if (ids.size() < mostIds) ids.push_back(id);
    }
};

/// What the update cursors of a workspace tell about the run that uses them. The library ignores some failures of its
/// host (a row that could not be written back, a read error in mid-run); they are kept here so that nothing is lost.
struct RunMonitor {
    std::int64_t rows = 0;     // rows that cursors gave
    ObjectId row = 0;          // the last of them
    std::int64_t changed = 0;  // rows that were written back
    std::string failure;       // the first read or write that failed, with GDAL's words; empty when none did
    RowList unreadable;        // rows with a value that was asked for and is not of its field's type
    RowList refused;           // rows with a value that was put and that its field does not take
    const std::atomic<bool>* stop = nullptr;            // when it turns true, NextRow answers E_ABORT
    std::function<void(std::int64_t rows)> onProgress;  // called every few thousand rows
    // Called with each row before a cursor gives it; what it puts is written with the row. It may throw HostError.
    std::function<void(IRow* row)> onRow;
};

}  // namespace embedded_host
