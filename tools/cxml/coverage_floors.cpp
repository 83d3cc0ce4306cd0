#include "coverage_floors.h"

#include <fmt/format.h>
#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace cxml {
namespace {

std::optional<std::pair<Measure, std::int64_t>> readFloor(const std::string& text) {
    constexpr std::int64_t all = 100;
    const std::size_t sign = std::min(text.find('='), text.size());
    const auto* const name = std::ranges::find(measureNames, text.substr(0, sign));
    const std::string number = text.substr(std::min(sign + 1, text.size()));
    std::int64_t percent = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), percent);
    if (name == measureNames.end() || error != std::errc{} || end != number.data() + number.size() || percent < 0 ||
        percent > all)
        return std::nullopt;
    return std::pair(static_cast<Measure>(name - measureNames.begin()), percent);
}

}  // namespace

CLI::Option* addFloors(CLI::App& command, std::vector<std::string>& floors) {
    return command.add_option("--fail-under", floors, "status 1 when a measure is below so many percent")
        ->type_name("held=N,decided=N,rules=N")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check([](const std::string& text) {
            return readFloor(text) ? std::string() : fmt::format("'{}' is no measure with a percentage", text);
        });
}

std::map<Measure, std::int64_t> floorsOf(const std::vector<std::string>& texts) {
    std::map<Measure, std::int64_t> floors;
    for (const std::string& text : texts)
        if (const auto floor = readFloor(text)) floors[floor->first] = floor->second;
    return floors;
}

}  // namespace cxml
