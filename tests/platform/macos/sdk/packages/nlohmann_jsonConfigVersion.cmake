# The version that a Mac is said to have; the headers are this machine's, whatever theirs is.
set(PACKAGE_VERSION ${KELO_JSON_VERSION})
if(PACKAGE_FIND_VERSION VERSION_LESS_EQUAL PACKAGE_VERSION)
  set(PACKAGE_VERSION_COMPATIBLE ON)
endif()
