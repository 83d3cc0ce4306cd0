# SYMBOLOGY_PYTHON: the Python 3.13 to embed, unless given the one that scripts/setup found or built.
set(SYMBOLOGY_PYTHON "" CACHE FILEPATH "The executable of the Python 3.13 that is embedded")
if(NOT SYMBOLOGY_PYTHON AND EXISTS "${SYMBOLOGY_CACHE}/python.env")
  file(STRINGS "${SYMBOLOGY_CACHE}/python.env" found REGEX "^PYTHON3_13=")
  string(REGEX REPLACE "^PYTHON3_13=" "" found "${found}")
  set(SYMBOLOGY_PYTHON "${found}" CACHE FILEPATH "The executable of the Python 3.13 that is embedded" FORCE)
endif()
