# windows-syntax: every source and header that is also Windows' is compiled for it, so that the Windows library stays
# near while Linux is worked on. Nothing is linked.
include(HeadersAlone)

file(GLOB_RECURSE sources RELATIVE "${CMAKE_SOURCE_DIR}" CONFIGURE_DEPENDS
     "${CMAKE_SOURCE_DIR}/src/*.cpp" "${CMAKE_SOURCE_DIR}/host/*.cpp")
file(GLOB_RECURSE headers RELATIVE "${CMAKE_SOURCE_DIR}" CONFIGURE_DEPENDS
     "${CMAKE_SOURCE_DIR}/include/*.h" "${CMAKE_SOURCE_DIR}/src/*.h" "${CMAKE_SOURCE_DIR}/host/*.h")
# What includes Python's headers waits for a Python for Windows.
set(elsewhere "^src/platform/portable/|^host/gdal/|^(src|host)/python/")
list(FILTER sources EXCLUDE REGEX "${elsewhere}")
list(FILTER headers EXCLUDE REGEX "${elsewhere}|^src/platform/(atl|interface)\\.h$")

headers_alone(windows-syntax-headers HEADERS ${headers})
add_library(windows-syntax-sources OBJECT ${sources})
target_include_directories(windows-syntax-sources PRIVATE "${CMAKE_SOURCE_DIR}")
target_compile_definitions(windows-syntax-sources PRIVATE SYMBOLOGY_BUILDING VELCORE_BUILDING TARNLIB_BUILDING)
target_link_libraries(windows-syntax-sources PRIVATE symbology_flags)
add_custom_target(windows-syntax DEPENDS windows-syntax-headers windows-syntax-sources)
