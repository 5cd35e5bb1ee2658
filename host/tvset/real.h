#pragma once

#include <sys/types.h>
#include <time.h>

#include <cstdio>

/*
 * The C library's own functions, past the seam. Code of the set that is linked into a service
 * uses these for its own files and waits: a plain call would come back through the seam, be
 * redirected and fail by injection. What the C++ library does inside never meets the seam.
 */
extern "C" {

int __real_access(const char* path, int mode);
FILE* __real_fopen(const char* path, const char* mode);
int __real_nanosleep(const timespec* duration, timespec* remaining);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __real_write(int fd, const void* buffer, size_t size);

}  // extern "C"
