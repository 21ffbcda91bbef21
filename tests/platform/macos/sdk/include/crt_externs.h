#pragma once

#include <sys/cdefs.h>

__BEGIN_DECLS
extern int* _NSGetArgc(void);
extern char*** _NSGetArgv(void);
extern char*** _NSGetEnviron(void);
__END_DECLS
