// Finding and reading the expression files that a document names.
#pragma once

#include "rules/field_names.h"

#include <optional>
#include <set>
#include <string>

namespace ConditionalXml {

/// The path up to and with its last backslash, or last slash when it has no backslash; empty without either.
CComBSTR folderOf(WideView path);

/// The whole file as narrow text. A path is tried as it stands; a bare file name that does not open so is looked for
/// in the directories, in their order, then in the "Charting" folder of the installed product's files. Nothing when
/// none opens.
std::optional<std::string> readExpressionFile(WideView path, const std::set<CComBSTR, BstrLess>& directories);

}  // namespace ConditionalXml
