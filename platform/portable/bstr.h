// BSTR allocation.
#pragma once

#include "types.h"

/// Copies a null-terminated text; null gives null. Null is also the answer when memory runs out.
SYMBOLOGY_PLATFORM_API BSTR SysAllocString(const OLECHAR* text);
/// Copies `length` code units, embedded zeros included; a null `text` leaves the content undefined.
SYMBOLOGY_PLATFORM_API BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
/// Copies `bytes` bytes, an odd count included.
SYMBOLOGY_PLATFORM_API BSTR SysAllocStringByteLen(const char* data, UINT bytes);
SYMBOLOGY_PLATFORM_API void SysFreeString(BSTR text);
/// Code units before the terminator; 0 for null.
SYMBOLOGY_PLATFORM_API UINT SysStringLen(BSTR text);
SYMBOLOGY_PLATFORM_API UINT SysStringByteLen(BSTR text);

/// BSTRs allocated and not yet freed in this process, all threads together. For tests. Exact while no other thread
/// allocates or frees.
SYMBOLOGY_PLATFORM_API std::size_t PlatformHeldBstrs();
/// Makes the n-th BSTR allocation from now on (1 is the next, all threads counted) return null, and with `allAfter`
/// every later one too; 0 ends it. For tests.
SYMBOLOGY_PLATFORM_API void PlatformFailBstrAllocation(long nth, bool allAfter);
/// Whether an allocation was made to fail since PlatformFailBstrAllocation was last called.
SYMBOLOGY_PLATFORM_API bool PlatformBstrAllocationFailed();
