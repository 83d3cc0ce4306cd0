// differential CATEGORY FILE SEED [COUNT]: writes the category's answers to the file.
// differential --list: prints the categories' names.
#include "platform/differential/category.h"

#include <cstdlib>
#include <cstring>

namespace {

int list() {
    for (const differential::Registration* category = differential::firstCategory(); category;
         category = category->next)
        std::printf("%s\n", category->name);
    return 0;
}

int runCategory(const differential::Registration& category, const char* path, std::uint64_t seed, long count) {
    // Binary, so that lines end alike on both platforms.
    std::FILE* file = std::fopen(path, "wb");
    if (!file) {
        std::fprintf(stderr, "cannot write %s\n", path);
        return 2;
    }
    differential::Report report(file);
    differential::Random random(seed);
    category.run(report, random, count < 0 ? category.randomCases : count);
    const bool written = std::ferror(file) == 0;
    if (std::fclose(file) != 0 || !written || report.cases() == 0) return 2;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) return list();
    if (argc < 4) {
        std::fputs("usage: differential CATEGORY FILE SEED [COUNT]\n", stderr);
        return 2;
    }
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 2;
    int result = 2;
    for (const differential::Registration* category = differential::firstCategory(); category;
         category = category->next)
        if (std::strcmp(category->name, argv[1]) == 0)
            result = runCategory(*category, argv[2], std::strtoull(argv[3], nullptr, 10),
                                 argc > 4 ? std::strtol(argv[4], nullptr, 10) : -1);
    CoUninitialize();
    return result;
}
