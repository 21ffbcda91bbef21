#pragma once

#include <stddef.h>
#include <sys/cdefs.h>
#include <sys/types.h>

#define CLOCKS_PER_SEC 1000000
#define TIME_UTC 1

typedef enum {
    CLOCK_REALTIME = 0,
    CLOCK_MONOTONIC = 6,
    CLOCK_MONOTONIC_RAW = 4,
    CLOCK_MONOTONIC_RAW_APPROX = 5,
    CLOCK_UPTIME_RAW = 8,
    CLOCK_UPTIME_RAW_APPROX = 9,
    CLOCK_PROCESS_CPUTIME_ID = 12,
    CLOCK_THREAD_CPUTIME_ID = 16
} clockid_t;

struct timespec {
    time_t tv_sec;
    long tv_nsec;
};
struct tm {
    int tm_sec;
    int tm_min;
    int tm_hour;
    int tm_mday;
    int tm_mon;
    int tm_year;
    int tm_wday;
    int tm_yday;
    int tm_isdst;
    long tm_gmtoff;
    char* tm_zone;
};

__BEGIN_DECLS
char* asctime(const struct tm* time);
clock_t clock(void);
int clock_gettime(clockid_t clock, struct timespec* time);
char* ctime(const time_t* time);
double difftime(time_t end, time_t start);
struct tm* gmtime(const time_t* time);
struct tm* gmtime_r(const time_t* time, struct tm* parts);
struct tm* localtime(const time_t* time);
struct tm* localtime_r(const time_t* time, struct tm* parts);
time_t mktime(struct tm* parts);
int nanosleep(const struct timespec* length, struct timespec* left);
size_t strftime(char* buffer, size_t size, const char* format, const struct tm* parts);
time_t time(time_t* now);
int timespec_get(struct timespec* time, int base);
__END_DECLS
