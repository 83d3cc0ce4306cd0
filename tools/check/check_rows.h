// What the rows of a layer hold, and what of it the document asks for in vain.
#pragma once

#include "document_model.h"
#include "host/geodatabase/gdal_workspace.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cxml {

/// Reads the rows of a layer once, the fields that are asked about and no others. What it takes of memory depends on
/// the document and not on the rows.
class RowCheck {
public:
    /// \param findings has those of checkS57.
    RowCheck(const CheckedClass& checked, const embedded_host::LayerInfo& layer, embedded_host::GdalWorkspace& dataset,
             Findings& findings);

    /// Looks for the values that a rule compares a field of the layer with.
    void lookFor(const CheckedRule& rule, const embedded_host::FieldInfo& field);
    /// Looks for the codes of the class's subtypes in the layer's subtype field.
    void lookForSubtypes(const std::string& field);
    /// Looks for values that are not of their field's type; not on a server, where there are none.
    void lookForUnreadable(const std::vector<std::string>& fields);

    /// \throws embedded_host::HostError when the rows cannot be read.
    void run();

private:
    struct Wanted {
        std::string shown;  // as written
        bool isThere = false;
    };
    // The values of one field that were not seen yet.
    struct Search {
        std::size_t column;
        bool ofLists;
        std::map<std::int64_t, Wanted> codes{};
        std::map<std::string, Wanted, std::less<>> texts{};
        std::size_t left = 0;

        void look(const embedded_host::Cell& cell);
        void lookInList(std::string_view list);
        template <class Values, class Value>
        void note(Values& values, const Value& value);
    };

    std::size_t columnOf(const std::string& field);
    bool visit(ObjectId id, const std::vector<const embedded_host::Cell*>& cells);
    void reportUnreadable();
    void reportCodes();
    void reportSubtypes();

    const CheckedClass& checked_;
    const embedded_host::LayerInfo& layer_;
    embedded_host::GdalWorkspace& dataset_;
    Findings& findings_;
    std::set<Spot> said_;  // codes of which more is said already
    std::vector<std::string> fields_;
    std::map<std::pair<std::string, bool>, Search> searches_;  // by field, and whether it is read as a list
    std::optional<std::size_t> subtypeColumn_;
    embedded_host::ColumnType subtypeType_{};
    std::set<LONG> subtypes_;                                                 // not seen yet
    std::vector<std::pair<std::size_t, embedded_host::RowList>> unreadable_;  // by column
    std::int64_t rows_ = 0;
};

}  // namespace cxml
