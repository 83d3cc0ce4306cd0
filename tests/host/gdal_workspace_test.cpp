// What the tools do with a dataset.
#include "host/chart.h"
#include "host/child.h"

#include <gdal_priv.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host_test {
namespace {

class GdalWorkspaces : public ChartTest {};

// What opening says; "" when it works.
std::string openingFails(const std::string& dataset, Access access) {
    try {
        GdalWorkspace::open(dataset, access);
        return {};
    } catch (const HostError& error) {
        return error.what();
    }
}

TEST_F(GdalWorkspaces, ListTheirLayers) {
    open(5);
    const std::vector<embedded_host::LayerInfo> layers = workspace_->layers();
    ASSERT_EQ(layers.size(), 2U);
    EXPECT_EQ(layers[0].name, "BOYLAT");
    EXPECT_EQ(layers[0].alias, "Lateral buoys");
    EXPECT_TRUE(layers[0].spatial);
    EXPECT_EQ(layers[0].rowCount, 5);
    EXPECT_EQ(layers[1].name, "NOTES");
    EXPECT_EQ(layers[1].alias, "NOTES");
    EXPECT_FALSE(layers[1].spatial);
}

TEST_F(GdalWorkspaces, ListTheFieldsWithoutKeyAndGeometry) {
    open(1);
    EXPECT_EQ(workspace_->fieldNames("NOTES"), (std::vector<std::string>{"code", "text"}));
    EXPECT_THROW(workspace_->fieldNames("nowhere"), HostError);
}

TEST_F(GdalWorkspaces, TellTheTypeThatAFieldGives) {
    open(3);
    const std::pair<const char*, VARTYPE> types[] = {
        {"number", VT_I4}, {"small", VT_I2},  {"big", VT_I8},    {"ratio", VT_R8},      {"single", VT_R4},
        {"name", VT_BSTR}, {"flag", VT_BOOL}, {"day", VT_DATE},  {"moment", VT_DATE},   {"picture", VT_EMPTY},
        {"NAME", VT_BSTR}, {"fid", VT_I8},    {"Name", VT_BSTR}, {"SYMBOL_C", VT_BSTR},
    };
    for (const auto& [field, type] : types) EXPECT_EQ(workspace_->fieldType("BOYLAT", field), type) << field;
    EXPECT_EQ(workspace_->fieldType("BOYLAT", "nowhere"), std::nullopt);
    EXPECT_THROW(workspace_->fieldType("nowhere", "name"), HostError);
}

TEST_F(GdalWorkspaces, AddTheFieldsThatAreMissing) {
    open(1);
    EXPECT_EQ(workspace_->addFields("NOTES", {{"SYMBOL_C", FieldKind::Text},
                                              {"TEXT", FieldKind::Text},
                                              {"Rotate_C", FieldKind::Real},
                                              {"rotate_c", FieldKind::Real}}),
              2U);
    EXPECT_EQ(workspace_->fieldNames("NOTES"), (std::vector<std::string>{"code", "text", "SYMBOL_C", "Rotate_C"}));
    EXPECT_EQ(workspace_->addFields("NOTES", {{"symbol_c", FieldKind::Text}}), 0U);
    const CComPtr<IRow> first = row(1, "NOTES");
    EXPECT_EQ(first->put_Value(fieldIndex(first, "Rotate_C"), CComVariant(1.5)), S_OK);
    EXPECT_EQ(first->put_Value(fieldIndex(first, "SYMBOL_C"), variant("s")), S_OK);
    EXPECT_EQ(first->Store(), S_OK) << errorText();
    EXPECT_EQ(sqlite(path_, "SELECT SYMBOL_C || Rotate_C FROM NOTES WHERE fid = 1").front(), "s1.5");
}

TEST_F(GdalWorkspaces, AddNoFieldToADatasetOpenForReading) {
    open(1, Access::Read);
    EXPECT_EQ(workspace_->addFields("NOTES", {{"text", FieldKind::Text}}), 0U);
    EXPECT_THROW(workspace_->addFields("NOTES", {{"SYMBOL_C", FieldKind::Text}}), HostError);
}

TEST_F(GdalWorkspaces, NameWhatCannotBeOpened) {
    const std::string missing = folder_.file("nowhere.gpkg");
    const std::string text = openingFails(missing, Access::Read);
    EXPECT_TRUE(text.starts_with(missing + ": cannot be opened: ")) << text;
    EXPECT_NE(text.find("No such file"), std::string::npos) << text;
    const std::string broken = folder_.file("broken.gpkg");
    FILE* file = std::fopen(broken.c_str(), "w");
    std::fputs("not a dataset", file);
    std::fclose(file);
    EXPECT_TRUE(openingFails(broken, Access::Update).starts_with(broken + ": cannot be opened for update: "));
    EXPECT_EQ(text.find('\n'), std::string::npos);
}

TEST_F(GdalWorkspaces, RefuseToUpdateAReadOnlyFileAndNameIt) {
    makeChart(path_, 1);
    ASSERT_EQ(chmod(path_.c_str(), 0444), 0);
    ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
    const ChildResult result = inChild([&]() -> std::string {
        constexpr uid_t nobody = 65534;
        if (geteuid() == 0 && setuid(nobody) != 0) return "cannot become an ordinary user";
        return openingFails(path_, Access::Update) + "|" + openingFails(path_, Access::Read);
    });
    EXPECT_TRUE(result.output.starts_with(path_ + ": cannot be opened for update: ")) << result.output;
    EXPECT_TRUE(result.output.ends_with('|')) << result.output;
}

TEST_F(GdalWorkspaces, AFolderWithoutRoomForAJournalFailsAtBegin) {
    makeChart(path_, 1);
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    ASSERT_EQ(chmod(folder_.path().c_str(), 0555), 0);
    const ChildResult result = inChild([&]() -> std::string {
        constexpr uid_t nobody = 65534;
        if (geteuid() == 0 && setuid(nobody) != 0) return "cannot become an ordinary user";
        const auto workspace = GdalWorkspace::open(path_, Access::Update);
        workspace->begin();
        return "begun";
    });
    ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
    EXPECT_TRUE(result.output.starts_with("exception: " + path_ + ": cannot be ")) << result.output;
}

TEST_F(GdalWorkspaces, GdalSaysNothingOnStandardError) {
    testing::internal::CaptureStderr();
    openingFails(folder_.file("nowhere.gpkg"), Access::Update);
    open(1);
    EXPECT_THROW(workspace_->select("BOYLAT", "nowhere = 1", std::nullopt), HostError);
    EXPECT_THROW(openClass("nowhere"), HostError);
    workspace_->select("BOYLAT", "ST_Transform(geom, 99999) IS NULL", std::nullopt);
    workspace_->select("BOYLAT", "ST_GeomFromText('nonsense') IS NULL", std::nullopt);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace host_test
