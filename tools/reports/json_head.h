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

/// JSON with the control characters that JSON itself leaves as they are (U+007F to U+009F) written \u007f, so that a
/// terminal that is shown it does not take them for orders.
std::string withEscapedControls(const std::string& json);

}  // namespace cxml
