#pragma once

#include <stddef.h>
#include <sys/cdefs.h>

__BEGIN_DECLS
int strcasecmp(const char* a, const char* b);
int strncasecmp(const char* a, const char* b, size_t size);
__END_DECLS
