// Findings as people read them.
#pragma once

#include "tools/check/finding.h"
#include "tools/check/source_text.h"

#include <map>
#include <string>
#include <vector>

namespace cxml {

/// Files that findings are shown with, each read once.
class Sources {
public:
    const SourceText& of(const std::string& file);

private:
    std::map<std::string, SourceText> read_;
};

/// The lines of one finding: "FILE:LINE:COLUMN: error: text [kind]", the line of the document with what is meant
/// marked, the second place, what follows, and the way out.
std::vector<std::string> linesOf(const Finding& finding, Sources& sources);

/// "2 errors, 1 note; 3 ignored".
std::string summaryOf(const std::vector<Finding>& findings);

/// A command for the log of a build service, which shows it beside the line.
std::string annotationOf(const Finding& finding);

}  // namespace cxml
