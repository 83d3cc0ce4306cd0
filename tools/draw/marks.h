// What stands at a place: pictures of symbols, depths as figures, and the mark of a name without a picture.
#pragma once

#include "tools/draw/features.h"
#include "tools/draw/page.h"
#include "tools/draw/symbol_set.h"

#include <map>
#include <string>

namespace cxml {

class Marks {
public:
    explicit Marks(SymbolSet& symbols) : symbols_(symbols) {}

    /// The feature's symbol at its place: a figure, a picture, or the mark of a name that has none.
    void add(std::string& svg, const Feature& feature, const PagePoint& place);
    /// The same faintly, without saying whose it is, and uncounted.
    void addFaint(std::string& svg, const Feature& feature, const PagePoint& place);
    /// Counts a feature whose name has neither picture nor style.
    void countMissing(const std::string& symbol) { ++missing_[symbol]; }

    /// Each picture that was used, once.
    const std::string& definitions() const noexcept { return definitions_; }
    const std::map<std::string, std::size_t>& missing() const noexcept { return missing_; }

private:
    struct Known {
        std::string id;
        bool isMissing;
    };
    const Known& define(const std::string& symbol);
    void use(std::string& svg, const Known& known, const Feature& feature, const PagePoint& place,
             const char* more) const;
    void addFigure(std::string& svg, const FigureStyle& style, const Feature& feature, const PagePoint& place) const;

    SymbolSet& symbols_;
    std::map<std::string, Known> known_;
    std::map<std::string, std::size_t> missing_;
    std::string definitions_;
};

/// The mark of a name without a picture: the name in a box, in `colour` on `paper`.
Picture unknownMark(const std::string& name, const std::string& colour, const std::string& paper);

}  // namespace cxml
