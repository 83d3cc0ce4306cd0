// Layers of a database at the same time, each in a process of its own.
#pragma once

#include "layer_run.h"

namespace cxml {

/// Each is a connection of its own to the server, which has few to give.
constexpr int mostJobs = 64;

/// As runLayers(), with up to `jobs` layers at a time, begun in their order; expressions and their lock are each
/// process's own. All usage is checked before the first layer changes, by a process that does nothing else. Results are
/// shown in the order of the layers; what a run has to say is shown as it comes. Ctrl-C reaches all of them, and they
/// end with this process. To be called while there is one thread; returns in each of the processes.
/// \param work without a place of its own for the dataset; its report makes a status for one layer.
ExitStatus runLayersInJobs(const LayerArguments& arguments, int jobs, LayerWork work);

}  // namespace cxml
