// Values as the host in memory has them.
#pragma once

#include "conformance/rows_file.h"
#include "platform/platform.h"

namespace conformance {

CComVariant variantOf(Type type, const Value& value);
/// \throws std::runtime_error for a variant that is not of the type.
Value textOf(Type type, const VARIANT& value);

}  // namespace conformance
