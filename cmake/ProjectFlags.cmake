# What every target of the project is compiled with: link to symbology_flags.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
# Enough optimisation that a debug suite is quick, little enough that a debugger can follow.
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g -D_GLIBCXX_ASSERTIONS")
# Packages are unpacked anywhere; what is not in them is in the system's folders.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib")
# Hosts load symbology.dll, whichever compiler made it.
if(WIN32)
  set(CMAKE_SHARED_LIBRARY_PREFIX "")
endif()

find_program(SYMBOLOGY_CCACHE ccache)
if(SYMBOLOGY_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${SYMBOLOGY_CCACHE}")
endif()

add_library(symbology_flags INTERFACE)
target_include_directories(symbology_flags INTERFACE
  "${CMAKE_SOURCE_DIR}/include" "${CMAKE_SOURCE_DIR}/src" "${CMAKE_SOURCE_DIR}")
target_compile_options(symbology_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-qual -Wundef
  $<$<BOOL:${SYMBOLOGY_WERROR}>:-Werror>)
# GCC 12 sees overlapping copies where std::string concatenates; later releases no longer do.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(symbology_flags INTERFACE -Wno-restrict)
endif()
if(SYMBOLOGY_SANITIZE)
  # For every target, so that no part of the process is blind; the first finding ends the test.
  # Reports need lines, nothing else of what a debugger knows; a quarter of the compiler's time goes into the rest.
  add_compile_options(-fsanitize=${SYMBOLOGY_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${SYMBOLOGY_SANITIZE})
endif()
if(SYMBOLOGY_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)  # the fuzzer is led by the branches of all parts
endif()
if(SYMBOLOGY_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
