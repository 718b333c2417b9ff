/* Column copies between the store and flat buffers: the loops behind
 * quorb.to_arrays and quorb.add_arrays, run without the interpreter in
 * between. The package hands over the addresses of the exported functions
 * it loaded through ctypes, so both sides always use one and the same
 * library (and store). */
#define PY_SSIZE_T_CLEAN
#include <Python.h>
#include <math.h>
#include <stdint.h>
#include <string.h>

#include "quorb/quorb.h"

typedef __typeof__(QuorbGetAllFields)* GetAllFieldsFunction;
typedef __typeof__(QuorbDataToArray)* DataToArrayFunction;
typedef __typeof__(QuorbAddSatFrFields)* AddSatFrFieldsFunction;

static GetAllFieldsFunction get_all_fields;
static DataToArrayFunction data_to_array;
static AddSatFrFieldsFunction add_sat_fr_fields;

/* The columns, in the order the functions below take their buffers. A kind
 * is 'i' (int32), 'd' (double) or 's' (bytes, NUL-padded); width counts the
 * values or bytes of one vector. */
enum Column {
  SAT_NUM,
  EPOCH,
  POS,
  VEL,
  B_TERM,
  AGOM,
  IN_TRACK_THRUST,
  REV_NUM,
  ELSET_NUM,
  SEC_CLASS,
  INTL_DESIG,
  COORD_SYS,
  COLUMN_COUNT
};
static const struct {
  const char* name;
  char kind;
  Py_ssize_t width;
} kColumns[COLUMN_COUNT] = {{"sat_num", 'i', 1},
                            {"epoch", 'd', 1},
                            {"pos", 'd', 3},
                            {"vel", 'd', 3},
                            {"b_term", 'd', 1},
                            {"agom", 'd', 1},
                            {"in_track_thrust", 'd', 1},
                            {"rev_num", 'i', 1},
                            {"elset_num", 'i', 1},
                            {"sec_class", 's', 1},
                            {"intl_desig", 's', QUORB_INTL_DESIG_LENGTH},
                            {"coord_sys", 's', QUORB_COORD_SYS_LENGTH}};

static Py_ssize_t ItemSize(char kind) {
  return kind == 'i' ? (Py_ssize_t)sizeof(int32_t) : kind == 'd' ? (Py_ssize_t)sizeof(double) : 1;
}

/* ---- Epochs: the library's own rules, for the forms these loops meet ---- */

enum {
  kFirstTwoDigitYear = 1957,
  kMillisPerSecond = 1000,
  kSecondsPerDay = 86400,
  kCompactEpochLength = 15 /* YYDDDHHMMSS.SSS */
};
static const int64_t kMillisPerDay = (int64_t)kSecondsPerDay * kMillisPerSecond;
static const int64_t kNanosPerMilli = 1000000;
static const double kDs50Limit = 1.0e7;

static int64_t FloorDivide(int64_t value, int64_t divisor) {
  const int64_t quotient = value / divisor;
  return (value % divisor != 0 && (value < 0) != (divisor < 0)) ? quotient - 1 : quotient;
}

