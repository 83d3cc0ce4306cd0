// The module _symbology: documents at work on Arrow streams, for Python. The package's Python code makes it pleasant.
#include "host/arrow/symbolized_stream.h"
#include "tools/streams/stream_document.h"

#include <dlfcn.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/shared_ptr.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>
#include <nanoarrow.hpp>

#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace nb = nanobind;
using cxml::StreamDocument;
using cxml::StreamOptions;
using cxml::StreamReport;
using namespace nb::literals;

namespace {

constexpr const char* streamName = "arrow_array_stream";
constexpr const char* schemaName = "arrow_schema";
constexpr const char* arrayName = "arrow_array";

// Lets go of the interpreter's lock while a thread waits for a run, whose expressions need it. Whether the thread has
// it is no function of the stable interface.
std::shared_ptr<void> withoutLock() {
    using Check = int (*)();
    static const auto check = reinterpret_cast<Check>(dlsym(RTLD_DEFAULT, "PyGILState_Check"));
    if (!check || check() == 0) return nullptr;
    return {PyEval_SaveThread(), [](void* state) { PyEval_RestoreThread(static_cast<PyThreadState*>(state)); }};
}

ArrowArrayStream& streamIn(const nb::object& capsule) {
    void* const stream = PyCapsule_GetPointer(capsule.ptr(), streamName);
    if (!stream) throw nb::python_error();
    return *static_cast<ArrowArrayStream*>(stream);
}

// A capsule that releases the stream unless somebody has taken it.
nb::object capsuleOf(ArrowArrayStream& stream) {
    auto kept = std::make_unique<nanoarrow::UniqueArrayStream>(&stream);
    PyObject* const capsule = PyCapsule_New(kept.get()->get(), streamName, [](PyObject* self) {
        auto* const held = static_cast<ArrowArrayStream*>(PyCapsule_GetPointer(self, streamName));
        const std::shared_ptr<void> unlocked = withoutLock();
        delete reinterpret_cast<nanoarrow::UniqueArrayStream*>(held);
    });
    if (!capsule) throw nb::python_error();
    kept.release();
    return nb::steal(capsule);
}

// A stream of one batch, which the capsules of __arrow_c_array__ hold.
nb::object streamOfArray(const nb::object& schemaCapsule, const nb::object& arrayCapsule) {
    auto* const schema = static_cast<ArrowSchema*>(PyCapsule_GetPointer(schemaCapsule.ptr(), schemaName));
    if (!schema) throw nb::python_error();
    auto* const array = static_cast<ArrowArray*>(PyCapsule_GetPointer(arrayCapsule.ptr(), arrayName));
    if (!array) throw nb::python_error();
    nanoarrow::UniqueArrayStream stream;
    if (ArrowBasicArrayStreamInit(stream.get(), schema, 1) != NANOARROW_OK) throw std::bad_alloc();
    ArrowBasicArrayStreamSetArray(stream.get(), 0, array);
    return capsuleOf(*stream.get());
}

using Related = std::vector<std::pair<std::string, nb::object>>;

StreamOptions optionsOf(const std::string& layer, const std::optional<std::string>& subtypeField,
                        const Related& related) {
    StreamOptions options;
    options.layer = layer;
    options.subtypeField = subtypeField;
    for (const auto& [name, capsule] : related) options.related.emplace_back(name, &streamIn(capsule));
    options.aroundWaits = withoutLock;
    return options;
}

std::pair<nb::object, std::shared_ptr<StreamReport>> symbolize(const StreamDocument& document, const nb::object& input,
                                                               const std::string& layer,
                                                               const std::optional<std::string>& subtypeField,
                                                               const Related& related, bool ledger, bool coverage) {
    StreamOptions options = optionsOf(layer, subtypeField, related);
    options.ledger = ledger;
    options.coverage = coverage;
    ArrowArrayStream& taken = streamIn(input);
    ArrowArrayStream output{};
    std::shared_ptr<StreamReport> report;
    {
        const nb::gil_scoped_release unlocked;
        report = document.symbolize(taken, options, output);
    }
    return {capsuleOf(output), std::move(report)};
}

using Explained = std::tuple<std::int64_t, std::string, std::string>;

std::vector<Explained> explain(const StreamDocument& document, const nb::object& input, const std::string& layer,
                               const std::optional<std::string>& subtypeField, const Related& related,
                               const std::vector<std::int64_t>& rows, std::size_t most) {
    const StreamOptions options = optionsOf(layer, subtypeField, related);
    ArrowArrayStream& taken = streamIn(input);
    const nb::gil_scoped_release unlocked;
    std::vector<Explained> explained;
    for (StreamDocument::Explanation& one : document.explain(taken, options, rows, most))
        explained.emplace_back(one.row, std::move(one.json), std::move(one.text));
    return explained;
}

std::vector<std::pair<std::string, std::uint64_t>> messagesOf(const StreamReport& report) {
    std::vector<std::pair<std::string, std::uint64_t>> messages;
    for (StreamReport::Message& message : report.messages())
        messages.emplace_back(std::move(message.text), message.count);
    return messages;
}

// The package's own exceptions, which have what these know as attributes.
void raise(const char* name, const nb::tuple& arguments) {
    const nb::object type = nb::module_::import_("symbology._errors").attr(name);
    PyErr_SetObject(type.ptr(), arguments.ptr());
}

}  // namespace

