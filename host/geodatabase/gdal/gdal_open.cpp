// Opening a dataset, for as long as others have it locked and there is time to wait.
#include "host/geodatabase/gdal/gdal_open.h"

#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/s57/s57_records.h"
#include "host/host_error.h"
#include "host/library_call.h"

#include <gdal_priv.h>
#include <ogrsf_frmts.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>

namespace embedded_host {

namespace {

bool isOneOf(std::string_view driver, std::initializer_list<std::string_view> drivers) {
    return std::ranges::find(drivers, driver) != drivers.end();
}

void registerDrivers() {
    const LibraryCall call("GDAL");
    // SQLite counts the memory that it uses, under a lock. Nobody asks for that, and it makes updates a tenth slower.
    // The setting is refused, which does no harm, once the process uses SQLite.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    GDALAllRegister();
    // GDAL's cache of a thread is entered when it is first used; without memory the C library would abort then.
    const OGRSpatialReference first;
}

// While GDAL opens a file it has every statement wait anew: a little each, then all is tried again.
class ShortWaits {
public:
    explicit ShortWaits(const LockWait& wait) {
        constexpr std::chrono::milliseconds most(100);
        CPLSetThreadLocalConfigOption(option, std::to_string(wait.left(most).count()).c_str());
    }
    ~ShortWaits() { CPLSetThreadLocalConfigOption(option, nullptr); }
    ShortWaits(const ShortWaits&) = delete;
    ShortWaits& operator=(const ShortWaits&) = delete;

private:
    static constexpr const char* option = "SQLITE_BUSY_TIMEOUT";
};

// Null with what was said when anything went wrong: a dataset that was read in part would seem to lack the rest.
GdalHandle tryToOpen(const std::string& name, Access access, std::string& failure) {
    const GdalErrors errors;
    // Not left to GDAL: what it takes for a cell differs between its releases.
    if (access == Access::Update && beginsAsCell(name))
        throw ReadOnlyError(name +
                            ": an S-57 cell, whose rows cannot be written; import it into a GeoPackage: cxml import " +
                            shellWord(name) + " chart.gpkg");
    const unsigned flags = GDAL_OF_VECTOR | GDAL_OF_VERBOSE_ERROR |
                           static_cast<unsigned>(access == Access::Update ? GDAL_OF_UPDATE : GDAL_OF_READONLY);
    // A GeoPackage that cannot be read now is no other kind of file.
    GDALDriver* const driver =
        GDALDriver::FromHandle(GDALIdentifyDriverEx(name.c_str(), GDAL_OF_VECTOR, nullptr, nullptr));
    const char* const known = driver ? driver->GetDescription() : "";
    const std::array drivers{known, static_cast<const char*>(nullptr)};
    // Tables that a GeoPackage does not list among its contents are tables all the same.
    constexpr std::array options{"LIST_ALL_TABLES=YES", static_cast<const char*>(nullptr)};
    GdalHandle gdal(GDALDataset::Open(name.c_str(), flags,
                                      isOneOf(known, {"GPKG", "SQLite"}) ? drivers.data() : nullptr,
                                      isOneOf(known, {"GPKG"}) ? options.data() : nullptr, nullptr));
    if (gdal && !errors.any()) return gdal;
    failure = errors.text("no such dataset, or not one that GDAL knows");
    return nullptr;
}

bool tellsOfALock(const std::string& failure) {
    return failure.find("is locked") != std::string::npos;
}

}  // namespace

void GdalCloser::operator()(GDALDataset* dataset) const noexcept {
    const GdalErrors errors;
    delete dataset;
}

// As a shell reads it.
std::string shellWord(const std::string& text) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+./:@%,=";
    if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
    std::string word(1, '\'');
    for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word += '\'';
}

std::string whyNotOpened(const std::string& name, Access access, const std::string& why) {
    return name + (access == Access::Update ? ": cannot be opened for update: " : ": cannot be opened: ") + why;
}

GdalHandle openGdal(const std::string& name, Access access, LockWait& wait) {
    registerDrivers();
    for (int pauses = 0;; ++pauses) {
        const ShortWaits shortWaits(wait);
        const auto start = LockWait::Clock::now();
        std::string failure;
        if (GdalHandle gdal = tryToOpen(name, access, failure)) return gdal;
        wait.spend(LockWait::Clock::now() - start);
        if (!tellsOfALock(failure) || !wait.pause(pauses)) throw HostError(whyNotOpened(name, access, failure));
    }
}

}  // namespace embedded_host
