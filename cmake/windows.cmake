# What only the Windows program has: its resources, and the language libraries as DLLs that hold
# nothing else.
enable_language(RC)

# The system's headers in their short form. The run-time's own conversions of long double know the
# 64-bit double alone; those of the compiler's library are to be used.
target_compile_definitions(vspFlags INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX __USE_MINGW_ANSI_STDIO=1)

# The catalogue goes into every program that links the core, the rest into the program alone.
set(textResources "${PROJECT_SOURCE_DIR}/windows/texts.rc")
set_property(SOURCE "${textResources}" APPEND PROPERTY INCLUDE_DIRECTORIES "${PROJECT_SOURCE_DIR}/src")
set_property(SOURCE "${textResources}" APPEND PROPERTY
  OBJECT_DEPENDS "${PROJECT_SOURCE_DIR}/src/diag/messages.def")
set(versionResources "${PROJECT_SOURCE_DIR}/windows/version.rc")
set_property(SOURCE "${versionResources}" APPEND PROPERTY
  OBJECT_DEPENDS "${PROJECT_SOURCE_DIR}/windows/vsp32.manifest")

target_sources(vsp32 PRIVATE "${textResources}" "${versionResources}")
# The stack has the size that it has on other hosts, so that the same sources fit it.
target_link_options(vsp32 PRIVATE -s -Wl,--stack,0x800000 -Wl,--nxcompat -Wl,--dynamicbase
  -Wl,--no-insert-timestamp)

# Makes the language library of `languages/NAME` for Windows, beside the program.
function(addLanguageLibrary name)
  get_filename_component(base "${name}" NAME_WE)
  get_filename_component(extension "${name}" EXT)
  set(source "${PROJECT_SOURCE_DIR}/languages/${name}")
  set(script "${PROJECT_SOURCE_DIR}/cmake/make_library.cmake")
  set(resources "${PROJECT_BINARY_DIR}/${name}.rc")
  add_custom_command(OUTPUT "${resources}"
    COMMAND "${CMAKE_COMMAND}" "-DINPUT=${source}" "-DOUTPUT=${resources}" -P "${script}"
    DEPENDS "${source}" "${script}" VERBATIM)
  string(MAKE_C_IDENTIFIER "language ${name}" target)
  add_library(${target} MODULE "${resources}")
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME "${base}" SUFFIX "${extension}" LINKER_LANGUAGE CXX
    LINK_OPTIONS "-nostdlib;-s;-Wl,-e,0"
    LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}")
endfunction()

addLanguageLibrary(vsp32.DEU)
