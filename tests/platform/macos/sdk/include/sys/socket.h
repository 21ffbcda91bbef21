#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>

#define AF_UNIX 1
#define SOCK_STREAM 1
#define SOCK_DGRAM 2
#define SOL_SOCKET 0xffff
#define SO_SNDBUF 0x1001
#define SO_RCVBUF 0x1002
#define MSG_PEEK 0x2
#define MSG_DONTWAIT 0x80
#define SHUT_RD 0
#define SHUT_WR 1
#define SHUT_RDWR 2

typedef uint8_t sa_family_t;
struct sockaddr {
    uint8_t sa_len;
    sa_family_t sa_family;
    char sa_data[14];
};

__BEGIN_DECLS
ssize_t recv(int socket, void* buffer, size_t size, int flags);
ssize_t send(int socket, const void* buffer, size_t size, int flags);
int setsockopt(int socket, int level, int name, const void* value, socklen_t size);
int shutdown(int socket, int how);
int socketpair(int domain, int type, int protocol, int sockets[2]);
__END_DECLS
