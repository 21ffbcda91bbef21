#pragma once

// V xnu, libsyscall/wrappers/libproc/libproc.{h,c}, bsd/sys/proc_info.h

#include <stdint.h>

#define MAXPATHLEN 1024
#define PROC_PIDPATHINFO_MAXSIZE (4 * MAXPATHLEN)

#ifdef __cplusplus
extern "C" {
#endif

// returns the length without the NUL, 0 on failure; the size is 1024 to PROC_PIDPATHINFO_MAXSIZE bytes
int proc_pidpath(int pid, void* buffer, uint32_t buffersize);

#ifdef __cplusplus
}
#endif
