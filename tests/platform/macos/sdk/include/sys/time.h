#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>
#include <time.h>

struct timeval {
    time_t tv_sec;
    suseconds_t tv_usec;
};

struct itimerval {
    struct timeval it_interval;
    struct timeval it_value;
};

#define ITIMER_REAL 0

__BEGIN_DECLS
int gettimeofday(struct timeval* time, void* zone);
int setitimer(int which, const struct itimerval* value, struct itimerval* old);
__END_DECLS
