#include "DllExports/QUORB/QuorbDllVarsUtils.h"

#include <cmath>
#include <limits>

#include "Quorb/QuorbCardReading.h"
#include "Quorb/QuorbTree.h"
#include "Services/Calendar.h"
#include "Services/MessageText.h"
#include "Services/StringUtils.h"
#include "Services/TraceLog.h"

namespace quorb {
namespace {

constexpr double kCovThreshold = 1e-21;

// An integer of the array: an element truncated toward zero. NaN and
// values outside 32 bits give the least integer, which no check accepts.
int32_t ArrayInt(double element) {
  return TruncToInt32(element).value_or(std::numeric_limits<int32_t>::min());
}

constexpr int kCoordSysOfDate = 1;
constexpr int kCoordSysMean = 2;

double CoordSysCode(const Text<5>& coordSys) {
  const std::string_view text = View(coordSys);
  if (text == "TMDAT" || text == "TMEPO") return kCoordSysOfDate;
  if (text == "MMB50" || text == "MMJ2K") return kCoordSysMean;
  return 0;
}

Text<5> CoordSysFromCode(double code) {
  if (code == kCoordSysOfDate) return MakeText<5>("TMDAT");
  if (code == kCoordSysMean) return MakeText<5>("MMJ2K");
  return BlankText<5>();
}

// The integer controls that travel in the array, in position order.
template <class Controls>
auto FirstGroup(Controls& c) {
  return std::array{&c.ctrl4,          &c.geopotFlag, &c.dragModel,       &c.radPresFlag,
                    &c.lunarSolarFlag, &c.f10,        &c.f10Bar,          &c.ap,
                    &c.geopotZonalDeg, &c.errCtrlExp, &c.intrkThrustFlag, &c.sEarthTidesFlag};
}

template <class Controls>
auto SecondGroup(Controls& c) {
  return std::array{&c.nutTerms, &c.ctrl21, &c.integVar, &c.stepMode};
}

void ControlsToArray(const Card4pInput& controls, double* xa) {
  int position = QUORB_XA_CONTROLS;
  for (const int32_t* field : FirstGroup(controls)) xa[position++] = *field;
  position = QUORB_XA_CONTROLS_MORE;
  for (const int32_t* field : SecondGroup(controls)) xa[position++] = *field;
  xa[position] = controls.stepSize;
}

std::unique_ptr<Card4pInput> ControlsFromArray(const double* xa) {
  auto controls = std::make_unique<Card4pInput>();
  controls->ctrl1 = controls->ctrl2 = controls->ctrl3 = 1;
  int position = QUORB_XA_CONTROLS;
  for (int32_t* field : FirstGroup(*controls)) *field = ArrayInt(xa[position++]);
  position = QUORB_XA_CONTROLS_MORE;
  for (int32_t* field : SecondGroup(*controls)) *field = ArrayInt(xa[position++]);
  controls->stepSize = xa[position];
  if (controls->stepMode < 0 || controls->stepMode > 2) controls->stepMode = 0;
  return controls;
}

std::unique_ptr<CovMatrix> CovarianceFromArray(const double* xa) {
  double sum = 0.0;
  for (int i = 0; i < kCovSize; ++i) sum += std::fabs(xa[QUORB_XA_COVARIANCE + i]);
  if (!(sum > kCovThreshold)) return nullptr;
  auto cov = std::make_unique<CovMatrix>();
  std::copy_n(xa + QUORB_XA_COVARIANCE, kCovSize, cov->begin());
  return cov;
}

}  // namespace

int64_t AddSatFrLines(const Line& line1, const Line& line2) {
  QuorbRecord rec;
  if (Lines2Quorb(line1, line2, rec) != 0) return QUORB_KEY_NONE;
  return AddQuorbToMem(rec);
}

QuorbRecord QuorbFieldsToRec(const VectorFields& fields) {
  QuorbRecord rec;
  static_cast<VectorFields&>(rec) = fields;
  if (ValidateQuorbValues(rec) != 0) rec.satNum = -1;
  return rec;
}

int64_t AddSatFrFields(const VectorFields& fields) {
  const QuorbRecord rec = QuorbFieldsToRec(fields);
  if (rec.satNum == -1) return QUORB_KEY_NONE;
  return AddQuorbToMem(rec);
}

int64_t FieldsToSatKey(int32_t satNum, Text<20> epoch) {
  LeftJustify(epoch);
  BlankToZeroChar(std::span(epoch).subspan(2));
  return CreateSatKey(satNum, kVectorElsetType, View(epoch));
}

int64_t GetSatKey(int32_t satNum) {
  const int64_t key = QuorbSatKeyGet(satNum);
  if (key == QUORB_KEY_NONE) {
    MessageText msg;
    msg.Add("GetSatKey: Unable to locate satellite number ")
        .AddRight(satNum, 9)
        .Add(" in the QUORB binary tree.");
    TraceLogError(msg.View());
  }
  return key;
}

void Quorb2Array(const QuorbRecord& rec, double* xa, Line& xs) {
  xs = BlankText<kLineLength>();
  xa[QUORB_XA_SAT_NUM] = rec.satNum;
  xa[QUORB_XA_EPOCH] = DTG2DS50UTC(View(rec.epochDtg));
  xa[QUORB_XA_REV_NUM] = rec.revNum;
  xa[QUORB_XA_ELSET_NUM] = rec.elsetNum;
  xa[QUORB_XA_B_TERM] = rec.bTerm;
  xa[QUORB_XA_AGOM] = rec.agom;
  xa[QUORB_XA_IN_TRACK_THRUST] = rec.inTrackThrust;
  xa[QUORB_XA_COORD_SYS] = CoordSysCode(rec.coordSys);
  std::copy_n(rec.pos, 3, xa + QUORB_XA_POS);
  std::copy_n(rec.vel, 3, xa + QUORB_XA_VEL);
  xs[0] = rec.secClass;
  std::copy(rec.intlDesig.begin(), rec.intlDesig.end(), xs.begin() + 1);
  if (!rec.card4p()) return;
  ControlsToArray(*rec.card4p(), xa);
  // A covariance travels only together with the controls.
  if (rec.covMatrix())
    std::copy(rec.covMatrix()->begin(), rec.covMatrix()->end(), xa + QUORB_XA_COVARIANCE);
}

QuorbRecord Array2Quorb(const double* xa, const Line& xs) {
  QuorbRecord rec;
  rec.satNum = ArrayInt(xa[QUORB_XA_SAT_NUM]);
  Date15(xa[QUORB_XA_EPOCH], rec.epochDtg);
  rec.revNum = ArrayInt(xa[QUORB_XA_REV_NUM]);
  rec.elsetNum = ArrayInt(xa[QUORB_XA_ELSET_NUM]);
  rec.bTerm = xa[QUORB_XA_B_TERM];
  rec.agom = xa[QUORB_XA_AGOM];
  rec.inTrackThrust = xa[QUORB_XA_IN_TRACK_THRUST];
  rec.coordSys = CoordSysFromCode(xa[QUORB_XA_COORD_SYS]);
  rec.secClass = xs[0];
  std::copy_n(xs.begin() + 1, rec.intlDesig.size(), rec.intlDesig.begin());
  std::copy_n(xa + QUORB_XA_POS, 3, rec.pos);
  std::copy_n(xa + QUORB_XA_VEL, 3, rec.vel);
  if (ArrayInt(xa[QUORB_XA_CONTROLS_FLAG]) == 1) {
    rec.SetCard4p(ControlsFromArray(xa));
    rec.SetCovMatrix(CovarianceFromArray(xa));
  }
  return rec;
}

bool ArrayEpochWritten(std::string_view function, const QuorbRecord& rec, const double* xa) {
  if (rec.epochDtg[0] != '*') return true;
  MessageText msg;
  msg.Add(function)
      .Add(": Epoch ")
      .AddReal(xa[QUORB_XA_EPOCH])
      .Add(" (days since 1950) lies outside 1957 to 2056.");
  TraceLogError(msg.View());
  return false;
}

int64_t AddSatFrArray(const double* xa, const Line& xs) {
  const QuorbRecord rec = Array2Quorb(xa, xs);
  if (!ArrayEpochWritten("QuorbAddSatFrArray", rec, xa)) return QUORB_KEY_NONE;
  return AddQuorbToMem(rec);
}

}  // namespace quorb