NB_MODULE(_symbology, module) {
    // Documents of a program that ends are its own affair.
    nb::set_leak_warnings(false);
    StreamDocument::mayRelease = [] { return Py_IsInitialized() != 0; };
    nb::register_exception_translator([](const std::exception_ptr& thrown, void*) {
        try {
            std::rethrow_exception(thrown);
        } catch (const cxml::NotLoaded& error) {
            raise("DocumentError", nb::make_tuple(error.what(), error.file(), nb::cast(error.messages())));
        } catch (const embedded_host::HostError& error) {
            raise("SymbologyError", nb::make_tuple(error.what()));
        }
    });

    nb::class_<StreamReport>(module, "Report")
        .def_prop_ro("is_ended", &StreamReport::isEnded)
        .def_prop_ro("failure", &StreamReport::failure)
        .def_prop_ro("rows", &StreamReport::rows)
        .def_prop_ro("changed", &StreamReport::changed)
        .def_prop_ro("messages", &messagesOf)
        .def_prop_ro("result_json", &StreamReport::resultJson)
        .def_prop_ro("ledger_json", &StreamReport::ledgerJson)
        .def_prop_ro("ledger_text", &StreamReport::ledgerText)
        .def_prop_ro("coverage_json", &StreamReport::coverageJson)
        .def_prop_ro("coverage_text", &StreamReport::coverageText);

    nb::class_<StreamDocument>(module, "Document")
        .def(nb::init<const std::string&>(), "path"_a, nb::call_guard<nb::gil_scoped_release>())
        .def_prop_ro("path", &StreamDocument::path)
        .def_prop_ro("messages", &StreamDocument::messages, nb::call_guard<nb::gil_scoped_release>())
        .def_prop_ro("classes", &StreamDocument::classes, nb::call_guard<nb::gil_scoped_release>())
        .def(
            "fields",
            [](const StreamDocument& document, const std::string& layer) {
                const nb::gil_scoped_release unlocked;
                StreamDocument::Fields fields = document.fields(layer);
                return std::pair(std::move(fields.read), std::move(fields.written));
            },
            "layer"_a)
        .def("symbolize", &symbolize, "stream"_a, "layer"_a, "subtype_field"_a.none(), "related"_a, "ledger"_a,
             "coverage"_a)
        .def("explain", &explain, "stream"_a, "layer"_a, "subtype_field"_a.none(), "related"_a, "rows"_a, "most"_a);

    module.def("end_streams", &embedded_host::endAllStreams, nb::call_guard<nb::gil_scoped_release>());
    module.def("stream_of_array", &streamOfArray, "schema"_a, "array"_a);
}
