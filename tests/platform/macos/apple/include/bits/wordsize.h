#pragma once

// In place of the C library's own, which knows only the processors that it was installed for. Every Mac has 64 bits.
#define __WORDSIZE 64
#define __WORDSIZE_TIME64_COMPAT32 1
#define __SYSCALL_WORDSIZE 64
