# Run by CPack when the packages are there: takes the scripts out that CPack puts into a package
# with a shared library. They call ldconfig, as the trigger of the package does, and would do so on
# the machine that builds when the package is installed into another root.

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
