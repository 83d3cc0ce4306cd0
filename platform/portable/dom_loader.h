// Parses a document. Nothing outside of it is ever read, and what it can make of little text is bounded.
#pragma once

#include "platform/portable/dom_source.h"
#include "platform/portable/dom_tree.h"

#include <string>
#include <string_view>

namespace symbology_platform::dom {

/// Why a document was not loaded, and where; all empty when it was.
struct ParseFailure {
    LONG code = 0;
    std::u16string reason;
    std::u16string sourceLine;
    LONG line = 0;      ///< from 1; 0: no place in the text
    LONG position = 0;  ///< from 1, in UTF-16 units
};

struct LoadResult {
    std::shared_ptr<Tree> tree;  ///< null when the document was not loaded
    ParseFailure failure;
};

/// `path` may be any text; what cannot be the name of a file is not loaded.
LoadResult loadFile(std::u16string_view path);
LoadResult loadText(std::u16string_view text);

}  // namespace symbology_platform::dom
