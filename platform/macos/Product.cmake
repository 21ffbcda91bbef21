# The two executables that are shipped for macOS. Included from the top folder, where the parts that they are made of are
# known.

# kelo_macos_product(TARGET OUTPUT IDENTIFIER TITLE): gives an executable its file name and, inside, the Info.plist
# that code signing takes its identifier and version from.
function(kelo_macos_product target output identifier title)
  set(KELO_BUNDLE_IDENTIFIER ${identifier})
  set(KELO_BUNDLE_NAME ${title})
  set(plist ${PROJECT_BINARY_DIR}/${output}-Info.plist)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/macos/Info.plist.in ${plist} @ONLY)
  target_link_options(${target} PRIVATE LINKER:-sectcreate,__TEXT,__info_plist,${plist})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${output} RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR} LINK_DEPENDS ${plist})
endfunction()

kelo_executable(kelo_macos_helper helper/main.cpp LINKS kelo_helper kelo_platform_macos)
kelo_macos_product(kelo_macos_helper app.kelo.helper app.kelo.helper "Kelo Helper")

kelo_executable(kelo_macos_client client/main.cpp LINKS kelo_client kelo_platform_macos_client)
kelo_macos_product(kelo_macos_client kelo app.kelo.Kelo kelo)
