# Installs the build into a fresh PREFIX and checks that the folder holds what
# a user needs to run vantrel: the program, its DLLs, the language file and
# the starter application definitions.
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX} RESULT_VARIABLE result
                OUTPUT_QUIET)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
set(expected vantrel.exe VantrelHelper.dll VantrelBackvault.dll VantrelWipe.dll KxBrowsers.dll lang/English.lng)
if(EXISTS ${BUILD_DIR}/bin/Data/Applications.dat)
  list(APPEND expected Data/Applications.dat)
endif()
foreach(file IN LISTS expected)
  if(NOT EXISTS ${PREFIX}/${file})
    message(FATAL_ERROR "the installed folder lacks ${file}")
  endif()
endforeach()
file(GLOB_RECURSE installed RELATIVE ${PREFIX} ${PREFIX}/*)
list(LENGTH installed count)
message(STATUS "installed ${count} files: ${installed}")
