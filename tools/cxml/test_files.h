// Files of tests.
#pragma once

#include "section_run.h"

#include <memory>
#include <string>
#include <vector>

namespace cxml {

/// A file of tests, and how they ended.
struct TestFile {
    std::string path;
    std::vector<MarkdownSection> sections;
    std::vector<std::unique_ptr<SectionRun>> runs;  // of the sections that were asked for
    std::vector<TestedSection> results;             // in the same order
};

/// Whether there is something of this name. \throws embedded_host::HostError when that cannot be told.
bool isThere(const std::string& path);

/// The file's bytes. \throws embedded_host::HostError when it is no regular file or cannot be read.
std::string readTestFile(const std::string& path);

/// The file's sections, ready to run. \param filter only sections with this text in their name.
/// \throws embedded_host::HostError, with file, line and column where tables cannot be read.
TestFile readTests(const std::string& path, const std::string& filter);

}  // namespace cxml
