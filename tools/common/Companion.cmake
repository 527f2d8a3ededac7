# Companion DLLs of ours (backup service, wipe helper): like the engine, each
# exports GetInstance undecorated in the 64-bit and the 32-bit library, and is
# installed beside the host program.
set(VANTREL_INSTALL_DIR "." CACHE STRING "Folder under the install prefix that holds vantrel.exe and its DLLs")

function(vantrel_companion_dll name)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(export_line "GetInstance = GetInstance@8")
  else()
    set(export_line "GetInstance")
  endif()
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${name}.def "LIBRARY ${name}.dll\nEXPORTS\n    ${export_line}\n")
  add_library(${name} SHARED ${ARGN} ${CMAKE_CURRENT_BINARY_DIR}/${name}.def)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PRIVATE vantrel_core ole32 oleaut32 advapi32 shell32)
  set_target_properties(${name} PROPERTIES PREFIX "" OUTPUT_NAME ${name})
  # Only the DLL itself: hosts load it by path and link nothing against it.
  install(FILES $<TARGET_FILE:${name}> DESTINATION ${VANTREL_INSTALL_DIR})
endfunction()
