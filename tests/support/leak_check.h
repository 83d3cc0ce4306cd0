// Fails every test that leaves an object alive or a BSTR held.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// Has every test of this program end with the count that it began with. `name` is a literal for the failure text.
/// The platform's BSTRs and objects are counted without being registered.
void registerLiveCounter(const char* name, std::size_t (*count)());

/// What is alive now, by the names of the counters, without the thread's error object, which belongs to no test.
std::vector<std::pair<std::string, std::size_t>> liveCounts();

/// Installs the check; main() does.
void installLeakCheck();
