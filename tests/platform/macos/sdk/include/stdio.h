#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <sys/cdefs.h>
#include <sys/types.h>

typedef struct __sFILE FILE;
typedef off_t fpos_t;

#define BUFSIZ 1024
#define EOF (-1)
#define FILENAME_MAX 1024
#define FOPEN_MAX 20
#define L_tmpnam 1024
#define SEEK_SET 0
#define SEEK_CUR 1
#define SEEK_END 2
#define TMP_MAX 308915776
#define _IOFBF 0
#define _IOLBF 1
#define _IONBF 2

#define KELO_FORMAT(format, arguments) __attribute__((__format__(__printf__, format, arguments)))
#define KELO_SCAN(format, arguments) __attribute__((__format__(__scanf__, format, arguments)))

__BEGIN_DECLS
extern FILE* __stdinp;
extern FILE* __stdoutp;
extern FILE* __stderrp;
#define stdin __stdinp
#define stdout __stdoutp
#define stderr __stderrp

void clearerr(FILE* file);
int fclose(FILE* file);
FILE* fdopen(int descriptor, const char* mode);
int feof(FILE* file);
int ferror(FILE* file);
int fflush(FILE* file);
int fgetc(FILE* file);
int fgetpos(FILE* file, fpos_t* position);
char* fgets(char* buffer, int size, FILE* file);
int fileno(FILE* file);
FILE* fopen(const char* path, const char* mode);
int fprintf(FILE* file, const char* format, ...) KELO_FORMAT(2, 3);
int fputc(int c, FILE* file);
int fputs(const char* text, FILE* file);
size_t fread(void* buffer, size_t size, size_t count, FILE* file);
FILE* freopen(const char* path, const char* mode, FILE* file);
int fscanf(FILE* file, const char* format, ...) KELO_SCAN(2, 3);
int fseek(FILE* file, long offset, int origin);
int fseeko(FILE* file, off_t offset, int origin);
int fsetpos(FILE* file, const fpos_t* position);
long ftell(FILE* file);
off_t ftello(FILE* file);
size_t fwrite(const void* buffer, size_t size, size_t count, FILE* file);
int getc(FILE* file);
int getchar(void);
void perror(const char* text);
int printf(const char* format, ...) KELO_FORMAT(1, 2);
int putc(int c, FILE* file);
int putchar(int c);
int puts(const char* text);
int remove(const char* path);
int rename(const char* from, const char* to);
void rewind(FILE* file);
int scanf(const char* format, ...) KELO_SCAN(1, 2);
void setbuf(FILE* file, char* buffer);
int setvbuf(FILE* file, char* buffer, int mode, size_t size);
int snprintf(char* buffer, size_t size, const char* format, ...) KELO_FORMAT(3, 4);
int sprintf(char* buffer, const char* format, ...) KELO_FORMAT(2, 3);
int sscanf(const char* text, const char* format, ...) KELO_SCAN(2, 3);
FILE* tmpfile(void);
char* tmpnam(char* buffer);
int ungetc(int c, FILE* file);
int vfprintf(FILE* file, const char* format, va_list arguments) KELO_FORMAT(2, 0);
int vfscanf(FILE* file, const char* format, va_list arguments) KELO_SCAN(2, 0);
int vprintf(const char* format, va_list arguments) KELO_FORMAT(1, 0);
int vscanf(const char* format, va_list arguments) KELO_SCAN(1, 0);
int vsnprintf(char* buffer, size_t size, const char* format, va_list arguments) KELO_FORMAT(3, 0);
int vsprintf(char* buffer, const char* format, va_list arguments) KELO_FORMAT(2, 0);
int vsscanf(const char* text, const char* format, va_list arguments) KELO_SCAN(2, 0);
__END_DECLS
