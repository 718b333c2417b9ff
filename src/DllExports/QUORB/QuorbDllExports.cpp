// The exported C interface: host arrays in and out, statuses and keys. Every
// in-place read of a stored vector ends before its function logs.
#include <initializer_list>

#include "DllExports/QUORB/QuorbDllVarsUtils.h"
#include "Quorb/CardFields.h"
#include "Quorb/QuorbCardReading.h"
#include "Quorb/QuorbFileLoading.h"
#include "Quorb/QuorbTree.h"
#include "Services/DmaKeys.h"
#include "Services/MessageText.h"
#include "Services/SoftwareInfo.h"
#include "Services/StringUtils.h"
#include "Services/TraceLog.h"
#include "quorb/quorb.h"

namespace quorb {
namespace {

// A host field text, left-justified.
template <std::size_t N>
Text<N> FieldIn(const char* host) {
  Text<N> text = CharArrToStr<N>(host);
  LeftJustify(text);
  return text;
}

template <std::size_t N>
void TextOut(char* host, const Text<N>& text) {
  StrToCharArr(host, View(text), N);
}

void BlankOut(char* host, std::size_t n) {
  StrToCharArr(host, {}, n);
}

// Logs and returns false when a pointer the host must pass is null.
bool ArgsGiven(std::string_view function, std::initializer_list<const void*> pointers) {
  for (const void* pointer : pointers) {
    if (!pointer) {
      MessageText msg;
      msg.Add(function).Add(": A required argument is a NULL pointer.");
      TraceLogError(msg.View());
      return false;
    }
  }
  return true;
}

void LogNotFound(std::string_view function, int64_t key) {
  MessageText msg;
  msg.Add(function)
      .Add(": Unable to locate satKey ")
      .AddRight(key, 19)
      .Add(" in the QUORB binary tree.");
  TraceLogError(msg.View());
}

// Sets every field but the key fields (satNum and the epoch), which a
// stored vector's update cannot change, from the host's.
void NonKeyFieldsIn(VectorFields& fields, const double pos[3], const double vel[3], char secClass,
                    const char intlDesig[8], int32_t revNum, int32_t elsetNum, double bTerm,
                    double agom, double inTrackThrust, const char coordSys[5]) {
  std::copy_n(pos, 3, fields.pos);
  std::copy_n(vel, 3, fields.vel);
  fields.secClass = secClass;
  fields.intlDesig = FieldIn<8>(intlDesig);
  fields.revNum = revNum;
  fields.elsetNum = elsetNum;
  fields.bTerm = bTerm;
  fields.agom = agom;
  fields.inTrackThrust = inTrackThrust;
  fields.coordSys = FieldIn<5>(coordSys);
}

VectorFields FieldsIn(const double pos[3], const double vel[3], char secClass, int32_t satNum,
                      const char intlDesig[8], const char epochDtg[17], int32_t revNum,
                      int32_t elsetNum, double bTerm, double agom, double inTrackThrust,
                      const char coordSys[5]) {
  VectorFields fields;
  fields.satNum = satNum;
  fields.epochDtg = FieldIn<17>(epochDtg);
  NonKeyFieldsIn(fields, pos, vel, secClass, intlDesig, revNum, elsetNum, bTerm, agom,
                 inTrackThrust, coordSys);
  return fields;
}

struct FieldOutputs {
  double* pos;
  double* vel;
  char* secClass;
  int32_t* satNum;
  char* intlDesig;
  char* epochDtg;
  int32_t* revNum;
  int32_t* elsetNum;
  double* bTerm;
  double* agom;
  double* inTrackThrust;
  char* coordSys;

  bool Given(std::string_view function) const {
    return ArgsGiven(function, {pos, vel, secClass, satNum, intlDesig, epochDtg, revNum, elsetNum,
                                bTerm, agom, inTrackThrust, coordSys});
  }

  // Zeros and blanks in every output the host gave.
  void SetEmpty() const {
    static const VectorFields kEmpty;
    Write(kEmpty, ' ', 0);
  }

  void Write(const VectorFields& rec) const { Write(rec, rec.secClass, rec.satNum); }

 private:
  template <class T>
  static void Put(T* out, T value) {
    if (out) *out = value;
  }

