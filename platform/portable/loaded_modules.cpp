#include "platform/portable/loaded_modules.h"

#include <dlfcn.h>
#include <link.h>
#include <new>
#include <string>
#include <string_view>

namespace {

struct Search {
    std::string start;
    std::vector<std::string> files;
    bool outOfMemory = false;

    // The linker's lock is held: nothing may be thrown through it.
    static int look(dl_phdr_info* info, std::size_t /*size*/, void* self) {
        auto* const search = static_cast<Search*>(self);
        const std::string_view path = info->dlpi_name;
        if (!path.substr(path.rfind('/') + 1).starts_with(search->start)) return 0;
        try {
            search->files.emplace_back(path);
        } catch (const std::bad_alloc&) {
            search->outOfMemory = true;
        }
        return search->outOfMemory ? 1 : 0;
    }
};

}  // namespace

std::vector<LoadedModule> loadedModules(const char* name) {
    Search search{std::string("lib") + name, {}};
    dl_iterate_phdr(Search::look, &search);
    if (search.outOfMemory) throw std::bad_alloc();
    std::vector<LoadedModule> modules{nullptr};
    modules.reserve(search.files.size() + 1);
    for (const std::string& file : search.files) {
        void* const handle = dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD);
        if (!handle) continue;
        modules.push_back(handle);
        dlclose(handle);  // what had it loaded has it still
    }
    return modules;
}

void* exportedSymbol(LoadedModule module, const char* name) noexcept {
    return dlsym(module ? module : RTLD_DEFAULT, name);
}

void keepLoaded(void* address) noexcept {
    Dl_info info{};
    if (dladdr(address, &info) != 0) dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}
