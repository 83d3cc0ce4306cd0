// Upper and lower case: every code unit, and the letters beyond the basic plane that have two cases.
#include "platform/differential/category.h"

namespace {

using differential::quoted;
using differential::Random;
using differential::Report;

WideString pair(std::uint32_t character) {
    character -= 0x10000;
    return {static_cast<OLECHAR>(0xD800 + (character >> 10)), static_cast<OLECHAR>(0xDC00 + (character & 0x3FF))};
}

/// Deseret, Osage, Vithkuqi, Old Hungarian, Warang Citi, Medefaidrin, Adlam.
void mapPairs(Report& report) {
    static constexpr std::uint32_t scripts[][2] = {{0x10400, 0x1044F}, {0x104B0, 0x104FB}, {0x10570, 0x105BC},
                                                   {0x10C80, 0x10CF2}, {0x118A0, 0x118DF}, {0x16E40, 0x16E7F},
                                                   {0x1E900, 0x1E943}};
    for (const auto& [first, last] : scripts)
        for (std::uint32_t character = first; character <= last; ++character) {
            const WideString text = pair(character);
            WideString upper = text;
            WideString lower = text;
            CharUpperBuffW(upper.data(), 2);
            CharLowerBuffW(lower.data(), 2);
            report.add("pair " + quoted(text), quoted(upper) + ' ' + quoted(lower));
        }
}

void mapCase(Report& report, Random& random, long randomCases) {
    for (std::uint32_t unit = 0; unit < 0x10000; ++unit) {
        auto upper = static_cast<OLECHAR>(unit);
        OLECHAR lower = upper;
        CharUpperBuffW(&upper, 1);
        CharLowerBuffW(&lower, 1);
        report.add(quoted(WideString(1, static_cast<OLECHAR>(unit))),
                   quoted(WideString(1, upper)) + ' ' + quoted(WideString(1, lower)));
    }
    mapPairs(report);
    report.add("upper of 0 units", std::to_string(CharUpperBuffW(WideString(OLESTR("a")).data(), 0)));
    for (long i = 0; i < randomCases; ++i) {
        WideString text;
        for (std::uint32_t left = random.below(12); left > 0; --left)
            text += static_cast<OLECHAR>(random.below(random.oneIn(2) ? 0x80 : 0x10000));
        const std::uint32_t count = random.below(static_cast<std::uint32_t>(text.size()) + 1);
        const std::string asked = quoted(text) + ' ' + std::to_string(count);
        const DWORD done = random.oneIn(2) ? CharUpperBuffW(text.data(), count) : CharLowerBuffW(text.data(), count);
        report.add(asked, std::to_string(done) + ' ' + quoted(text));
    }
}

const differential::Registration registration("text-case", 5000, mapCase);

}  // namespace
