# What is installed and packed: the library with its headers, the tool, and what other projects need
# to find the library. kx_install_pages() adds the tool's pages, which it writes itself, so only
# where it can run.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KX_HEADERS_PLACE ${CMAKE_INSTALL_INCLUDEDIR}/KX_FileIO)
set(KX_PACKAGE_PLACE ${CMAKE_INSTALL_LIBDIR}/cmake/KX_FileIO)

install(TARGETS KX_FileIO EXPORT KX_FileIO)
install(DIRECTORY
  ${CMAKE_SOURCE_DIR}/fileio/include/ ${CMAKE_SOURCE_DIR}/fileio/platform/${KX_SYSTEM}/include/
  DESTINATION ${KX_HEADERS_PLACE} FILES_MATCHING PATTERN *.h)
install(EXPORT KX_FileIO NAMESPACE KX_FileIO:: DESTINATION ${KX_PACKAGE_PLACE}
  FILE KX_FileIOConfig.cmake)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KX_FileIOConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KX_FileIOConfigVersion.cmake DESTINATION ${KX_PACKAGE_PLACE})

# Relative to itself, so that an installation may be moved.
file(RELATIVE_PATH KX_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${CMAKE_SOURCE_DIR}/cmake/package/kx-fileio.pc.in ${CMAKE_BINARY_DIR}/kx-fileio.pc
  @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kx-fileio.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(WIN32)
  file(GLOB KX_RUNTIME ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/lib*.dll)
  install(FILES ${KX_RUNTIME} DESTINATION ${CMAKE_INSTALL_BINDIR})
else()
  set_target_properties(kxo PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()
install(TARGETS kxo)
install(FILES ${CMAKE_SOURCE_DIR}/README.md ${CMAKE_SOURCE_DIR}/CHANGELOG.md
  ${CMAKE_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

# kx_install_pages(): has the tool write its manual page and its completion, and installs them.
function(kx_install_pages)
  set(pages ${CMAKE_BINARY_DIR}/pages)
  set(script ${CMAKE_SOURCE_DIR}/kxo/tool_pages)
  add_custom_command(OUTPUT ${pages}/kxo.1 ${pages}/kxo.bash
    COMMAND ${Python3_EXECUTABLE} ${script} $<TARGET_FILE:kxo> ${pages}
    DEPENDS kxo ${script} VERBATIM)
  add_custom_target(kxo_pages ALL DEPENDS ${pages}/kxo.1 ${pages}/kxo.bash)
  install(FILES ${pages}/kxo.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${pages}/kxo.bash RENAME kxo
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endfunction()

# The reference of the exported headers; the target docs writes it.
function(kx_add_reference)
  find_program(KX_DOXYGEN doxygen)
  if(NOT KX_DOXYGEN)
    return()
  endif()
  set(KX_DOXYFILE ${CMAKE_BINARY_DIR}/Doxyfile)
  configure_file(${CMAKE_SOURCE_DIR}/docs/Doxyfile.in ${KX_DOXYFILE} @ONLY)
  add_custom_target(docs COMMAND ${KX_DOXYGEN} ${KX_DOXYFILE} VERBATIM)
  add_test(NAME checks.TheReferenceIsWrittenWithoutAWarning COMMAND ${KX_DOXYGEN} ${KX_DOXYFILE})
endfunction()

if(NOT CMAKE_CROSSCOMPILING)
  kx_add_reference()
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  kx_install_pages()
endif()

set(CPACK_PACKAGE_NAME kx-fileio)
set(CPACK_PACKAGE_VENDOR "the KX_FileIO authors")
set(CPACK_PACKAGE_CONTACT "the KX_FileIO authors <kx-fileio@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Storage library of an outliner, and its command-line tool")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
endif()
include(CPack)
