# vsp32_preprocess(<target>
#   SOURCES <file>...
#   [OUTPUT_DIRECTORY <directory>]
#   [INCLUDES <directory>...]
#   [DEFINES <name[=text]>...]
#   [OPTIONS <switch>...])
#
# Adds <target>, a part of `all`: the preprocessed text of each source, as NAME.i below OUTPUT_DIRECTORY
# (else the current binary directory), in the subdirectory that the source has below the current source
# directory. The property VSP32_OUTPUTS of the target lists these files.
#
# An output is rebuilt when its source, a file that the source included last time, the program, or a response
# or configuration file among the switches has changed. Works with Ninja and with the Makefile generators.
#
# Relative sources and INCLUDES are taken from the current source directory, a relative OUTPUT_DIRECTORY
# from the current binary directory. OPTIONS are switches of the program, which runs in
# the current binary directory, so names in them are best absolute.

# Names in what the program writes about dependencies are taken from the current binary directory. The setting
# holds in this file, and in the function wherever it is called.
cmake_policy(SET CMP0116 NEW)

function(vsp32_preprocess target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "OUTPUT_DIRECTORY" "SOURCES;INCLUDES;DEFINES;OPTIONS")
  if(DEFINED arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "vsp32_preprocess(${target}): what is '${arg_UNPARSED_ARGUMENTS}'?")
  endif()
  if(NOT arg_SOURCES)
    message(FATAL_ERROR "vsp32_preprocess(${target}): no SOURCES")
  endif()

  set(switches -q)
  set(inputs)
  foreach(directory IN LISTS arg_INCLUDES)
    cmake_path(ABSOLUTE_PATH directory NORMALIZE)
    list(APPEND switches "-I${directory}")
  endforeach()
  # A switch may hold several texts with a semicolon between.
  foreach(define IN LISTS arg_DEFINES)
    string(REPLACE ";" "\\;" define "${define}")
    list(APPEND switches "-D${define}")
  endforeach()
  foreach(option IN LISTS arg_OPTIONS)
    string(REPLACE ";" "\\;" escaped "${option}")
    list(APPEND switches "${escaped}")
    if(option MATCHES "^[@+](.+)")
      set(file "${CMAKE_MATCH_1}")
      cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}" NORMALIZE)
      list(APPEND inputs "${file}")
    endif()
  endforeach()
  set(outputRoot "${arg_OUTPUT_DIRECTORY}")
  cmake_path(ABSOLUTE_PATH outputRoot BASE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}" NORMALIZE)

  set(outputs)
  foreach(source IN LISTS arg_SOURCES)
    cmake_path(ABSOLUTE_PATH source NORMALIZE)
    cmake_path(IS_PREFIX CMAKE_CURRENT_SOURCE_DIR "${source}" NORMALIZE isBelow)
    if(isBelow)
      cmake_path(RELATIVE_PATH source OUTPUT_VARIABLE name)
    else()
      cmake_path(GET source FILENAME name)
    endif()
    cmake_path(REPLACE_EXTENSION name LAST_ONLY .i)
    cmake_path(APPEND outputRoot "${name}" OUTPUT_VARIABLE output)
    if(output IN_LIST outputs)
      message(FATAL_ERROR "vsp32_preprocess(${target}): two sources for ${output}")
    endif()
    cmake_path(GET output PARENT_PATH directory)
    file(MAKE_DIRECTORY "${directory}")
    cmake_path(RELATIVE_PATH output BASE_DIRECTORY "${CMAKE_BINARY_DIR}" OUTPUT_VARIABLE shown)
    add_custom_command(OUTPUT "${output}"
      COMMAND vsp32::vsp32 ${switches} "--deps=${output}.d" "--deps-target=${output}" "-o${output}" "${source}"
      DEPENDS "${source}" vsp32::vsp32 ${inputs}
      DEPFILE "${output}.d"
      COMMENT "Preprocessing ${shown}"
      VERBATIM)
    list(APPEND outputs "${output}")
  endforeach()
  add_custom_target(${target} ALL DEPENDS ${outputs})
  set_target_properties(${target} PROPERTIES VSP32_OUTPUTS "${outputs}")
endfunction()
