# Run by CPack after the components are installed and before they are packed: adds the files that
# only a Debian package has.

cmake_policy(VERSION 3.25)

function(add_documents package_dir name)
  set(dir ${package_dir}/usr/share/doc/${name})
  set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(CONFIGURE OUTPUT ${dir}/copyright @ONLY CONTENT
"Copyright 2026 The TqLibEmulator developers

All rights reserved. No licence is granted here.
")
  file(CONFIGURE OUTPUT ${dir}/changelog.Debian @ONLY CONTENT
"@CPACK_DEBIAN_PACKAGE_SOURCE@ (@version@) unstable; urgency=medium

  * Version @CPACK_PACKAGE_VERSION@.

 -- @CPACK_DEBIAN_PACKAGE_MAINTAINER@  @date@
")
  execute_process(COMMAND gzip -9nf ${dir}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Adapts the links between documents: in the packages, a document is in the same folder or in that
# of the other package.
function(link_documents component other)
  string(TOUPPER ${component} upper)
  string(TOUPPER ${other} other_upper)
  set(docs usr/share/doc)
  set(other_name ${CPACK_DEBIAN_${other_upper}_PACKAGE_NAME})
  set(other_dir ${CPACK_TEMPORARY_DIRECTORY}/${other}/${docs}/${other_name})
  set(edits "s,](\\.\\./,](,g\n s,](docs/,](,g\n s,](include/,](../../../include/,g\n")
  string(APPEND edits "s,](CHANGELOG.md,](changelog.gz,g\n")
  file(GLOB_RECURSE others RELATIVE ${other_dir} ${other_dir}/*.md)
  foreach(document IN LISTS others)
    string(APPEND edits "s,](${document},](../${other_name}/${document},g\n")
  endforeach()
  file(GLOB documents
    ${CPACK_TEMPORARY_DIRECTORY}/${component}/${docs}/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}/*.md)
  execute_process(COMMAND sed -i "${edits}" ${documents} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Writes the control files for the dependencies of programs that are linked with the library. While
# the version is 0.x, another minor version may have another interface.
function(write_control_files package)
  set(dir ${CPACK_TQ_CONTROL_DIR})
  set(library_dir ${CPACK_TEMPORARY_DIRECTORY}/runtime/${CPACK_TQ_LIBRARY_DIR})
  set(other_minor "")
  if(CPACK_PACKAGE_VERSION_MAJOR EQUAL 0)
    math(EXPR next "${CPACK_PACKAGE_VERSION_MINOR} + 1")
    set(other_minor ", ${package} (<< 0.${next}~)")
  endif()
  set(major ${CPACK_PACKAGE_VERSION_MAJOR})
  file(WRITE ${dir}/triggers "activate-noawait ldconfig\n")
  file(WRITE ${dir}/shlibs
    "libTqLibEmulator ${major} ${package} (>= ${CPACK_PACKAGE_VERSION})${other_minor}\n")
  file(WRITE ${dir}/known-symbols
"libTqLibEmulator.so.${major} ${package} #MINVER#${other_minor}
* Build-Depends-Package: ${CPACK_DEBIAN_DEV_PACKAGE_NAME}
")
  execute_process(
    COMMAND dpkg-gensymbols -c0 -q -p${package} -v${CPACK_PACKAGE_VERSION} -I${dir}/known-symbols
            -O${dir}/symbols -e${library_dir}/libTqLibEmulator.so.${major}
    COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The tool of an installed tree finds the library by its RPATH. The tool of a package needs none:
# the library is in the system's library folder. The tool's package has its own documents.
if("tools" IN_LIST CPACK_COMPONENTS_ALL)
  file(RPATH_REMOVE FILE ${CPACK_TEMPORARY_DIRECTORY}/tools/usr/bin/tqlib)
  link_documents(tools dev)
  link_documents(dev tools)
endif()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  add_documents(${CPACK_TEMPORARY_DIRECTORY}/${component} ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
endforeach()
execute_process(COMMAND gzip -9nf
  ${CPACK_TEMPORARY_DIRECTORY}/dev/usr/share/doc/${CPACK_DEBIAN_DEV_PACKAGE_NAME}/changelog
  COMMAND_ERROR_IS_FATAL ANY)
write_control_files(${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME})

# Permissions must not depend on the umask of the build.
execute_process(COMMAND chmod -R u+rwX,go+rX,go-w ${CPACK_TEMPORARY_DIRECTORY}
  COMMAND_ERROR_IS_FATAL ANY)
