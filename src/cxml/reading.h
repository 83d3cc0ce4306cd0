// Reading: how a document is read. What all readers here are handed.
#pragma once

#include "cxml/load_observer.h"
#include "symbology/host_interfaces.h"

#include <functional>
#include <utility>

namespace ConditionalXml {

/// Compiles the `expressionText` of a condition that was read. \throws std::runtime_error to end the loading
using ExpressionCompiler = std::function<void(Condition&)>;

/// The compiler that leaves expressions for Python to compile: what runs need.
void compileWithPython(Condition& condition);

struct Reading {
    IGPMessages* messages = nullptr;                 // may be null
    ExpressionCompiler compile = compileWithPython;  // never empty
    LoadObserver* observer = nullptr;                // may be null
    /// Whether reading goes on where it would end: behind what is refused, and inside what is discarded. An observer is
    /// told of that and nothing of it is kept, so that the map becomes what it is without.
    bool goesOn = false;

    /// Tells the observer, if there is one.
    template <class... Parameters, class... Arguments>
    void tell(void (LoadObserver::*event)(Parameters...), Arguments&&... arguments) const {
        if (observer) (observer->*event)(std::forward<Arguments>(arguments)...);
    }
    /// The same without messages.
    Reading silent() const { return {nullptr, compile, observer, goesOn}; }
};

}  // namespace ConditionalXml
