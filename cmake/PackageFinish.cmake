# Run by CPack after the packages are built: removes the maintainer scripts that CPack adds to a
# package with a shared library. They call ldconfig, which the trigger of the package already does.
# When the package is installed into another root, they would change the machine that installs it.

cmake_policy(VERSION 3.25)

foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(dir ${package}.d)
  file(REMOVE_RECURSE ${dir})
  execute_process(COMMAND dpkg-deb -R ${package} ${dir} COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS ${dir}/DEBIAN/postinst)
    file(REMOVE ${dir}/DEBIAN/postinst ${dir}/DEBIAN/postrm)
    execute_process(COMMAND dpkg-deb --root-owner-group -b ${dir} ${package} OUTPUT_QUIET
      COMMAND_ERROR_IS_FATAL ANY)
  endif()
  file(REMOVE_RECURSE ${dir})
endforeach()
