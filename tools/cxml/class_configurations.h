// Which feature classes a document configures, read from its tree by the library's own rules.
#pragma once

#include "platform/platform.h"

#include <string>
#include <vector>

namespace cxml {

/// The configuration that a document holds for one feature class.
struct ClassConfiguration {
    CComBSTR key;                           // the name in upper case, as the library looks it up
    std::vector<std::string> resultFields;  // that its conditions of type 2 write, in document order, each once
};

/// The configurations of a document. A `featureClass` without `name` makes none, nor does a new one with a `subtype`
/// without `number`; one that repeats a name written in upper case adds to the earlier one, any other repetition takes
/// the earlier one's place. Conditions that the library discards are not told apart here.
class ClassConfigurations {
public:
    /// Reads "/conditionMap/featureClass" of a document that loaded.
    static ClassConfigurations read(IXMLDOMDocument* document);

    /// The configuration of a class with this alias name; null when there is none.
    const ClassConfiguration* find(const std::string& alias) const;

private:
    void add(IXMLDOMNode* featureClass);
    ClassConfiguration* findKey(const CComBSTR& key);

    std::vector<ClassConfiguration> classes_;
};

}  // namespace cxml
