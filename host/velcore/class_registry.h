// Classes that VelCreateInstance knows beside its own.
#pragma once

#include "symbology/vel_core.h"

#include <cstddef>

/// Makes an object of one class; shaped like VelCreateInstance without its class and outer object.
using VelClassFactory = HRESULT (*)(DWORD context, REFIID iid, void** object);

/// Has VelCreateInstance call `factory` for `clsid`; null gives the class back to the host's own factory. Hosts call
/// it at start-up, tests to put a counting or failing object in the place of a real one. Not for use while another
/// thread creates objects.
extern "C" VELCORE_API void VelRegisterClass(REFCLSID clsid, VelClassFactory factory);

/// Objects that VelCore's own classes have alive. For tests.
extern "C" VELCORE_API std::size_t VelLiveObjects();
