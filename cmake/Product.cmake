# The two executables: the daemon and its command-line client, on the system that the build is for.
if(APPLE)
  set(kelo_platform kelo_platform_macos)
  set(kelo_client_platform kelo_platform_macos_client)
elseif(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(kelo_platform kelo_platform_linux)
  set(kelo_client_platform kelo_socket_client)
endif()

kelo_executable(app.kelo.helper helper/main.cpp LINKS kelo_helper $<LINK_ONLY:${kelo_platform}>)
kelo_executable(kelo client/main.cpp LINKS kelo_command_line kelo_client_terminal $<LINK_ONLY:${kelo_client_platform}>)

if(APPLE)
  include(platform/macos/Product.cmake)
endif()
