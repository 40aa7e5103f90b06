# What `cmake --install` and CPack put where, and the package that other CMake projects find.
#
# The program looks for its language libraries, its configuration file and its components in its own
# directory, whatever links led to it. So it has a directory of its own, with the language libraries, and a
# link to it is in the directory that shells search.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

if(WIN32)
  set(programDirectory "${CMAKE_INSTALL_BINDIR}")
  install(TARGETS language_vsp32_DEU LIBRARY DESTINATION "${programDirectory}")
else()
  set(programDirectory "${CMAKE_INSTALL_LIBDIR}/vsp32")
  install(FILES "${PROJECT_SOURCE_DIR}/languages/vsp32.DEU" DESTINATION "${programDirectory}")
  cmake_path(ABSOLUTE_PATH programDirectory BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE linked)
  cmake_path(RELATIVE_PATH linked BASE_DIRECTORY "${CMAKE_INSTALL_FULL_BINDIR}")
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/link")
  file(CREATE_LINK "${linked}/vsp32" "${PROJECT_BINARY_DIR}/link/vsp32" SYMBOLIC)
  install(FILES "${PROJECT_BINARY_DIR}/link/vsp32" DESTINATION "${CMAKE_INSTALL_BINDIR}")
  install(FILES "${PROJECT_SOURCE_DIR}/docs/vsp32.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
  install(FILES "${PROJECT_SOURCE_DIR}/completions/vsp32.bash" RENAME vsp32
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
  install(FILES "${PROJECT_SOURCE_DIR}/completions/_vsp32"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
  install(FILES "${PROJECT_SOURCE_DIR}/completions/vsp32.fish"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
endif()
install(TARGETS vsp32 EXPORT vsp32Targets RUNTIME DESTINATION "${programDirectory}")
install(FILES "${PROJECT_SOURCE_DIR}/README.md" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DOCDIR}" RENAME copyright)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION "${CMAKE_INSTALL_DOCDIR}" PATTERN vsp32.1 EXCLUDE)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" "${PROJECT_SOURCE_DIR}/editors" DESTINATION "${CMAKE_INSTALL_DOCDIR}")

# The package: find_package(vsp32) finds it installed, and in the build directory as well.
set(packageDirectory "${CMAKE_INSTALL_LIBDIR}/cmake/vsp32")
configure_package_config_file(cmake/vsp32Config.cmake.in "${PROJECT_BINARY_DIR}/vsp32Config.cmake"
  INSTALL_DESTINATION "${packageDirectory}" NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Only the program is used, so the size of the user's pointers doesn't matter.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/vsp32ConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
configure_file(cmake/vsp32Preprocess.cmake "${PROJECT_BINARY_DIR}/vsp32Preprocess.cmake" COPYONLY)
export(EXPORT vsp32Targets FILE "${PROJECT_BINARY_DIR}/vsp32Targets.cmake" NAMESPACE vsp32::)
install(EXPORT vsp32Targets NAMESPACE vsp32:: DESTINATION "${packageDirectory}")
install(FILES "${PROJECT_BINARY_DIR}/vsp32Config.cmake" "${PROJECT_BINARY_DIR}/vsp32ConfigVersion.cmake"
  "${PROJECT_SOURCE_DIR}/cmake/vsp32Preprocess.cmake" DESTINATION "${packageDirectory}")

# Packages: `cpack -G DEB` and `cpack -G TGZ`; scripts/package.sh runs them.
set(CPACK_PACKAGE_NAME vsp32)
set(CPACK_PACKAGE_VENDOR "the vsp32 project")
set(CPACK_PACKAGE_CONTACT "the vsp32 project <vsp32@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "C and C++ preprocessor of a 32-bit Windows compiler family")
set(CPACK_PACKAGE_DESCRIPTION
  "For each source file it writes a file with comments gone, macros expanded,
conditional groups resolved and included files merged. It takes the switches,
the configuration file and the response files of the family's compiler.")
string(TOLOWER "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" system)
set(CPACK_PACKAGE_FILE_NAME "vsp32-${PROJECT_VERSION}-${system}")
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR "DEB;TGZ")
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/package_layout.cmake")
if(PROJECT_IS_TOP_LEVEL)
  include(CPack)
endif()
