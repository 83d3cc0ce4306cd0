// The end of a command that finds no memory, which needs none itself.
#pragma once

namespace cxml {

/// From now on libraries that cannot go on without memory, also those that abort within a LibraryCall, and exceptions
/// about it that meet a noexcept, end the process at once, with a line and status 1. What is not committed is rolled
/// back by whoever opens the dataset next.
void installLastResorts();

/// Whether the exception that is being handled tells of memory that ran out.
bool isOutOfMemory() noexcept;

/// What standard output holds is written, then the process ends as installLastResorts() says.
[[noreturn]] void endOutOfMemory() noexcept;

/// Runs `work`. When it finds no memory, the process ends once everything of it is undone: the interpreter, whose own
/// end would complain at length, is not taken down.
template <class Work>
auto orEndOutOfMemory(Work&& work) {
    try {
        return work();
    } catch (...) {
        if (isOutOfMemory()) endOutOfMemory();
        throw;
    }
}

}  // namespace cxml
