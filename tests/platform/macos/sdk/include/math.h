#pragma once

#include <sys/cdefs.h>

typedef float float_t;
typedef double double_t;

#define HUGE_VAL __builtin_huge_val()
#define HUGE_VALF __builtin_huge_valf()
#define HUGE_VALL __builtin_huge_vall()
#define INFINITY HUGE_VALF
#define NAN __builtin_nanf("")

#define FP_NAN 1
#define FP_INFINITE 2
#define FP_ZERO 3
#define FP_NORMAL 4
#define FP_SUBNORMAL 5
#define FP_ILOGB0 (-2147483647 - 1)
#define FP_ILOGBNAN (-2147483647 - 1)
#define MATH_ERRNO 1
#define MATH_ERREXCEPT 2
#define math_errhandling MATH_ERREXCEPT

#define fpclassify(x) __builtin_fpclassify(FP_NAN, FP_INFINITE, FP_NORMAL, FP_SUBNORMAL, FP_ZERO, x)
#define isfinite(x) __builtin_isfinite(x)
#define isinf(x) __builtin_isinf(x)
#define isnan(x) __builtin_isnan(x)
#define isnormal(x) __builtin_isnormal(x)
#define signbit(x) __builtin_signbit(x)
#define isgreater(x, y) __builtin_isgreater(x, y)
#define isgreaterequal(x, y) __builtin_isgreaterequal(x, y)
#define isless(x, y) __builtin_isless(x, y)
#define islessequal(x, y) __builtin_islessequal(x, y)
#define islessgreater(x, y) __builtin_islessgreater(x, y)
#define isunordered(x, y) __builtin_isunordered(x, y)

// Declares each function for double, float and long double.
#define KELO_OF_ONE(name) KELO_OF_ONE_TO(name, double, float, long double)
#define KELO_OF_ONE_TO(name, result, resultf, resultl)                                                                 \
    result name(double x);                                                                                             \
    resultf name##f(float x);                                                                                          \
    resultl name##l(long double x)
#define KELO_OF_TWO(name)                                                                                              \
    double name(double x, double y);                                                                                   \
    float name##f(float x, float y);                                                                                   \
    long double name##l(long double x, long double y)
#define KELO_AND(name, second)                                                                                         \
    double name(double x, second y);                                                                                   \
    float name##f(float x, second y);                                                                                  \
    long double name##l(long double x, second y)

__BEGIN_DECLS
KELO_OF_ONE(acos);
KELO_OF_ONE(acosh);
KELO_OF_ONE(asin);
KELO_OF_ONE(asinh);
KELO_OF_ONE(atan);
KELO_OF_ONE(atanh);
KELO_OF_ONE(cbrt);
KELO_OF_ONE(ceil);
KELO_OF_ONE(cos);
KELO_OF_ONE(cosh);
KELO_OF_ONE(erf);
KELO_OF_ONE(erfc);
KELO_OF_ONE(exp);
KELO_OF_ONE(exp2);
KELO_OF_ONE(expm1);
KELO_OF_ONE(fabs);
KELO_OF_ONE(floor);
KELO_OF_ONE(lgamma);
KELO_OF_ONE(log);
KELO_OF_ONE(log10);
KELO_OF_ONE(log1p);
KELO_OF_ONE(log2);
KELO_OF_ONE(logb);
KELO_OF_ONE(nearbyint);
KELO_OF_ONE(rint);
KELO_OF_ONE(round);
KELO_OF_ONE(sin);
KELO_OF_ONE(sinh);
KELO_OF_ONE(sqrt);
KELO_OF_ONE(tan);
KELO_OF_ONE(tanh);
KELO_OF_ONE(tgamma);
KELO_OF_ONE(trunc);
KELO_OF_ONE_TO(ilogb, int, int, int);
KELO_OF_ONE_TO(llrint, long long, long long, long long);
KELO_OF_ONE_TO(llround, long long, long long, long long);
KELO_OF_ONE_TO(lrint, long, long, long);
KELO_OF_ONE_TO(lround, long, long, long);
KELO_OF_TWO(atan2);
KELO_OF_TWO(copysign);
KELO_OF_TWO(fdim);
KELO_OF_TWO(fmax);
KELO_OF_TWO(fmin);
KELO_OF_TWO(fmod);
KELO_OF_TWO(hypot);
KELO_OF_TWO(nextafter);
KELO_OF_TWO(pow);
KELO_OF_TWO(remainder);
KELO_AND(frexp, int*);
KELO_AND(ldexp, int);
KELO_AND(nexttoward, long double);
KELO_AND(scalbln, long);
KELO_AND(scalbn, int);
double fma(double x, double y, double z);
float fmaf(float x, float y, float z);
long double fmal(long double x, long double y, long double z);
double modf(double x, double* whole);
float modff(float x, float* whole);
long double modfl(long double x, long double* whole);
double nan(const char* tag);
float nanf(const char* tag);
long double nanl(const char* tag);
double remquo(double x, double y, int* quotient);
float remquof(float x, float y, int* quotient);
long double remquol(long double x, long double y, int* quotient);
__END_DECLS
