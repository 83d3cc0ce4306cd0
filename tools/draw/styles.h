// The style sheet of a chart: colours of tokens, and how lines, areas and figures of a name are drawn.
#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace cxml {

/// Why a style sheet or a folder of pictures cannot be used, one line.
class DrawError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Widths and dashes in millimetres, colours as SVG has them.
struct LineStyle {
    std::string stroke;
    double width = 0;
    std::vector<double> dash;
};

struct AreaStyle {
    std::optional<std::string> fill;
    std::optional<std::string> hatch;
    std::optional<LineStyle> outline;
    bool symbol = false;
};

/// Points that are shown as a depth.
struct FigureStyle {
    std::string field;
    std::string fill;
    bool bold = false;
    bool underline = false;
    bool circle = false;
    bool swept = false;
};

struct Styles {
    std::map<std::string, std::string> colours;  // of one palette, by token
    std::map<std::string, LineStyle> lines;
    std::map<std::string, AreaStyle> areas;
    std::map<std::string, FigureStyle> figures;

    /// The token's colour. \throws DrawError
    const std::string& colour(const std::string& token) const;
};

/// Reads styles.json, whose form docs/symbols.md has. \throws DrawError
Styles readStyles(const std::string& file, const std::string& palette);

}  // namespace cxml
