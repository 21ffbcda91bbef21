#pragma once

#include <stddef.h>
#include <sys/cdefs.h>

#define EXIT_FAILURE 1
#define EXIT_SUCCESS 0
#define RAND_MAX 0x7fffffff

typedef struct {
    int quot;
    int rem;
} div_t;
typedef struct {
    long quot;
    long rem;
} ldiv_t;
typedef struct {
    long long quot;
    long long rem;
} lldiv_t;

__BEGIN_DECLS
extern int __mb_cur_max;
#define MB_CUR_MAX __mb_cur_max

__attribute__((noreturn)) void _Exit(int status);
__attribute__((noreturn)) void abort(void);
int abs(int number);
void* aligned_alloc(size_t alignment, size_t size);
int atexit(void (*function)(void));
double atof(const char* text);
int atoi(const char* text);
long atol(const char* text);
long long atoll(const char* text);
void* bsearch(const void* key, const void* base, size_t count, size_t size, int (*compare)(const void*, const void*));
void* calloc(size_t count, size_t size);
div_t div(int numerator, int denominator);
__attribute__((noreturn)) void exit(int status);
void free(void* memory);
char* getenv(const char* name);
long labs(long number);
ldiv_t ldiv(long numerator, long denominator);
long long llabs(long long number);
lldiv_t lldiv(long long numerator, long long denominator);
void* malloc(size_t size);
int mblen(const char* text, size_t size);
size_t mbstowcs(wchar_t* to, const char* from, size_t size);
int mbtowc(wchar_t* to, const char* from, size_t size);
char* mkdtemp(char* name);
int mkstemp(char* name);
int posix_memalign(void** memory, size_t alignment, size_t size);
int grantpt(int descriptor);
int posix_openpt(int flags);
char* ptsname(int descriptor);
void qsort(void* base, size_t count, size_t size, int (*compare)(const void*, const void*));
int rand(void);
void* realloc(void* memory, size_t size);
int setenv(const char* name, const char* value, int overwrite);
void srand(unsigned seed);
double strtod(const char* text, char** end);
float strtof(const char* text, char** end);
long strtol(const char* text, char** end, int base);
long double strtold(const char* text, char** end);
long long strtoll(const char* text, char** end, int base);
unsigned long strtoul(const char* text, char** end, int base);
unsigned long long strtoull(const char* text, char** end, int base);
int system(const char* command);
int unlockpt(int descriptor);
int unsetenv(const char* name);
size_t wcstombs(char* to, const wchar_t* from, size_t size);
int wctomb(char* to, wchar_t from);
__END_DECLS
