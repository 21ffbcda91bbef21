# Replaces the doubles by the real libdispatch and CoreFoundation that are part of Swift.
find_program(KELO_SWIFTC swiftc REQUIRED)
execute_process(COMMAND ${KELO_SWIFTC} -print-target-info OUTPUT_VARIABLE target_info COMMAND_ERROR_IS_FATAL ANY)
string(JSON swift GET ${target_info} paths runtimeResourcePath)
find_path(KELO_SWIFT_HEADERS CoreFoundation/CoreFoundation.h HINTS ${swift} NO_DEFAULT_PATH)
if(NOT KELO_SWIFT_HEADERS)
  message(FATAL_ERROR "The Swift in ${swift} lacks the headers of CoreFoundation. Install Swift 6 for Linux.")
endif()

# These directories precede our own declarations.
target_include_directories(kelo_macos_system SYSTEM BEFORE INTERFACE ${CMAKE_CURRENT_LIST_DIR}/include
  ${KELO_SWIFT_HEADERS} ${KELO_SWIFT_HEADERS}/Block)
target_compile_definitions(kelo_macos_system INTERFACE KELO_REAL_DISPATCH)
# Its CFSTR is a statement expression.
target_compile_options(kelo_macos_system INTERFACE -fblocks -Wno-gnu-statement-expression)
target_link_directories(kelo_macos_system INTERFACE ${swift}/linux)
target_link_libraries(kelo_macos_system INTERFACE Foundation dispatch)
target_link_options(kelo_macos_system INTERFACE LINKER:-rpath,${swift}/linux)

# The sources in real/ journal these calls.
set(wrapped CFRelease CFStringCreateWithCString CFRunLoopRun CFRunLoopStop CFRunLoopAddSource CFRunLoopRemoveSource
  CFRunLoopTimerCreate CFRunLoopAddTimer CFRunLoopTimerInvalidate dispatch_async_f dispatch_after_f
  dispatch_source_create dispatch_set_context dispatch_source_set_event_handler_f dispatch_source_set_cancel_handler_f
  dispatch_source_set_registration_handler_f dispatch_activate dispatch_source_cancel dispatch_release)
list(TRANSFORM wrapped PREPEND LINKER:--wrap=)
target_link_options(kelo_macos_system INTERFACE ${wrapped})
