// Look-up tables as chart plotters publish them: an XML file whose rows say, for a class of objects and some of its
// attributes, by which instruction it is shown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace cxml {

/// The file cannot be used: one line that names it and, where there is one, the line.
struct LookupError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// As the column PRIM of imported cells has it.
enum class Primitive : std::uint8_t { Point = 1, Line = 2, Area = 3 };

enum class LookupTable : std::uint8_t { Paper, Simplified, Lines, Plain, Symbolized };

struct LookupRow {
    std::size_t number = 0;  // from 0, those that are none counted, too
    long line = 0;           // in the file
    std::string className;
    Primitive primitive = Primitive::Point;
    LookupTable table = LookupTable::Paper;
    std::vector<std::string> attributes;  // "COLOUR3,4,3", as written
    std::string instruction;
    std::string displayPriority;
    std::string radarPriority;
    std::string displayCategory;
};

/// A row that is none.
struct UnreadRow {
    std::size_t number = 0;
    long line = 0;
    std::string className;  // may be empty
    std::string why;
};

struct LookupTables {
    std::vector<LookupRow> rows;  // in the order of the file
    std::vector<UnreadRow> unread;
};

/// Reads the file once. Nothing outside of it is read, and a file with a document type is refused.
/// \throws LookupError
LookupTables readLookupTables(const std::string& file);

const char* nameOf(Primitive primitive) noexcept;  // "point"
const char* nameOf(LookupTable table) noexcept;    // "Paper"

}  // namespace cxml
