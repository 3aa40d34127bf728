# Starting a program takes longer than most tests where another system or processor is imitated, or a
# sanitizer sets up its memory, so a test program runs there once for each of its suites instead of
# once for each of its tests.

set(KX_SUITES_FOLDER ${CMAKE_CURRENT_LIST_DIR})

# kx_discover_suites(PROGRAM): has ctest ask the program for its suites when it starts.
function(kx_discover_suites program)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${program}_suites.cmake)
  file(GENERATE OUTPUT ${script} CONTENT "set(name ${program})
set(command ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${program}>)
include(${KX_SUITES_FOLDER}/KxAddSuites.cmake)
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
endfunction()
