// A run over a stream of Arrow record batches: columns in, columns out.
#pragma once

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/base/field_request.h"
#include "host/geodatabase/base/run_monitor.h"
#include "symbology/host_interfaces.h"

#include <nanoarrow.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace embedded_host {

/// What a run over a stream is told.
struct StreamRun {
    /// The class's name and alias. UTF-8.
    std::string layer;
    /// The field with the subtypes' codes; without one the class has no subtypes.
    std::optional<std::string> subtypeField;
    /// The fields that the run writes: those that the stream lacks are added behind its columns.
    std::vector<FieldRequest> writes;
    /// Where the tables are that rules ask about; null for none. Used by the run's thread alone while it goes on.
    std::shared_ptr<Dataset> related;
    /// Symbolizes the class's rows, all of them, in the run's thread; the monitor says which row it is at. What it
    /// throws ends the stream with an error.
    std::function<void(IFeatureClass* featureClass, const RunMonitor& monitor)> run;
    /// When the run has ended, in the run's thread, with what its rows were and why it failed, empty when it did not;
    /// may be empty. It throws nothing.
    std::function<void(const RunMonitor& monitor, const std::string& failure)> onEnd;
    /// What it returns lives while a caller of the output waits for the run: where the lock is let go of that both may
    /// need. May be empty.
    std::function<std::shared_ptr<void>()> aroundWaits;
};

/// Makes `output` a stream that gives the batches of `input` with what the run writes, one for one. The run has a
/// thread of its own, which is at most one batch ahead of who reads: memory does not grow with rows. Columns that the
/// run does not write pass through untouched, without a copy, whatever their types. A read or write that fails, and a
/// stream that cannot be what its schema says, end the output with an error; batches that went before stay.
/// \param input is moved from, also when this throws. \param output must be released before what `run` uses ends; may
/// be released at any time, and the run then stops. One thread at a time.
/// \throws HostError for a schema that cannot be symbolized, naming the column.
void symbolizeStream(ArrowArrayStream& input, StreamRun run, ArrowArrayStream& output);

/// Ends the runs of all outputs that have not been released; who reads on gets an error. Returns when no run's thread
/// is left: what runs use can end after that. From any thread that the runs do not wait for.
void endAllStreams() noexcept;

}  // namespace embedded_host
