# Reports the version expected on a Mac; the headers are this machine's, of any version.
set(PACKAGE_VERSION ${KELO_JSON_VERSION})
if(PACKAGE_FIND_VERSION VERSION_LESS_EQUAL PACKAGE_VERSION)
  set(PACKAGE_VERSION_COMPATIBLE ON)
endif()
