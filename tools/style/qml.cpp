#include "tools/style/qml.h"

#include "tools/text/xml_text.h"

#include <fmt/format.h>
#include <libxml/xmlwriter.h>
#include <memory>
#include <new>
#include <string_view>

namespace cxml::qml {
namespace {

const xmlChar* chars(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

// Elements as they are written: each ends with the object.
class Writer {
public:
    Writer() : buffer_(xmlBufferCreate(), &xmlBufferFree) {
        if (buffer_) writer_.reset(xmlNewTextWriterMemory(buffer_.get(), 0));
        if (!writer_) throw std::bad_alloc();
        note(xmlTextWriterSetIndent(writer_.get(), 1));
    }

    void start(const std::string& name, const Properties& attributes) {
        note(xmlTextWriterStartElement(writer_.get(), chars(name)));
        for (const auto& [key, value] : attributes)
            // Names that XML cannot hold are no categories; this is for what else somebody's files may say.
            note(xmlTextWriterWriteAttribute(writer_.get(), chars(key), chars(isXml(value) ? value : "\xEF\xBF\xBD")));
    }
    void end() noexcept { note(xmlTextWriterEndElement(writer_.get())); }
    void empty(const std::string& name, const Properties& attributes) {
        start(name, attributes);
        end();
    }

    std::string take() {
        note(xmlTextWriterEndDocument(writer_.get()));
        if (hasFailed_) throw std::bad_alloc();  // a writer to memory fails for want of memory only
        return reinterpret_cast<const char*>(xmlBufferContent(buffer_.get()));
    }

private:
    void note(int result) noexcept { hasFailed_ = hasFailed_ || result < 0; }

    struct Free {
        void operator()(xmlTextWriter* writer) const noexcept { xmlFreeTextWriter(writer); }
    };
    std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer_;
    std::unique_ptr<xmlTextWriter, Free> writer_;
    bool hasFailed_ = false;
};

class Element {
public:
    Element(Writer& writer, const std::string& name, const Properties& attributes = {}) : writer_(writer) {
        writer_.start(name, attributes);
    }
    ~Element() { writer_.end(); }
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;

private:
    Writer& writer_;
};

// A map is written as options of their types.
void writeText(Writer& writer, const std::string& name, const std::string& value) {
    writer.empty("Option", {{"type", "QString"}, {"name", name}, {"value", value}});
}

void writeExpressions(Writer& writer, const Properties& expressions) {
    const Element all(writer, "data_defined_properties");
    const Element map(writer, "Option", {{"type", "Map"}});
    writeText(writer, "name", "");
    {
        const Element properties(writer, "Option", {{"type", "Map"}, {"name", "properties"}});
        for (const auto& [name, expression] : expressions) {
            const Element property(writer, "Option", {{"type", "Map"}, {"name", name}});
            constexpr const char* isExpression = "3";
            writer.empty("Option", {{"type", "bool"}, {"name", "active"}, {"value", "true"}});
            writeText(writer, "expression", expression);
            writer.empty("Option", {{"type", "int"}, {"name", "type"}, {"value", isExpression}});
        }
    }
    writeText(writer, "type", "collection");
}

void writeSymbol(Writer& writer, const Symbol& symbol, const std::string& name) {
    const Element element(writer, "symbol",
                          {{"type", symbol.kind}, {"name", name}, {"alpha", "1"}, {"clip_to_extent", "1"}});
    int number = 0;
    for (const SymbolLayer& layer : symbol.layers) {
        const Element one(writer, "layer", {{"class", layer.kind}, {"enabled", "1"}, {"pass", "0"}, {"locked", "0"}});
        {
            const Element properties(writer, "Option", {{"type", "Map"}});
            for (const auto& [key, value] : layer.properties) writeText(writer, key, value);
        }
        if (!layer.expressions.empty()) writeExpressions(writer, layer.expressions);
        for (const Symbol& part : layer.parts) writeSymbol(writer, part, fmt::format("@{}@{}", name, number));
        ++number;
    }
}

void writeRenderer(Writer& writer, const Style& style) {
    const Element renderer(writer, "renderer-v2",
                           {{"type", "categorizedSymbol"}, {"attr", style.attribute}, {"symbollevels", "0"}});
    {
        const Element categories(writer, "categories");
        int number = 0;
        for (const Category& category : style.categories)
            writer.empty("category", {{"value", category.value},
                                      {"type", "string"},
                                      {"symbol", fmt::format("{}", number++)},
                                      {"label", category.label},
                                      {"render", "true"}});
    }
    const Element symbols(writer, "symbols");
    int number = 0;
    for (const Category& category : style.categories) writeSymbol(writer, category.symbol, fmt::format("{}", number++));
}

void writeLabels(Writer& writer, const Labels& labels) {
    const Element labeling(writer, "labeling", {{"type", "simple"}});
    const Element settings(writer, "settings");
    {
        const Element text(writer, "text-style",
                           {{"fieldName", labels.expression},
                            {"isExpression", "1"},
                            {"fontFamily", "Sans Serif"},
                            {"fontSize", "2"},
                            {"fontSizeUnit", "MM"},
                            {"textColor", labels.ink},
                            {"fontWeight", "50"},
                            {"multilineHeight", "1"}});
        writer.empty("text-buffer", {{"bufferDraw", "1"},
                                     {"bufferSize", "0.25"},
                                     {"bufferSizeUnits", "MM"},
                                     {"bufferColor", labels.paper},
                                     {"bufferOpacity", "1"},
                                     {"bufferJoinStyle", "128"}});
    }
    writer.empty("placement", {{"placement", fmt::format("{}", labels.placement)},
                               {"predefinedPositionOrder", "TR,BR,TL,BL"},
                               {"dist", "3.5"},
                               {"priority", "5"},
                               {"distUnits", "MM"},
                               {"offsetType", "0"}});
    writer.empty("rendering", {{"drawLabels", "1"}, {"obstacle", "1"}, {"displayAll", "0"}});
}

}  // namespace

std::string written(const Style& style) {
    Writer writer;
    {
        const Element root(writer, "qgis",
                           {{"version",
                             "3.22.0-Bia\xC5\x82owie\xC5\xBC"
                             "a"},
                            {"styleCategories", "Symbology|Labeling"},
                            {"labelsEnabled", style.labels.empty() ? "0" : "1"}});
        writeRenderer(writer, style);
        for (const Labels& labels : style.labels) writeLabels(writer, labels);
    }
    return writer.take();
}

}  // namespace cxml::qml
