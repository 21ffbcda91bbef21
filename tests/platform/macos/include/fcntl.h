#pragma once

#include_next <fcntl.h>

#ifndef O_EVTONLY
#define O_EVTONLY 0x8000 // V xnu, bsd/sys/fcntl.h
#endif
