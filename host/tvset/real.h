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
size_t __real_fread(void* buffer, size_t size, size_t count, FILE* file);
int __real_fseek(FILE* file, long offset, int origin);
size_t __real_fwrite(const void* buffer, size_t size, size_t count, FILE* file);
int __real_nanosleep(const timespec* duration, timespec* remaining);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int fd, void* buffer, size_t size);
int __real_remove(const char* path);
ssize_t __real_write(int fd, const void* buffer, size_t size);

}  // extern "C"
