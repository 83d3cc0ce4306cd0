// Conditions with expressions, loaded and called as the library does.
#pragma once

#include "memhost/table.h"
#include "support/loaded_map.h"
#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// Keeps what is written to the debugger for as long as it lives.
class DebugRecorder {
public:
    DebugRecorder() { setDebugSink(keep, this); }
    ~DebugRecorder() { setDebugSink(nullptr, nullptr); }
    DebugRecorder(const DebugRecorder&) = delete;
    DebugRecorder& operator=(const DebugRecorder&) = delete;

    std::vector<std::string> texts;

private:
    static void keep(const char* text, void* context) {
        static_cast<DebugRecorder*>(context)->texts.emplace_back(text);
    }
};

/// Runs Python of the host's own, as a host does between the library's calls. \return whether it ran without an error.
bool runHostPython(const std::string& code);

/// What the function "Generate" of the source returns where Python itself makes the module, entered as CalcFields.
std::string resultOfPythonsOwnModule(const std::string& source);

/// Has the interpreter forget what the library keeps in it between calls, so that the next one is like the first.
void forgetNamesOfModules();

/// From a call of the Python function `fail_allocation(n)` on, the n-th allocation of Python fails, once. Objects of
/// this are not nested.
class FailingPythonMemory {
public:
    FailingPythonMemory();
    ~FailingPythonMemory();
    FailingPythonMemory(const FailingPythonMemory&) = delete;
    FailingPythonMemory& operator=(const FailingPythonMemory&) = delete;

    /// Whether one has failed since the last call of this.
    static bool takeFailed();
};

/// Has the running interpreter count the code objects that documents are compiled to.
void watchCode();
/// How many of them were made since then, and how many are alive.
std::size_t madeCodeObjects();
std::size_t liveCodeObjects();

/// The text as the content of an element.
std::string cdata(std::string_view text);

/// A document whose class Light has one condition with an expression, and a row for it.
class LoadedExpression {
public:
    explicit LoadedExpression(std::string_view source,
                              std::string_view attributes = "rulename='R' type='2' field='RESULT'",
                              std::string_view library = "");

    ConditionalXml::Condition& condition() const { return *loaded_.map->conditions.at(0); }
    ConditionalXml::FeatureClassRule& rule() const { return loaded_.rule("LIGHT"); }

    /// Adds values under a name; more than one make a list.
    LoadedExpression& put(const char* name, const std::vector<memhost::Cell>& cells);
    /// Adds a text, which it takes over instead of copying it.
    LoadedExpression& putText(const char* name, BSTR text);
    LoadedExpression& clearValues();
    /// What RESULT holds before a call.
    LoadedExpression& result(const memhost::Cell& before);

    /// Calls it for a new row. \return what generate() answers.
    bool generate();
    /// The text of the runtime_error that a call throws.
    std::string report();
    /// RESULT after the last call.
    std::string written() const { return memhost::describe(row_->value("RESULT")); }
    bool changed() const { return rule().changed; }
    std::string generated() const { return memhost::utf8(condition().generatedValue.m_str); }

private:
    LoadedMap loaded_;
    memhost::Cell before_ = nullptr;
    std::unique_ptr<ConditionalXml::RowValueMap> values_;
    CComPtr<memhost::TableObject> table_;
    CComPtr<memhost::Row> row_;
};

/// The text of the runtime_error that loading a condition with the source throws.
std::string loadReport(std::string_view source, std::string_view attributes = "rulename='R' type='2' field='RESULT'");
