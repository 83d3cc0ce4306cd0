// The workspace object: a dataset as the library sees it.
#pragma once

#include "symbology/host_interfaces.h"

namespace embedded_host {

class Dataset;

/// The dataset's workspace object, the same for everyone while anyone holds it.
CComPtr<IWorkspace> workspaceOf(Dataset& dataset);

}  // namespace embedded_host
