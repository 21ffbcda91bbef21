# Every target of ours is made here, so that each compiles with the same warnings and the same instrumentation.
find_package(Threads REQUIRED)

set(kelo_warnings
  -Wall -Wextra -Wpedantic -Werror
  -Wshadow -Wconversion -Wsign-conversion -Wdouble-promotion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough -Wunused)

# GCC 12 sees an overlap in std::string's own operator+ when it optimises.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  list(APPEND kelo_warnings -Wno-restrict)
endif()

# No fused multiply-add: speeds and fractions come out the same on every processor and with every compiler.
set(kelo_arithmetic -ffp-contract=off)

# What every target of ours compiles with.
function(kelo_configure target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE ${kelo_warnings} ${kelo_arithmetic})
  if(KELO_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${KELO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${KELO_SANITIZE})
  endif()
  if(KELO_FUZZ) # what the fuzzer explores
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  if(KELO_COVERAGE)
    target_compile_definitions(${target} PRIVATE KELO_COVERAGE)
    target_compile_options(${target} PRIVATE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(${target} PRIVATE -fprofile-instr-generate)
  endif()
endfunction()

# kelo_library(NAME FILE... [LINKS TARGET...]): one folder of one ring.
#
# LINKS are PUBLIC: a header of ours may include the headers of what it is built on, and of nothing else.
function(kelo_library name)
  cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PUBLIC ${ARG_LINKS})
  kelo_configure(${name})
endfunction()

# kelo_interface(NAME [LINKS TARGET...]): a folder of headers only.
function(kelo_interface name)
  cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
  add_library(${name} INTERFACE)
  target_link_libraries(${name} INTERFACE ${ARG_LINKS})
endfunction()

# kelo_executable(NAME FILE... [LINKS TARGET...])
function(kelo_executable name)
  cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS})
  kelo_configure(${name})
endfunction()
