// A file of results: whole or not at all, and in nobody's place unless that is wished.
#pragma once

#include <string>
#include <string_view>

namespace cxml {

enum class WhenThere : unsigned char { Refuse, Replace };

/// Why no such file could be written, before anything is worked out for it; empty when nothing speaks against it.
std::string whyNotWritable(const std::string& name, WhenThere whenThere);

/// Writes the file beside its place and gives it its name when it is whole. What it replaces hands down who may do what
/// with it, and, as far as this user may say so, whose it is.
/// \return why it could not, one line without the file's name; empty when it is there.
std::string writeFile(const std::string& name, std::string_view content, WhenThere whenThere);

}  // namespace cxml
