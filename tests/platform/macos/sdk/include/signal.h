#pragma once

#include <pthread.h>
#include <sys/cdefs.h>
#include <sys/types.h>

#define SIGHUP 1
#define SIGINT 2
#define SIGQUIT 3
#define SIGILL 4
#define SIGABRT 6
#define SIGFPE 8
#define SIGKILL 9
#define SIGSEGV 11
#define SIGPIPE 13
#define SIGALRM 14
#define SIGTERM 15
#define SIGSTOP 17
#define SIGTSTP 18
#define SIGCONT 19
#define SIGCHLD 20
#define SIGTTIN 21
#define SIGTTOU 22
#define SIGXCPU 24
#define SIGXFSZ 25
#define SIGWINCH 28
#define SIGUSR1 30
#define SIGUSR2 31

#define SIG_DFL ((void (*)(int))0)
#define SIG_IGN ((void (*)(int))1)
#define SIG_ERR ((void (*)(int)) - 1)
#define SIG_BLOCK 1
#define SIG_UNBLOCK 2
#define SIG_SETMASK 3
#define SA_RESTART 0x0002
#define SA_SIGINFO 0x0040

typedef int sig_atomic_t;
typedef uint32_t sigset_t;

union sigval {
    int sival_int;
    void* sival_ptr;
};
typedef struct __siginfo {
    int si_signo;
    int si_errno;
    int si_code;
    pid_t si_pid;
    uid_t si_uid;
    int si_status;
    void* si_addr;
    union sigval si_value;
    long si_band;
    unsigned long __pad[7];
} siginfo_t;
struct sigaction {
    union {
        void (*__sa_handler)(int);
        void (*__sa_sigaction)(int, siginfo_t*, void*);
    } __sigaction_u;
    sigset_t sa_mask;
    int sa_flags;
};
#define sa_handler __sigaction_u.__sa_handler
#define sa_sigaction __sigaction_u.__sa_sigaction

__BEGIN_DECLS
int kill(pid_t process, int signal);
int raise(int signal);
int sigaction(int signal, const struct sigaction* action, struct sigaction* old);
int sigaddset(sigset_t* set, int signal);
int sigemptyset(sigset_t* set);
int sigfillset(sigset_t* set);
int sigprocmask(int how, const sigset_t* set, sigset_t* old);
void (*signal(int signal, void (*handler)(int)))(int);
__END_DECLS
