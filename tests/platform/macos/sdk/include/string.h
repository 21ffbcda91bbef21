#pragma once

#include <stddef.h>
#include <strings.h>
#include <sys/cdefs.h>

__BEGIN_DECLS
void* memchr(const void* memory, int c, size_t size);
int memcmp(const void* a, const void* b, size_t size);
void* memcpy(void* to, const void* from, size_t size);
void* memmove(void* to, const void* from, size_t size);
void* memset(void* memory, int c, size_t size);
char* strcat(char* to, const char* from);
char* strchr(const char* text, int c);
int strcmp(const char* a, const char* b);
int strcoll(const char* a, const char* b);
char* strcpy(char* to, const char* from);
size_t strcspn(const char* text, const char* characters);
char* strdup(const char* text);
char* strerror(int error);
int strerror_r(int error, char* buffer, size_t size);
size_t strlen(const char* text);
char* strncat(char* to, const char* from, size_t size);
int strncmp(const char* a, const char* b, size_t size);
char* strncpy(char* to, const char* from, size_t size);
char* strpbrk(const char* text, const char* characters);
char* strrchr(const char* text, int c);
char* strsignal(int signal);
size_t strspn(const char* text, const char* characters);
char* strstr(const char* text, const char* part);
char* strtok(char* text, const char* separators);
size_t strxfrm(char* to, const char* from, size_t size);
__END_DECLS
