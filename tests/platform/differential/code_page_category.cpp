// UTF-8 to UTF-16 and back, invalid input and every failure included.
#include "platform/differential/category.h"

#include <algorithm>

namespace {

using differential::quoted;
using differential::Random;
using differential::Report;

std::string quotedBytes(std::string_view bytes) {
    WideString wide;
    for (const char byte : bytes) wide += static_cast<OLECHAR>(static_cast<unsigned char>(byte));
    return quoted(wide);
}

// What is behind the text tells whether a converter wrote too much; what is in it after a failure is not compared.
constexpr std::size_t room = 160;

void addToWide(Report& report, std::string_view bytes, int length, int space, DWORD flags) {
    WideString target(room, OLECHAR('#'));
    const int count = MultiByteToWideChar(CP_UTF8, flags, bytes.data(), length, target.data(), space);
    const WideView written(target.data(), space > 0 && count > 0 ? static_cast<std::size_t>(count) : 0);
    const bool untouched =
        std::all_of(target.begin() + std::max(space, 0), target.end(), [](OLECHAR unit) { return unit == '#'; });
    report.add("wide " + quotedBytes(bytes) + " length " + std::to_string(length) + " space " + std::to_string(space) +
                   " flags " + std::to_string(flags),
               std::to_string(count) + ' ' + quoted(written) + (untouched ? "" : " overwritten"));
}

void addToBytes(Report& report, const WideString& text, int length, int space, DWORD flags) {
    std::string target(room, '#');
    const int count = WideCharToMultiByte(CP_UTF8, flags, text.c_str(), length, target.data(), space, nullptr, nullptr);
    const std::string_view written(target.data(), space > 0 && count > 0 ? static_cast<std::size_t>(count) : 0);
    const bool untouched =
        std::all_of(target.begin() + std::max(space, 0), target.end(), [](char unit) { return unit == '#'; });
    report.add("bytes " + quoted(text) + " length " + std::to_string(length) + " space " + std::to_string(space) +
                   " flags " + std::to_string(flags),
               std::to_string(count) + ' ' + quotedBytes(written) + (untouched ? "" : " overwritten"));
}

void addToWideEveryWay(Report& report, const std::string& bytes) {
    const int size = static_cast<int>(bytes.size());
    for (const DWORD flags : {DWORD(0), DWORD(MB_ERR_INVALID_CHARS)})
        for (const int length : {-1, size})
            for (const int space : {0, 1, size, static_cast<int>(room)}) addToWide(report, bytes, length, space, flags);
}

void addToBytesEveryWay(Report& report, const WideString& text) {
    const int size = static_cast<int>(text.size());
    for (const DWORD flags : {DWORD(0), DWORD(WC_ERR_INVALID_CHARS)})
        for (const int length : {-1, size})
            for (const int space : {0, 1, size, static_cast<int>(room)}) addToBytes(report, text, length, space, flags);
}

std::string drawBytes(Random& random) {
    static constexpr const char* pieces[] = {"a",
                                             "\xC3\xA9",
                                             "\xE2\x82\xAC",
                                             "\xF0\x9F\x98\x80",
                                             "\xEF\xBB\xBF",
                                             "\x80",
                                             "\xBF",
                                             "\xC0",
                                             "\xC0\x80",
                                             "\xC1\xBF",
                                             "\xC2",
                                             "\xE0\x80\x80",
                                             "\xE0\x9F\xBF",
                                             "\xE0\xA0",
                                             "\xED",
                                             "\xED\xA0\x80",
                                             "\xED\xBF\xBF",
                                             "\xEF\xBF",
                                             "\xF0\x80\x80",
                                             "\xF0\x90\x80",
                                             "\xF0\x8F\xBF\xBF",
                                             "\xF4",
                                             "\xF4\x8F\xBF",
                                             "\xF4\x90\x80",
                                             "\xF5",
                                             "\xF8\x88\x80",
                                             "\xFE",
                                             "\xFF"};
    std::string bytes;
    for (std::uint32_t left = random.below(8); left > 0; --left) {
        if (random.oneIn(3))
            bytes += static_cast<char>(1 + random.below(255));
        else
            bytes += random.pick(pieces);
    }
    return bytes;
}

WideString drawUnits(Random& random) {
    static constexpr OLECHAR units[] = {'a',    0x7F,   0x80,   0x7FF,  0x800,  0xD7FF, 0xD800, 0xDBFF,
                                        0xDC00, 0xDFFF, 0xE000, 0xFEFF, 0xFFFD, 0xFFFE, 0xFFFF, 0xD83D};
    WideString text;
    for (std::uint32_t left = random.below(8); left > 0; --left)
        text += random.oneIn(3) ? static_cast<OLECHAR>(1 + random.below(0xFFFF)) : random.pick(units);
    return text;
}

void convertTexts(Report& report, Random& random, long randomCases) {
    char target[4] = {};
    OLECHAR wide[4] = {};
    const auto note = [&](const char* asked, int count) { report.add(asked, std::to_string(count)); };
    note("wide: null source", MultiByteToWideChar(CP_UTF8, 0, nullptr, 1, wide, 4));
    note("wide: null target", MultiByteToWideChar(CP_UTF8, 0, "a", 1, nullptr, 4));
    note("wide: negative space", MultiByteToWideChar(CP_UTF8, 0, "a", 1, wide, -1));
    note("wide: no such code page", MultiByteToWideChar(54321, 0, "a", 1, wide, 4));
    note("wide: length -2", MultiByteToWideChar(CP_UTF8, 0, "ab", -2, wide, 4));
    note("bytes: null source", WideCharToMultiByte(CP_UTF8, 0, nullptr, 1, target, 4, nullptr, nullptr));
    note("bytes: null target", WideCharToMultiByte(CP_UTF8, 0, OLESTR("a"), 1, nullptr, 4, nullptr, nullptr));
    note("bytes: negative space", WideCharToMultiByte(CP_UTF8, 0, OLESTR("a"), 1, target, -1, nullptr, nullptr));
    note("bytes: no such code page", WideCharToMultiByte(54321, 0, OLESTR("a"), 1, target, 4, nullptr, nullptr));
    note("bytes: default character", WideCharToMultiByte(CP_UTF8, 0, OLESTR("a"), 1, target, 4, "?", nullptr));
    BOOL used = 0;
    note("bytes: used default", WideCharToMultiByte(CP_UTF8, 0, OLESTR("a"), 1, target, 4, nullptr, &used));
    note("bytes: length -2", WideCharToMultiByte(CP_UTF8, 0, OLESTR("ab"), -2, target, 4, nullptr, nullptr));
    addToWideEveryWay(report, std::string("a\0b", 3));
    addToBytesEveryWay(report, WideString(OLESTR("a")) + OLECHAR{} + OLESTR("b"));
    // Every lead byte with every second byte: where sequences end that cannot go on.
    for (int lead = 0x80; lead < 0x100; ++lead)
        for (int second = 1; second < 0x100; second += 3) {
            const std::string bytes{static_cast<char>(lead), static_cast<char>(second), '\x80', '\x80', 'z'};
            addToWide(report, bytes, static_cast<int>(bytes.size()), room, 0);
        }
    for (std::uint32_t unit = 1; unit < 0x10000; unit += 7)
        addToBytes(report, WideString(1, static_cast<OLECHAR>(unit)), 1, room, 0);
    for (long i = 0; i < randomCases; i += 32) {
        addToWideEveryWay(report, drawBytes(random));
        addToBytesEveryWay(report, drawUnits(random));
    }
}

const differential::Registration registration("code-pages", 60000, convertTexts);

}  // namespace
