/* Puts the double into a program that has a camera of its own: where it opens files, and where
 * the library of cameras calls the system. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdarg.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

int __wrap_open(const char* path, int flags, ...);
int __wrap_ioctl(int descriptor, unsigned long request, ...);
int __real_open(const char* path, int flags, ...);
int __real_ioctl(int descriptor, unsigned long request, ...);

enum { FRAME_TIME_MICROSECONDS = 10000 };

typedef int Open(const char*, int, ...);
typedef long SystemCall(long, ...);

/* The next definition behind this one, into a pointer to a function. */
static void find(const char* name, void* pointer) {
    void* const found = dlsym(RTLD_NEXT, name);
    memcpy(pointer, &found, sizeof found);
}

static long callSystem(long number, long a, long b, long c, long d, long e, long f) {
    SystemCall* next = NULL;
    find("syscall", &next);
    return next(number, a, b, c, d, e, f);
}

int __real_open(const char* path, int flags, ...) {
    Open* next = NULL;
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    find("open", &next);
    return next(path, flags, mode);
}

int __real_ioctl(int descriptor, unsigned long request, ...) {
    va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    return (int)callSystem(SYS_ioctl, descriptor, (long)request, (long)argument, 0, 0, 0);
}

int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return __wrap_open(path, flags, mode);
}

/* What a program calls that has file offsets of 64 bits. */
int open64(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return __wrap_open(path, flags, mode);
}

/* What is behind the double is always ready to be read: a frame that is not there takes its time. */
static int control(int descriptor, unsigned long request, void* argument) {
    const int result = __wrap_ioctl(descriptor, request, argument);
    const int reason = errno;
    if (result != 0 && reason == EAGAIN)
        usleep(FRAME_TIME_MICROSECONDS);
    errno = reason;
    return result;
}

long syscall(long number, ...) {
    long words[6];
    va_list rest;
    va_start(rest, number);
    for (int i = 0; i < 6; i++)
        words[i] = va_arg(rest, long);
    va_end(rest);
    if (number == SYS_ioctl)
        return control((int)words[0], (unsigned long)words[1], (void*)words[2]);
    return callSystem(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}
