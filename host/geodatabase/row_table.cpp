#include "host/geodatabase/row_table.h"

#include "host/geodatabase/base/gdal_errors.h"
#include "host/host_error.h"

#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <array>
#include <cstdint>
#include <variant>

namespace embedded_host {
namespace {

constexpr int layerField = 0;
constexpr int rowField = 1;
constexpr int firstOwnField = 2;

struct DatasetCloser {
    void operator()(GDALDataset* dataset) const noexcept { GDALClose(dataset); }
};

OGRFieldType typeOf(ColumnType type) {
    return partOf(type) == CellPart::Integer ? OFTInteger64 : partOf(type) == CellPart::Real ? OFTReal : OFTString;
}

void set(OGRFeature& feature, int field, const RowTable::Value& value) {
    if (const auto* integer = std::get_if<std::int64_t>(&value))
        feature.SetField(field, static_cast<GIntBig>(*integer));
    else if (const auto* real = std::get_if<double>(&value))
        feature.SetField(field, *real);
    else if (const auto* text = std::get_if<std::string>(&value))
        feature.SetField(field, text->c_str());
    else
        feature.SetFieldNull(field);
}

}  // namespace

// Each function collects what GDAL says while it runs: between them expressions do.
class RowTable::Content {
public:
    Content(const std::string& path, const std::string& name, const std::vector<Field>& fields, Shapes shapes) {
        GDALAllRegister();
        const GdalErrors errors;
        GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName("GPKG");
        if (driver) dataset_.reset(driver->Create(path.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
        if (!dataset_) fail(errors);
        OGRSpatialReference degrees;
        degrees.SetWellKnownGeogCS("WGS84");
        const bool hasShapes = shapes == Shapes::Degrees;
        std::array<const char*, 2> keyOption{"FID=id", nullptr};
        // GDAL copies the options; its interface only forgets to say const.
        layer_ = dataset_->CreateLayer(name.c_str(), hasShapes ? &degrees : nullptr, hasShapes ? wkbUnknown : wkbNone,
                                       const_cast<char**>(keyOption.data()));
        if (!layer_) fail(errors);
        create("layer", OFTString, errors);
        create("fid", OFTInteger64, errors);
        for (const Field& field : fields) create(field.name, typeOf(field.type), errors);
        expect(dataset_->StartTransaction(), errors);
    }
    ~Content() {
        const GdalErrors errors;  // what it says of an unfinished file is of no interest
        dataset_.reset();
    }
    Content(const Content&) = delete;
    Content& operator=(const Content&) = delete;

    void add(const std::string& layer, ObjectId row, const std::vector<Value>& values) {
        const GdalErrors errors;
        OGRFeature feature(layer_->GetLayerDefn());
        feature.SetField(layerField, layer.c_str());
        feature.SetField(rowField, static_cast<GIntBig>(row));
        for (std::size_t i = 0; i < values.size(); ++i) set(feature, firstOwnField + static_cast<int>(i), values[i]);
        feature.SetFID(++rows_);
        expect(layer_->CreateFeature(&feature), errors);
    }

    void setShapes(const std::function<std::string(const std::string&, ObjectId)>& shapeOf) {
        for (GIntBig id = 1; id <= rows_; ++id) {
            const GdalErrors errors;
            const OGRFeatureUniquePtr feature{layer_->GetFeature(id)};
            if (!feature) fail(errors);
            const std::string bytes =
                shapeOf(feature->GetFieldAsString(layerField), feature->GetFieldAsInteger64(rowField));
            if (bytes.empty()) continue;
            OGRGeometry* geometry = nullptr;
            expect(OGRGeometryFactory::createFromWkb(bytes.data(), nullptr, &geometry, bytes.size()), errors);
            feature->SetGeometryDirectly(geometry);
            expect(layer_->SetFeature(feature.get()), errors);
        }
    }

    void close() {
        const GdalErrors errors;
        expect(dataset_->CommitTransaction(), errors);
        dataset_.reset();
        if (errors.any()) fail(errors);
    }

private:
    [[noreturn]] static void fail(const GdalErrors& errors) {
        throw HostError("cannot be written: " + errors.text("GDAL gives no reason"));
    }
    static void expect(OGRErr status, const GdalErrors& errors) {
        if (status != OGRERR_NONE) fail(errors);
    }
    void create(const std::string& name, OGRFieldType type, const GdalErrors& errors) {
        OGRFieldDefn field(name.c_str(), type);
        expect(layer_->CreateField(&field), errors);
    }

    std::unique_ptr<GDALDataset, DatasetCloser> dataset_;
    OGRLayer* layer_ = nullptr;
    GIntBig rows_ = 0;
};

namespace {

// What goes wrong names the file.
template <class Work>
auto naming(const std::string& file, Work&& work) {
    try {
        return work();
    } catch (const HostError& error) {
        throw HostError(file + ": " + error.what());
    }
}

}  // namespace

RowTable::RowTable(const std::string& file, bool replaces, const std::string& name, const std::vector<Field>& fields,
                   Shapes shapes)
    : name_(file),
      file_(file, replaces ? NewFile::WhenThere::Replace : NewFile::WhenThere::Refuse),
      content_(naming(name_, [&] { return std::make_unique<Content>(file_.path(), name, fields, shapes); })) {}

RowTable::~RowTable() = default;

void RowTable::add(const std::string& layer, ObjectId row, const std::vector<Value>& values) {
    naming(name_, [&] { content_->add(layer, row, values); });
}

void RowTable::setShapes(const std::function<std::string(const std::string&, ObjectId)>& shapeOf) {
    naming(name_, [&] { content_->setShapes(shapeOf); });
}

void RowTable::finish() {
    naming(name_, [&] { content_->close(); });
    file_.finish();
}

}  // namespace embedded_host
