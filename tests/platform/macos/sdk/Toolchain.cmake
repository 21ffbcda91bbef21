# Builds for a Mac on other systems: with this machine's Clang, LLVM's Mach-O tools, and our own declarations and symbol
# lists in place of Apple's SDK.
#
# Parameters: KELO_COMPILER, a Clang, and KELO_JSON_VERSION, the version to report for the JSON library.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_CXX_COMPILER ${KELO_COMPILER})
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KELO_COMPILER)
set(CMAKE_HAVE_LIBC_PTHREAD ON CACHE BOOL "")

# The tools must have the same version as the compiler, which calls some of them by Apple's names.
get_filename_component(compiler ${KELO_COMPILER} REALPATH)
get_filename_component(tools ${compiler} DIRECTORY)
set(names ${CMAKE_BINARY_DIR}/tools)
file(MAKE_DIRECTORY ${names})
file(CREATE_LINK ${tools}/llvm-lipo ${names}/lipo SYMBOLIC)
set(CMAKE_CXX_CREATE_STATIC_LIBRARY "${tools}/llvm-libtool-darwin -static -o <TARGET> <OBJECTS>")
set(CMAKE_OBJCXX_CREATE_STATIC_LIBRARY ${CMAKE_CXX_CREATE_STATIC_LIBRARY})
set(CMAKE_INSTALL_NAME_TOOL ${tools}/llvm-install-name-tool CACHE STRING "")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld")

# The SDK. Files are copied only if they have changed.
set(here ${CMAKE_CURRENT_LIST_DIR})
set(sdk ${CMAKE_BINARY_DIR}/sdk)
set(CMAKE_OSX_SYSROOT ${sdk} CACHE STRING "" FORCE)
file(COPY ${here}/libraries/ DESTINATION ${sdk}/usr/lib FILES_MATCHING PATTERN "lib*.tbd")
file(COPY ${here}/../include/dispatch ${here}/../include/mach ${here}/../include/os ${here}/../include/libproc.h
  ${here}/include/ DESTINATION ${sdk}/usr/include)
foreach(framework IN ITEMS CoreFoundation Foundation IOKit Security)
  set(folder ${sdk}/System/Library/Frameworks/${framework}.framework)
  file(COPY ${here}/libraries/${framework}.tbd DESTINATION ${folder})
  file(COPY ${here}/../include/${framework}/ DESTINATION ${folder}/Headers)
endforeach()

# The packages. Links each package's headers separately, because their folder also contains the headers of this
# machine's C library.
set(CMAKE_FIND_ROOT_PATH ${sdk})
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY) # this machine's own JSON library may be new enough
set(KELO_MAC_PACKAGES ${CMAKE_BINARY_DIR}/packages)
file(MAKE_DIRECTORY ${KELO_MAC_PACKAGES}/include)
foreach(package IN ITEMS CLI gmock gtest nlohmann)
  file(CREATE_LINK /usr/include/${package} ${KELO_MAC_PACKAGES}/include/${package} SYMBOLIC)
endforeach()
foreach(package IN ITEMS CLI11 GTest nlohmann_json)
  set(${package}_DIR ${KELO_MAC_PACKAGES})
  file(CREATE_LINK ${here}/PackageConfig.cmake ${KELO_MAC_PACKAGES}/${package}Config.cmake SYMBOLIC)
endforeach()
file(CONFIGURE OUTPUT ${KELO_MAC_PACKAGES}/CLI11ConfigVersion.cmake CONTENT "set(PACKAGE_VERSION_COMPATIBLE ON)\n")
# Reports the version that is expected on a Mac, regardless of the version of this machine's headers.
file(CONFIGURE OUTPUT ${KELO_MAC_PACKAGES}/nlohmann_jsonConfigVersion.cmake CONTENT [[
set(PACKAGE_VERSION @KELO_JSON_VERSION@)
if(PACKAGE_FIND_VERSION VERSION_LESS_EQUAL PACKAGE_VERSION)
  set(PACKAGE_VERSION_COMPATIBLE ON)
endif()
]] @ONLY)

# Settings that CMake usually determines by compiling.
foreach(language IN ITEMS CXX OBJCXX)
  set(CMAKE_${language}_COMPILER_TARGET arm64-apple-macos14)
  set(CMAKE_${language}_FLAGS_INIT "-B${names} -stdlib=libc++")
  set(CMAKE_${language}_COMPILER_WORKS ON)
  set(CMAKE_${language}_ABI_COMPILED ON)
  set(CMAKE_${language}_COMPILE_FEATURES cxx_std_98 cxx_std_11 cxx_std_14 cxx_std_17 cxx_std_20)
  foreach(standard IN ITEMS 98 11 14 17 20)
    set(CMAKE_${language}${standard}_COMPILE_FEATURES cxx_std_${standard})
  endforeach()
endforeach()
