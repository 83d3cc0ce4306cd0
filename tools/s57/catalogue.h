// The catalogue of S-57: which classes and attributes there are, and what their codes mean.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace cxml {

struct S57Attribute {
    int code;
    std::string acronym;
    std::string name;  // "Category of lateral mark"
    char type;  // E: one code, L: a list of codes, F: a float, I: an integer, A: coded text, S: free text; else unknown
    std::map<int, std::string> meanings;  // of an E or L attribute, by code; may be empty there, too

    bool hasCodes() const noexcept { return !meanings.empty(); }
    /// Null for a code that the attribute does not have.
    const std::string* meaningOf(int code) const;
    /// What a row's value means, "red, green" of "3,4"; empty when it holds none of the attribute's codes.
    std::string meaningOf(std::string_view value) const;
};

struct S57Class {
    int code;
    std::string acronym;
    std::string name;                  // "Buoy, lateral"
    std::set<std::string> attributes;  // acronyms, of all three sets

    bool has(const S57Attribute& attribute) const { return attributes.contains(attribute.acronym); }
};

class S57Catalogue {
public:
    /// \param classes, attributes, codes the three tables as comma separated text.
    S57Catalogue(std::string_view classes, std::string_view attributes, std::string_view codes);

    /// The one that is installed with GDAL, read once; empty where there is none.
    static const S57Catalogue& installed();

    bool isThere() const noexcept { return !classes_.empty() && !attributes_.empty(); }

    /// By acronym: exactly, else in capitals (those of inland charts are written in small letters). Null when there is
    /// none.
    const S57Class* findClass(std::string_view acronym) const;
    const S57Attribute* findAttribute(std::string_view acronym) const;
    /// A name of a layer may be a title; then the other one may be the class's.
    const S57Class* findClass(std::string_view name, std::string_view otherName) const;

    /// The attribute of a class's field. Null when either is not S-57's, or the class does not have it.
    const S57Attribute* findField(const S57Class* ofClass, std::string_view field) const;

private:
    std::map<std::string, S57Class, std::less<>> classes_;
    std::map<std::string, S57Attribute, std::less<>> attributes_;
};

/// Whether a name is written as acronyms of classes are: six capitals. For who has no catalogue to ask.
bool looksLikeS57(std::string_view name);

/// The code, when the text is nothing but a whole number.
std::optional<int> readCode(std::string_view text);

}  // namespace cxml
