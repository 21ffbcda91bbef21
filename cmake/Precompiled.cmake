# Precompiled headers: standard headers for all targets, and those of GoogleTest and the JSON library for tests. They
# halve the time of a build without optimisation. The shipped build does not use them, so that it detects missing
# includes.
option(KELO_PRECOMPILE "Precompile the headers that most files include" OFF)

# Makes compiled files independent of the checkout, so that all checkouts can share a compiler cache.
if(KELO_PRECOMPILE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
elseif(KELO_PRECOMPILE)
  add_compile_options(-fpch-preprocess)
endif()

set(kelo_standard_headers
  <algorithm> <array> <atomic> <chrono> <cmath> <condition_variable> <cstdint> <cstring> <filesystem> <fstream>
  <functional> <iostream> <map> <memory> <mutex> <optional> <set> <span> <sstream> <string> <string_view> <thread>
  <utility> <variant> <vector>)
set(kelo_test_headers <gmock/gmock.h> <gtest/gtest.h> <nlohmann/json.hpp>)

# kelo_precompiled(NAME KIND HEADER... [LINKS TARGET...]): creates a target whose precompiled headers others reuse. KIND
# is LIBRARY or EXECUTABLE, because these use different kinds of position-independent code.
function(kelo_precompiled name kind)
  cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp CONTENT "int main() {}\n")
  if(kind STREQUAL "LIBRARY")
    add_library(${name} OBJECT EXCLUDE_FROM_ALL ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  else()
    add_executable(${name} EXCLUDE_FROM_ALL ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  endif()
  target_link_libraries(${name} PRIVATE ${ARG_LINKS})
  kelo_compile(${name})
  target_precompile_headers(${name} PRIVATE ${ARG_UNPARSED_ARGUMENTS})
endfunction()

# Makes a target without its own optimisation reuse the matching precompiled headers.
function(kelo_precompile target)
  if(NOT KELO_PRECOMPILE)
    return()
  endif()
  get_target_property(type ${target} TYPE)
  get_target_property(links ${target} LINK_LIBRARIES)
  get_target_property(sources ${target} SOURCES)
  # Objective-C++ cannot use headers precompiled as C++. Compiling them separately pays off only for many files.
  if(sources MATCHES "[.]mm(;|$)")
    if("GTest::gmock_main" IN_LIST links)
      set(headers ${kelo_standard_headers} ${kelo_test_headers})
      list(TRANSFORM headers REPLACE "(.*)>" "$<$<COMPILE_LANGUAGE:CXX>:\\1$<ANGLE-R>>")
      target_precompile_headers(${target} PRIVATE ${headers})
    endif()
  elseif(NOT type STREQUAL "EXECUTABLE")
    target_precompile_headers(${target} REUSE_FROM kelo_precompiled_library)
  elseif("GTest::gmock_main" IN_LIST links)
    target_precompile_headers(${target} REUSE_FROM kelo_precompiled_test)
  else()
    target_precompile_headers(${target} REUSE_FROM kelo_precompiled_executable)
  endif()
endfunction()

if(KELO_PRECOMPILE)
  kelo_precompiled(kelo_precompiled_library LIBRARY ${kelo_standard_headers})
  kelo_precompiled(kelo_precompiled_executable EXECUTABLE ${kelo_standard_headers})
  if(KELO_TESTS)
    kelo_precompiled(kelo_precompiled_test EXECUTABLE ${kelo_standard_headers} ${kelo_test_headers}
      LINKS GTest::gmock_main nlohmann_json::nlohmann_json)
  endif()
endif()
