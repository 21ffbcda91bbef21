# The two executables: the daemon and its command-line client, on the system that the build is for.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  find_package(CLI11 2.1 REQUIRED)
  kelo_executable(app.kelo.helper helper/main.cpp LINKS kelo_platform_linux)
  kelo_executable(kelo client/main.cpp LINKS kelo_client kelo_client_linux CLI11::CLI11)
  target_compile_definitions(kelo PRIVATE KELO_VERSION="${PROJECT_VERSION}")
endif()
