/* quorb_services.h - host controls of libquorb: key modes, the trace log,
 * the load report and maneuver cards.
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

/* Status results of both headers' functions. */
enum QuorbStatus { QUORB_OK = 0, QUORB_FAILED = 2 };

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

/* ---- Load report ------------------------------------------------------------
 * A thread that sets a report sink receives, for each load it runs
 * (QuorbLoadFile), one entry for every input line that did not become a
 * stored vector, in the order the load meets them, and one LOAD_REPORT_END
 * entry when the load ends, also when it stops early. Loads on other threads
 * are not reported to it. Entries come on the loading thread; their texts are
 * valid during the call only. A sink may call the store's functions but
 * cannot start another load. */
typedef enum LoadReportKind {
  LOAD_REPORT_END = 0,              /* the load's counts and status */
  LOAD_REPORT_REJECTED = 1,         /* a card set the library rejected (at its 2P card) */
  LOAD_REPORT_NO_1P = 2,            /* a 2P card without its 1P card */
  LOAD_REPORT_NO_2P = 3,            /* a 1P card that a keyword, another 1P card or the end
                                       of the file parted from its 2P card */
  LOAD_REPORT_NO_KEY = 4,           /* a card set for which no key could be made */
  LOAD_REPORT_DUPLICATE = 5,        /* a card set or keyed data the store refused as a duplicate */
  LOAD_REPORT_NOT_STORED = 6,       /* a card set the store could not take */
  LOAD_REPORT_UNRECOGNISED = 7,     /* no comment, card, keyword or maneuver card */
  LOAD_REPORT_NOT_OPENED = 8,       /* a file that could not be opened: at the line that names
                                       it, or at line 0 of the file given to the load */
  LOAD_REPORT_KEYED_UNUSED = 9,     /* keyed vector or control data that changed nothing */
  LOAD_REPORT_MANEUVER_DROPPED = 10 /* a maneuver card past the 100th of one vector */
} LoadReportKind;

typedef struct LoadReportEntry {
  int32_t kind;     /* a LoadReportKind */
  const char* file; /* the file the line is in (not NUL-terminated) */
  int32_t fileLen;
  int32_t line;        /* the line's number from 1; 0 for a whole file */
  const char* message; /* the library's last message about the line, or NULL */
  int32_t messageLen;
  /* LOAD_REPORT_END only: the counts of the load's totals line and the
   * status QuorbLoadFile returns. */
  int64_t total;
  int32_t loaded;
  int32_t dup;
  int32_t bad;
  int32_t status;
} LoadReportEntry;

typedef void (*LoadReportSink)(const LoadReportEntry* entry, void* user);
/* Sets the calling thread's report sink; NULL removes it. A load already
 * running on the thread keeps the sink it started with. */
QUORB_API void LoadReportSetSink(LoadReportSink sink, void* user);

/* ---- Maneuver cards ---------------------------------------------------------
 * The maneuver cards that followed a vector in its input file. */

/* Returns how many maneuver cards the vector of satKey holds (0 to 100), or
 * -1 when no vector has that key. When index is 1 to that number and card is
 * not NULL, the card is copied into card, blank-padded, without a NUL. */
QUORB_API int32_t ManeuverCardGet(int64_t satKey, int32_t index, char card[512]);

#ifdef __cplusplus
}
#endif

#endif /* QUORB_QUORB_SERVICES_H_ */
