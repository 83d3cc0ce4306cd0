#include "python/scenarios.h"

#include "host/python/interpreter.h"
#include "python/expression_fixture.h"

#include <Python.h>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <thread>

namespace {

using embedded_host::PythonInterpreter;

constexpr const char* plain = "def Generate(): return 'x'";

/// What the scenarios check; the first thing that is not so ends the process with 1.
void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "not so: %s\n", what);
    std::exit(1);
}

std::unique_ptr<LoadedExpression> load(std::string_view source = plain) {
    return std::make_unique<LoadedExpression>(source);
}

/// A map alone: nothing here asks the interpreter.
LoadedMap mapOf(const std::string& condition) {
    return LoadedMap::ofClass("Light", condition);
}

const std::string withCode =
    "<condition type='2' field='RESULT'><expression>def Generate(): return 'x'</expression></condition>";

// ---- without an interpreter ----

void loadWithoutInterpreter() {
    mapOf(withCode);
}

void loadWithoutExpression() {
    {
        const LoadedMap loaded =
            mapOf("<condition rulename='A'/><condition type='2' field='F'><expression/></condition>");
        require(loaded.map->conditions.size() == 2, "both conditions are kept");
        require(!loaded.map->conditions[1]->generate(ConditionalXml::RowValueMap(loaded.rule("LIGHT").fieldNames)),
                "nothing is called");
    }
    require(!Py_IsInitialized(), "the library starts no interpreter");
}

void releaseWithoutInterpreter() {
    std::optional<PythonInterpreter> python(std::in_place);
    LoadedMap loaded = mapOf(withCode);
    python.reset();
    loaded.map.reset();
}

void generateWithoutInterpreter() {
    std::optional<PythonInterpreter> python(std::in_place);
    const LoadedMap loaded = mapOf(withCode);
    python.reset();
    loaded.map->conditions[0]->generate(ConditionalXml::RowValueMap(loaded.rule("LIGHT").fieldNames));
}

void releaseEmptyWithoutInterpreter() {
    std::optional<PythonInterpreter> python(std::in_place);
    LoadedMap loaded = mapOf("<condition type='2'><expression/></condition>");
    python.reset();
    loaded.map.reset();
}

// ---- threads ----

void destroyOnAnotherThread() {
    const PythonInterpreter python;
    auto loaded = load();
    require(loaded->generate(), "it is called");
    std::thread([&] { loaded.reset(); }).join();
    require(liveCodeObjects() == 0, "the code object is gone");
}

void loadOnAnotherThread() {
    const PythonInterpreter python;
    std::unique_ptr<LoadedExpression> loaded;
    std::thread([&] {
        loaded = load();
        require(loaded->generate(), "it is called on the thread");
    }).join();
    require(loaded->generate() && loaded->generated() == "x", "it is called on another");
    loaded.reset();
    require(liveCodeObjects() == 0, "the code object is gone");
}

void hostRunsPythonBetween() {
    const PythonInterpreter python;
    const auto loaded = load("import builtins\ndef Generate(): return str(builtins.hosts)");
    for (int i = 0; i < 100; ++i) {
        require(runHostPython("import builtins; builtins.hosts = " + std::to_string(i)), "the host's code runs");
        require(loaded->generate() && loaded->generated() == std::to_string(i), "the expression sees it");
    }
}

void hostRunsPythonAtTheSameTime() {
    const PythonInterpreter python;
    std::atomic<bool> stop = false;
    std::atomic<long> rounds = 0;
    std::thread host([&] {
        while (!stop) {
            require(runHostPython("sum(range(100))"), "the host's code runs");
            ++rounds;
        }
    });
    const auto loaded = load();
    while (rounds < 10) std::this_thread::yield();
    for (int i = 0; i < 200; ++i) require(loaded->generate(), "the expression is called");
    stop = true;
    host.join();
}

void hostHoldsTheLock() {
    const PythonInterpreter python;
    const PyGILState_STATE state = PyGILState_Ensure();
    auto loaded = load();
    require(loaded->generate(), "a caller that holds the lock gets through");
    loaded.reset();
    require(PyGILState_Check() == 1, "and still holds it");
    PyGILState_Release(state);
}

void lockIsFreeAfterErrors() {
    const PythonInterpreter python;
    loadReport("1 +");
    const auto raises = load("def Generate(): raise ValueError");
    raises->report();
    const auto refused = load("def Generate(): return 5");
    refused->generate();
    const auto lacks = load("def Generate(A): return 'x'");
    lacks->generate();
    std::thread([] { require(runHostPython("x = 1"), "another thread gets the lock"); }).join();
    require(PyGILState_Check() == 0, "this thread does not hold it");
}

void documentsOnTheirOwnThreads() {
    const PythonInterpreter python;
    const auto work = [](const char* source, const char* expected) {
        LoadedExpression loaded(source);
        for (int i = 0; i < 300; ++i)
            require(loaded.generate() && loaded.generated() == expected, "each has its own module");
    };
    // The bodies let the other thread in between their parts.
    std::thread one(work, "import time\nv = 'one'\ntime.sleep(0)\ndef Generate():\n  time.sleep(0)\n  return v", "one");
    std::thread two(work, "import time\nv = 'two'\ntime.sleep(0)\ndef Generate():\n  time.sleep(0)\n  return v", "two");
    one.join();
    two.join();
}

