// This header may be included several times, with and without NDEBUG.
#undef assert
#ifdef NDEBUG
#define assert(condition) ((void)0)
#else
#include <sys/cdefs.h>
__BEGIN_DECLS
__attribute__((noreturn)) void __assert_rtn(const char* function, const char* file, int line, const char* condition);
__END_DECLS
#define assert(condition) ((condition) ? (void)0 : __assert_rtn(__func__, __FILE__, __LINE__, #condition))
#endif
