/* quorb.h - libquorb: an in-memory store of satellite state vectors.
 *
 * Conventions for every function:
 * - Status results: 0 success, 2 failure of the library's own checks; the
 *   status of a file open is passed on unchanged.
 * - Key results: the 64-bit satKey of a vector; -1 when the input is invalid
 *   or no key can be made or found; 0 for a duplicate the store refused.
 * - In strings (const char*): at most N bytes are read, a NUL ends the
 *   text early and everything after it reads as blanks, so a short
 *   NUL-terminated C string may be passed. N is 512 for card lines, file
 *   names, field values and the array companion text, 17 for epochDtg (20
 *   for QuorbFieldsToSatKey), 8 for intlDesig and 5 for coordSys.
 * - Out strings (char[N]): exactly N bytes are written, blank-padded, with
 *   no terminator. Read them as at most N characters.
 * - Failures are reported as one line through the trace log
 *   (quorb_services.h); TraceLogLastError gives the calling thread's last one.
 * - Positions are in km, velocities in m/s, inTrackThrust in km/s^2.
 * - Every function may be called from several threads at once.
 *
 * The header compiles as C99 and as C++.
 */
#ifndef QUORB_QUORB_H_
#define QUORB_QUORB_H_

#include <stdint.h>

#include "quorb/quorb_services.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Names of the numbers hosts pass and receive ------------------------- */

/* Key results other than a key. */
enum QuorbKeyResult {
  QUORB_KEY_DUPLICATE = 0, /* a duplicate the store refused */
  QUORB_KEY_NONE = -1      /* invalid input, or no key could be made or found */
};

/* Sizes of the texts that cross the interface, in bytes. */
enum QuorbTextSize {
  QUORB_LINE_LENGTH = 512, /* card lines, file names, field values, array texts */
  QUORB_INFO_LENGTH = 128,
  QUORB_EPOCH_LENGTH = 17,
  QUORB_KEY_EPOCH_LENGTH = 20, /* the epoch of QuorbFieldsToSatKey */
  QUORB_INTL_DESIG_LENGTH = 8,
  QUORB_COORD_SYS_LENGTH = 5
};

/* Key orders of QuorbGetLoaded; any value above these gives ascending key. */
enum QuorbKeyOrder {
  QUORB_ORDER_SAT_NUM_EPOCH = 0,
  QUORB_ORDER_SAT_NUM_EPOCH_REVERSED = 1,
  QUORB_ORDER_LOAD = 2,
  QUORB_ORDER_KEY = 3
};

/* Field indices of QuorbGetField and QuorbSetField; 8 names no field. */
enum QuorbFieldIndex {
  QUORB_FIELD_POS_X = 1,
  QUORB_FIELD_POS_Y = 2,
  QUORB_FIELD_POS_Z = 3,
  QUORB_FIELD_VEL_X = 4,
  QUORB_FIELD_VEL_Y = 5,
  QUORB_FIELD_VEL_Z = 6,
  QUORB_FIELD_SEC_CLASS = 7,
  QUORB_FIELD_SAT_NUM = 9,
  QUORB_FIELD_INTL_DESIG = 10,
  QUORB_FIELD_EPOCH = 11,
  QUORB_FIELD_REV_NUM = 12,
  QUORB_FIELD_ELSET_NUM = 13,
  QUORB_FIELD_B_TERM = 14,
  QUORB_FIELD_AGOM = 15,
  QUORB_FIELD_IN_TRACK_THRUST = 16,
  QUORB_FIELD_COORD_SYS = 17
};

/* Positions of the array form (xa[position]); the array holds
 * QUORB_XA_SIZE doubles and the library touches only these. */
enum QuorbArrayPosition {
  QUORB_XA_SAT_NUM = 0,
  QUORB_XA_EPOCH = 1, /* days since 1950 UTC */
  QUORB_XA_REV_NUM = 2,
  QUORB_XA_ELSET_NUM = 3,
  QUORB_XA_B_TERM = 4,
  QUORB_XA_AGOM = 5,
  QUORB_XA_IN_TRACK_THRUST = 6,
  QUORB_XA_COORD_SYS = 7,      /* 1 true-of-date, 2 mean-of-epoch, 0 blank */
  QUORB_XA_POS = 20,           /* x, y, z */
  QUORB_XA_VEL = 23,           /* x, y, z */
  QUORB_XA_CONTROLS_FLAG = 70, /* 1: the controls and covariance are read */
  QUORB_XA_CONTROLS = 71,      /* 71 to 82: the first group of controls */
  QUORB_XA_CONTROLS_MORE = 84, /* 84 to 88: the second group */
  QUORB_XA_COVARIANCE = 100,   /* 100 to 154: the 55 covariance values */
  QUORB_XA_SIZE = 155
};

/* ---- Library and store ------------------------------------------------- */

