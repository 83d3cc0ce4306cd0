# Tests of the source tree itself; each is a small check of scripts/checks/tree.py, proven by tests/tree.
include(HeadersAlone)
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)

foreach(check arrows seams words size links)
  add_test(NAME tree.${check}
           COMMAND "${Python3_EXECUTABLE}" "${CMAKE_SOURCE_DIR}/scripts/checks/tree.py" ${check})
endforeach()
add_test(NAME tree.the_checks_can_fail
         COMMAND "${Python3_EXECUTABLE}" -m unittest discover -s "${CMAKE_SOURCE_DIR}/tests/tree" -p "*_test.py")

# platform/platform.h is the door to the files behind it: those say so, and are not to be included alone.
set(behind_the_door "^platform/(atl|interface)\\.h$|^platform/portable/")
file(GLOB_RECURSE headers RELATIVE "${CMAKE_SOURCE_DIR}" CONFIGURE_DEPENDS
     "${CMAKE_SOURCE_DIR}/platform/*.h" "${CMAKE_SOURCE_DIR}/include/*.h" "${CMAKE_SOURCE_DIR}/src/*.h"
     "${CMAKE_SOURCE_DIR}/host/*.h")
set(host_headers ${headers})
list(FILTER headers EXCLUDE REGEX "${behind_the_door}|^src/python/|^host/(geodatabase|arrow)/")
list(FILTER host_headers INCLUDE REGEX "^host/(geodatabase|arrow)/")
file(GLOB_RECURSE tool_headers RELATIVE "${CMAKE_SOURCE_DIR}" CONFIGURE_DEPENDS
     "${CMAKE_SOURCE_DIR}/tools/*.h")

headers_alone(headers-alone HEADERS ${headers})
find_package(GDAL REQUIRED)
find_package(SQLite3 REQUIRED)
headers_alone(headers-alone-host LIBS cxhost cxarrow GDAL::GDAL SQLite::SQLite3 HEADERS ${host_headers})
headers_alone(headers-alone-tool LIBS cxml_parts HEADERS ${tool_headers})