static int IsLeapYear(int64_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

static int64_t LeapYearsThrough(int64_t year) {
  return FloorDivide(year, 4) - FloorDivide(year, 100) + FloorDivide(year, 400);
}

static int64_t DaysFrom1950(int64_t year) {
  return 365 * (year - 1950) + LeapYearsThrough(year - 1) - LeapYearsThrough(1949);
}

/* The value of count digits at text, or -1 when one is not a digit. */
static int64_t Digits(const char* text, int count) {
  int64_t value = 0;
  for (int i = 0; i < count; ++i) {
    if (text[i] < '0' || text[i] > '9') return -1;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

/* The ds50 of a YYDDDHHMMSS.SSS epoch exactly as the library computes it
 * (whole days and the fraction apart, so the sum rounds once); NAN for
 * any other form, which the caller then asks the library about. */
static double CompactEpochToDs50(const char epoch[QUORB_EPOCH_LENGTH]) {
  int begin = 0, end = QUORB_EPOCH_LENGTH;
  while (begin < end && epoch[begin] == ' ') ++begin;
  while (end > begin && epoch[end - 1] == ' ') --end;
  const char* text = epoch + begin;
  if (end - begin != kCompactEpochLength || text[11] != '.') return NAN;
  const int64_t yy = Digits(text, 2), day = Digits(text + 2, 3), hour = Digits(text + 5, 2),
                minute = Digits(text + 7, 2), second = Digits(text + 9, 2),
                milli = Digits(text + 12, 3);
  if (yy < 0 || day < 0 || hour < 0 || minute < 0 || second < 0 || milli < 0) return NAN;
  const int64_t year = yy + (1900 + yy < kFirstTwoDigitYear ? 2000 : 1900);
  if (day < 1 || day > 365 + IsLeapYear(year) || hour > 23 || minute > 59 || second > 59) {
    return NAN;
  }
  const int64_t millis = ((hour * 60 + minute) * 60 + second) * kMillisPerSecond + milli;
  return (double)(DaysFrom1950(year) + day) +
         (double)(millis * kNanosPerMilli) / (double)(kMillisPerDay * kNanosPerMilli);
}

static char* PutDigits(char* out, int64_t value, int width) {
  for (int i = width - 1; i >= 0; --i, value /= 10) out[i] = (char)('0' + value % 10);
  return out + width;
}

/* The YYDDDHHMMSS.SSS text of a ds50 rounded to the millisecond, or fifteen
 * asterisks (which the library refuses with its message) outside the years
 * 1957 to 2056 that a two-digit year names. */
static void Ds50ToCompactEpoch(double ds50, char text[QUORB_EPOCH_LENGTH]) {
  memset(text, 0, QUORB_EPOCH_LENGTH);
  memset(text, '*', kCompactEpochLength);
  if (!(fabs(ds50) < kDs50Limit)) return;
  const double whole = floor(ds50);
  const int64_t millis =
      ((int64_t)whole - 1) * kMillisPerDay + llround((ds50 - whole) * (double)kMillisPerDay);
  if (millis < DaysFrom1950(kFirstTwoDigitYear) * kMillisPerDay ||
      millis >= DaysFrom1950(kFirstTwoDigitYear + 100) * kMillisPerDay) {
    return;
  }
  const int64_t days = FloorDivide(millis, kMillisPerDay);
  const int64_t rest = millis - days * kMillisPerDay;
  int64_t year = 1950 + FloorDivide(days * 400, 146097);
  while (DaysFrom1950(year) > days) --year;
  while (DaysFrom1950(year + 1) <= days) ++year;
  const int64_t seconds = rest / kMillisPerSecond;
  char* out = PutDigits(text, year % 100, 2);
  out = PutDigits(out, days - DaysFrom1950(year) + 1, 3);
  out = PutDigits(out, seconds / 3600, 2);
  out = PutDigits(out, seconds / 60 % 60, 2);
  out = PutDigits(out, seconds % 60, 2);
  *out++ = '.';
  PutDigits(out, rest % kMillisPerSecond, 3);
}

/* ---- Buffers ------------------------------------------------------------ */

typedef struct {
  Py_buffer keys;
  Py_buffer columns[COLUMN_COUNT];
  int held; /* buffers taken so far, keys included */
} Buffers;

static void ReleaseBuffers(Buffers* buffers) {
  if (buffers->held > 0) PyBuffer_Release(&buffers->keys);
  for (int i = 0; i + 1 < buffers->held; ++i) PyBuffer_Release(&buffers->columns[i]);
}

/* Takes the key buffer and one buffer per column from args, each checked to
 * hold `count` rows (count = keys). Reading fills the columns from the keys,
 * adding fills the keys from the columns. On failure nothing stays taken. */
static int TakeEach(PyObject* args, int reading, Buffers* buffers, Py_ssize_t* count) {
  buffers->held = 0;
  if (!PyTuple_Check(args) || PyTuple_GET_SIZE(args) != 1 + COLUMN_COUNT) {
    PyErr_Format(PyExc_TypeError, "expected the keys and %d columns", (int)COLUMN_COUNT);
    return 0;
  }
  const int key_flags = reading ? PyBUF_SIMPLE : PyBUF_WRITABLE;
  if (PyObject_GetBuffer(PyTuple_GET_ITEM(args, 0), &buffers->keys, key_flags) != 0) return 0;
  buffers->held = 1;
  *count = buffers->keys.len / (Py_ssize_t)sizeof(int64_t);
  for (int i = 0; i < COLUMN_COUNT; ++i) {
    Py_buffer* column = &buffers->columns[i];
    const int flags = reading ? PyBUF_WRITABLE : PyBUF_SIMPLE;
    if (PyObject_GetBuffer(PyTuple_GET_ITEM(args, 1 + i), column, flags) != 0) return 0;
    ++buffers->held;
    if (column->len != *count * kColumns[i].width * ItemSize(kColumns[i].kind)) {
      PyErr_Format(PyExc_ValueError, "column %s does not hold %zd rows", kColumns[i].name, *count);
      return 0;
    }
  }
  return 1;
}

static int TakeBuffers(PyObject* args, int reading, Buffers* buffers, Py_ssize_t* count) {
  if (TakeEach(args, reading, buffers, count)) return 1;
  ReleaseBuffers(buffers);
  return 0;
}

#define COLUMN(buffers, column, type) ((type*)(buffers)->columns[column].buf)

/* Blanks after a text become NULs, so bytes columns show the text alone. */
static void CopyText(char* to, const char* from, Py_ssize_t width) {
  Py_ssize_t length = width;
  while (length > 0 && from[length - 1] == ' ') --length;
  memcpy(to, from, (size_t)length);
  memset(to + length, 0, (size_t)(width - length));
}

/* ---- The loops ---------------------------------------------------------- */

/* One stored vector into row `row`; 0 when the key is not stored. */
static int ReadRow(int64_t key, Buffers* b, Py_ssize_t row) {
  char intl_desig[QUORB_INTL_DESIG_LENGTH], epoch[QUORB_EPOCH_LENGTH];
  char coord_sys[QUORB_COORD_SYS_LENGTH];
  int32_t status = get_all_fields(
      key, COLUMN(b, POS, double) + 3 * row, COLUMN(b, VEL, double) + 3 * row,
      COLUMN(b, SEC_CLASS, char) + row, COLUMN(b, SAT_NUM, int32_t) + row, intl_desig, epoch,
      COLUMN(b, REV_NUM, int32_t) + row, COLUMN(b, ELSET_NUM, int32_t) + row,
      COLUMN(b, B_TERM, double) + row, COLUMN(b, AGOM, double) + row,
      COLUMN(b, IN_TRACK_THRUST, double) + row, coord_sys);
  if (status != 0) return 0;
  CopyText(COLUMN(b, INTL_DESIG, char) + row * QUORB_INTL_DESIG_LENGTH, intl_desig,
           QUORB_INTL_DESIG_LENGTH);
  CopyText(COLUMN(b, COORD_SYS, char) + row * QUORB_COORD_SYS_LENGTH, coord_sys,
           QUORB_COORD_SYS_LENGTH);
  double ds50 = CompactEpochToDs50(epoch);
  if (isnan(ds50)) {
    double xa[QUORB_XA_SIZE];
    char xs[QUORB_LINE_LENGTH];
    if (data_to_array(key, xa, xs) != 0) return 0;
    ds50 = xa[QUORB_XA_EPOCH];
  }
  COLUMN(b, EPOCH, double)[row] = ds50;
  return 1;
}

static PyObject* Read(PyObject* self, PyObject* args) {
  (void)self;
  Buffers buffers;
  Py_ssize_t count = 0;
  if (!TakeBuffers(args, 1, &buffers, &count)) return NULL;
  const int64_t* keys = buffers.keys.buf;
  Py_ssize_t row = 0;
  Py_BEGIN_ALLOW_THREADS;
  while (row < count && ReadRow(keys[row], &buffers, row)) ++row;
  Py_END_ALLOW_THREADS;
  ReleaseBuffers(&buffers);
  return PyLong_FromSsize_t(row); /* the rows read: a shorter count names a missing key */
}

static int64_t AddRow(const Buffers* b, Py_ssize_t row) {
  char epoch[QUORB_EPOCH_LENGTH];
  Ds50ToCompactEpoch(COLUMN(b, EPOCH, double)[row], epoch);
  return add_sat_fr_fields(COLUMN(b, POS, double) + 3 * row, COLUMN(b, VEL, double) + 3 * row,
                           COLUMN(b, SEC_CLASS, char)[row], COLUMN(b, SAT_NUM, int32_t)[row],
                           COLUMN(b, INTL_DESIG, char) + row * QUORB_INTL_DESIG_LENGTH, epoch,
                           COLUMN(b, REV_NUM, int32_t)[row], COLUMN(b, ELSET_NUM, int32_t)[row],
                           COLUMN(b, B_TERM, double)[row], COLUMN(b, AGOM, double)[row],
                           COLUMN(b, IN_TRACK_THRUST, double)[row],
                           COLUMN(b, COORD_SYS, char) + row * QUORB_COORD_SYS_LENGTH);
}

static PyObject* Add(PyObject* self, PyObject* args) {
  (void)self;
  Buffers buffers;
  Py_ssize_t count = 0;
  if (!TakeBuffers(args, 0, &buffers, &count)) return NULL;
  int64_t* keys = buffers.keys.buf;
  Py_BEGIN_ALLOW_THREADS;
  for (Py_ssize_t row = 0; row < count; ++row) keys[row] = AddRow(&buffers, row);
  Py_END_ALLOW_THREADS;
  ReleaseBuffers(&buffers);
  Py_RETURN_NONE;
}

static PyObject* Bind(PyObject* self, PyObject* args) {
  (void)self;
  unsigned long long get_all, to_array, add;
  if (!PyArg_ParseTuple(args, "KKK", &get_all, &to_array, &add)) return NULL;
  get_all_fields = (GetAllFieldsFunction)(uintptr_t)get_all;
  data_to_array = (DataToArrayFunction)(uintptr_t)to_array;
  add_sat_fr_fields = (AddSatFrFieldsFunction)(uintptr_t)add;
  Py_RETURN_NONE;
}

static PyMethodDef kMethods[] = {
    {"bind", Bind, METH_VARARGS,
     "bind(get_all_fields, data_to_array, add_sat_fr_fields): the exported functions to call"},
    {"read", Read, METH_VARARGS,
     "read(keys, *columns) -> rows: fills the columns with the stored vectors of keys, stopping "
     "at the first key not stored"},
    {"add", Add, METH_VARARGS,
     "add(keys, *columns): adds one vector per row, writing each row's key result to keys"},
    {NULL, NULL, 0, NULL}};

static struct PyModuleDef kModule = {
    PyModuleDef_HEAD_INIT, "_bulk", NULL, -1, kMethods, NULL, NULL, NULL, NULL};

PyMODINIT_FUNC PyInit__bulk(void) {
  PyObject* module = PyModule_Create(&kModule);
  if (module == NULL) return NULL;
  PyObject* columns = PyTuple_New(COLUMN_COUNT);
  for (int i = 0; columns != NULL && i < COLUMN_COUNT; ++i) {
    PyTuple_SET_ITEM(columns, i,
                     Py_BuildValue("(sCn)", kColumns[i].name, kColumns[i].kind, kColumns[i].width));
  }
  if (columns == NULL || PyModule_AddObject(module, "COLUMNS", columns) != 0) {
    Py_XDECREF(columns);
    Py_DECREF(module);
    return NULL;
  }
  return module;
}
