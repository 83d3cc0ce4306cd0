# windows-headers: every header that is also Windows' compiles there as the first and only thing of a source file.
include(HeadersAlone)

file(GLOB_RECURSE headers RELATIVE "${CMAKE_SOURCE_DIR}" CONFIGURE_DEPENDS
     "${CMAKE_SOURCE_DIR}/platform/*.h" "${CMAKE_SOURCE_DIR}/include/*.h" "${CMAKE_SOURCE_DIR}/src/*.h"
     "${CMAKE_SOURCE_DIR}/host/*.h")
list(FILTER headers EXCLUDE REGEX "^platform/portable/|^platform/(atl|interface)\\.h$|^src/python/|^host/(geodatabase|arrow)/")
headers_alone(windows-headers HEADERS ${headers})
