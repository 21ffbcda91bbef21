#pragma once

#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>
#include <wctype.h>

typedef struct _xlocale* locale_t;
#define LC_GLOBAL_LOCALE ((locale_t)-1)
#define LC_C_LOCALE ((locale_t)0)
#define LC_COLLATE_MASK (1 << 0)
#define LC_CTYPE_MASK (1 << 1)
#define LC_MESSAGES_MASK (1 << 2)
#define LC_MONETARY_MASK (1 << 3)
#define LC_NUMERIC_MASK (1 << 4)
#define LC_TIME_MASK (1 << 5)

__BEGIN_DECLS
int asprintf_l(char** buffer, locale_t locale, const char* format, ...) KELO_FORMAT(3, 4);
wint_t btowc_l(int c, locale_t locale);
int isdigit_l(int c, locale_t locale);
int islower_l(int c, locale_t locale);
int isupper_l(int c, locale_t locale);
int iswalpha_l(wint_t c, locale_t locale);
int isxdigit_l(int c, locale_t locale);
struct lconv* localeconv_l(locale_t locale);
size_t mbrtowc_l(wchar_t* to, const char* from, size_t size, mbstate_t* state, locale_t locale);
size_t mbsrtowcs_l(wchar_t* to, const char** from, size_t size, mbstate_t* state, locale_t locale);
int snprintf_l(char* buffer, size_t size, locale_t locale, const char* format, ...) KELO_FORMAT(4, 5);
int sscanf_l(const char* text, locale_t locale, const char* format, ...) KELO_SCAN(3, 4);
double strtod_l(const char* text, char** end, locale_t locale);
float strtof_l(const char* text, char** end, locale_t locale);
long double strtold_l(const char* text, char** end, locale_t locale);
long long strtoll_l(const char* text, char** end, int base, locale_t locale);
unsigned long long strtoull_l(const char* text, char** end, int base, locale_t locale);
__END_DECLS
