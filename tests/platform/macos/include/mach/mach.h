#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef int kern_return_t;        // V xnu, osfmk/mach/arm/kern_return.h
typedef unsigned int mach_port_t; // V xnu, iokit/IOKit/IOTypes.h
typedef mach_port_t task_port_t;  // V xnu, iokit/IOKit/IOTypes.h
typedef unsigned int natural_t;   // V xnu, iokit/IOKit/IOTypes.h

#define KERN_SUCCESS 0   // V xnu, osfmk/mach/kern_return.h
#define MACH_PORT_NULL 0 // V xnu, osfmk/mach/port.h

extern mach_port_t mach_task_self_;
#define mach_task_self() mach_task_self_ // V: a macro over the variable; not to be released

#ifdef __cplusplus
}
#endif
