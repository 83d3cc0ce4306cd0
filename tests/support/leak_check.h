// Fails every test that leaves an object alive or a BSTR held.
#pragma once

#include <cstddef>

/// Has every test of this program end with the count that it began with. `name` is a literal for the failure text.
/// The platform's BSTRs and objects are counted without being registered.
void registerLiveCounter(const char* name, std::size_t (*count)());

/// Installs the check; main() does.
void installLeakCheck();
