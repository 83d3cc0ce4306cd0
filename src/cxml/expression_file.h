// Finding and reading the expression files that a document names.
#pragma once

#include "text/field_names.h"

#include <optional>
#include <set>
#include <string>

namespace ConditionalXml {

/// The path up to and with its last backslash, or last slash when it has no backslash; empty without either.
CComBSTR folderOf(WideView path);

/// What reading an expression file gave.
struct ExpressionFile {
    std::optional<std::string> content;  // the whole file as narrow text; nothing when none opens
    const char* refusal = nullptr;       // then: what is wrong with one that is there, "is not a regular file"
};

/// A path is tried as it stands; a bare file name that does not open so is looked for in the directories, in their
/// order, then in the "Charting" folder of the installed product's files. Only regular files are read, of up to
/// 10,000,000 bytes, which is as long as a text of a document may be.
ExpressionFile readExpressionFile(WideView path, const std::set<CComBSTR, BstrLess>& directories);

}  // namespace ConditionalXml
