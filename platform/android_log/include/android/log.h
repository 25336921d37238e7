/* Stand-in for the part of Android's log library that the library uses.
 *
 * __android_log_print writes to standard error in logcat's brief form, one line of output per line
 * of the message: a letter for the priority, the tag, the process id and the text, as in
 * "I/(FPLOG) ( 4711): sensor_test build = 298, patch = 600 ". A program that defines the function
 * itself gets every line instead.
 */
#ifndef ANDROID_LOG_H
#define ANDROID_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum android_LogPriority {
  ANDROID_LOG_UNKNOWN = 0,
  ANDROID_LOG_DEFAULT,
  ANDROID_LOG_VERBOSE,
  ANDROID_LOG_DEBUG,
  ANDROID_LOG_INFO,
  ANDROID_LOG_WARN,
  ANDROID_LOG_ERROR,
  ANDROID_LOG_FATAL,
  ANDROID_LOG_SILENT
} android_LogPriority;

/* Returns a positive number when the message was written, a negative one when it was not. */
int __android_log_print(int prio, const char *tag, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
