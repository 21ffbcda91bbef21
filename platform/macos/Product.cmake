# Embeds the Info.plist in the macOS executables. Included by cmake/Product.cmake.

# kelo_macos_product(TARGET IDENTIFIER TITLE): gives an executable the Info.plist from which code signing takes its
# identifier and version.
function(kelo_macos_product target identifier title)
  set(KELO_BUNDLE_IDENTIFIER ${identifier})
  set(KELO_BUNDLE_NAME ${title})
  set(plist ${PROJECT_BINARY_DIR}/${target}-Info.plist)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/macos/Info.plist.in ${plist} @ONLY)
  target_link_options(${target} PRIVATE LINKER:-sectcreate,__TEXT,__info_plist,${plist})
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${plist})
endfunction()

kelo_macos_product(app.kelo.helper app.kelo.helper "Kelo Helper")
kelo_macos_product(kelo app.kelo.Kelo kelo)
