# Test programs: the cases that run the real program, the faults, the rules on the sources, and one
# unit test program from tests/unit. GoogleTest comes from the system.
if(WIN32)
  include(cmake/windows_tests.cmake)
  return()
endif()
find_package(GTest QUIET)
if(NOT GTest_FOUND)
  message(STATUS "GoogleTest is not installed: no tests are built")
  return()
endif()
include(GoogleTest)

# Adds a test program with the places it needs as definitions.
function(addTestProgram name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE vspFlags GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_compile_definitions(${name} PRIVATE
    VSP_PROGRAM="$<TARGET_FILE:vsp32>"
    VSP_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    VSP_SCRATCH_DIR="${PROJECT_BINARY_DIR}/scratch")
  add_dependencies(${name} vsp32)
endfunction()

if(EXISTS "${PROJECT_SOURCE_DIR}/tests/run_cases.cpp")
  addTestProgram(run_cases tests/run_cases.cpp)
  file(GLOB caseFiles CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/cases/*.case")
  foreach(caseFile IN LISTS caseFiles)
    get_filename_component(theme "${caseFile}" NAME_WE)
    add_test(NAME cases.${theme} COMMAND run_cases "${caseFile}")
    set_tests_properties(cases.${theme} PROPERTIES TIMEOUT 300)
  endforeach()
endif()

if(EXISTS "${PROJECT_SOURCE_DIR}/tests/faults_test.cpp")
  addTestProgram(faults_test tests/faults_test.cpp)
  gtest_discover_tests(faults_test TEST_PREFIX faults. DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
endif()

if(EXISTS "${PROJECT_SOURCE_DIR}/tests/separators_test.cpp")
  addTestProgram(separators_test tests/separators_test.cpp)
  gtest_discover_tests(separators_test DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
endif()

if(EXISTS "${PROJECT_SOURCE_DIR}/tests/output_test.cpp")
  addTestProgram(output_test tests/output_test.cpp)
  gtest_discover_tests(output_test TEST_PREFIX outputs. DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300)
endif()

if(EXISTS "${PROJECT_SOURCE_DIR}/tests/seeing_test.cpp")
  addTestProgram(seeing_test tests/seeing_test.cpp tests/paths/make_program.cpp)
  gtest_discover_tests(seeing_test TEST_PREFIX seeing. DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300)
endif()

addTestProgram(comfort_test tests/comfort_test.cpp)
gtest_discover_tests(comfort_test TEST_PREFIX comfort. DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)

# Every system call fails once. The library that does it takes the place of the C library's routines, as
# the sanitizers do, so the two don't go together; and one of the other builds is enough, since what the
# program asks of the system is the same in all of them.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND VSP_PROFILE STREQUAL ""
   AND NOT VSP_SANITIZE AND NOT VSP_SCALAR_SEARCH)
  add_library(failNth MODULE tests/preload/fail_nth.cpp)
  target_link_libraries(failNth PRIVATE vspFlags ${CMAKE_DL_LIBS})
  # No library of its own: that would make calls too.
  target_link_options(failNth PRIVATE -static-libstdc++ -static-libgcc)
  addTestProgram(fail_nth_test tests/fail_nth_test.cpp)
  target_compile_definitions(fail_nth_test PRIVATE VSP_FAIL_NTH="$<TARGET_FILE:failNth>")
  add_dependencies(fail_nth_test failNth)
  gtest_discover_tests(fail_nth_test TEST_PREFIX faults. DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
endif()

if(EXISTS "${PROJECT_SOURCE_DIR}/tests/import_test.cpp")
  # Components as users write them, built without the sanitizers; the second has another entry.
  add_library(tlbreader MODULE tests/component/tlbreader.cpp)
  target_compile_definitions(tlbreader PRIVATE ENTRY=ReadTypeLibrary)
  add_library(otherReader MODULE tests/component/tlbreader.cpp)
  target_compile_definitions(otherReader PRIVATE ENTRY=ReadOtherLibrary)
  addTestProgram(import_test tests/import_test.cpp)
  target_compile_definitions(import_test PRIVATE
    VSP_TLBREADER="$<TARGET_FILE:tlbreader>" VSP_OTHER_READER="$<TARGET_FILE:otherReader>")
  add_dependencies(import_test tlbreader otherReader)
  gtest_discover_tests(import_test TEST_PREFIX beside. PROPERTIES TIMEOUT 120 DISCOVERY_MODE PRE_TEST)
endif()

# Of the program for Windows; run by scripts/test-windows.sh alone, which has Wine.
addTestProgram(wine_test tests/wine_test.cpp)
add_executable(start tests/windows/start.cpp)
target_link_libraries(start PRIVATE vspFlags)

# Compares this build with one that has the fast paths; scripts/compare_paths.sh runs it.
if(NOT VSP_FAST_PATHS)
  file(GLOB pathSources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/paths/*.cpp")
  addTestProgram(compare_paths ${pathSources})
endif()

if(EXISTS "${PROJECT_SOURCE_DIR}/tests/rules_test.cpp")
  add_executable(rules_test tests/rules_test.cpp)
  target_link_libraries(rules_test PRIVATE vspFlags GTest::gtest GTest::gtest_main)
  target_compile_definitions(rules_test PRIVATE VSP_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  add_test(NAME rules COMMAND rules_test)
endif()

file(GLOB unitSources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/unit/*.cpp")
if(unitSources)
  addTestProgram(unit_tests ${unitSources})
  target_link_libraries(unit_tests PRIVATE vspCore)
  # Object files for link-time optimisation want the same at this link.
  if(ipoSupported)
    set_target_properties(unit_tests PROPERTIES INTERPROCEDURAL_OPTIMIZATION_RELEASE ON)
  endif()
  gtest_discover_tests(unit_tests TEST_PREFIX unit. DISCOVERY_MODE PRE_TEST
    # The code page of a unit follows the user's locale.
    PROPERTIES TIMEOUT 120 ENVIRONMENT LC_ALL=C)
endif()
