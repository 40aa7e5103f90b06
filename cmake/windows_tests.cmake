# What scripts/test-windows.sh runs under Wine: the units of the platform layer, components for #import,
# and a program that keeps the session up. GoogleTest is built from the sources of its Debian package.
set(googletestDirectory "/usr/src/googletest/googletest" CACHE PATH "Sources of GoogleTest")
if(NOT EXISTS "${googletestDirectory}/src/gtest-all.cc")
  message(STATUS "The sources of GoogleTest are not there: no tests are built")
  return()
endif()
add_library(googletest STATIC "${googletestDirectory}/src/gtest-all.cc" "${googletestDirectory}/src/gtest_main.cc")
target_include_directories(googletest SYSTEM PUBLIC "${googletestDirectory}/include" PRIVATE "${googletestDirectory}")

file(GLOB windowsTests CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/windows/*_test.cpp")
add_executable(windows_test ${windowsTests} "${textResources}")
target_link_libraries(windows_test PRIVATE vspCore vspFlags googletest)
# The same room for the stack as the program has.
target_link_options(windows_test PRIVATE -Wl,--stack,0x800000)
if(ipoSupported)
  set_target_properties(windows_test PROPERTIES INTERPROCEDURAL_OPTIMIZATION_RELEASE ON)
endif()

# Components of both calling conventions, and one that lacks the entry.
function(addComponent name)
  add_library(${name} MODULE tests/component/tlbreader.cpp)
  target_compile_definitions(${name} PRIVATE ${ARGN})
  target_link_options(${name} PRIVATE -Wl,--kill-at -s)
  set_target_properties(${name} PROPERTIES PREFIX "")
endfunction()
addComponent(cdeclReader ENTRY=ReadTypeLibrary)
addComponent(stdcallReader ENTRY=ReadTypeLibrary CONVENTION=__stdcall)
addComponent(otherReader ENTRY=ReadOtherLibrary)

add_executable(hold tests/windows/hold.cpp)
