#include "platform/portable/dom_expansion.h"

#include "platform/portable/dom_text.h"

#include <algorithm>

namespace symbology_platform::dom {

namespace {

constexpr int deepest = 40;

}  // namespace

std::uint64_t EntitySizes::sizeOf(const xmlEntity* entity, char sign, const Lookup& lookup) {
    return measure(entity, sign, lookup, 1);
}

std::uint64_t EntitySizes::measure(const xmlEntity* entity, char sign, const Lookup& lookup, int depth) {
    if (depth > deepest) return tooMuch;
    // An entity that refers to itself meets the zero here; the parser finds that fault itself.
    const auto [known, isNew] = sizes_.try_emplace(entity, 0);
    if (!isNew) return known->second;
    const std::string_view content = viewOf(entity->content);
    std::uint64_t size = content.size();
    for (std::size_t at = content.find(sign); at != std::string_view::npos; at = content.find(sign, at + 1)) {
        const std::size_t end = content.find(';', at);
        if (end == std::string_view::npos) break;
        const xmlEntity* inner = lookup(std::string(content.substr(at + 1, end - at - 1)));
        if (inner) size = std::min(size + measure(inner, sign, lookup, depth + 1), tooMuch);
    }
    sizes_[entity] = size;
    return size;
}

}  // namespace symbology_platform::dom
