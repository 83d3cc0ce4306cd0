# The Python that is embedded, in the package: its library and its standard library but for tests, tools and windows.
set(python_target "${SYMBOLOGY_INSTALLED_PYTHON}/lib")
install(PROGRAMS "${SYMBOLOGY_BUNDLED_PYTHON}" DESTINATION ${python_target} COMPONENT python)
install(DIRECTORY "${SYMBOLOGY_PYTHON_HOME}/lib/python3.13" DESTINATION ${python_target} COMPONENT python USE_SOURCE_PERMISSIONS
        REGEX "/(test|tests|idle_test|idlelib|turtledemo|tkinter|ensurepip|site-packages|config-3\\.13[^/]*)$" EXCLUDE
        REGEX "/(_test[^/]*|_ctypes_test[^/]*|_xxtest[^/]*|_tkinter[^/]*)\\.so$" EXCLUDE
        REGEX "\\.opt-[12]\\.pyc$" EXCLUDE)
install(FILES "${SYMBOLOGY_PYTHON_HOME}/lib/python3.13/LICENSE.txt" DESTINATION share/doc/symbology/licences
        COMPONENT python RENAME python.txt)
# Where it was built is nobody's business, nor a place to look for libraries.
install(CODE "set(strip \"${CMAKE_STRIP}\")\nset(python_target \"${python_target}\")" COMPONENT python)
install(CODE [[
  file(GLOB_RECURSE libraries "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${python_target}/*.so*")
  foreach(library IN LISTS libraries)
    file(RPATH_REMOVE FILE "${library}")
    if(CMAKE_INSTALL_DO_STRIP)
      execute_process(COMMAND "${strip}" --strip-unneeded "${library}" COMMAND_ERROR_IS_FATAL ANY)
    endif()
  endforeach()]] COMPONENT python)
