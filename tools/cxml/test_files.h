// Files of tests.
#pragma once

#include <string>

namespace cxml {

/// Whether there is something of this name. \throws embedded_host::HostError when that cannot be told.
bool isThere(const std::string& path);

/// The file's bytes. \throws embedded_host::HostError when it is no regular file or cannot be read.
std::string readTestFile(const std::string& path);

}  // namespace cxml