/* Does nothing; the library needs no initialisation. Returns 0. */
QUORB_API int32_t QuorbInit(int64_t unused);
/* Writes "Quorb", the library version and build date into info (128 bytes). */
QUORB_API void QuorbGetInfo(char info[128]);
/* Number of vectors in the store. */
QUORB_API int32_t QuorbGetCount(void);
/* Fills satKeys with the keys of every stored vector. order 0: by satellite
 * number then epoch; 1: the reverse of 0; 2: load order; any other value:
 * ascending key. satKeys needs room for QuorbGetCount() keys; on an empty
 * store it is left untouched (and a warning is logged). */
QUORB_API void QuorbGetLoaded(int32_t order, int64_t* satKeys);
/* Removes one vector. Returns 0, or 2 when the key is not stored. Its memory
 * is kept for vectors added later. */
QUORB_API int32_t QuorbRemoveSat(int64_t satKey);
/* Removes every vector and gives the store's memory back to the system.
 * Returns 0. */
QUORB_API int32_t QuorbRemoveAllSats(void);

/* ---- Files --------------------------------------------------------------- */

/* Loads an input file (card sets, maneuver cards, keywords naming further
 * files, keyed vector and control data). Returns 0, 2 when the last card set
 * read was rejected, or the status of a file that could not be opened. The
 * counts of loaded, duplicate and bad vectors go to the trace log. A file of
 * more than a few hundred card sets is read ahead on a second thread, which
 * the call starts and joins before it returns; every message of the load
 * still comes from the calling thread. */
QUORB_API int32_t QuorbLoadFile(const char* fileName);
/* Writes every stored vector as a card set, in ascending key order.
 * saveMode 0 replaces the file, any other value appends to it. Returns 0,
 * the status of a file that could not be opened, or 2 when the file could
 * not be written completely. */
QUORB_API int32_t QuorbSaveFile(const char* fileName, int32_t saveMode);

/* ---- Keys and adding ----------------------------------------------------- */

/* Adds the vector of a card set (line1 the 1P card, line2 the 2P card).
 * Returns its key, -1 when the lines are invalid, 0 for a refused duplicate. */
QUORB_API int64_t QuorbAddSatFrLines(const char* line1, const char* line2);
/* As QuorbAddSatFrLines, writing the key to *satKey. */
QUORB_API void QuorbAddSatFrLinesML(const char* line1, const char* line2, int64_t* satKey);
/* Adds a vector from its fields. epochDtg takes any of the epoch forms
 * YYDDDHHMMSS.SSS, YYYY/DDD.DDDDDDDD, YYYYMonDDHHMMSS.SSS or
 * YYYY/DDD HHMM SS.SSS; coordSys is TMDAT, TMEPO, MMB50, MMJ2K or blanks.
 * Returns the key, -1 when a field is invalid, 0 for a refused duplicate. */
QUORB_API int64_t QuorbAddSatFrFields(const double pos[3], const double vel[3], char secClass,
                                      int32_t satNum, const char* intlDesig, const char* epochDtg,
                                      int32_t revNum, int32_t elsetNum, double bTerm, double agom,
                                      double inTrackThrust, const char* coordSys);
/* As QuorbAddSatFrFields, writing the key to *satKey. */
QUORB_API void QuorbAddSatFrFieldsML(const double pos[3], const double vel[3], char secClass,
                                     int32_t satNum, const char* intlDesig, const char* epochDtg,
                                     int32_t revNum, int32_t elsetNum, double bTerm, double agom,
                                     double inTrackThrust, const char* coordSys, int64_t* satKey);
/* Replaces the non-key fields of a stored vector (its satellite number,
 * epoch, covariance, controls and maneuver cards stay). Returns 0, or 2 when
 * the key is not stored or a value is invalid (the store is then unchanged). */
QUORB_API int32_t QuorbUpdateSatFrFields(int64_t satKey, const double pos[3], const double vel[3],
                                         char secClass, const char* intlDesig, int32_t revNum,
                                         int32_t elsetNum, double bTerm, double agom,
                                         double inTrackThrust, const char* coordSys);
/* The composed key of a satellite number and epoch, without looking at the
 * store; -1 when no key can be made. */
QUORB_API int64_t QuorbFieldsToSatKey(int32_t satNum, const char* epochDtg);
/* As QuorbFieldsToSatKey, writing the key to *satKey. */
QUORB_API void QuorbFieldsToSatKeyML(int32_t satNum, const char* epochDtg, int64_t* satKey);
/* The key of a stored vector of this satellite (when several are stored,
 * which one is not defined); -1 when none is. */
QUORB_API int64_t QuorbGetSatKey(int32_t satNum);
/* As QuorbGetSatKey, writing the key to *satKey. */
QUORB_API void QuorbGetSatKeyML(int32_t satNum, int64_t* satKey);

