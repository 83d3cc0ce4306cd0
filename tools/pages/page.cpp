#include "tools/pages/page.h"

#include "tools/pages/templates.h"
#include "tools/text/text.h"

#include <kainjow/mustache.hpp>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace cxml {
namespace {

using kainjow::mustache::data;
using kainjow::mustache::mustache;
using nlohmann::ordered_json;

data dataOf(const ordered_json& value) {
    if (value.is_object()) {
        data object;
        for (const auto& [name, member] : value.items()) object.set(name, dataOf(member));
        return object;
    }
    if (value.is_array()) {
        data list(data::type::list);
        for (const ordered_json& element : value) list.push_back(dataOf(element));
        return list;
    }
    if (value.is_string()) return {oneLine(value.get_ref<const std::string&>())};
    if (value.is_null() || value == 0) return {false};
    return value.is_boolean() ? data(value.get<bool>()) : data(value.dump());
}

}  // namespace

std::string page(std::string_view text, const ordered_json& content, const std::map<std::string, std::string>& parts) {
    mustache made{std::string(text)};
    if (!made.is_valid()) throw std::logic_error("a page's template: " + made.error_message());
    data all = dataOf(content);
    all.set("css", data(std::string(templates::page_css)));
    for (const auto& [name, part] : parts) all.set(name, data(part));
    return made.render(all);
}

std::string jsonInPage(const ordered_json& value) {
    const std::string json = value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    std::string escaped;
    escaped.reserve(json.size());
    for (const char c : json)
        if (c == '<')
            escaped += "\\u003c";
        else
            escaped += c;
    return escaped;
}

}  // namespace cxml
