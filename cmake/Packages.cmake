# Debian packages, one for each component: build the target `package`, or run cpack when library,
# tool and manual pages are built. PackageStage.cmake adds what only packages have (symbols,
# changelog, no RPATH).

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime dev)
if(TARGET tqlib)
  if(NOT TQ_LOWDOWN)
    message(FATAL_ERROR "The packages need lowdown for a manual page: scripts/setup build")
  endif()
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each description below has its own summary

set(TQ_PACKAGE_MAINTAINER "The TqLibEmulator developers <developers@tqlibemulator.example>"
    CACHE STRING "Who maintains the packages")
mark_as_advanced(TQ_PACKAGE_MAINTAINER)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${TQ_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SOURCE tqlibemulator)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libtqlibemulator${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/control/shlibs ${PROJECT_BINARY_DIR}/control/symbols
    ${PROJECT_BINARY_DIR}/control/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "state and data of emulated SCSI tape libraries
The library keeps the state of emulated tape libraries (drives, slots, media,
hosts) in XML files, and the data of their tapes as plain files.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libtqlibemulator-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The public header includes headers of Xerces-C++.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libxerces-c-dev (>= 3.2)")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_DEBIAN_DEV_DESCRIPTION "state and data of emulated SCSI tape libraries - headers
Headers, a CMake package and a pkg-config file of the library that keeps the
state of emulated tape libraries in XML files.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME tqlib)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds the library here, because it is not installed yet. The dependency on its
# package comes from the component.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ../runtime/usr/${CMAKE_INSTALL_LIBDIR})
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "operator's tool for emulated SCSI tape libraries
The command tqlib lists, makes and changes emulated tape libraries, their
drives and media, and reads and writes their volumes.")

set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/PackageStage.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/PackageFinish.cmake)
set(CPACK_TQ_CONTROL_DIR ${PROJECT_BINARY_DIR}/control)
set(CPACK_TQ_LIBRARY_DIR usr/${CMAKE_INSTALL_LIBDIR})

# Each document is in one package: those for operators in the tool's, the others in the dev package.
set(tq_tool_documents SECURITY.md)
foreach(name operations json library-description errors catalogue-format)
  list(APPEND tq_tool_documents docs/${name}.md)
endforeach()
file(GLOB tq_dev_documents CONFIGURE_DEPENDS
  RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/docs/*.md)
list(APPEND tq_dev_documents README.md CONTRIBUTING.md)
list(REMOVE_ITEM tq_dev_documents ${tq_tool_documents})
set(tq_documents_dir ${CMAKE_INSTALL_DATADIR}/doc)
install(FILES ${tq_tool_documents} COMPONENT tools EXCLUDE_FROM_ALL
  DESTINATION ${tq_documents_dir}/${CPACK_DEBIAN_TOOLS_PACKAGE_NAME})
install(FILES ${tq_dev_documents} COMPONENT dev EXCLUDE_FROM_ALL
  DESTINATION ${tq_documents_dir}/${CPACK_DEBIAN_DEV_PACKAGE_NAME})
install(FILES CHANGELOG.md RENAME changelog COMPONENT dev EXCLUDE_FROM_ALL
  DESTINATION ${tq_documents_dir}/${CPACK_DEBIAN_DEV_PACKAGE_NAME})
install(DIRECTORY docs/images docs/decisions docs/measured COMPONENT dev EXCLUDE_FROM_ALL
  DESTINATION ${tq_documents_dir}/${CPACK_DEBIAN_DEV_PACKAGE_NAME})

include(CPack)
