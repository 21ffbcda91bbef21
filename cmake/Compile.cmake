# Functions that create targets, so that all are compiled with the same warnings and instrumentation.
find_package(Threads REQUIRED)

set(kelo_warnings
  -Wall -Wextra -Wpedantic -Werror
  -Wshadow -Wconversion -Wsign-conversion -Wdouble-promotion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough -Wunused)

# GCC 12 falsely reports an overlap in operator+ of std::string when it optimises.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  list(APPEND kelo_warnings -Wno-restrict)
endif()

# No fused multiply-add, so that speeds and fractions are the same on every processor and with every compiler.
set(kelo_arithmetic -ffp-contract=off)

# Debug information and test output contain paths relative to the repository, so that builds are reproducible.
file(RELATIVE_PATH from_build ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}/)
set(kelo_names -fdebug-prefix-map=${PROJECT_SOURCE_DIR}=.
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/= -fmacro-prefix-map=${from_build}=)

# The shipped build is hardened, has no unused functions, and is optimised for size. Only folders whose code runs on
# every tick or for every request are optimised for speed.
set(kelo_optimisation -Os)
option(KELO_SHIP "Build the shipped programs: hardened and small" OFF)
if(KELO_SHIP)
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
  set(CMAKE_CXX_VISIBILITY_PRESET hidden)
  set(CMAKE_OBJCXX_VISIBILITY_PRESET hidden)
  set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
  set(kelo_shipping -fstack-protector-strong -ffunction-sections -fdata-sections)
  if(APPLE) # FORTIFY, early binding and read-only relocations are defaults on a Mac
    list(APPEND kelo_shipping -D_LIBCPP_HARDENING_MODE=_LIBCPP_HARDENING_MODE_FAST)
    set(kelo_shipping_link LINKER:-dead_strip)
  else()
    list(APPEND kelo_shipping -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -D_GLIBCXX_ASSERTIONS)
    set(kelo_shipping_link LINKER:--gc-sections,-z,relro,-z,now,-z,noexecstack -s)
    include(CheckLinkerFlag)
    check_linker_flag(CXX LINKER:-z,pack-relative-relocs kelo_packs_relocations)
    if(kelo_packs_relocations)
      list(APPEND kelo_shipping_link LINKER:-z,pack-relative-relocs)
    endif()
  endif()
endif()

# Uses lld, since linking takes most of the build time of a test program. The shipped build uses the default linker.
find_program(KELO_LLD ld.lld)
if(KELO_LLD AND NOT KELO_SHIP AND NOT APPLE)
  add_link_options(-fuse-ld=lld)
endif()

# Must be off for builds whose reports need the repository paths of headers.
option(KELO_WALLS "Hide from each target the headers of targets that it does not link" ON)

# Sets the options of every target, except include folders.
function(kelo_compile target)
  if(NOT KELO_WALLS)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  endif()
  target_compile_options(${target} PRIVATE ${kelo_warnings} ${kelo_arithmetic} ${kelo_names} ${kelo_shipping})
  target_link_options(${target} PRIVATE ${kelo_shipping_link})
  if(KELO_SHIP)
    target_compile_options(${target} PRIVATE ${kelo_optimisation})
  endif()
  if(KELO_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${KELO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${KELO_SANITIZE})
  endif()
  if(KELO_FUZZ) # instruments the code for the fuzzer
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  if(KELO_COVERAGE)
    target_compile_definitions(${target} PRIVATE KELO_COVERAGE)
    target_compile_options(${target} PRIVATE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(${target} PRIVATE -fprofile-instr-generate)
  endif()
endfunction()

# kelo_show(TARGET SCOPE FOLDER...): creates a folder of links to the headers directly in FOLDERs. Targets that link
# TARGET (INTERFACE), and also TARGET itself (PUBLIC), find the headers there by their repository paths.
function(kelo_show target scope)
  if(NOT KELO_WALLS)
    return()
  endif()
  set(shown ${PROJECT_BINARY_DIR}/include/${target})
  file(REMOVE_RECURSE ${shown}) # removes links to deleted headers
  foreach(folder IN LISTS ARGN)
    file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/${folder}/*.h)
    file(MAKE_DIRECTORY ${shown}/${folder})
    foreach(header IN LISTS headers)
      file(RELATIVE_PATH original ${shown}/${folder} ${PROJECT_SOURCE_DIR}/${header})
      file(CREATE_LINK ${original} ${shown}/${header} SYMBOLIC)
    endforeach()
  endforeach()
  target_include_directories(${target} ${scope} ${shown})
endfunction()

# Sets options and include folders of a target. The target finds the headers in the folders of its sources, the headers
# of the targets that it links, and the headers of the targets in `sees`.
function(kelo_configure target sees)
  get_target_property(sources ${target} SOURCES)
  set(folders)
  foreach(source IN LISTS sources)
    cmake_path(ABSOLUTE_PATH source)
    cmake_path(GET source PARENT_PATH folder)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${folder})
    list(APPEND folders ${folder})
  endforeach()
  list(REMOVE_DUPLICATES folders)
  kelo_show(${target} PUBLIC ${folders})
  list(TRANSFORM sees PREPEND ${PROJECT_BINARY_DIR}/include/)
  target_include_directories(${target} PRIVATE ${sees})
  kelo_compile(${target})
  kelo_precompile(${target})
endfunction()

# kelo_library(NAME FILE... [LINKS TARGET...] [USES TARGET...] [SEES TARGET...]): creates a library for one folder of a
# ring and names the targets whose headers it may include.
#
# Its headers may include the headers of LINKS, and targets that link the library inherit LINKS. The headers of USES and
# SEES are visible only when the library itself is compiled. The library links USES, but not SEES, because it only
# implements their abstract classes. If one of its headers includes a header of a target in SEES, other targets that
# include it must also link that target.
function(kelo_library name)
  cmake_parse_arguments(ARG "" "" "LINKS;USES;SEES" ${ARGN})
  add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE ${ARG_USES})
  kelo_configure(${name} "${ARG_SEES}")
endfunction()

# kelo_interface(NAME FOLDER [LINKS TARGET...]): creates a header-only library.
function(kelo_interface name folder)
  cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
  add_library(${name} INTERFACE)
  target_link_libraries(${name} INTERFACE ${ARG_LINKS})
  kelo_show(${name} INTERFACE ${folder})
endfunction()

# kelo_executable(NAME FILE... [LINKS TARGET...] [SEES TARGET...]): creates a program, which may
# include the same headers as a library.
function(kelo_executable name)
  cmake_parse_arguments(ARG "" "" "LINKS;SEES" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS})
  kelo_configure(${name} "${ARG_SEES}")
endfunction()
