# Creates the targets of each package from this machine's headers and sources.
set(target ${CMAKE_FIND_PACKAGE_NAME}::${CMAKE_FIND_PACKAGE_NAME})
if(NOT CMAKE_FIND_PACKAGE_NAME STREQUAL "GTest")
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} INTERFACE ${KELO_MAC_PACKAGES}/include)
  return()
endif()

# GoogleTest, compiled from source for a Mac's processors.
set(sources /usr/src/googletest)
add_library(kelo_mac_gmock_main STATIC
  ${sources}/googletest/src/gtest-all.cc ${sources}/googlemock/src/gmock-all.cc ${sources}/googlemock/src/gmock_main.cc)
target_include_directories(kelo_mac_gmock_main SYSTEM
  PUBLIC ${KELO_MAC_PACKAGES}/include
  PRIVATE ${sources}/googletest ${sources}/googlemock)
target_compile_options(kelo_mac_gmock_main PRIVATE -w)
foreach(part IN ITEMS gtest gtest_main gmock gmock_main)
  add_library(GTest::${part} ALIAS kelo_mac_gmock_main)
endforeach()
