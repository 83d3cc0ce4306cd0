// A layer as listings show it.
#pragma once

#include <cstdint>
#include <string>

namespace embedded_host {

struct LayerInfo {
    std::string name;   // the table's name
    std::string alias;  // its title where it has one, else its name
    bool spatial;
    std::int64_t rowCount;  // -1 when counting it is not cheap
};

}  // namespace embedded_host
