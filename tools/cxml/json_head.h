// What every JSON object of the questions about runs begins with.
#pragma once

#include "document.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace cxml {

/// {"cxml": {"command", "format", "version"}, "document": {"file", "sha256", "loaded", "error", "messages"}}
nlohmann::ordered_json jsonHead(std::string_view command, const Document& document);

/// The object as text, indented; bytes that are not UTF-8 become U+FFFD.
std::string dumped(const nlohmann::ordered_json& object);

}  // namespace cxml
