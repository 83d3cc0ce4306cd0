// Where the product's files are installed, as the machine's registry says.
#pragma once

#include "platform/platform.h"

namespace GeodatabaseUtilities {

/// The version of the host product. \return S_OK with a new text, or E_FAIL.
HRESULT HostVersion(BSTR* version);  // NOLINT(readability-identifier-naming): agreed with the host

/// The folder of the product's files, ending with a backslash when it was registered so.
/// \return 0 with a new text, or the registry's own status: 2 when key or value is missing, 234 when the value is
///         longer than 129 characters.
LONG ProductFilesFolder(BSTR* folder);  // NOLINT(readability-identifier-naming): agreed with the host

}  // namespace GeodatabaseUtilities
