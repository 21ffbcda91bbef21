#pragma once

#include <sys/cdefs.h>

#define TIOCGWINSZ 0x40087468UL

struct winsize {
    unsigned short ws_row;
    unsigned short ws_col;
    unsigned short ws_xpixel;
    unsigned short ws_ypixel;
};

__BEGIN_DECLS
int ioctl(int descriptor, unsigned long request, ...);
__END_DECLS
