#pragma once

#define PATH_MAX 1024
#define PIPE_BUF 512
#define _POSIX_PIPE_BUF 512
#define OPEN_MAX 10240