/* ---- Field access -------------------------------------------------------
 * Field indices: 1-3 position x, y, z; 4-6 velocity x, y, z; 7 secClass;
 * 9 satNum; 10 intlDesig; 11 epochDtg; 12 revNum; 13 elsetNum; 14 bTerm;
 * 15 agom; 16 inTrackThrust; 17 coordSys. Other indices name no field. */

/* Writes one field as left-justified text into valueStr (512 bytes).
 * Returns 0 (blanks for an index that names no field), or 2 when the key is
 * not stored. */
QUORB_API int32_t QuorbGetField(int64_t satKey, int32_t fieldIdx, char valueStr[512]);
/* Sets one field from text, validates and stores the vector. Satellite
 * number (9) and epoch (11) cannot be changed: 0 is returned and nothing
 * happens. Returns 0, or 2 when the key is not stored or the value invalid. */
QUORB_API int32_t QuorbSetField(int64_t satKey, int32_t fieldIdx, const char* valueStr);
/* Reads every scalar field of a stored vector. Returns 0, or 2 (outputs
 * zeros and blanks) when the key is not stored. */
QUORB_API int32_t QuorbGetAllFields(int64_t satKey, double pos[3], double vel[3], char* secClass,
                                    int32_t* satNum, char intlDesig[8], char epochDtg[17],
                                    int32_t* revNum, int32_t* elsetNum, double* bTerm, double* agom,
                                    double* inTrackThrust, char coordSys[5]);

/* ---- Array form -----------------------------------------------------------
 * xa holds at least 155 doubles: 0 satNum, 1 epoch (days since 1950, UTC),
 * 2 revNum, 3 elsetNum, 4 bTerm, 5 agom, 6 inTrackThrust, 7 coordinate
 * system (1 TMDAT, 2 MMJ2K, 0 blanks), 20-22 position, 23-25 velocity,
 * 70 controls flag (1: positions 71-82, 84-88 and 100-154 are read),
 * 71-82 and 84-88 propagation controls, 100-154 covariance. No other
 * position is read or written. xs (512 bytes): column 1 secClass, columns
 * 2-9 intlDesig. */

/* Writes a stored vector into xa and xs. Returns 0, or 2 when the key is not
 * stored (xa untouched, xs blank). */
QUORB_API int32_t QuorbDataToArray(int64_t satKey, double* xa, char xs[512]);
/* Replaces a stored vector by the array's (satellite number and epoch stay;
 * maneuver cards are dropped). Returns 0, or 2 when the key is not stored or
 * the values are invalid. */
QUORB_API int32_t QuorbUpdateSatFrArray(int64_t satKey, const double* xa, const char* xs);
/* Adds the vector of an array. Returns its key, -1 when invalid, 0 for a
 * refused duplicate. */
QUORB_API int64_t QuorbAddSatFrArray(const double* xa, const char* xs);
/* As QuorbAddSatFrArray, writing the key to *satKey. */
QUORB_API void QuorbAddSatFrArrayML(const double* xa, const char* xs, int64_t* satKey);
/* Writes the card set of an array's vector; both lines stay blank when
 * xa[0] is -1 or the card set cannot be made. */
QUORB_API void QuorbArrayToLines(const double* xa, const char* xs, char line1[512],
                                 char line2[512]);
/* Reads a card set into xa and xs. Returns 0, or 2 when the card set is
 * invalid (xa untouched, xs blank). */
QUORB_API int32_t QuorbLinesToArray(const char* line1, const char* line2, double* xa, char xs[512]);

/* ---- Text conversions ---------------------------------------------------- */

/* Writes the card set of a stored vector. Returns 0, or 2 (both lines blank)
 * when the key is not stored. */
QUORB_API int32_t QuorbGetLines(int64_t satKey, char line1[512], char line2[512]);
/* Reads a card set into fields without storing it. Returns 0, or 2 (outputs
 * zeros and blanks) when the card set is invalid. */
QUORB_API int32_t QuorbParse(const char* line1, const char* line2, double pos[3], double vel[3],
                             char* secClass, int32_t* satNum, char intlDesig[8], char epochDtg[17],
                             int32_t* revNum, int32_t* elsetNum, double* bTerm, double* agom,
                             double* inTrackThrust, char coordSys[5]);
/* Writes the card set of the given fields without storing them; both lines
 * stay blank when a field is invalid. */
QUORB_API void QuorbFieldsToLines(const double pos[3], const double vel[3], char secClass,
                                  int32_t satNum, const char* intlDesig, const char* epochDtg,
                                  int32_t revNum, int32_t elsetNum, double bTerm, double agom,
                                  double inTrackThrust, const char* coordSys, char line1[512],
                                  char line2[512]);

#ifdef __cplusplus
}
#endif

#endif /* QUORB_QUORB_H_ */
