#pragma once

#include <mach/mach.h>
#include <sys/cdefs.h>

typedef task_port_t task_t;
typedef mach_port_t thread_t;
typedef thread_t* thread_act_array_t;
typedef natural_t mach_msg_type_number_t;

__BEGIN_DECLS
kern_return_t task_threads(task_t task, thread_act_array_t* threads, mach_msg_type_number_t* count);
__END_DECLS
