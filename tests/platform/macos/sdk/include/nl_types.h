#pragma once

#include <sys/cdefs.h>

typedef struct __nl_cat_d* nl_catd;
typedef int nl_item;
#define NL_CAT_LOCALE 1

__BEGIN_DECLS
nl_catd catopen(const char* name, int flag);
char* catgets(nl_catd catalogue, int set, int message, const char* text);
int catclose(nl_catd catalogue);
__END_DECLS