  void Write(const VectorFields& rec, char cls, int32_t sat) const {
    for (int i = 0; i < 3; ++i) {
      if (pos) pos[i] = rec.pos[i];
      if (vel) vel[i] = rec.vel[i];
    }
    Put(secClass, cls);
    Put(satNum, sat);
    TextOut(intlDesig, rec.intlDesig);
    TextOut(epochDtg, rec.epochDtg);
    Put(revNum, rec.revNum);
    Put(elsetNum, rec.elsetNum);
    Put(bTerm, rec.bTerm);
    Put(agom, rec.agom);
    Put(inTrackThrust, rec.inTrackThrust);
    TextOut(coordSys, rec.coordSys);
  }
};

bool IsRealField(int32_t index) {
  return (index >= QUORB_FIELD_POS_X && index <= QUORB_FIELD_VEL_Z) ||
         (index >= QUORB_FIELD_B_TERM && index <= QUORB_FIELD_IN_TRACK_THRUST);
}

// The real field of an index for which IsRealField holds; Rec is a record,
// const or not.
template <class Rec>
auto& RealField(Rec& rec, int32_t index) {
  if (index <= QUORB_FIELD_POS_Z) return rec.pos[index - QUORB_FIELD_POS_X];
  if (index <= QUORB_FIELD_VEL_Z) return rec.vel[index - QUORB_FIELD_VEL_X];
  if (index == QUORB_FIELD_B_TERM) return rec.bTerm;
  return index == QUORB_FIELD_AGOM ? rec.agom : rec.inTrackThrust;
}

// The text of one field before it is left-justified; blank for an index that
// names no field.
Line FieldText(const QuorbRecord& rec, int32_t index) {
  Line text = BlankText<kLineLength>();
  const std::span<char> out(text);
  if (IsRealField(index)) {
    WriteFixedField(out.first(35), RealField(rec, index), 15);
  } else if (index == QUORB_FIELD_SEC_CLASS) {
    text[0] = rec.secClass;
  } else if (index == QUORB_FIELD_SAT_NUM) {
    WriteIntField(out.first(9), rec.satNum);
  } else if (index == QUORB_FIELD_INTL_DESIG) {
    std::copy(rec.intlDesig.begin(), rec.intlDesig.end(), text.begin());
  } else if (index == QUORB_FIELD_EPOCH) {
    std::copy(rec.epochDtg.begin(), rec.epochDtg.end(), text.begin());
  } else if (index == QUORB_FIELD_REV_NUM) {
    WriteIntField(out.first(6), rec.revNum);
  } else if (index == QUORB_FIELD_ELSET_NUM) {
    WriteIntField(out.first(4), rec.elsetNum);
  } else if (index == QUORB_FIELD_COORD_SYS) {
    std::copy(rec.coordSys.begin(), rec.coordSys.end(), text.begin());
  }
  return text;
}

// Sets the field that index names from its text. The key fields stay, since
// they cannot change under a stored key, and so does every field when index
// names none.
void SetFieldFromText(QuorbRecord& rec, int32_t index, const Line& value) {
  const std::string_view text = View(value);
  if (IsRealField(index)) {
    RealField(rec, index) = StrToReal(text);
  } else if (index == QUORB_FIELD_REV_NUM) {
    rec.revNum = StrToInt(text);
  } else if (index == QUORB_FIELD_ELSET_NUM) {
    rec.elsetNum = StrToInt(text);
  } else if (index == QUORB_FIELD_SEC_CLASS) {
    rec.secClass = value[0];
  } else if (index == QUORB_FIELD_INTL_DESIG) {
    std::copy_n(value.begin(), rec.intlDesig.size(), rec.intlDesig.begin());
  } else if (index == QUORB_FIELD_COORD_SYS) {
    std::copy_n(value.begin(), rec.coordSys.size(), rec.coordSys.begin());
  }
}

// Writes a record's card set to the host's lines.
void LinesOut(const QuorbRecord& rec, char line1[512], char line2[512]) {
  Line text1;
  Line text2;
  Quorb2Lines(rec, text1, text2);
  TextOut(line1, text1);
  TextOut(line2, text2);
}

}  // namespace
}  // namespace quorb

using namespace quorb;

