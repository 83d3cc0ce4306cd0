// The portable platform reads its registry from a file.
#include "support/test_registry.h"

#include <filesystem>
#include <fstream>
#include <iomanip>
#include <random>
#include <sstream>
#include <stdexcept>

namespace {

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) result += c == '\\' || c == '"' ? std::string{'\\', c} : std::string{c};
    return result + '"';
}

void write(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file.flush()) throw std::runtime_error("Cannot write " + path);
}

std::string keyLine(const std::string& path) {
    return "[HKEY_LOCAL_MACHINE\\" + path + "]\n";
}

}  // namespace

TestRegistry::TestRegistry()
    : place_((std::filesystem::temp_directory_path() / ("symbology-test-" + std::to_string(std::random_device{}())))
                 .string()) {
    write(place_, "");
    PlatformSetRegistryFile(place_.c_str());
}

TestRegistry::~TestRegistry() {
    PlatformSetRegistryFile(nullptr);
    std::error_code ignored;  // a file that stays is the next clean-up's business
    std::filesystem::remove(place_, ignored);
}

TestRegistry& TestRegistry::key(const std::string& path) {
    write(place_, content_ += keyLine(path));
    return *this;
}

TestRegistry& TestRegistry::text(const std::string& path, const std::string& name, const std::string& value) {
    write(place_, content_ += keyLine(path) + quoted(name) + "=" + quoted(value) + "\n");
    return *this;
}

TestRegistry& TestRegistry::number(const std::string& path, const std::string& name, DWORD value) {
    std::ostringstream line;
    line << quoted(name) << "=dword:" << std::hex << std::setw(8) << std::setfill('0') << value << '\n';
    write(place_, content_ += keyLine(path) + line.str());
    return *this;
}
