// cxml reset: clears what symbolize wrote.
#include "commands.h"
#include "layer_options.h"
#include "symbolize/runs.h"

#include <memory>
#include <new>

namespace cxml {
namespace {

struct Arguments : LayerArguments {
    bool placement = false;
};

// Clears the placement of each row that a run visits, so that it is written together with what the library clears.
class PlacementReset {
public:
    void begin(IFeatureClass* featureClass) {
        visited_ = false;
        positions_.clear();
        for (const OLECHAR* field : {OLESTR("Xoffset_C"), OLESTR("Yoffset_C"), OLESTR("Rotate_C")}) {
            LONG position = -1;
            if (SUCCEEDED(featureClass->FindField(CComBSTR(field), &position)) && position >= 0)
                positions_.push_back(position);
        }
    }
    void clear(IRow* row) {
        visited_ = true;
        VARIANT null;
        VariantInit(&null);
        null.vt = VT_NULL;
        for (const LONG position : positions_)
            if (FAILED(row->put_Value(position, null)))
                throw embedded_host::HostError("the placement of a row cannot be cleared");
    }
    // The library visits no row of a layer without a field that it would clear.
    void finish(IFeatureClass* featureClass) const {
        if (visited_ || positions_.empty()) return;
        const CComQIPtr<ITable> table(featureClass);
        CComPtr<ICursor> cursor;
        if (!table || FAILED(table->Update(nullptr, VARIANT_FALSE, &cursor)) || !cursor)
            throw embedded_host::HostError("the placement of the rows cannot be cleared");
        HRESULT status = S_OK;
        for (CComPtr<IRow> row; SUCCEEDED(status) && (status = cursor->NextRow(&row)) == S_OK; row.Release())
            status = cursor->UpdateRow(row);
        if (status == E_OUTOFMEMORY) throw std::bad_alloc();
        if (FAILED(status)) throw embedded_host::HostError("the placement of the rows cannot be cleared");
    }

private:
    bool visited_ = false;
    std::vector<LONG> positions_;
};

ExitStatus reset(const Arguments& arguments) {
    LayerWork work;
    PlacementReset placement;
    if (arguments.placement) work.onRow = [&](IRow* row) { placement.clear(row); };
    work.run = [&](const LayerRun& run) {
        if (arguments.placement) placement.begin(run.featureClass);
        CComBSTR name;
        ConditionalXml::upperAliasName(run.featureClass, name);
        if (!ConditionalXml::resetFeatureClass(*run.document.map, name, run.featureClass)) return false;
        if (arguments.placement) placement.finish(run.featureClass);
        return true;
    };
    return runLayers(arguments, work);
}

}  // namespace

void addReset(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("reset", "Set SYMBOL_C and the computed fields of every row to NULL");
    const auto arguments = std::make_shared<Arguments>();
    addLayerOptions(*command, *arguments);
    command->add_flag("--placement", arguments->placement, "clear Xoffset_C, Yoffset_C and Rotate_C, too");
    command->callback([&chosen, arguments] { chosen = [arguments] { return reset(*arguments); }; });
}

}  // namespace cxml
