#pragma once

#include <sched.h>
#include <sys/types.h>
#include <time.h>

typedef struct {
    long __sig;
    char __opaque[8176];
} * pthread_t;
typedef struct {
    long __sig;
    char __opaque[56];
} pthread_attr_t;
typedef struct {
    long __sig;
    char __opaque[40];
} pthread_cond_t;
typedef struct {
    long __sig;
    char __opaque[8];
} pthread_condattr_t, pthread_mutexattr_t;
typedef struct {
    long __sig;
    char __opaque[56];
} pthread_mutex_t;
typedef struct {
    long __sig;
    char __opaque[8];
} pthread_once_t;
typedef unsigned long pthread_key_t;

#define PTHREAD_COND_INITIALIZER                                                                                       \
    {                                                                                                                  \
        0x3CB0B1BB, { 0 }                                                                                              \
    }
#define PTHREAD_MUTEX_INITIALIZER                                                                                      \
    {                                                                                                                  \
        0x32AAABA7, { 0 }                                                                                              \
    }
#define PTHREAD_ONCE_INIT                                                                                              \
    {                                                                                                                  \
        0x30B1BCBA, { 0 }                                                                                              \
    }
#define PTHREAD_MUTEX_RECURSIVE 2

__BEGIN_DECLS
int pthread_cond_broadcast(pthread_cond_t* condition);
int pthread_cond_destroy(pthread_cond_t* condition);
int pthread_cond_signal(pthread_cond_t* condition);
int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const struct timespec* end);
int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument);
int pthread_detach(pthread_t thread);
int pthread_equal(pthread_t a, pthread_t b);
void* pthread_getspecific(pthread_key_t key);
int pthread_join(pthread_t thread, void** result);
int pthread_key_create(pthread_key_t* key, void (*destructor)(void*));
int pthread_key_delete(pthread_key_t key);
int pthread_kill(pthread_t thread, int signal);
int pthread_mutex_destroy(pthread_mutex_t* mutex);
int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
int pthread_mutex_lock(pthread_mutex_t* mutex);
int pthread_mutex_trylock(pthread_mutex_t* mutex);
int pthread_mutex_unlock(pthread_mutex_t* mutex);
int pthread_mutexattr_destroy(pthread_mutexattr_t* attributes);
int pthread_mutexattr_init(pthread_mutexattr_t* attributes);
int pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type);
int pthread_once(pthread_once_t* once, void (*routine)(void));
pthread_t pthread_self(void);
int pthread_setspecific(pthread_key_t key, const void* value);
int pthread_sigmask(int how, const unsigned int* set, unsigned int* old);
__END_DECLS
