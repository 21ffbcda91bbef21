#pragma once

#include <stdint.h>
#include <sys/cdefs.h>

typedef struct {
    intmax_t quot;
    intmax_t rem;
} imaxdiv_t;

__BEGIN_DECLS
intmax_t imaxabs(intmax_t number);
imaxdiv_t imaxdiv(intmax_t numerator, intmax_t denominator);
intmax_t strtoimax(const char* text, char** end, int base);
uintmax_t strtoumax(const char* text, char** end, int base);
intmax_t wcstoimax(const wchar_t* text, wchar_t** end, int base);
uintmax_t wcstoumax(const wchar_t* text, wchar_t** end, int base);
__END_DECLS
