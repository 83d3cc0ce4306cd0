// Pages of HTML in one file: no request, nothing of a document or a dataset can become markup.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace cxml {

/// Fills a Mustache template. Texts are escaped, their line breaks and control characters made visible; {{css}} is the
/// pages' style sheet. Members that are null, false, 0 or empty lists hide their sections.
/// \param content an object. \param parts more members, as they are: markup that was made of nobody's text, or escaped.
/// \throws std::logic_error when the template is none.
std::string page(std::string_view text, const nlohmann::ordered_json& content,
                 const std::map<std::string, std::string>& parts = {});

/// JSON that may stand in an element script: no markup begins in it.
std::string jsonInPage(const nlohmann::ordered_json& value);

}  // namespace cxml
