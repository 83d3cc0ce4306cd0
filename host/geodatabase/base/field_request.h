// A field that a layer is to get.
#pragma once

#include <string>

namespace embedded_host {

enum class FieldKind { Text, Real };

struct FieldRequest {
    std::string name;
    FieldKind kind;
};

}  // namespace embedded_host
