// How the object factory makes an XML document.
#pragma once

#include "platform/portable/unknown.h"

/// A new, empty document as the interface `iid`: S_OK and one reference, E_NOINTERFACE or E_OUTOFMEMORY.
/// `object` is set to null before anything can fail and must not be null itself.
HRESULT createDomDocument(REFIID iid, void** object);
