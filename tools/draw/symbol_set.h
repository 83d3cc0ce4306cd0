// A folder with pictures of symbols, and the style sheet that goes with them.
#pragma once

#include "tools/draw/picture.h"
#include "tools/draw/styles.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

/// The folder of the pictures that come with the program: share/symbology/symbols beside the folder of the program.
std::string ownSymbolsFolder();

class SymbolSet {
public:
    /// \param folder with NAME.svg files, and styles.json where it is not to be that of our own.
    /// \throws DrawError
    SymbolSet(const std::string& folder, const std::string& palette);

    const Styles& styles() const noexcept { return styles_; }

    /// What is drawn as more than its name, ascending: pictures, and lines, areas and figures of the style sheet.
    std::vector<std::string> names() const;

    /// The name's picture; null when there is none. Names are those of files that the folder has: no
    /// path is ever made of a name.
    const Picture* picture(const std::string& name);

    /// Pictures that were asked for and cannot be used, each with the reason.
    const std::vector<std::string>& complaints() const noexcept { return complaints_; }

private:
    Styles styles_;
    std::map<std::string, std::string> files_;  // by name
    std::map<std::string, std::optional<Picture>> pictures_;
    std::vector<std::string> complaints_;
};

}  // namespace cxml
