# SYMBOLOGY_CACHE: where scripts/setup keeps the tools and the Python that it installed; the same folder as there.
if(DEFINED ENV{SYMBOLOGY_CACHE})
  set(SYMBOLOGY_CACHE "$ENV{SYMBOLOGY_CACHE}")
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(SYMBOLOGY_CACHE "$ENV{XDG_CACHE_HOME}/symbology")
else()
  set(SYMBOLOGY_CACHE "$ENV{HOME}/.cache/symbology")
endif()
