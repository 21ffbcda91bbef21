#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>
#include <time.h>

#define S_IFMT 0170000
#define S_IFIFO 0010000
#define S_IFCHR 0020000
#define S_IFDIR 0040000
#define S_IFBLK 0060000
#define S_IFREG 0100000
#define S_IFLNK 0120000
#define S_IFSOCK 0140000
#define S_ISBLK(mode) (((mode)&S_IFMT) == S_IFBLK)
#define S_ISCHR(mode) (((mode)&S_IFMT) == S_IFCHR)
#define S_ISDIR(mode) (((mode)&S_IFMT) == S_IFDIR)
#define S_ISFIFO(mode) (((mode)&S_IFMT) == S_IFIFO)
#define S_ISREG(mode) (((mode)&S_IFMT) == S_IFREG)
#define S_ISLNK(mode) (((mode)&S_IFMT) == S_IFLNK)
#define S_ISSOCK(mode) (((mode)&S_IFMT) == S_IFSOCK)
#define S_IRWXU 0000700
#define S_IRUSR 0000400
#define S_IWUSR 0000200
#define S_IXUSR 0000100
#define S_IWGRP 0000020
#define S_IWOTH 0000002

struct stat {
    dev_t st_dev;
    mode_t st_mode;
    nlink_t st_nlink;
    ino_t st_ino;
    uid_t st_uid;
    gid_t st_gid;
    dev_t st_rdev;
    struct timespec st_atimespec;
    struct timespec st_mtimespec;
    struct timespec st_ctimespec;
    struct timespec st_birthtimespec;
    off_t st_size;
    blkcnt_t st_blocks;
    blksize_t st_blksize;
    uint32_t st_flags;
    uint32_t st_gen;
    int32_t st_lspare;
    int64_t st_qspare[2];
};

// Omits the suffix "$INODE64" that these symbols have on Intel processors.
__BEGIN_DECLS
int chmod(const char* path, mode_t mode);
int fstat(int descriptor, struct stat* status);
int lstat(const char* path, struct stat* status);
int mkdir(const char* path, mode_t mode);
int mkfifo(const char* path, mode_t mode);
int stat(const char* path, struct stat* status);
mode_t umask(mode_t mask);
__END_DECLS
