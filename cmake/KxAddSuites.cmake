# Read by ctest: adds a test for each suite of the test program `name`, which `command` runs. How
# many tests a suite has stands in its name, since ctest itself counts suites; scripts/test tells the
# sum.

execute_process(COMMAND ${command} --gtest_list_tests
  OUTPUT_VARIABLE listed RESULT_VARIABLE failure TIMEOUT 120)
if(failure)
  message(FATAL_ERROR "${name} does not list its tests: ${failure}")
endif()
# Suites stand alone, tests behind two blanks, values of parameters behind a number sign.
string(REGEX REPLACE "[ ]*#[^\n]*|\r" "" listed "${listed}")
string(REGEX MATCHALL "\n[^ \n][^\n]*[.](\n  [^\n]+)+" suites "\n${listed}")
foreach(suite IN LISTS suites)
  string(REGEX MATCH "[^\n]+[.]" title "${suite}")
  string(REGEX MATCHALL "\n  " tests "${suite}")
  list(LENGTH tests amount)
  string(REGEX REPLACE "[.]$" "" test "${name}.${title}")
  string(APPEND test " ${amount} tests")
  add_test("${test}" ${command} "--gtest_filter=${title}*")
  set_tests_properties("${test}" PROPERTIES
    TIMEOUT 1200 COST ${amount} FAIL_REGULAR_EXPRESSION "SKIPPED;DISABLED TEST")
endforeach()
