#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>

#define REG_EXTENDED 0001

typedef off_t regoff_t;
typedef struct {
    int re_magic;
    size_t re_nsub;
    const char* re_endp;
    struct re_guts* re_g;
} regex_t;
typedef struct {
    regoff_t rm_so;
    regoff_t rm_eo;
} regmatch_t;

__BEGIN_DECLS
int regcomp(regex_t* expression, const char* pattern, int flags);
int regexec(const regex_t* expression, const char* text, size_t count, regmatch_t matches[], int flags);
void regfree(regex_t* expression);
__END_DECLS
