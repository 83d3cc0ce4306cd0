// The fields that symbolizing a row writes, besides those that expressions name.
#pragma once

#include "cxml/condition.h"

namespace ConditionalXml {

inline constexpr const OLECHAR* symbolField = OLESTR("SYMBOL_C");

/// A placement value of conditions.
struct Placement {
    const OLECHAR* attribute;   // of the element that gives it
    const OLECHAR* field;       // of the row that gets it
    double Condition::* value;  // in the condition
};
inline constexpr Placement placements[] = {
    {OLESTR("xoffset"), OLESTR("Xoffset_C"), &Condition::xoffset},
    {OLESTR("yoffset"), OLESTR("Yoffset_C"), &Condition::yoffset},
    {OLESTR("angle"), OLESTR("Rotate_C"), &Condition::angle},
};

}  // namespace ConditionalXml
