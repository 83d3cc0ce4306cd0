// Documents and the tables that they run over, as files: NAME.cxml and NAME.rows. A .rows file has lines of words
// between tabs, with \N for NULL and \\, \t, \n, \r for these characters:
//
//     table  BOYLAT  Lateral buoys  KIND      its name, its title, and the field with the subtypes' codes, which may be
//     missing field  KIND    integer                  of the table above: its name and type row    1       \N of the
//     table above: a value for each field
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace conformance {

enum class Type { Small, Integer, Big, Real, Float, Text, Boolean, Date, Moment };

/// A value as text, in the one form that its type has: whole numbers in digits, others the shortest way that gives them
/// back, booleans 0 and 1, 2024-02-29, and 2024-02-29T12:30:15.250.
using Value = std::optional<std::string>;

struct Field {
    std::string name;
    Type type;
};

struct Table {
    std::string name;
    std::string title;
    std::string subtypeField;  // empty: no subtypes
    std::vector<Field> fields;
    std::vector<std::vector<Value>> rows;

    /// Its position. \return nothing when there is none of the name, in any case of ASCII.
    std::optional<std::size_t> find(const std::string& field) const;
};

struct Case {
    std::filesystem::path document;
    std::vector<Table> tables;
    /// Titles of the tables that are run over, in this order: those that the document names as classes, in any case.
    std::vector<std::string> runs;
    /// The fields that the document's expressions compute.
    std::vector<std::string> computed;

    const Table& ofTitle(const std::string& title) const;
};

/// \param document whose rows are beside it. \throws std::runtime_error, naming file and line.
Case readCase(const std::filesystem::path& document);
/// The cases of a folder, by name.
std::vector<std::filesystem::path> documentsOf(const std::filesystem::path& folder);

std::string lower(std::string text);
/// The forms of Value. A number that is not finite is "nan", "inf" or "-inf".
std::string textOf(double number);
std::string textOf(float number);
/// The numbers of these texts, the smallest ones, too.
double realOf(const std::string& text);
float floatOf(const std::string& text);
/// From any form that a database gives a value of the type.
std::string canonical(Type type, const std::string& text);

}  // namespace conformance
