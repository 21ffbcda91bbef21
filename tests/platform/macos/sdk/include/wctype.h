#pragma once

#include <ctype.h>
#include <wchar.h>

typedef uint32_t wctype_t;
typedef int wctrans_t;

__BEGIN_DECLS
int iswalnum(wint_t c);
int iswalpha(wint_t c);
int iswblank(wint_t c);
int iswcntrl(wint_t c);
int iswctype(wint_t c, wctype_t type);
int iswdigit(wint_t c);
int iswgraph(wint_t c);
int iswlower(wint_t c);
int iswprint(wint_t c);
int iswpunct(wint_t c);
int iswspace(wint_t c);
int iswupper(wint_t c);
int iswxdigit(wint_t c);
wint_t towctrans(wint_t c, wctrans_t mapping);
wint_t towlower(wint_t c);
wint_t towupper(wint_t c);
wctrans_t wctrans(const char* name);
wctype_t wctype(const char* name);
__END_DECLS
