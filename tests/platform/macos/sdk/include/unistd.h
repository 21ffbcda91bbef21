#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>

#define STDIN_FILENO 0
#define STDOUT_FILENO 1
#define STDERR_FILENO 2
#define F_OK 0
#define X_OK 1
#define W_OK 2
#define R_OK 4
#define SEEK_SET 0
#define SEEK_CUR 1
#define SEEK_END 2
#define _SC_OPEN_MAX 5

__BEGIN_DECLS
pid_t getpgrp(void);
pid_t tcgetpgrp(int descriptor);
__attribute__((noreturn)) void _exit(int status);
int access(const char* path, int mode);
unsigned int alarm(unsigned int seconds);
int chdir(const char* path);
int chmod(const char* path, mode_t mode);
int close(int descriptor);
int dup(int descriptor);
int dup2(int from, int to);
int execv(const char* path, char* const* arguments);
int execvp(const char* file, char* const* arguments);
pid_t fork(void);
int ftruncate(int descriptor, off_t size);
char* getcwd(char* buffer, size_t size);
gid_t getegid(void);
uid_t geteuid(void);
pid_t getpid(void);
pid_t getppid(void);
uid_t getuid(void);
int isatty(int descriptor);
int link(const char* from, const char* to);
off_t lseek(int descriptor, off_t offset, int origin);
int pause(void);
int pipe(int descriptors[2]);
ssize_t read(int descriptor, void* buffer, size_t size);
ssize_t readlink(const char* path, char* buffer, size_t size);
int rmdir(const char* path);
unsigned int sleep(unsigned int seconds);
int symlink(const char* from, const char* to);
long sysconf(int name);
char* ttyname(int descriptor);
int ttyname_r(int descriptor, char* buffer, size_t size);
int unlink(const char* path);
int usleep(useconds_t microseconds);
ssize_t write(int descriptor, const void* buffer, size_t size);
__END_DECLS
