# Objective-C++, which XPC needs: on a Mac for the product, elsewhere for testing the same sources on doubles of the
# platform. Only Clang compiles its blocks.
if(APPLE OR (KELO_TESTS AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
  set(CMAKE_OBJCXX_COMPILER ${CMAKE_CXX_COMPILER})
  enable_language(OBJCXX)
  set(CMAKE_OBJCXX_STANDARD 20) # CMAKE_CXX_STANDARD does not count for .mm
  set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
  set(CMAKE_OBJCXX_EXTENSIONS OFF)
endif()
