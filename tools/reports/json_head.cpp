#include "json_head.h"

#include <fmt/format.h>
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
              {"sha256", document.sha256 ? ordered_json(*document.sha256) : ordered_json()},
              {"loaded", document.loaded},
              {"error", document.error ? ordered_json(*document.error) : ordered_json()},
              {"messages", messages}}}};
}

std::string dumped(const ordered_json& object) {
    return withEscapedControls(object.dump(1, ' ', false, ordered_json::error_handler_t::replace));
}

// They stand in strings only.
std::string withEscapedControls(const std::string& json) {
    std::string escaped;
    escaped.reserve(json.size());
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto byte = static_cast<unsigned char>(json[i]);
        const auto next = static_cast<unsigned char>(i + 1 < json.size() ? json[i + 1] : 0);
        if (byte == 0x7F) {
            escaped += "\\u007f";
        } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
            escaped += fmt::format("\\u00{:02x}", next);
            ++i;
        } else {
            escaped += json[i];
        }
    }
    return escaped;
}

}  // namespace cxml
