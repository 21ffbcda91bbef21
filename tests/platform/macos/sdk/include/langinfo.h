#pragma once

#include <nl_types.h>
#include <sys/cdefs.h>

#define CODESET 0

__BEGIN_DECLS
char* nl_langinfo(nl_item item);
__END_DECLS
