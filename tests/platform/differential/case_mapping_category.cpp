// Upper and lower case, every code unit.
#include "platform/differential/category.h"

namespace {

using differential::quoted;
using differential::Random;
using differential::Report;

void mapCase(Report& report, Random& random, long randomCases) {
    for (std::uint32_t unit = 0; unit < 0x10000; ++unit) {
        auto upper = static_cast<OLECHAR>(unit);
        OLECHAR lower = upper;
        CharUpperBuffW(&upper, 1);
        CharLowerBuffW(&lower, 1);
        report.add(quoted(WideString(1, static_cast<OLECHAR>(unit))),
                   quoted(WideString(1, upper)) + ' ' + quoted(WideString(1, lower)));
    }
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
