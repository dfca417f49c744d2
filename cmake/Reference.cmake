# Target `docs`: the reference of the public headers, as HTML in reference/html of the build folder.
# A public name without a comment is an error.

find_package(Doxygen 1.9.2 QUIET)
if(NOT DOXYGEN_FOUND)
  return()
endif()

set(DOXYGEN_PROJECT_NUMBER ${PROJECT_VERSION})
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/reference)
set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/platform)
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_SORT_MEMBER_DOCS NO)
set(DOXYGEN_EXTRACT_ALL NO)
set(DOXYGEN_EXTRACT_PRIVATE NO)
set(DOXYGEN_WARN_IF_UNDOCUMENTED YES)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
# Removes macros and attributes that readers do not need.
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED __cplusplus TQLIB_API= TQ_PLATFORM_API= "__attribute__(x)=")

# Of the platform interfaces, only those that callers see.
doxygen_add_docs(docs
  include/TqLibEmulator.h include/TqLibEmlFile.h
  platform/TqPlatform/MMDebug.h platform/TqPlatform/MMError.h
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} COMMENT "Reference")
