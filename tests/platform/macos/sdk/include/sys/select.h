#pragma once

#include <sys/cdefs.h>
#include <sys/time.h>
#include <sys/types.h>

#define FD_SETSIZE 1024
typedef struct fd_set {
    int32_t fds_bits[FD_SETSIZE / 32];
} fd_set;
#define FD_ZERO(set) __builtin_memset(set, 0, sizeof(*(set)))
#define FD_SET(descriptor, set) ((set)->fds_bits[(descriptor) / 32] |= 1 << ((descriptor) % 32))
#define FD_ISSET(descriptor, set) (((set)->fds_bits[(descriptor) / 32] & (1 << ((descriptor) % 32))) != 0)

__BEGIN_DECLS
int pselect(int count, fd_set* reading, fd_set* writing, fd_set* failing, const struct timespec* timeout,
            const uint32_t* mask);
int select(int count, fd_set* reading, fd_set* writing, fd_set* failing, struct timeval* timeout);
__END_DECLS
