// Statuses of the registry: what is there, what is not, and what does not fit.
#include "platform/differential/category.h"
#include "support/test_registry.h"

#include <vector>

namespace {

using differential::Random;
using differential::Report;

WideString wide(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}

/// Opens, asks and closes: the statuses, and what came back.
std::string read(const std::string& path, const std::string& name, DWORD capacity) {
    HKEY key = nullptr;
    const LSTATUS opened = RegOpenKeyExW(HKEY_LOCAL_MACHINE, wide(path).c_str(), 0, KEY_QUERY_VALUE, &key);
    if (opened != ERROR_SUCCESS) return "open " + std::to_string(opened);
    std::vector<BYTE> data(capacity + 1, 0xCC);
    DWORD type = 0;
    DWORD bytes = capacity;
    const LSTATUS status = RegQueryValueExW(key, wide(name).c_str(), nullptr, &type, data.data(), &bytes);
    std::string answer = "query " + std::to_string(status);
    if (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) answer += " bytes " + std::to_string(bytes);
    if (status == ERROR_SUCCESS) {
        answer += " type " + std::to_string(type) + " data";
        for (DWORD i = 0; i < bytes; ++i) answer += ' ' + std::to_string(data[i]);
    }
    return answer + " close " + std::to_string(RegCloseKey(key));
}

void readKeys(Report& report, Random& random, long randomCases) {
    const std::string key = "Software\\Vendor\\Product";
    const auto ask = [&report](const std::string& what, const std::string& path, const std::string& name,
                               DWORD capacity) {
        report.add(what + ": " + path + " " + name + " in " + std::to_string(capacity), read(path, name, capacity));
    };
    {
        TestRegistry registry;
        ask("nothing at all", key, "Folder", 260);
        registry.key(key);
        ask("key without the value", key, "Folder", 260);
        ask("key above", "Software\\Vendor", "Folder", 260);
        ask("key below", key + "\\Deeper", "Folder", 260);
        for (const std::size_t length : {0U, 1U, 128U, 129U, 130U, 131U}) {
            registry.text(key, "Folder", std::string(length, 'f'));
            ask("length " + std::to_string(length), key, "Folder", 260);
        }
        registry.text(key, "Folder", "C:\\no backslash at the end");
        for (const char* path :
             {"Software\\Vendor\\Product", "SOFTWARE\\vendor\\PRODUCT", "Software\\Vendor\\Product\\"})
            for (const char* name : {"Folder", "FOLDER", "Folde", ""}) ask("names", path, name, 260);
        registry.number(key, "Folder", 0x00420041);
        for (const DWORD capacity : {260U, 4U, 3U, 0U}) ask("another type", key, "Folder", capacity);
    }
    for (long i = 0; i < randomCases; ++i) {
        std::string value;
        for (std::uint32_t left = random.below(140); left > 0; --left)
            value += static_cast<char>(' ' + random.below(95));
        TestRegistry registry;
        registry.text(key, "Folder", value);
        ask("value of " + std::to_string(value.size()), key, "Folder", random.below(290));
    }
}

const differential::Registration registration("registry", 1000, readKeys);

}  // namespace
