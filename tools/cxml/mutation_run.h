// Mutation: small changes of a document, and whether its tests notice them.
#pragma once

#include "section_run.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace cxml {

/// A change that no test noticed.
struct Survivor {
    std::size_t line;
    std::string change;
};

struct MutationResult {
    std::size_t possible = 0;
    std::size_t made = 0;  // those that load
    std::size_t killed = 0;
    std::vector<Survivor> survivors;  // in the order of the document
};

/// Changes the document, one change at a time, and runs the sections that have rows of the changed class: each loads
/// and runs as a document with that change would. The tests have to pass without one.
/// \param text of the document. \param path where it stands, for the files that it names.
/// \param limit how many changes, taken evenly from all; 0 for all.
/// \param isStopped asked before each; what was found until then is the result.
/// \throws embedded_host::HostError
MutationResult runMutants(const std::string& text, const std::string& path, const std::vector<SectionRun*>& sections,
                          std::size_t limit, const std::function<bool()>& isStopped);

}  // namespace cxml
