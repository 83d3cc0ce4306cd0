# SYMBOLOGY_PYTHON: the Python 3.13 to embed, unless given the one that scripts/setup found or built.
set(SYMBOLOGY_PYTHON "" CACHE FILEPATH "The executable of the Python 3.13 that is embedded")
if(NOT SYMBOLOGY_PYTHON AND EXISTS "${SYMBOLOGY_CACHE}/python.env")
  file(STRINGS "${SYMBOLOGY_CACHE}/python.env" found REGEX "^PYTHON3_13=")
  string(REGEX REPLACE "^PYTHON3_13=" "" found "${found}")
  set(SYMBOLOGY_PYTHON "${found}" CACHE FILEPATH "The executable of the Python 3.13 that is embedded" FORCE)
endif()
if(NOT SYMBOLOGY_PYTHON)
  message(FATAL_ERROR "No Python 3.13 to embed: run scripts/setup, or name its executable with -DSYMBOLOGY_PYTHON=...")
endif()

# embedded_python: its headers and library, as the interpreter itself tells them. (CMake's own search does not know
# versions younger than itself.)
execute_process(
  COMMAND "${SYMBOLOGY_PYTHON}" -c [=[
import os, sys, sysconfig
get = sysconfig.get_config_var
folders = [get("LIBDIR"), os.path.join(get("LIBDIR"), get("MULTIARCH") or ""), get("LIBPL")]
library = next(f for f in (os.path.join(d, "libpython3.13.so") for d in folders) if os.path.exists(f))
print(sysconfig.get_path("include"), library, sys.base_prefix, sep=";", end="")]=]
  OUTPUT_VARIABLE embedded COMMAND_ERROR_IS_FATAL ANY)
list(GET embedded 0 embedded_include)
list(GET embedded 1 embedded_library)
# Where its standard library is: hosts start it with this home.
list(GET embedded 2 SYMBOLOGY_PYTHON_HOME)
add_library(embedded_python SHARED IMPORTED)
set_target_properties(embedded_python PROPERTIES
  IMPORTED_LOCATION "${embedded_library}"
  INTERFACE_INCLUDE_DIRECTORIES "${embedded_include}"
  INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${embedded_include}")

# One that is no package of the system's is installed with what starts it, which looks for it there.
if(NOT SYMBOLOGY_PYTHON_HOME STREQUAL "/usr")
  get_filename_component(SYMBOLOGY_BUNDLED_PYTHON "${embedded_library}" REALPATH)
endif()
