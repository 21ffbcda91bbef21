#pragma once

#include <signal.h>
#include <sys/cdefs.h>
#include <sys/types.h>

#define WNOHANG 1
#define WIFEXITED(status) (((status)&0177) == 0)
#define WEXITSTATUS(status) (((status) >> 8) & 0xff)
#define WIFSIGNALED(status) (((status)&0177) != 0177 && ((status)&0177) != 0)
#define WTERMSIG(status) ((status)&0177)

__BEGIN_DECLS
pid_t wait(int* status);
pid_t waitpid(pid_t process, int* status, int options);
__END_DECLS
