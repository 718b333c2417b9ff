/* quorb_services.h - host controls of libquorb: key modes and the trace log.
 *
 * These functions steer how new vectors are keyed and where the library's
 * messages go. All of them are process-wide and safe to call from any thread.
 * The header compiles as C99 and as C++.
 */
#ifndef QUORB_QUORB_SERVICES_H_
#define QUORB_QUORB_SERVICES_H_

#include <stdint.h>

#if defined(__GNUC__)
#define QUORB_API __attribute__((visibility("default")))
#else
#define QUORB_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Key modes --------------------------------------------------------
 * A new vector gets a composed key (mode 0: made from its satellite number
 * and epoch) or a direct-address key (mode 1: ten times the address of the
 * holder that owns it). The mode in force is the all-types key mode while it
 * is on, otherwise the element-set key mode. All modes start at 0 and the
 * all-types key mode starts off. A setter given a value other than 0 or 1
 * logs an error and changes nothing. */

/* Sets the element-set key mode (0 composed keys, 1 direct-address keys). */
QUORB_API void ElsetKeyModeSet(int32_t mode);
/* Returns the element-set key mode, 0 or 1. */
QUORB_API int32_t ElsetKeyModeGet(void);
/* Turns the all-types key mode on with this mode (0 or 1); with any other
 * value it logs an error and leaves the all-types key mode as it was. */
QUORB_API void AllKeyModeSet(int32_t mode);
/* Turns the all-types key mode off: the element-set key mode rules again. */
QUORB_API void AllKeyModeClear(void);
/* Returns 1 while the all-types key mode is on, else 0. */
QUORB_API int32_t UseAllKeyMode(void);
/* Returns the mode of the all-types key mode, 0 or 1. */
QUORB_API int32_t AllKeyModeGet(void);
/* Duplicate handling: 0 makes adding a vector equal to a stored one an error
 * (key 0 and a message); any other value accepts it silently and answers
 * with the stored key. */
QUORB_API void DupKeyModeSet(int32_t mode);
/* Returns the duplicate mode. */
QUORB_API int32_t DupKeyModeGet(void);

/* ---- Trace log ------------------------------------------------------------
 * Every message of the library is one line, of level 1 (error) or 0 (info
 * and warnings), delivered without trailing blanks to the open log file, to
 * the sink if one is set, and into the calling thread's last-line slot of its
 * level. By default lines go nowhere but the slots. */

/* Appends every further line to the file at path (closing any earlier log
 * file). Returns 0, or 2 when the file cannot be opened. */
QUORB_API int32_t TraceLogOpen(const char* path);
/* Closes the log file; later lines go to the sink and slots only. */
QUORB_API void TraceLogClose(void);

/* A sink receives each line: level, the text (not NUL-terminated), its
 * length and the user pointer given to TraceLogSetSink. It may be called
 * from several threads at once. */
typedef void (*TraceLogSink)(int32_t level, const char* msg, int32_t len, void* user);
/* Sets the sink; NULL removes it. Once this returns, the previous sink is no
 * longer called. A sink must not call TraceLogSetSink itself. */
QUORB_API void TraceLogSetSink(TraceLogSink sink, void* user);
/* Copies the calling thread's last error line into buf, NUL-terminated and
 * cut to fit bufLen, and returns the line's length (0 when the thread has
 * none). buf may be NULL when bufLen is 0. */
QUORB_API int32_t TraceLogLastError(char* buf, int32_t bufLen);
/* As TraceLogLastError, for the last info line. */
QUORB_API int32_t TraceLogLastInfo(char* buf, int32_t bufLen);

#ifdef __cplusplus
}
#endif

#endif /* QUORB_QUORB_SERVICES_H_ */
