/* The board's log call. A board's own library defines it; the stand-in beside this header writes to
 * standard error. */
#ifndef BRAIRU_PLATFORM_LOG_H
#define BRAIRU_PLATFORM_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

enum { ANDROID_LOG_ERROR = 6 };

/* Writes one formatted message as one line. priority: 2 (verbose) to 8 (silent), 6 is error.
 * Returns the number of bytes written, 0 for one that is filtered out, or a negative value. */
#if defined(__GNUC__)
__attribute__((format(printf, 3, 4)))
#endif
int __android_log_print(int priority, const char *tag, const char *format, ...);

#ifdef __cplusplus
}
#endif

#endif
