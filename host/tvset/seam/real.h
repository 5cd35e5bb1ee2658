#pragma once

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <sys/types.h>
#include <time.h>

#include <cstdio>

/*
 * The C library's functions, without the seam. The set's code that is linked into a service uses
 * them for its own files and waits: a plain call would go through the seam, which redirects paths
 * and injects faults. Calls inside the C++ library never go through the seam.
 */
extern "C" {

int __real_access(const char* path, int mode);
int __real_epoll_create(int size);
int __real_epoll_ctl(int epoll, int operation, int fd, epoll_event* event);
int __real_epoll_wait(int epoll, epoll_event* events, int maxEvents, int timeoutMs);
int __real_fclose(FILE* file);
FILE* __real_fopen(const char* path, const char* mode);
size_t __real_fread(void* buffer, size_t size, size_t count, FILE* file);
int __real_fseek(FILE* file, long offset, int origin);
size_t __real_fwrite(const void* buffer, size_t size, size_t count, FILE* file);
int __real_ioctl(int fd, unsigned long request, ...);
int __real_nanosleep(const timespec* duration, timespec* remaining);
int __real_open(const char* path, int flags, ...);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument);
ssize_t __real_read(int fd, void* buffer, size_t size);
int __real_remove(const char* path);
int __real_timerfd_create(int clock, int flags);
int __real_timerfd_settime(int timer, int flags, const itimerspec* value, itimerspec* old);
ssize_t __real_write(int fd, const void* buffer, size_t size);

}  // extern "C"
