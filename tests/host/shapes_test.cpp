// Rows with their shapes: which parts are drawn of a geometry, in degrees whatever the layer is in.
#include "host/geodatabase/shapes.h"
#include "host/chart.h"

#include <cstdio>
#include <fstream>
#include <ostream>

namespace host_test {
namespace {

using embedded_host::Bounds;
using embedded_host::ShapeKind;
using embedded_host::ShapeQuery;
using embedded_host::ShapeRow;
using embedded_host::ShapeSource;

// "P 1,2", "L 1,2 3,4 | 5,6 7,8"; areas A, nothing "-".
std::string shown(const embedded_host::Shape& shape) {
    if (shape.kind == ShapeKind::None) return "-";
    std::string text = shape.kind == ShapeKind::Point ? "P" : shape.kind == ShapeKind::Line ? "L" : "A";
    for (const auto& part : shape.parts) {
        if (&part != &shape.parts.front()) text += " |";
        for (const embedded_host::Position& position : part) {
            char place[64];
            std::snprintf(place, sizeof place, " %g,%g", position.longitude, position.latitude);
            text += place;
        }
    }
    return text;
}

class Shapes : public testing::Test {
protected:
    // A GeoJSON file with the layer "shapes", a feature for each geometry; `crs` names one that is not degrees.
    std::string write(const std::vector<std::string>& geometries, const std::string& crs = {}) {
        std::string path = folder_.file("shapes.geojson");
        std::ofstream file(path);
        file << R"({"type": "FeatureCollection", "name": "shapes", )";
        if (!crs.empty()) file << R"("crs": {"type": "name", "properties": {"name": ")" << crs << "\"}}, ";
        file << "\"features\": [";
        for (std::size_t i = 0; i < geometries.size(); ++i)
            file << (i == 0 ? "" : ",") << R"({"type": "Feature", "id": )" << i + 1
                 << R"(, "properties": {"SYMBOL_C": "S", "n": )" << i + 1 << R"(}, "geometry": )" << geometries[i]
                 << '}';
        file << "]}";
        return path;
    }
    static std::vector<ShapeRow> read(const std::string& path, const ShapeQuery& query) {
        std::vector<ShapeRow> rows;
        ShapeSource::open(path, {})->read(query, [&](ShapeRow&& row) {
            rows.push_back(std::move(row));
            return true;
        });
        return rows;
    }
    static std::vector<ObjectId> idsOf(const std::vector<ShapeRow>& rows) {
        std::vector<ObjectId> ids;
        for (const ShapeRow& row : rows) ids.push_back(row.id);
        return ids;
    }
    static std::string failure(const std::string& path, const ShapeQuery& query) {
        try {
            read(path, query);
            return {};
        } catch (const HostError& error) {
            return error.what();
        }
    }

    TemporaryFolder folder_;
};

struct GeometryCase {
    const char* name;
    const char* geometry;
    const char* shape;
};

void PrintTo(const GeometryCase& geometry, std::ostream* out) {
    *out << geometry.name;
}

class GeometryOfARow : public Shapes, public testing::WithParamInterface<GeometryCase> {};

TEST_P(GeometryOfARow, IsReadAsItsParts) {
    const std::string path = write({GetParam().geometry});
    const std::vector<ShapeRow> rows = read(path, {.layer = "shapes", .fields = {}, .where = {}, .within = {}});
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(shown(rows[0].shape), GetParam().shape);
}

const GeometryCase geometryCases[] = {
    {"Point", R"({"type":"Point","coordinates":[1,2]})", "P 1,2"},
    {"PointWithDepth", R"({"type":"Point","coordinates":[1,2,3]})", "P 1,2"},
    {"Points", R"({"type":"MultiPoint","coordinates":[[1,2],[3,4]]})", "P 1,2 | 3,4"},
    {"Line", R"({"type":"LineString","coordinates":[[1,2],[3,4]]})", "L 1,2 3,4"},
    {"Lines", R"({"type":"MultiLineString","coordinates":[[[1,2],[3,4]],[[5,6],[7,8]]]})", "L 1,2 3,4 | 5,6 7,8"},
    {"AreaWithAHole", R"({"type":"Polygon","coordinates":[[[0,0],[9,0],[0,9],[0,0]],[[1,1],[2,1],[1,2],[1,1]]]})",
     "A 0,0 9,0 0,9 0,0 | 1,1 2,1 1,2 1,1"},
    {"Areas", R"({"type":"MultiPolygon","coordinates":[[[[0,0],[1,0],[0,1],[0,0]]],[[[5,5],[6,5],[5,6],[5,5]]]]})",
     "A 0,0 1,0 0,1 0,0 | 5,5 6,5 5,6 5,5"},
    {"CollectionOfSeveralKinds",
     R"({"type":"GeometryCollection","geometries":[{"type":"Point","coordinates":[1,2]},
        {"type":"LineString","coordinates":[[1,2],[3,4]]}]})",
     "L 1,2 3,4"},
    {"Nothing", "null", "-"},
    {"EmptyLine", R"({"type":"LineString","coordinates":[]})", "-"},
};

