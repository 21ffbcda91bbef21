# Makes CMake believe that it builds for a Mac, without a Mac's tools: enough to configure and to look at the commands
# that it would run.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_CXX_COMPILER ${KELO_COMPILER})
set(CMAKE_OSX_SYSROOT ${CMAKE_BINARY_DIR}/sdk CACHE STRING "" FORCE)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/sdk/usr/include)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KELO_COMPILER)
set(CMAKE_INSTALL_NAME_TOOL true CACHE STRING "")
set(CMAKE_HAVE_LIBC_PTHREAD ON CACHE BOOL "")

# What is usually found out by compiling.
foreach(language IN ITEMS CXX OBJCXX)
  set(CMAKE_${language}_COMPILER_TARGET arm64-apple-macos14)
  set(CMAKE_${language}_COMPILER_WORKS ON)
  set(CMAKE_${language}_ABI_COMPILED ON)
  set(CMAKE_${language}_COMPILE_FEATURES cxx_std_98 cxx_std_11 cxx_std_14 cxx_std_17 cxx_std_20)
  foreach(standard IN ITEMS 98 11 14 17 20)
    set(CMAKE_${language}${standard}_COMPILE_FEATURES cxx_std_${standard})
  endforeach()
endforeach()
