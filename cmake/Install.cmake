# Installs the library, its headers, a CMake package and a pkg-config file.

set(TQ_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TqLibEmulator)

set(tq_header_sets FILE_SET HEADERS COMPONENT dev)
if(TARGET tq_platform_embedded)
  list(APPEND tq_header_sets FILE_SET platform_headers COMPONENT dev)
endif()
install(TARGETS TqLibEmulator EXPORT TqLibEmulatorTargets
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT dev
  ${tq_header_sets}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT TqLibEmulatorTargets NAMESPACE TqLibEmulator::
  DESTINATION ${TQ_PACKAGE_DIR} COMPONENT dev)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/TqLibEmulatorConfig.cmake.in
  ${PROJECT_BINARY_DIR}/TqLibEmulatorConfig.cmake
  INSTALL_DESTINATION ${TQ_PACKAGE_DIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/TqLibEmulatorConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/TqLibEmulatorConfig.cmake
  ${PROJECT_BINARY_DIR}/TqLibEmulatorConfigVersion.cmake
  DESTINATION ${TQ_PACKAGE_DIR} COMPONENT dev)

# The prefix is relative to the file itself, so the installed tree can be moved.
set(TQ_PC_DIR ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH TQ_PC_PREFIX ${TQ_PC_DIR} ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/tqlibemulator.pc.in
  ${PROJECT_BINARY_DIR}/tqlibemulator.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tqlibemulator.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

if(TARGET tqlib)
  file(RELATIVE_PATH tq_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(tqlib PROPERTIES INSTALL_RPATH "$ORIGIN/${tq_bin_to_lib}")
endif()
