// Pictures of names in a page: each once, to be used where it is wanted.
#pragma once

#include "tools/draw/symbol_set.h"

#include <map>
#include <string>

namespace cxml {

class PagePictures {
public:
    explicit PagePictures(SymbolSet& symbols) : symbols_(symbols) {}

    /// The id of the name's picture, or of an example of its style; empty when it has neither.
    std::string idOf(const std::string& name);
    /// All that were asked for, as SVG.
    const std::string& definitions() const noexcept { return definitions_; }

private:
    std::string elementsOf(const std::string& name);

    SymbolSet& symbols_;
    std::map<std::string, std::string> ids_;
    std::string definitions_;
};

}  // namespace cxml