/// A row of the in-memory host that looks who holds the lock when it is written.
class WatchedRow final : public memhost::Object<IRow> {
public:
    explicit WatchedRow(IRow* row) : row_(row) {}
    HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) override { return row_->get_Fields(fields); }
    HRESULT STDMETHODCALLTYPE get_Value(LONG index, VARIANT* value) override { return row_->get_Value(index, value); }
    HRESULT STDMETHODCALLTYPE put_Value(LONG index, VARIANT value) override {
        locked = PyGILState_Check() == 1;
        return row_->put_Value(index, value);
    }
    HRESULT STDMETHODCALLTYPE get_Table(ITable** table) override { return row_->get_Table(table); }
    HRESULT STDMETHODCALLTYPE Store() override { return row_->Store(); }

    bool locked = false;

private:
    CComPtr<IRow> row_;
};

void rowIsWrittenUnderTheLock() {
    const PythonInterpreter python;
    const LoadedMap loaded = mapOf(withCode);
    const auto table = memhost::Table("LIGHT").symbologyFields().field("RESULT", VT_BSTR).row({}).build();
    const auto row = memhost::make<WatchedRow>(table->row(0).p);
    loaded.rule("LIGHT").currentRow = row;
    require(loaded.map->conditions[0]->generate(ConditionalXml::RowValueMap(loaded.rule("LIGHT").fieldNames)),
            "it is called");
    require(row->locked, "the lock is held while the row is written");
    require(PyGILState_Check() == 0, "and given back after that");
}

void lockIsFreeAfterACall() {
    const PythonInterpreter python;
    require(load()->generate(), "it is called");
    require(PyGILState_Check() == 0, "the lock is free");
}

volatile std::sig_atomic_t interrupts = 0;

void hostKeepsItsSignals() {
    std::signal(SIGINT, [](int) { interrupts = interrupts + 1; });
    const PythonInterpreter python;
    require(load("import signal\n" + std::string(plain))->generate(), "it is called");
    std::raise(SIGINT);
    require(interrupts == 1, "the host's handler stands");
}

// ---- hostile ----

void hang() {
    const PythonInterpreter python;
    load("def Generate():\n  while True: pass")->generate();
}

void startDaemonThread() {
    {
        const PythonInterpreter python;
        const auto loaded = load(
            "import threading, time\ndef Generate():\n  threading.Thread(target=time.sleep, args=(3600,), "
            "daemon=True).start()\n  return 'started'");
        require(loaded->generate() && loaded->generated() == "started", "it is called");
    }
    // Python leaves the objects of a daemon thread behind: they are no leak of the library.
    std::_Exit(0);
}

void interpreterTwice() {
    for (int i = 0; i < 2; ++i) {
        const PythonInterpreter python;
        require(load()->generate(), "it is called");
    }
}

void recurseOnASmallThread() {
    const PythonInterpreter python;
    std::thread([] {
        const auto loaded = load("class A:\n  def __repr__(self): return repr(self)\ndef Generate(): return repr(A())");
        require(loaded->report().find("RecursionError") != std::string::npos, "it is an error of the expression");
    }).join();
}

const std::map<std::string, void (*)()>& scenarios() {
    static const std::map<std::string, void (*)()> all{
        {"load-without-interpreter", loadWithoutInterpreter},
        {"load-without-expression", loadWithoutExpression},
        {"release-without-interpreter", releaseWithoutInterpreter},
        {"generate-without-interpreter", generateWithoutInterpreter},
        {"release-empty-without-interpreter", releaseEmptyWithoutInterpreter},
        {"destroy-on-another-thread", destroyOnAnotherThread},
        {"load-on-another-thread", loadOnAnotherThread},
        {"host-runs-python-between", hostRunsPythonBetween},
        {"host-runs-python-at-the-same-time", hostRunsPythonAtTheSameTime},
        {"host-holds-the-lock", hostHoldsTheLock},
        {"lock-is-free-after-errors", lockIsFreeAfterErrors},
        {"documents-on-their-own-threads", documentsOnTheirOwnThreads},
        {"row-is-written-under-the-lock", rowIsWrittenUnderTheLock},
        {"lock-is-free-after-a-call", lockIsFreeAfterACall},
        {"host-keeps-its-signals", hostKeepsItsSignals},
        {"hang", hang},
        {"start-daemon-thread", startDaemonThread},
        {"interpreter-twice", interpreterTwice},
        {"recurse-on-a-thread", recurseOnASmallThread}};
    return all;
}

}  // namespace

int runScenario(const std::string& name) {
    const auto scenario = scenarios().find(name);
    if (scenario == scenarios().end()) {
        std::fprintf(stderr, "no such scenario: %s\n", name.c_str());
        return 2;
    }
    scenario->second();
    return 0;
}
