#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>

#define PROT_READ 0x01
#define PROT_WRITE 0x02
#define MAP_PRIVATE 0x0002
#define MAP_ANON 0x1000
#define MAP_FAILED ((void*)-1)

__BEGIN_DECLS
void* mmap(void* address, size_t size, int protection, int flags, int descriptor, off_t offset);
int munmap(void* address, size_t size);
__END_DECLS
