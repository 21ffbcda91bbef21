#pragma once

// Source: V (xnu, libsyscall/wrappers/libproc/libproc.{h,c}, bsd/sys/proc_info.h).

#include <stdint.h>

#define MAXPATHLEN 1024
#define PROC_PIDPATHINFO_MAXSIZE (4 * MAXPATHLEN)

#ifdef __cplusplus
extern "C" {
#endif

// Returns the length without the NUL, or 0 on failure. `buffersize` must be 1024 to PROC_PIDPATHINFO_MAXSIZE.
int proc_pidpath(int pid, void* buffer, uint32_t buffersize);

#ifdef __cplusplus
}
#endif
