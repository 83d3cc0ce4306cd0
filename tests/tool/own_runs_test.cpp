// The tool's runs against runs through the exported class: rows, messages and their order must be the same.
#include "host/geodatabase/gdal_workspace.h"
#include "host/python/interpreter.h"
#include "memhost/messages.h"
#include "symbology/symbology_manager.h"
#include "tool_test.h"

namespace {

using embedded_host::GdalWorkspace;
using nlohmann::json;

class OwnRuns : public ToolTest {
protected:
    /// What the exported class makes of the dataset, and says, layer by layer.
    static json throughTheClass(const std::string& document, const std::string& dataset,
                                const std::vector<std::string>& layers) {
        SymbologyManager manager;
        const auto messages = memhost::make<memhost::Messages>();
        json said = json::array();
        EXPECT_TRUE(manager.loadCXML(memhost::bstr(document), messages));
        said.push_back(listed(*messages));
        const auto workspace = GdalWorkspace::open(dataset, GdalWorkspace::Access::Update);
        for (const std::string& layer : layers) {
            messages->clear();
            workspace->begin();
            EXPECT_TRUE(manager.symbolize(workspace->openFeatureClass(layer, std::nullopt), nullptr, messages))
                << layer;
            workspace->commit();
            said.push_back(listed(*messages));
        }
        return said;
    }
    static json listed(const memhost::Messages& messages) {
        json texts = json::array();
        for (const auto& entry : messages.entries())
            texts.push_back((entry.isError ? "error: " : "message: ") + entry.text);
        return texts;
    }
    static json listed(const json& messages) {
        json texts = json::array();
        for (const json& message : messages)
            texts.push_back(message["kind"].get<std::string>() + ": " + message["text"].get<std::string>());
        return texts;
    }

    /// Both ways, over copies.
    void compare(const std::string& document, const std::string& dataset) {
        const std::string copy = inFolder("copy.gpkg").string();
        std::filesystem::copy_file(dataset, copy, std::filesystem::copy_options::overwrite_existing);
        const json own = cxmlJson({"symbolize", document, dataset}, 0);
        json said = json::array({listed(own["document"]["messages"])});
        std::vector<std::string> layers;
        for (const json& layer : own["layers"]) {
            layers.push_back(layer["layer"]);
            said.push_back(listed(layer["messages"]));
        }
        ASSERT_FALSE(layers.empty());
        EXPECT_EQ(throughTheClass(document, copy, layers), said);
        for (const std::string& layer : layers)
            EXPECT_EQ(sql(dataset, "SELECT * FROM " + layer), sql(copy, "SELECT * FROM " + layer)) << layer;
    }
};

const char* const documents[] = {"buoys.cxml",         "expressions.cxml",      "hostile_values.cxml",
                                 "missing_field.cxml", "related.cxml",          "stored_forms.cxml",
                                 "two_classes.cxml",   "unknown_operator.cxml", "ledger.cxml"};

TEST_F(OwnRuns, AreThoseOfTheExportedClass) {
    const embedded_host::PythonInterpreter python;
    for (const char* document : documents) {
        SCOPED_TRACE(document);
        const std::string dataset = newDataset(std::string(document) + ".gpkg");
        const char* columns =
            "NAME TEXT, LITCHR TEXT, SIGPER REAL, CATLAM INTEGER, KIND INTEGER, LABEL_C TEXT, A TEXT, "
            "N TEXT, M TEXT, E TEXT, SYMBOL_C TEXT, Xoffset_C REAL, Yoffset_C REAL, Rotate_C REAL";
        const char* rows =
            "(NAME, LITCHR, SIGPER, CATLAM, KIND) VALUES ('one', 'Fl', 10, 1, 1), ('two', 'fail', 2, 2, 2), "
            "('O''Neill', 'number', NULL, NULL, 1), (NULL, NULL, 1, 2, 2)";
        for (const char* table : {"BOYLAT", "LIGHTS"}) addTable(dataset, table, columns, rows);
        compare(data(document), dataset);
    }
}

TEST_F(OwnRuns, OverACell) {
    const embedded_host::PythonInterpreter python;
    const std::string dataset = inFolder("cell.gpkg").string();
    const std::string document = std::string(SOURCE_ROOT) + "/examples/enc/enc.cxml";
    ASSERT_EQ(cxml({"import", std::string(HARBOUR_CELL) + "/XX5MERRW.000", dataset}).status, 0);
    ASSERT_EQ(cxml({"symbolize", document, dataset, "--add-fields", "--where", "1 = 0"}).status, 0);
    compare(document, dataset);
}

}  // namespace
