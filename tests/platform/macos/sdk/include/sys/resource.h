#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>

#define RLIMIT_FSIZE 1
#define RLIMIT_CORE 4
#define RLIMIT_NOFILE 8

typedef uint64_t rlim_t;
struct rlimit {
    rlim_t rlim_cur;
    rlim_t rlim_max;
};

__BEGIN_DECLS
int getrlimit(int resource, struct rlimit* limit);
int setrlimit(int resource, const struct rlimit* limit);
__END_DECLS
