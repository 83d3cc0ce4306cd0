// How a shared library marks what it exports and what it takes from another.
#pragma once

#ifdef _WIN32
#define SYMBOLOGY_DLL_EXPORT __declspec(dllexport)
#define SYMBOLOGY_DLL_IMPORT __declspec(dllimport)
#else
#define SYMBOLOGY_DLL_EXPORT __attribute__((visibility("default")))
#define SYMBOLOGY_DLL_IMPORT
#endif
