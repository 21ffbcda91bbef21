# Tests that are scripts or programs without GoogleTest. They run at the top of the repository.
set(here ${CMAKE_CURRENT_SOURCE_DIR})

# kelo_script_test(NAME COMMAND...)
function(kelo_script_test name)
  add_test(NAME ${name} COMMAND ${ARGN} COMMAND_EXPAND_LISTS WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endfunction()

# kelo_settled_test(NAME COMMAND...): a test whose outcome depends only on files. It runs again only if one of them has
# changed since it passed.
function(kelo_settled_test name)
  kelo_script_test(${name} ${PROJECT_SOURCE_DIR}/testing/settled.sh ${PROJECT_BINARY_DIR}/settled/${name} ${ARGN})
endfunction()

kelo_script_test(settled_tests_run_again_after_a_change ${PROJECT_SOURCE_DIR}/testing/settled_test.sh)

# --- rules that every source and build file must follow

kelo_script_test(folders_include_only_allowed_libraries ${here}/walls/libraries.sh)
kelo_script_test(build_files_name_their_sources ${here}/walls/globs.sh)
kelo_script_test(dev_defines_each_function_once ${here}/walls/functions.sh)
kelo_settled_test(lint_finds_phrases_to_avoid ${here}/walls/words.sh)

# Only Clang on Linux compiles all sources.
if(APPLE OR KELO_SANITIZE STREQUAL "thread") # these builds omit other folders
  set(folders platform/macos)
elseif(kelo_macos_sources)
  set(folders protocol core helper client platform platform/macos samples simulator testing tests)
  if(KELO_EXTRAS)
    list(APPEND folders fuzz prove)
    find_package(benchmark QUIET)
    if(benchmark_FOUND)
      list(APPEND folders bench)
    endif()
  endif()
  # These sources are compiled by a test or by the preset real-dispatch.
  list(APPEND folders -- tests/platform/macos/apple/Encodings.mm tests/platform/macos/sdk/Probe.cpp
    tests/platform/macos/real/RealCoreFoundation.cpp tests/platform/macos/real/RealDispatch.cpp
    tests/platform/macos/real/RealMainLoop.cpp)
endif()
if(folders)
  kelo_script_test(every_source_is_compiled ${here}/walls/sources.sh ${PROJECT_BINARY_DIR} ${folders})
endif()

# --- proofs in virtual time, on one thread

if(NOT KELO_SANITIZE STREQUAL "thread")
  kelo_settled_test(prove_faults $<TARGET_FILE:prove_faults> --brief)
  kelo_settled_test(prove_life $<TARGET_FILE:prove_life>)
  kelo_settled_test(prove_life_refuses_invalid_scenarios_and_prints_its_seed
    ${PROJECT_SOURCE_DIR}/prove/life/command_line.sh $<TARGET_FILE:prove_life>)
  kelo_settled_test(prove_soak $<TARGET_FILE:prove_soak> 6)
  set_tests_properties(prove_faults prove_life PROPERTIES TIMEOUT 300 COST 10)
endif()

# --- documents

kelo_settled_test(links_in_documents_resolve ${here}/docs/links.sh)
kelo_settled_test(protocol_page_is_complete ${here}/docs/protocol.sh)
find_program(KELO_PYTHON python3 HINTS /usr/bin) # prefers a Python that every user may run
if(KELO_PYTHON)
  kelo_script_test(performance_page_and_picture_agree ${KELO_PYTHON} -B bench/figures.py check)
endif()
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  kelo_script_test(commands_in_documents_work ${here}/docs/commands.sh
    $<TARGET_FILE:app.kelo.helper> $<TARGET_FILE:kelo> $<TARGET_FILE:simmac> $<TARGET_FILE:simsign>)
endif()

# --- packaging; not in sanitizer builds, which would find no more faults

if(KELO_SANITIZE)
  return()
endif()

set(packaging ${PROJECT_SOURCE_DIR}/packaging)
find_program(KELO_XMLLINT xmllint REQUIRED)
set(KELO_BUNDLE_IDENTIFIER app.kelo.helper)
set(KELO_BUNDLE_NAME "Kelo Helper")
configure_file(${packaging}/macos/Info.plist.in Info.plist @ONLY)
kelo_settled_test(macos_property_lists ${here}/packaging/macos/plists.sh ${packaging}/macos/app.kelo.helper.plist
  ${packaging}/macos/embedded/app.kelo.helper.plist ${CMAKE_CURRENT_BINARY_DIR}/Info.plist ${PROJECT_VERSION})

kelo_settled_test(workflow_uses_available_images ${here}/packaging/workflow.sh)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  kelo_script_test(steps_of_workflow_run ${here}/packaging/workflow-steps.sh $<TARGET_FILE:app.kelo.helper>)
endif()
kelo_settled_test(macos_tools ${here}/packaging/macos/lint.sh)

kelo_settled_test(macos_install ${here}/packaging/macos/install.sh)
kelo_settled_test(macos_package ${here}/packaging/macos/package.sh)
kelo_settled_test(macos_package_scripts ${here}/packaging/macos/package-scripts.sh)
kelo_settled_test(macos_confirmation ${here}/packaging/macos/confirm.sh)
# The installer's checks are in JavaScript. Nothing else needs Node.js.
find_program(KELO_NODE node)
if(KELO_NODE)
  kelo_script_test(macos_package_asks_the_mac ${KELO_NODE} ${here}/packaging/macos/distribution.js
    ${packaging}/macos/package/distribution.xml.in)
endif()
if(kelo_macos_sources AND NOT APPLE)
  kelo_script_test(macos_product_is_configured
    ${here}/packaging/macos/configure.sh ${CMAKE_CXX_COMPILER} ${CMAKE_CURRENT_BINARY_DIR}/product)
endif()

# Manual pages and completions.
find_program(KELO_MANDOC mandoc REQUIRED)
set(programs $<TARGET_FILE:kelo>)
if(TARGET simmac)
  list(APPEND programs $<TARGET_FILE:simmac> $<TARGET_FILE:simsign>)
endif()
kelo_settled_test(manual_pages_render ${here}/packaging/manual-pages.sh ${packaging}/man/app.kelo.helper.8
  ${packaging}/man/kelo.1 ${packaging}/man/simmac.1 ${packaging}/man/simsign.1)
kelo_script_test(help_manuals_and_completions_agree ${here}/packaging/same-words.sh ${packaging}/man ${programs})
kelo_script_test(shells_complete_words_of_kelo ${here}/packaging/completions.sh $<TARGET_FILE:kelo>)
set_tests_properties(shells_complete_words_of_kelo PROPERTIES TIMEOUT 60)
kelo_script_test(notices_name_the_included_libraries ${here}/packaging/notices.sh
  $<TARGET_PROPERTY:nlohmann_json::nlohmann_json,INTERFACE_INCLUDE_DIRECTORIES>)
kelo_settled_test(a_release_is_prepared ${here}/packaging/release.sh ${PROJECT_VERSION})
