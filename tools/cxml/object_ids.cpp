#include "object_ids.h"

#include "host/host_error.h"

#include <fmt/format.h>
#include <charconv>

namespace cxml {
namespace {

std::string_view trimmed(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::optional<ObjectId> parseId(std::string_view text) noexcept {
    ObjectId id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return id;
}

// Calls body(piece) until it returns false.
template <class Body>
void forEachPiece(std::string_view text, const Body& body) {
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        if (!body(trimmed(text.substr(begin, end - begin)))) return;
        begin = end + 1;
    }
}

}  // namespace

std::optional<std::vector<ObjectId>> parseObjectIds(std::string_view text) {
    std::optional<std::vector<ObjectId>> ids(std::in_place);
    forEachPiece(text, [&](std::string_view piece) {
        const std::optional<ObjectId> id = parseId(piece);
        if (id)
            ids->push_back(*id);
        else
            ids.reset();
        return id.has_value();
    });
    return ids;
}

std::string whyNotObjectIds(std::string_view text) {
    std::string reason;
    forEachPiece(text, [&](std::string_view piece) {
        if (!parseId(piece)) reason = fmt::format("'{}' is not a row id (a whole number)", piece);
        return reason.empty();
    });
    return reason;
}

std::vector<ObjectId> firstIds(ISelectionSet* selection, std::size_t limit) {
    std::vector<ObjectId> ids;
    CComPtr<IEnumIDs> all;
    HRESULT status = selection->get_IDs(&all);
    if (SUCCEEDED(status) && all) status = all->Reset();
    for (ObjectId id = 0; all && ids.size() < limit && status == S_OK;) {
        status = all->Next(&id);
        if (status == S_OK) ids.push_back(id);
    }
    if (FAILED(status) || !all) throw embedded_host::HostError("the rows of a condition cannot be listed");
    return ids;
}

}  // namespace cxml
