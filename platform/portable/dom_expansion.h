// How much text an entity stands for, found before the parser expands it.
#pragma once

#include <libxml/entities.h>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

namespace symbology_platform::dom {

/// Sizes of entities with everything that they refer to. Each entity is measured once, so that a definition that
/// doubles itself twenty times costs twenty steps.
class EntitySizes {
public:
    /// Finds an entity by name, or null.
    using Lookup = std::function<const xmlEntity*(const std::string& name)>;

    static constexpr std::uint64_t tooMuch = std::uint64_t{1} << 40U;

    /// Bytes that a reference to `entity` becomes, at most `tooMuch`; that also for references nested too deeply.
    /// `sign` introduces references in it: '&', or '%' for a parameter entity.
    std::uint64_t sizeOf(const xmlEntity* entity, char sign, const Lookup& lookup);

private:
    std::uint64_t measure(const xmlEntity* entity, char sign, const Lookup& lookup, int depth);

    std::unordered_map<const xmlEntity*, std::uint64_t> sizes_;
};

}  // namespace symbology_platform::dom
