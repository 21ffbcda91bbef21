#pragma once

#include <sys/cdefs.h>

__BEGIN_DECLS
extern void* _Block_copy(const void* block);
extern void _Block_release(const void* block);
__END_DECLS
#define Block_copy(block) ((__typeof(block))_Block_copy((const void*)(block)))
#define Block_release(block) _Block_release((const void*)(block))
