// Writing styles of layers beside them: what cxml style and symbolize --style do.
#pragma once

#include "cxml/condition_map.h"
#include "host/geodatabase/gdal_workspace.h"
#include "tools/draw/symbol_set.h"
#include "tools/reports/console.h"
#include "tools/style/layer_style.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

struct StyleOptions {
    std::optional<std::string> symbols;
    std::string palette = "day";
    bool createTable = false;
};

/// Adds --symbols, --palette and --create-style-table.
void addStyleOptions(CLI::App& command, StyleOptions& options);

/// The names of our styles: the one with pictures in it, and the one that finds them by name.
constexpr const char* ownStyle = "CXML";
constexpr const char* ownStyleByName = "CXML by name";

class StyleWriting {
public:
    /// Reads the style sheet and the folder of the pictures. \throws HostError
    explicit StyleWriting(const StyleOptions& options);

    /// \throws HostError when the dataset keeps no styles.
    void expectPlace(embedded_host::GdalWorkspace& workspace) const { workspace.expectStyles(options_.createTable); }

    /// Writes the styles of those layers that have shapes and symbols.
    /// \param map the document whose names and labels they have besides; null for none.
    /// \throws HostError; nothing is written then.
    void write(embedded_host::GdalWorkspace& workspace, const std::vector<embedded_host::LayerInfo>& layers,
               const ConditionalXml::ConditionMap* map);

    /// Tells of pictures that cannot be used.
    void complain(Console& console) const;
    /// What was done, for people.
    void report(Console& console) const;
    /// The same: "styles": [...], "withoutPicture": [...].
    std::string json() const;

private:
    struct Layer {
        std::string name;
        std::size_t symbols = 0;
        std::optional<std::string> keptDefault;
    };

    std::optional<StyleOrder> orderOf(embedded_host::GdalWorkspace& workspace, const embedded_host::LayerInfo& layer,
                                      const ConditionalXml::ConditionMap* map);
    void addDocument(StyleOrder& order, embedded_host::GdalWorkspace& workspace, const embedded_host::LayerInfo& layer,
                     const ConditionalXml::ConditionMap& map) const;

    StyleOptions options_;
    SymbolSet symbols_;
    std::vector<Layer> layers_;
    std::map<std::string, std::int64_t> withoutPicture_;  // names, and how many rows have each
};

}  // namespace cxml