extern "C" {

// ---- Library and store --------------------------------------------------

int32_t QuorbInit(int64_t) {
  return 0;
}

void QuorbGetInfo(char info[128]) {
  GetSoftwareInfo("Quorb", info);
}

int32_t QuorbGetCount(void) {
  return QuorbGetNumOfTreeNodes();
}

void QuorbGetLoaded(int32_t order, int64_t* satKeys) {
  if (!ArgsGiven("QuorbGetLoaded", {satKeys})) return;
  if (QuorbTreeIsEmpty()) {
    TraceLogInfo("Warning-QuorbGetLoaded: The binary tree is empty. No satKey returns.");
    return;
  }
  const std::vector<int64_t> keys = QuorbGetTreeKeys(order);
  std::copy(keys.begin(), keys.end(), satKeys);
}

int32_t QuorbRemoveSat(int64_t satKey) {
  return QuorbRemoveNode(satKey);
}

int32_t QuorbRemoveAllSats(void) {
  return QuorbEmptyTree();
}

// ---- Files ----------------------------------------------------------------

int32_t QuorbLoadFile(const char fileName[512]) {
  if (!ArgsGiven("QuorbLoadFile", {fileName})) return QUORB_FAILED;
  return QuorbLoadFileText(CharArrToStr<kLineLength>(fileName));
}

int32_t QuorbSaveFile(const char fileName[512], int32_t saveMode) {
  if (!ArgsGiven("QuorbSaveFile", {fileName})) return QUORB_FAILED;
  return QuorbSaveFileText(CharArrToStr<kLineLength>(fileName), saveMode);
}

// ---- Keys and adding ------------------------------------------------------

int64_t QuorbAddSatFrLines(const char line1[512], const char line2[512]) {
  if (!ArgsGiven("QuorbAddSatFrLines", {line1, line2})) return QUORB_KEY_NONE;
  return AddSatFrLines(CharArrToStr<kLineLength>(line1), CharArrToStr<kLineLength>(line2));
}

void QuorbAddSatFrLinesML(const char line1[512], const char line2[512], int64_t* satKey) {
  if (!ArgsGiven("QuorbAddSatFrLinesML", {satKey})) return;
  *satKey = QuorbAddSatFrLines(line1, line2);
}

int64_t QuorbAddSatFrFields(const double pos[3], const double vel[3], char secClass, int32_t satNum,
                            const char intlDesig[8], const char epochDtg[17], int32_t revNum,
                            int32_t elsetNum, double bTerm, double agom, double inTrackThrust,
                            const char coordSys[5]) {
  if (!ArgsGiven("QuorbAddSatFrFields", {pos, vel, intlDesig, epochDtg, coordSys})) {
    return QUORB_KEY_NONE;
  }
  return AddSatFrFields(FieldsIn(pos, vel, secClass, satNum, intlDesig, epochDtg, revNum, elsetNum,
                                 bTerm, agom, inTrackThrust, coordSys));
}

void QuorbAddSatFrFieldsML(const double pos[3], const double vel[3], char secClass, int32_t satNum,
                           const char intlDesig[8], const char epochDtg[17], int32_t revNum,
                           int32_t elsetNum, double bTerm, double agom, double inTrackThrust,
                           const char coordSys[5], int64_t* satKey) {
  if (!ArgsGiven("QuorbAddSatFrFieldsML", {satKey})) return;
  *satKey = QuorbAddSatFrFields(pos, vel, secClass, satNum, intlDesig, epochDtg, revNum, elsetNum,
                                bTerm, agom, inTrackThrust, coordSys);
}

int32_t QuorbUpdateSatFrFields(int64_t satKey, const double pos[3], const double vel[3],
                               char secClass, const char intlDesig[8], int32_t revNum,
                               int32_t elsetNum, double bTerm, double agom, double inTrackThrust,
                               const char coordSys[5]) {
  if (!ArgsGiven("QuorbUpdateSatFrFields", {pos, vel, intlDesig, coordSys})) return QUORB_FAILED;
  QuorbRecord rec;
  QuorbFindRec(satKey, rec);
  if (rec.satNum == kNotFoundSatNum) {
    LogNotFound("QuorbUpdateSatFrFields", satKey);
    return QUORB_FAILED;
  }
  NonKeyFieldsIn(rec, pos, vel, secClass, intlDesig, revNum, elsetNum, bTerm, agom, inTrackThrust,
                 coordSys);
  if (ValidateQuorbValues(rec) != 0) return QUORB_FAILED;
  return QuorbUpdateRec(satKey, rec);
}

int64_t QuorbFieldsToSatKey(int32_t satNum, const char epochDtg[20]) {
  if (!ArgsGiven("QuorbFieldsToSatKey", {epochDtg})) return QUORB_KEY_NONE;
  return FieldsToSatKey(satNum, CharArrToStr<20>(epochDtg));
}

void QuorbFieldsToSatKeyML(int32_t satNum, const char epochDtg[20], int64_t* satKey) {
  if (!ArgsGiven("QuorbFieldsToSatKeyML", {satKey})) return;
  *satKey = QuorbFieldsToSatKey(satNum, epochDtg);
}

int64_t QuorbGetSatKey(int32_t satNum) {
  return GetSatKey(satNum);
}

void QuorbGetSatKeyML(int32_t satNum, int64_t* satKey) {
  if (!ArgsGiven("QuorbGetSatKeyML", {satKey})) return;
  *satKey = QuorbGetSatKey(satNum);
}

// ---- Field access -----------------------------------------------------------

int32_t QuorbGetField(int64_t satKey, int32_t fieldIdx, char valueStr[512]) {
  if (!ArgsGiven("QuorbGetField", {valueStr})) return QUORB_FAILED;
  BlankOut(valueStr, kLineLength);
  Line text;
  if (!QuorbReadRec(satKey, [&](const QuorbRecord& rec) { text = FieldText(rec, fieldIdx); })) {
    LogNotFound("QuorbGetField", satKey);
    return QUORB_FAILED;
  }
  LeftJustify(text);
  TextOut(valueStr, text);
  return 0;
}

int32_t QuorbSetField(int64_t satKey, int32_t fieldIdx, const char valueStr[512]) {
  if (!ArgsGiven("QuorbSetField", {valueStr})) return QUORB_FAILED;
  QuorbRecord rec;
  QuorbFindRec(satKey, rec);
  if (rec.satNum == kNotFoundSatNum) {
    LogNotFound("QuorbSetField", satKey);
    return QUORB_FAILED;
  }
  SetFieldFromText(rec, fieldIdx, FieldIn<kLineLength>(valueStr));
  if (ValidateQuorbValues(rec) != 0) return QUORB_FAILED;
  return QuorbUpdateRec(satKey, rec);
}

int32_t QuorbGetAllFields(int64_t satKey, double pos[3], double vel[3], char* secClass,
                          int32_t* satNum, char intlDesig[8], char epochDtg[17], int32_t* revNum,
                          int32_t* elsetNum, double* bTerm, double* agom, double* inTrackThrust,
                          char coordSys[5]) {
  const FieldOutputs out{pos,    vel,      secClass, satNum, intlDesig,     epochDtg,
                         revNum, elsetNum, bTerm,    agom,   inTrackThrust, coordSys};
  // Outputs are emptied only on failure: a found vector overwrites them all,
  // and writing them twice would cost a lookup's worth of time.
  if (!out.Given("QuorbGetAllFields")) {
    out.SetEmpty();
    return QUORB_FAILED;
  }
  if (!QuorbReadRec(satKey, [&out](const QuorbRecord& rec) { out.Write(rec); })) {
    out.SetEmpty();
    LogNotFound("QuorbGetAllFields", satKey);
    return QUORB_FAILED;
  }
  return 0;
}

// ---- Array form -------------------------------------------------------------

int32_t QuorbDataToArray(int64_t satKey, double* xa, char xs[512]) {
  BlankOut(xs, kLineLength);
  if (!ArgsGiven("QuorbDataToArray", {xa, xs})) return QUORB_FAILED;
  Line text;
  if (!QuorbReadRec(satKey, [&](const QuorbRecord& rec) { Quorb2Array(rec, xa, text); })) {
    LogNotFound("QuorbDataToArray", satKey);
    return QUORB_FAILED;
  }
  TextOut(xs, text);
  return 0;
}

int32_t QuorbUpdateSatFrArray(int64_t satKey, const double* xa, const char xs[512]) {
  if (!ArgsGiven("QuorbUpdateSatFrArray", {xa, xs})) return QUORB_FAILED;
  QuorbRecord rec = Array2Quorb(xa, CharArrToStr<kLineLength>(xs));
  QuorbRecord stored;
  QuorbFindRec(satKey, stored);
  if (stored.satNum == kNotFoundSatNum) {
    LogNotFound("QuorbUpdateSatFrArray", satKey);
    return QUORB_FAILED;
  }
  rec.satNum = stored.satNum;
  rec.epochDtg = stored.epochDtg;
  if (ValidateQuorbValues(rec) != 0) return QUORB_FAILED;
  return QuorbUpdateRec(satKey, rec);
}

int64_t QuorbAddSatFrArray(const double* xa, const char xs[512]) {
  if (!ArgsGiven("QuorbAddSatFrArray", {xa, xs})) return QUORB_KEY_NONE;
  return AddSatFrArray(xa, CharArrToStr<kLineLength>(xs));
}

void QuorbAddSatFrArrayML(const double* xa, const char xs[512], int64_t* satKey) {
  if (!ArgsGiven("QuorbAddSatFrArrayML", {satKey})) return;
  *satKey = QuorbAddSatFrArray(xa, xs);
}

void QuorbArrayToLines(const double* xa, const char xs[512], char line1[512], char line2[512]) {
  BlankOut(line1, kLineLength);
  BlankOut(line2, kLineLength);
  if (!ArgsGiven("QuorbArrayToLines", {xa, xs, line1, line2})) return;
  const QuorbRecord rec = Array2Quorb(xa, CharArrToStr<kLineLength>(xs));
  if (rec.satNum == -1 || !ArrayEpochWritten("QuorbArrayToLines", rec, xa)) return;
  LinesOut(rec, line1, line2);
}

int32_t QuorbLinesToArray(const char line1[512], const char line2[512], double* xa, char xs[512]) {
  BlankOut(xs, kLineLength);
  if (!ArgsGiven("QuorbLinesToArray", {line1, line2, xa, xs})) return QUORB_FAILED;
  QuorbRecord rec;
  const int32_t status =
      Lines2Quorb(CharArrToStr<kLineLength>(line1), CharArrToStr<kLineLength>(line2), rec);
  if (status != 0) return status;
  Line text;
  Quorb2Array(rec, xa, text);
  TextOut(xs, text);
  return 0;
}

// ---- Text conversions -------------------------------------------------------

int32_t QuorbGetLines(int64_t satKey, char line1[512], char line2[512]) {
  BlankOut(line1, kLineLength);
  BlankOut(line2, kLineLength);
  if (!ArgsGiven("QuorbGetLines", {line1, line2})) return QUORB_FAILED;
  Line text1;
  Line text2;
  if (!QuorbReadRec(satKey, [&](const QuorbRecord& rec) { Quorb2Lines(rec, text1, text2); })) {
    LogNotFound("QuorbGetLines", satKey);
    return QUORB_FAILED;
  }
  TextOut(line1, text1);
  TextOut(line2, text2);
  return 0;
}

int32_t ManeuverCardGet(int64_t satKey, int32_t index, char card[512]) {
  int32_t count = -1;
  Line text;
  const bool found = QuorbReadRec(satKey, [&](const QuorbRecord& rec) {
    count = rec.maneuvCards() ? rec.numManeuvCards : 0;
    if (index >= 1 && index <= count) text = (*rec.maneuvCards())[index - 1];
  });
  if (found && card != nullptr && index >= 1 && index <= count) TextOut(card, text);
  return count;
}

int32_t QuorbParse(const char line1[512], const char line2[512], double pos[3], double vel[3],
                   char* secClass, int32_t* satNum, char intlDesig[8], char epochDtg[17],
                   int32_t* revNum, int32_t* elsetNum, double* bTerm, double* agom,
                   double* inTrackThrust, char coordSys[5]) {
  const FieldOutputs out{pos,    vel,      secClass, satNum, intlDesig,     epochDtg,
                         revNum, elsetNum, bTerm,    agom,   inTrackThrust, coordSys};
  out.SetEmpty();
  if (!out.Given("QuorbParse") || !ArgsGiven("QuorbParse", {line1, line2})) return QUORB_FAILED;
  QuorbRecord rec;
  if (Lines2Quorb(CharArrToStr<kLineLength>(line1), CharArrToStr<kLineLength>(line2), rec) != 0) {
    return QUORB_FAILED;
  }
  out.Write(rec);
  return 0;
}

void QuorbFieldsToLines(const double pos[3], const double vel[3], char secClass, int32_t satNum,
                        const char intlDesig[8], const char epochDtg[17], int32_t revNum,
                        int32_t elsetNum, double bTerm, double agom, double inTrackThrust,
                        const char coordSys[5], char line1[512], char line2[512]) {
  BlankOut(line1, kLineLength);
  BlankOut(line2, kLineLength);
  if (!ArgsGiven("QuorbFieldsToLines", {pos, vel, intlDesig, epochDtg, coordSys, line1, line2})) {
    return;
  }
  const QuorbRecord rec =
      QuorbFieldsToRec(FieldsIn(pos, vel, secClass, satNum, intlDesig, epochDtg, revNum, elsetNum,
                                bTerm, agom, inTrackThrust, coordSys));
  if (rec.satNum == -1) return;
  LinesOut(rec, line1, line2);
}

}  // extern "C"