INSTANTIATE_TEST_SUITE_P(All, GeometryOfARow, testing::ValuesIn(geometryCases),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(Shapes, AreInDegreesWhateverTheLayerIsIn) {
    const std::string path = write({R"({"type":"Point","coordinates":[111319.49079327358,222684.20850554405]})"},
                                   "urn:ogc:def:crs:EPSG::3857");
    const std::vector<ShapeRow> rows = read(path, {.layer = "shapes", .fields = {}, .where = {}, .within = {}});
    ASSERT_EQ(rows.size(), 1U);
    ASSERT_EQ(rows[0].shape.parts.size(), 1U);
    EXPECT_NEAR(rows[0].shape.parts[0][0].longitude, 1, 1e-9);
    EXPECT_NEAR(rows[0].shape.parts[0][0].latitude, 2, 1e-9);
    const ShapeQuery around{.layer = "shapes", .fields = {}, .where = {}, .within = Bounds{0.9, 1.9, 1.1, 2.1}};
    EXPECT_EQ(idsOf(read(path, around)), std::vector<ObjectId>{1});
    const ShapeQuery elsewhere{.layer = "shapes", .fields = {}, .where = {}, .within = Bounds{1.9, 0.9, 2.1, 1.1}};
    EXPECT_TRUE(read(path, elsewhere).empty());
}

TEST_F(Shapes, AreThoseOfTheRowsThatAreAskedFor) {
    const std::string point = R"({"type":"Point","coordinates":[1,2]})";
    const std::string far = R"({"type":"Point","coordinates":[50,2]})";
    const std::string path = write({point, far, point});
    ShapeQuery query{.layer = "shapes", .fields = {"n", "SYMBOL_C"}, .where = "n > 1", .within = {}};
    const std::vector<ShapeRow> rows = read(path, query);
    EXPECT_EQ(idsOf(rows), (std::vector<ObjectId>{2, 3}));
    EXPECT_EQ(rows[0].values, (std::vector<std::optional<std::string>>{"2", "S"}));
    query.within = Bounds{0, 0, 10, 10};
    EXPECT_EQ(idsOf(read(path, query)), std::vector<ObjectId>{3});
    query.where.reset();
    EXPECT_EQ(idsOf(read(path, query)), (std::vector<ObjectId>{1, 3}));
}

TEST_F(Shapes, OfOneQueryLeaveNoFilterForTheNext) {
    const std::string point = R"({"type":"Point","coordinates":[1,2]})";
    const std::unique_ptr<ShapeSource> source = ShapeSource::open(write({point, point}), {});
    const auto count = [&](const std::optional<std::string>& where) {
        int rows = 0;
        source->read({.layer = "shapes", .fields = {}, .where = where, .within = {}},
                     [&](const ShapeRow&) { return ++rows > 0; });
        return rows;
    };
    EXPECT_EQ(count("n = 1"), 1);
    EXPECT_EQ(count(std::nullopt), 2);
    EXPECT_THROW(count("nowhere = 1"), HostError);
    EXPECT_EQ(count(std::nullopt), 2);
}

TEST_F(Shapes, FieldsAreFoundExactlyThenWithoutRegardToCase) {
    const std::unique_ptr<ShapeSource> source = ShapeSource::open(write({"null"}), {});
    EXPECT_EQ(source->findFields("shapes", {"n", "symbol_c", "nowhere"}),
              (std::vector<std::optional<std::string>>{"n", "SYMBOL_C", std::nullopt}));
}

TEST_F(Shapes, ThatCannotBeReadAreSaidWithDatasetAndLayer) {
    const std::string path = write({"null"});
    const std::string title = path + ", layer shapes: ";
    const std::string clause = failure(path, {.layer = "shapes", .fields = {}, .where = "nowhere = 1", .within = {}});
    EXPECT_TRUE(clause.starts_with(title + "where clause \"nowhere = 1\": ")) << clause;
    EXPECT_EQ(failure(path, {.layer = "shapes", .fields = {"nowhere"}, .where = {}, .within = {}}),
              title + "there is no field 'nowhere'");
    EXPECT_EQ(failure(path, {.layer = "none", .fields = {}, .where = {}, .within = {}}),
              path + ": there is no layer 'none'");
    EXPECT_EQ(failure(path, {.layer = "shapes", .fields = {}, .where = std::string("1\0", 2), .within = {}}),
              title + "the where clause has a zero character");
}

TEST_F(Shapes, OfAServerSayNothingSecret) {
    const std::string name = "PG:host=127.0.0.1 port=1 dbname=none password=hunter2";
    try {
        ShapeSource::open(name, {});
        ADD_FAILURE();
    } catch (const HostError& error) {
        const std::string text = error.what();
        EXPECT_EQ(text.find("hunter2"), std::string::npos) << text;
        EXPECT_TRUE(text.starts_with("PG: ")) << text;
    }
}

}  // namespace
}  // namespace host_test
