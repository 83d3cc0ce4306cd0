// A rule document and rows together: the bytes are the document; the rows have values of many kinds.
#include "fuzz/input.h"
#include "fuzz/temporary_file.h"
#include "host/python/interpreter.h"
#include "memhost/messages.h"
#include "memhost/table.h"
#include "memhost/workspace.h"
#include "symbology/symbology_manager.h"

#include <stdexcept>

namespace {

CComPtr<memhost::TableObject> makeTable() {
    return memhost::Table("BUOY")
        .symbologyFields()
        .field("A", VT_I4)
        .field("B", VT_BSTR)
        .field("C", VT_R8)
        .field("S", VT_I4)
        .subtypes("S")
        .unfetched(memhost::Unfetched::HasItsValue)
        .row({nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr})
        .row({"BOYLAT01", 1.0, -1.0, 90.0, 1, "1,2,5", 2.5, 1})
        .row({"BOYLAT02", nullptr, nullptr, nullptr, -7, "Rock 'awash'", -0.1, 2})
        .build();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const embedded_host::PythonInterpreter python;  // documents may have expressions
    static const fuzzing::TemporaryFile file;
    file.write({reinterpret_cast<const char*>(data), size});
    const fuzzing::NothingLeft check;
    const CComPtr<memhost::TableObject> table = makeTable();
    const CComPtr<memhost::Messages> messages = memhost::make<memhost::Messages>();
    SymbologyManager manager;
    try {
        if (!manager.loadCXML(memhost::bstr(file.path()), messages)) return 0;
    } catch (const std::runtime_error&) {
        return 0;  // what a document that cannot be read promises to throw
    }
    const bool succeeded = manager.symbolize(table->featureClass(), nullptr, messages);
    const std::size_t changed = table->updates.size();
    fuzzing::require(succeeded || changed == 0, "a run that could not start changes nothing");
    table->updates.clear();
    manager.symbolize(table->featureClass(), nullptr, nullptr);
    if (succeeded) manager.resetReps(table->featureClass());
    return 0;
}
