#pragma once

// Source: V (xnu, libkern/os/log.h; darling-libtrace, os/log.h). For C++ only, like dispatch/dispatch.h.

#ifdef __OBJC__
#error "do not use log objects in Objective-C++"
#endif

#include <stdint.h>

extern "C" {

typedef struct os_log_s* os_log_t;
// OS_ENUM makes it a distinct type on macOS, even in comparisons with the underlying integer.
typedef enum : uint8_t {
    OS_LOG_TYPE_DEFAULT = 0x00,
    OS_LOG_TYPE_INFO = 0x01,
    OS_LOG_TYPE_DEBUG = 0x02,
    OS_LOG_TYPE_ERROR = 0x10,
    OS_LOG_TYPE_FAULT = 0x11
} os_log_type_t;

os_log_t os_log_create(const char* subsystem, const char* category); // create; never NULL; constant strings
bool os_log_type_enabled(os_log_t oslog, os_log_type_t type);

// Called by the macro below. `buf` is the buffer that the compiler has laid out.
extern char __dso_handle;
void _os_log_impl(void* dso, os_log_t log, os_log_type_t type, const char* format, uint8_t* buf, uint32_t size);

} // extern "C"

// `format` must be a literal. Evaluates `log` and `type` once. As on the platform, the compiler checks the format and
// lays out the arguments.
#define os_log_with_type(log, type, format, ...)                                                                       \
    __extension__({                                                                                                    \
        os_log_t _log_tmp = (log);                                                                                     \
        os_log_type_t _type_tmp = (type);                                                                              \
        static const char _format_tmp[] = format;                                                                      \
        if (os_log_type_enabled(_log_tmp, _type_tmp)) {                                                                \
            uint8_t _buffer_tmp[__builtin_os_log_format_buffer_size(format, ##__VA_ARGS__)];                           \
            __builtin_os_log_format(_buffer_tmp, format, ##__VA_ARGS__);                                               \
            _os_log_impl(&__dso_handle, _log_tmp, _type_tmp, _format_tmp, _buffer_tmp, sizeof _buffer_tmp);            \
        }                                                                                                              \
    })
