// The row of updates of a base cell.
#include "host/geodatabase/s57/cell_files.h"

#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/s57/cell_records.h"

#include <cpl_string.h>
#include <cpl_vsi.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

namespace embedded_host {

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t dataSet = 10;

std::string upper(std::string_view text) {
    std::string all(text);
    std::ranges::transform(all, all.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return all;
}

bool isDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c) != 0; });
}

int numberOf(std::string_view digits) {
    int number = -1;
    if (isDigits(digits) && digits.size() <= 6) std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

std::string_view stemOf(std::string_view name) {
    return name.substr(0, name.rfind('.'));
}

std::string extensionOf(int update) {
    std::string digits = std::to_string(update);
    return "." + std::string(3 - std::min<std::size_t>(digits.size(), 3), '0') + digits;
}

CellIdentification identificationOf(const S57File& file, const S57Record& record) {
    const std::string_view* data = record.find("DSID");
    if (!data || record.fields.front().tag != "DSID") file.refuse(record, "it does not identify the data set");
    CellIdentification found;
    try {
        S57Reader field(*data);
        const std::uint32_t kind = field.number(1);
        field.number(4);
        const std::uint32_t purpose = field.number(1);
        field.number(1);
        found.isBase = purpose == 1;
        found.name = field.text();
        found.edition = field.text();
        found.update = numberOf(field.text());
        found.applied = field.bytes(8);
        found.issued = field.bytes(8);
        field.bytes(4 + 1);
        field.text();
        field.text();
        field.number(1);
        found.agency = field.number(2);
        field.text();
        if (!field.atEnd() || kind != dataSet || (purpose != 1 && purpose != 2)) throw HostError("a value is unknown");
    } catch (const HostError& error) {
        file.refuse(record, std::string("it does not identify the data set: ") + error.what());
    }
    if (found.applied.find_first_not_of(' ') == std::string::npos) found.applied.clear();
    const auto refuse = [&](const std::string& what) { throw HostError(file.path() + ": " + what); };
    if (found.name.empty()) refuse("it has no data set name");
    if (numberOf(found.edition) < 0) refuse("its edition is '" + found.edition + "', which is no number");
    if (found.update < 0) refuse("its update number is no number");
    if (!isDigits(found.issued)) refuse("its issue date is '" + found.issued + "', which is no date");
    if (!found.applied.empty() && !isDigits(found.applied))
        refuse("its update application date is '" + found.applied + "', which is no date");
    return found;
}

std::vector<std::string> namesIn(const fs::path& folder) {
    char** names = VSIReadDir(folder.c_str());
    const std::unique_ptr<char*, decltype(&CSLDestroy)> owner(names, &CSLDestroy);
    if (!names) throw HostError(folder.string() + ": cannot be searched for updates");
    return {names, names + CSLCount(names)};
}

// What is beside the base cell, by number; in a folder of its own for each number where the base is in folder 0.
std::map<int, fs::path> updatesOf(const fs::path& base) {
    std::map<int, fs::path> found;
    const std::string stem = upper(base.stem().string());
    const auto look = [&](const fs::path& folder, int only) {
        for (const std::string& name : namesIn(folder)) {
            const fs::path path = folder / name;
            const std::string extension = path.extension().string();
            const int number = extension.size() == 4 ? numberOf(std::string_view(extension).substr(1)) : -1;
            if (number <= 0 || (only > 0 && number != only) || upper(path.stem().string()) != stem) continue;
            // Of two names that differ in case only, the one in the base cell's own.
            if (!found.contains(number) || path.stem() == base.stem()) found[number] = path;
        }
    };
    const fs::path folder = base.has_parent_path() ? base.parent_path() : fs::path(".");
    look(folder, 0);
    std::error_code error;
    const fs::path here = fs::absolute(base, error).lexically_normal().parent_path();
    if (error || here.filename() != "0") return found;
    for (const std::string& name : namesIn(here.parent_path())) {
        const fs::path other = here.parent_path() / name;
        VSIStatBufL status;
        const int number = numberOf(name);
        if (number > 0 && VSIStatL(other.c_str(), &status) == 0 && VSI_ISDIR(status.st_mode)) look(other, number);
    }
    return found;
}

// Whether `update` is the next one of the cell that `cell` identifies so far.
void expectNext(const S57File& file, const CellIdentification& update, const CellIdentification& cell, int number) {
    const auto refuse = [&](const std::string& what) { throw HostError(file.path() + ": " + what); };
    const std::string stem(stemOf(cell.name));
    if (upper(stemOf(update.name)) != upper(stem)) refuse("an update of " + update.name + ", not of " + cell.name);
    if (update.isBase) refuse("a base cell (edition " + update.edition + ") under the name of an update");
    if (update.agency != cell.agency)
        refuse("an update of agency " + std::to_string(update.agency) + "; the cell's is " +
               std::to_string(cell.agency));
    if (update.edition == "0") refuse("it cancels the cell: there is nothing to import");
    if (numberOf(update.edition) != numberOf(cell.edition))
        refuse("an update of edition " + update.edition + "; the cell's is " + cell.edition);
    if (update.update != number)
        refuse("update number " + std::to_string(update.update) + " under the name of number " +
               std::to_string(number));
    const std::string_view extension = std::string_view(update.name).substr(stemOf(update.name).size());
    const int named = extension.empty() ? 0 : numberOf(extension.substr(1));
    if (named != 0 && named != number) refuse("its data set name is " + update.name);
    if (update.issued < cell.issued)
        refuse("it was issued on " + update.issued + ", before what it changes (" + cell.issued + ")");
}

}  // namespace

std::string CellFiles::stem() const {
    return upper(stemOf(identification.name));
}

CellFiles readCellFiles(const std::string& path) {
    const GdalErrors errors;  // a file that cannot be opened: said here
    CellFiles cell;
    cell.base = std::make_unique<S57File>(path);
    S57Record record;
    if (!cell.base->next(record)) throw HostError(path + ": it is not whole: it has no records");
    CellIdentification& current = cell.identification;
    current = identificationOf(*cell.base, record);
    if (!current.isBase)
        throw HostError(path + ": update " + std::to_string(current.update) + " of " +
                        std::string(stemOf(current.name)) + ".000; name the base cell, whose updates come with it");
    if (!path.ends_with(".000")) throw HostError(path + ": the name of a base cell ends in .000");
    if (!record.find("DSSI")) cell.base->refuse(record, "it does not tell the data set's structure");
    CellRecords records;
    records.readBase(*cell.base, record);
    records.expectWhole(*cell.base);
    for (const auto& [number, file] : updatesOf(path)) {
        if (number <= current.update) continue;  // a base cell that was issued again has its first updates in it
        if (number != current.update + 1) {
            const std::string missing = fs::path(file).replace_extension(extensionOf(current.update + 1)).string();
            throw HostError(missing + ": this update is missing, and " + file.filename().string() + " follows it");
        }
        const S57File& update = *cell.updates.emplace_back(std::make_unique<S57File>(file.string()));
        if (!cell.updates.back()->next(record)) throw HostError(update.path() + ": it is not whole: it has no records");
        const CellIdentification identified = identificationOf(update, record);
        expectNext(update, identified, current, number);
        records.readUpdate(*cell.updates.back(), record);
        records.expectWhole(update);
        current.update = number;
        current.issued = identified.issued;
        if (!identified.applied.empty()) current.applied = identified.applied;
    }
    cell.features = records.features();
    cell.nationalChanges = records.takeNationalChanges();
    return cell;
}

}  // namespace embedded_host
