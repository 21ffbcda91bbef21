#pragma once

#include <mach/mach.h>
#include <stdint.h>
#include <sys/cdefs.h>

typedef uintptr_t vm_address_t;
typedef uintptr_t vm_size_t;

__BEGIN_DECLS
kern_return_t vm_deallocate(mach_port_t task, vm_address_t address, vm_size_t size);
__END_DECLS
