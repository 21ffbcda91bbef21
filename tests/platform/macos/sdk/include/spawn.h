#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>

typedef void* posix_spawn_file_actions_t;
typedef void* posix_spawnattr_t;

__BEGIN_DECLS
int posix_spawnp(pid_t* process, const char* file, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]);
int posix_spawn_file_actions_init(posix_spawn_file_actions_t* actions);
int posix_spawn_file_actions_destroy(posix_spawn_file_actions_t* actions);
int posix_spawn_file_actions_addclose(posix_spawn_file_actions_t* actions, int descriptor);
int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int descriptor, int as);
int posix_spawn_file_actions_addopen(posix_spawn_file_actions_t* actions, int descriptor, const char* path, int flags,
                                     mode_t mode);
__END_DECLS
