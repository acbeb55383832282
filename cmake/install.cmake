# Install rules: headers, libtrove, the module, the trove tool, the example,
# a CMake package (find_package(trove)) and trove.pc for pkg-config.
include(CMakePackageConfigHelpers)

install(DIRECTORY ${TROVE_INCLUDE}/trove ${TROVE_GENERATED_INCLUDE}/trove
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(TARGETS trove_library trove_client_api trove_host_api EXPORT troveTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The module is loaded at run time, never linked: it goes to lib/trove/,
# where libtrove looks for it.
install(TARGETS trove_registry EXPORT troveTargets
        LIBRARY DESTINATION ${TROVE_INSTALL_MODULEDIR})
set_target_properties(trove_registry PROPERTIES EXPORT_NAME module)

if(TARGET trove)
  # The tool finds libtrove (and through it the module) from bin/.
  file(RELATIVE_PATH TROVE_LIBDIR_FROM_BINDIR
       /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(trove PROPERTIES INSTALL_RPATH "$ORIGIN/${TROVE_LIBDIR_FROM_BINDIR}")
  install(TARGETS trove RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(FILES ${PROJECT_SOURCE_DIR}/examples/quickstart.cc ${PROJECT_SOURCE_DIR}/examples/profiles.xml
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

set(TROVE_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/trove)
install(EXPORT troveTargets NAMESPACE trove:: DESTINATION ${TROVE_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/troveConfig.cmake.in
  ${PROJECT_BINARY_DIR}/troveConfig.cmake
  INSTALL_DESTINATION ${TROVE_CMAKEDIR}
  PATH_VARS TROVE_INSTALL_MODULEDIR)
# Before 1.0 only the same minor version is compatible.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/troveConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/troveConfig.cmake ${PROJECT_BINARY_DIR}/troveConfigVersion.cmake
        DESTINATION ${TROVE_CMAKEDIR})

set(TROVE_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH TROVE_PC_PREFIX_FROM_PCDIR /${TROVE_PC_DIR} /)
string(REGEX REPLACE "/$" "" TROVE_PC_PREFIX_FROM_PCDIR "${TROVE_PC_PREFIX_FROM_PCDIR}")
set(TROVE_PC_LIBS_PRIVATE)
if(CMAKE_DL_LIBS)
  set(TROVE_PC_LIBS_PRIVATE -l${CMAKE_DL_LIBS})
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/trove.pc.in ${PROJECT_BINARY_DIR}/trove.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/trove.pc DESTINATION ${TROVE_PC_DIR})
