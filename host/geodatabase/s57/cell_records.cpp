// Base cells and the instructions of updates, as edition 3.1 of S-57 defines them.
#include "host/geodatabase/s57/cell_records.h"

#include "host/geodatabase/base/text.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <utility>

namespace embedded_host {

namespace {

enum Kind : std::uint32_t { Isolated = 110, Connected = 120, Edge = 130, Face = 140, Feature = 100 };
enum Primitive : std::uint32_t { Point = 1, Line = 2, Area = 3, None = 255 };
enum Instruction : std::uint32_t { Insert = 1, Delete = 2, Modify = 3 };

constexpr std::uint32_t wide = 2;  // lexical level of characters of two bytes
constexpr std::string_view deleted = "\x7f";

bool isOneOf(std::uint32_t value, std::initializer_list<std::uint32_t> values) {
    return std::ranges::find(values, value) != values.end();
}

const char* nationalAttribute(std::uint32_t code) {
    switch (code) {
        case 300:
            return "NINFOM";
        case 301:
            return "NOBJNM";
        case 302:
            return "NPLDST";
        case 304:
            return "NTXTDS";
        default:
            return nullptr;
    }
}

void expect(bool right, const char* otherwise) {
    if (!right) throw HostError(otherwise);
}

// The text of a national attribute with its terminator, which has two bytes where characters have two.
std::string_view nationalText(S57Reader& field, std::uint32_t level) {
    if (level != wide) return field.text();
    S57Reader ahead = field;
    std::size_t size = 0;
    while (ahead.number(2) != 0x1f) size += 2;
    const std::string_view text = field.bytes(size);
    field.bytes(2);
    return text;
}

std::string nationalUtf8(std::string_view text, std::uint32_t level) {
    WideString characters;
    S57Reader units(text);
    while (!units.atEnd()) characters += static_cast<OLECHAR>(units.number(level == wide ? 2 : 1));
    return toUtf8(characters);
}

// Applies an instruction to `held`, a row of a list for each of `rows`.
template <class Row>
void applyTo(std::vector<Row>& held, std::uint32_t instruction, std::size_t index, std::size_t count,
             std::vector<Row> rows) {
    expect(index >= 1 && index - 1 <= held.size(), "an instruction of the update has an index that the record lacks");
    const auto first = held.begin() + static_cast<std::ptrdiff_t>(index - 1);
    const auto left = static_cast<std::size_t>(held.end() - first);
    expect(rows.size() == (instruction == Delete ? 0 : count), "an instruction of the update has a wrong count");
    expect(instruction == Insert || count <= left, "an instruction of the update reaches beyond what the record has");
    switch (instruction) {
        case Insert:
            held.insert(first, rows.begin(), rows.end());
            break;
        case Delete:
            held.erase(first, first + static_cast<std::ptrdiff_t>(count));
            break;
        case Modify:
            std::ranges::copy(rows, first);
            break;
        default:
            throw HostError("an instruction of the update is unknown");
    }
}

// The same where only the number of rows is kept.
void applyTo(std::size_t& held, std::uint32_t instruction, std::size_t index, std::size_t count, std::size_t rows) {
    std::vector<char> all(held);
    applyTo(all, instruction, index, count, std::vector<char>(rows));
    held = all.size();
}

struct Control {
    std::uint32_t instruction;
    std::size_t index;
    std::size_t count;
};

Control controlOf(std::string_view data) {
    S57Reader field(data);
    const Control control{field.number(1), field.number(2), field.number(2)};
    expect(field.atEnd(), "a control field has a wrong length");
    return control;
}

std::size_t rowsOf(std::string_view data, std::size_t size) {
    expect(data.size() % size == 0, "a field has a wrong length");
    return data.size() / size;
}

}  // namespace

std::size_t CellRecords::countOf(const Key& key, std::uint32_t objectClass) {
    // In the order of DSSI: meta, cartographic, geo, collection; isolated nodes, connected nodes, edges, faces.
    switch (key.kind) {
        case Isolated:
            return 4;
        case Connected:
            return 5;
        case Edge:
            return 6;
        case Face:
            return 7;
        default:
            if (objectClass >= 300 && objectClass < 400) return 0;
            if (objectClass >= 500 && objectClass < 600) return 1;
            return objectClass >= 400 && objectClass < 500 ? 3 : 2;
    }
}

CellRecords::Counts CellRecords::held() const {
    Counts counts{};
    for (const auto& [key, record] : records_) ++counts.at(countOf(key, record.objectClass));
    return counts;
}

std::size_t CellRecords::features() const noexcept {
    return static_cast<std::size_t>(
        std::ranges::count_if(records_, [](const auto& record) { return record.first.kind == Feature; }));
}

void CellRecords::readBase(S57File& file, const S57Record& identification) {
    read(file, identification, false);
}

void CellRecords::readUpdate(S57File& file, const S57Record& identification) {
    read(file, identification, true);
}

void CellRecords::read(S57File& file, const S57Record& identification, bool update) {
    Counts said{};
    Counts found{};
    const std::string_view* structure = identification.find("DSSI");
    S57Record record = identification;
    try {
        if (structure) {
            S57Reader field(*structure);
            field.bytes(2);
            const std::uint32_t level = field.number(1);
            expect(!update || level == nationalLevel_, "its national texts are not coded as the base cell's");
            nationalLevel_ = level;
            for (std::uint32_t& count : said) count = field.number(4);
            expect(field.atEnd(), "field DSSI has a wrong length");
        }
        while (file.next(record)) {
            const std::string_view tag = record.fields.front().tag;
            if (tag == "DSPM" && !update) {
                readParameters(record);
            } else if (tag == "VRID" || tag == "FRID") {
                ++found.at(readRecord(file, record, update));
            } else {
                expect(false, "a record of this kind has no place in the file");
            }
        }
    } catch (const HostError& error) {
        if (std::string_view(error.what()).starts_with(file.path())) throw;
        file.refuse(record, error.what());
    }
    // Some producers count an update's own records, some what the cell has with it.
    const bool counted = !structure || said == found || (update && (said == held() || said == Counts{}));
    if (!counted) {
        const auto total = [](const Counts& counts) {
            return std::to_string(std::accumulate(counts.begin(), counts.end(), std::uint64_t{0}));
        };
        throw HostError(file.path() + ": it is not whole: it has " + total(found) + " records and says that it has " +
                        total(said) + ", or they are of other kinds");
    }
}

void CellRecords::readParameters(const S57Record& record) {
    S57Reader field(record.fields.front().data);
    field.bytes(1 + 4 + 3 + 4 + 4);
    coordinateFactor_ = field.number(4);
    expect(coordinateFactor_ != 0 && field.number(4) != 0, "a factor of the coordinates is 0");
    field.text();
    expect(field.atEnd(), "field DSPM has a wrong length");
}

std::size_t CellRecords::readRecord(const S57File& file, const S57Record& record, bool update) {
    const bool isFeature = record.fields.front().tag == "FRID";
    S57Reader field(record.fields.front().data);
    const Key key{field.number(1), field.number(4)};
    Held held;
    if (isFeature) {
        held.primitive = field.number(1);
        field.number(1);
        held.objectClass = field.number(2);
    }
    held.version = field.number(2);
    const std::uint32_t instruction = field.number(1);
    expect(field.atEnd(), "its identifier has a wrong length");
    expect(isFeature ? key.kind == Feature : isOneOf(key.kind, {Isolated, Connected, Edge, Face}),
           "its kind is unknown");
    expect(!isFeature || isOneOf(held.primitive, {Point, Line, Area, None}), "its geometry is of no known kind");
    const std::size_t counted = countOf(key, held.objectClass);
    const auto found = records_.find(key);
    const std::string name = (isFeature ? "feature " : "vector ") + std::to_string(key.number);
    if (instruction == Insert) {
        if (found != records_.end()) file.refuse(record, name + " is there already");
        change(held, record, false);
        records_.emplace(key, std::move(held));
        return counted;
    }
    expect(update, "a base cell has only records to insert");
    expect(instruction == Delete || instruction == Modify, "an instruction of the update is unknown");
    if (found == records_.end()) file.refuse(record, name + ", which it changes, is not there");
    if (held.version != found->second.version + 1)
        file.refuse(record, "it changes version " + std::to_string(held.version) + " - 1 of " + name +
                                ", which has version " + std::to_string(found->second.version));
    if (isFeature && (held.primitive != found->second.primitive || held.objectClass != found->second.objectClass))
        file.refuse(record, "it is of another object class or geometry than " + name);
    if (instruction == Delete) {
        records_.erase(found);
        return counted;
    }
    found->second.version = held.version;
    if (const std::string_view* national = record.find("NATF")) changeNational(key, *national);
    change(found->second, record, true);
    return counted;
}

void CellRecords::change(Held& held, const S57Record& record, bool modify) {
    constexpr Control whole{Insert, 1, 0};
    Control pointers = whole;
    Control relations = whole;
    Control coordinates = whole;
    std::vector<Key> named;
    std::size_t related = 0;
    std::size_t places = 0;
    bool pointed = false;
    bool relating = false;
    bool placed = false;
    for (const auto& [tag, data] : record.fields) {
        S57Reader field(data);
        if (tag == "FSPT" || tag == "VRPT") {
            const bool feature = tag == "FSPT";
            for (std::size_t n = rowsOf(data, feature ? 8 : 9); n > 0; --n) {
                const std::uint32_t kind = field.number(1);
                named.push_back({kind, field.number(4)});
                expect(isOneOf(field.number(1), {1, 2, 255}) && isOneOf(field.number(1), {1, 2, 3, 255}) &&
                           (feature || isOneOf(field.number(1), {1, 2, 3, 4, 5, 255})) &&
                           isOneOf(field.number(1), {1, 2, 255}),
                       "a pointer has a value that is unknown");
            }
            pointed = true;
        } else if (tag == "SG2D" || tag == "SG3D") {
            places += rowsOf(data, tag == "SG2D" ? 8 : 12);
            checkCoordinates(data, tag == "SG3D");
            placed = true;
        } else if (tag == "FFPT") {
            for (; !field.atEnd(); ++related) {
                field.bytes(8 + 1);
                field.text();
            }
            relating = true;
        } else if (tag == "FSPC" || tag == "VRPC") {
            pointers = controlOf(data);
            expect(modify, "a record that is inserted has instructions");
            pointed = true;
        } else if (tag == "SGCC") {
            coordinates = controlOf(data);
            expect(modify, "a record that is inserted has instructions");
            placed = true;
        } else if (tag == "FFPC") {
            relations = controlOf(data);
            expect(modify, "a record that is inserted has instructions");
            relating = true;
        } else if (tag == "ATTF" || tag == "ATTV") {
            while (!field.atEnd()) {
                field.number(2);
                field.text();
            }
        } else if (tag == "NATF") {
            while (!field.atEnd()) {
                field.number(2);
                nationalText(field, nationalLevel_);
            }
        } else if (tag == "FOID") {
            expect(data.size() == 8, "field FOID has a wrong length");
        } else {
            expect(tag == "VRID" || tag == "FRID", "it has a field that has no place in it");
        }
    }
    if (!modify) {
        pointers.count = named.size();
        relations.count = related;
        coordinates.count = places;
    }
    if (pointed) applyTo(held.pointers, pointers.instruction, pointers.index, pointers.count, std::move(named));
    if (relating) applyTo(held.relations, relations.instruction, relations.index, relations.count, related);
    if (placed) applyTo(held.coordinates, coordinates.instruction, coordinates.index, coordinates.count, places);
}

void CellRecords::changeNational(const Key& key, std::string_view data) {
    S57Reader field(data);
    while (!field.atEnd()) {
        const std::uint32_t code = field.number(2);
        const std::string text = nationalUtf8(nationalText(field, nationalLevel_), nationalLevel_);
        const char* name = nationalAttribute(code);
        if (!name) throw HostError("national attribute " + std::to_string(code) + " is unknown");
        NationalChange& added = nationalChanges_.emplace_back(NationalChange{key.number, name, std::nullopt});
        if (text != deleted) added.value = text;
    }
}

void CellRecords::checkCoordinates(std::string_view data, bool sounding) const {
    expect(coordinateFactor_ != 0, "coordinates come before their factor");
    const double factor = coordinateFactor_;
    for (S57Reader field(data); !field.atEnd();) {
        const double latitude = field.coordinate() / factor;
        const double longitude = field.coordinate() / factor;
        if (sounding) field.coordinate();
        expect(latitude >= -90 && latitude <= 90 && longitude >= -180 && longitude <= 180,
               "a coordinate lies outside of the world");
    }
}

void CellRecords::expectWhole(const S57File& last) const {
    const auto refuse = [&](const Key& key, const char* why) {
        throw HostError(last.path() + ": " + (key.kind == Feature ? "feature " : "vector ") +
                        std::to_string(key.number) + why);
    };
    for (const auto& [key, held] : records_) {
        for (const Key& pointer : held.pointers) {
            if (!records_.contains(pointer)) refuse(key, " points to a vector that is not there");
            const bool node = pointer.kind == Isolated || pointer.kind == Connected;
            const bool fits = key.kind != Feature       ? node
                              : held.primitive == Point ? node
                                                        : pointer.kind == Edge || pointer.kind == Face;
            if (!fits) refuse(key, " points to a vector of another kind");
        }
        if (key.kind == Edge && held.pointers.size() != 2) refuse(key, ", an edge, has not two nodes");
        if (key.kind == Feature && (held.primitive == None) != held.pointers.empty())
            refuse(key, held.pointers.empty() ? " has lost its geometry" : " has a geometry and says that it has none");
    }
}

}  // namespace embedded_host
