#pragma once

#include <sys/cdefs.h>

#define NCCS 20
#define VMIN 16
#define VTIME 17
#define IXON 0x00000200
#define OPOST 0x00000001
#define ECHO 0x00000008
#define ICANON 0x00000100
#define NOFLSH 0x80000000
#define TCIFLUSH 1
#define TCSANOW 0
#define TCSADRAIN 1
#define TCSAFLUSH 2

typedef unsigned char cc_t;
typedef unsigned long speed_t;
typedef unsigned long tcflag_t;
struct termios {
    tcflag_t c_iflag;
    tcflag_t c_oflag;
    tcflag_t c_cflag;
    tcflag_t c_lflag;
    cc_t c_cc[NCCS];
    speed_t c_ispeed;
    speed_t c_ospeed;
};

__BEGIN_DECLS
int tcflush(int descriptor, int queue);
int tcgetattr(int descriptor, struct termios* settings);
int tcsetattr(int descriptor, int when, const struct termios* settings);
__END_DECLS
