#include "json_head.h"

#include <nlohmann/json.hpp>

namespace cxml {

using nlohmann::ordered_json;

ordered_json jsonHead(std::string_view command, const Document& document) {
    ordered_json messages = ordered_json::array();
    for (const MessageLog::Text& text : document.messages.texts()) messages.push_back(text.text);
    constexpr int format = 1;
    return {{"cxml", {{"command", command}, {"format", format}, {"version", CXML_VERSION}}},
            {"document",
             {{"file", document.path},
              {"loaded", document.loaded},
              {"error", document.error ? ordered_json(*document.error) : ordered_json()},
              {"messages", messages}}}};
}

std::string dumped(const ordered_json& object) {
    return object.dump(1, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace cxml
