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

# Files are named as in the repository, in debug information and test output, so that builds are reproducible.
file(RELATIVE_PATH from_build ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}/)
set(kelo_names -fdebug-prefix-map=${PROJECT_SOURCE_DIR}=.
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/= -fmacro-prefix-map=${from_build}=)

# What is shipped is hardened, freed of what nobody calls, and small: only folders whose time counts, because it is spent
# on every tick or for every request, ask for more.
set(kelo_optimisation -Os)
option(KELO_SHIP "Build as what is shipped: hardened and small" OFF)
if(KELO_SHIP)
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
  set(CMAKE_CXX_VISIBILITY_PRESET hidden)
  set(CMAKE_OBJCXX_VISIBILITY_PRESET hidden)
  set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
  set(kelo_shipping -fstack-protector-strong -ffunction-sections -fdata-sections)
  if(APPLE) # FORTIFY is on there, and addresses are bound before main and read-only from then on
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

# Linking takes most of a test program's build time. Builds with link-time optimisation keep the default linker.
find_program(KELO_LLD ld.lld)
if(KELO_LLD AND NOT KELO_SHIP AND NOT APPLE)
  add_link_options(-fuse-ld=lld)
endif()

# Off where reports look for headers by their paths in the repository.
option(KELO_WALLS "Hide from each target the headers of what it does not link" ON)

# What every target of ours compiles with, apart from headers.
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
  if(KELO_FUZZ) # what the fuzzer explores
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  if(KELO_COVERAGE)
    target_compile_definitions(${target} PRIVATE KELO_COVERAGE)
    target_compile_options(${target} PRIVATE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(${target} PRIVATE -fprofile-instr-generate)
  endif()
endfunction()

# kelo_show(TARGET SCOPE FOLDER...): a folder of links to the headers directly in FOLDERs, in which targets that link
# TARGET (INTERFACE), and TARGET itself as well (PUBLIC), find them by their paths in the repository.
function(kelo_show target scope)
  if(NOT KELO_WALLS)
    return()
  endif()
  set(shown ${PROJECT_BINARY_DIR}/include/${target})
  file(REMOVE_RECURSE ${shown}) # headers that have been deleted
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

# What every target of ours compiles with. It finds the headers of the folders of its sources, those of what it links,
# and those of `sees`.
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

# kelo_library(NAME FILE... [LINKS TARGET...] [USES TARGET...] [SEES TARGET...]): one folder of one ring, and the headers
# that it may include; any other is not found.
#
# Its headers include those of LINKS, which is passed on to targets that link it. Only its sources include those of USES,
# which it is linked to, and those of SEES, which it is not: it implements an abstract class of that. A header that
# includes one of SEES can only be included by targets that link that as well.
function(kelo_library name)
  cmake_parse_arguments(ARG "" "" "LINKS;USES;SEES" ${ARGN})
  add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE ${ARG_USES})
  kelo_configure(${name} "${ARG_SEES}")
endfunction()

# kelo_interface(NAME FOLDER [LINKS TARGET...]): a folder of headers only.
function(kelo_interface name folder)
  cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
  add_library(${name} INTERFACE)
  target_link_libraries(${name} INTERFACE ${ARG_LINKS})
  kelo_show(${name} INTERFACE ${folder})
endfunction()

# kelo_executable(NAME FILE... [LINKS TARGET...] [SEES TARGET...]): a program, which may include the same as a library.
function(kelo_executable name)
  cmake_parse_arguments(ARG "" "" "LINKS;SEES" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS})
  kelo_configure(${name} "${ARG_SEES}")
endfunction()
