# The benchmark: a generator of source text, and a program that measures whole runs when the
# benchmark library is installed. `trainProfile` runs the program over the generated text.
if(NOT EXISTS "${PROJECT_SOURCE_DIR}/bench/make_source.cpp")
  return()
endif()
add_executable(make_source bench/make_source.cpp)
target_link_libraries(make_source PRIVATE vspFlags)

find_package(benchmark QUIET)
if(benchmark_FOUND AND EXISTS "${PROJECT_SOURCE_DIR}/bench/bench.cpp")
  add_executable(bench bench/bench.cpp)
  target_link_libraries(bench PRIVATE vspFlags benchmark::benchmark)
  target_compile_definitions(bench PRIVATE
    VSP_PROGRAM="$<TARGET_FILE:vsp32>"
    VSP_MAKE_SOURCE="$<TARGET_FILE:make_source>"
    VSP_SCRATCH_DIR="${PROJECT_BINARY_DIR}/bench-work")
  add_dependencies(bench vsp32 make_source)
endif()

add_custom_target(trainProfile
  COMMAND "${CMAKE_COMMAND}" -E make_directory "${PROJECT_BINARY_DIR}/train"
  COMMAND "${PROJECT_SOURCE_DIR}/bench/train.sh" "$<TARGET_FILE:vsp32>" "$<TARGET_FILE:make_source>"
          "${PROJECT_BINARY_DIR}/train"
  DEPENDS vsp32 make_source
  VERBATIM)
