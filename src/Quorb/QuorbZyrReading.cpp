#include "Quorb/QuorbZyrReading.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>

#include "Quorb/ManeuverBuffer.h"
#include "Quorb/QuorbTree.h"
#include "Services/Calendar.h"
#include "Services/FileUnits.h"
#include "Services/Maneuvers.h"
#include "Services/StringUtils.h"
#include "Templates/TreeTemplate.h"
#include "quorb/quorb.h"

namespace quorb {
namespace {

// ---- Keyed vector data ------------------------------------------------------

// Integer and text values end at column 60, real values at column 62.
constexpr std::size_t kIntLastColumn = 60;
constexpr std::size_t kRealLastColumn = 62;
// A covariance line: "covariance_matrix(" then the index in columns 19-20;
// the value starts at column 23.
constexpr std::string_view kCovKey = "covariance_matrix(";
constexpr std::size_t kCovIndexColumn = 19;
constexpr std::size_t kCovIndexWidth = 2;
constexpr std::size_t kCovValueColumn = 23;
constexpr int32_t kCovKeyedElements = 28;
// A covariance whose magnitudes add up to no more than this is no covariance.
constexpr double kCovThreshold = 1e-21;
constexpr std::string_view kIntlDesigKey = "pos_vel_eci_international_des";

// The vector as it is gathered from its lines.
struct VectorDraft {
  QuorbRecord rec;
  CovMatrix cov{};
  std::optional<int32_t> year;
  std::optional<double> day;
  ManeuverBuffer maneuvers;
};

struct IntKey {
  std::string_view key;
  void (*apply)(VectorDraft&, int32_t);
};

struct RealKey {
  std::string_view key;
  void (*apply)(VectorDraft&, double);
};

constexpr double kKmToM = 1000.0;

// The coordinate-system keys set their code when their value is 1.
void SetCoordSysIfOne(VectorDraft& d, int32_t v, std::string_view code) {
  if (v == 1) SetText(d.rec.coordSys, code);
}

constexpr IntKey kIntKeys[] = {
    {"pos_vel_eci_satellite_number", [](VectorDraft& d, int32_t v) { d.rec.satNum = v; }},
    {"pos_vel_eci_epoch_iyear", [](VectorDraft& d, int32_t v) { d.year = v; }},
    {"pos_vel_eci_element_number", [](VectorDraft& d, int32_t v) { d.rec.elsetNum = v; }},
    {"pos_vel_eci_epoch_rev", [](VectorDraft& d, int32_t v) { d.rec.revNum = v; }},
    {"pos_vel_eci_coor_sys_date",
     [](VectorDraft& d, int32_t v) { SetCoordSysIfOne(d, v, "TMDAT"); }},
    {"pos_vel_eci_coor_sys_1950",
     [](VectorDraft& d, int32_t v) { SetCoordSysIfOne(d, v, "MMB50"); }},
    {"pos_vel_eci_coor_sys_2000",
     [](VectorDraft& d, int32_t v) { SetCoordSysIfOne(d, v, "MMJ2K"); }},
};

constexpr RealKey kRealKeys[] = {
    {"pos_vel_eci_epoch_day", [](VectorDraft& d, double v) { d.day = v; }},
    {"pos_vel_eci_balcoe_m2pkg", [](VectorDraft& d, double v) { d.rec.bTerm = v; }},
    {"pos_vel_eci_rad_pres_m2pkg", [](VectorDraft& d, double v) { d.rec.agom = v; }},
    // m/s^2 in the file, km/s^2 in the record.
    {"pos_vel_eci_intrk_dr_thr_mpssq",
     [](VectorDraft& d, double v) { d.rec.inTrackThrust = v / kKmToM; }},
    {"pos_vel_eci_pos_km_x", [](VectorDraft& d, double v) { d.rec.pos[0] = v; }},
    {"pos_vel_eci_pos_km_y", [](VectorDraft& d, double v) { d.rec.pos[1] = v; }},
    {"pos_vel_eci_pos_km_z", [](VectorDraft& d, double v) { d.rec.pos[2] = v; }},
    // km/s in the file, m/s in the record.
    {"pos_vel_eci_vel_kmpsec_x", [](VectorDraft& d, double v) { d.rec.vel[0] = v * kKmToM; }},
    {"pos_vel_eci_vel_kmpsec_y", [](VectorDraft& d, double v) { d.rec.vel[1] = v * kKmToM; }},
    {"pos_vel_eci_vel_kmpsec_z", [](VectorDraft& d, double v) { d.rec.vel[2] = v * kKmToM; }},
    {"covariance_weighted_rms", [](VectorDraft& d, double v) { d.rec.weightedRms = v; }},
};

// The columns from first (1-based) up to last of line; first lies within
// the line (a key is shorter than a line) and last after it.
std::string_view Columns(std::string_view line, std::size_t first, std::size_t last) {
  return line.substr(first - 1, std::min(last, line.size()) - (first - 1));
}

// The value text after a key that line begins with.
std::string_view ValueAfter(std::string_view line, std::string_view key, std::size_t last) {
  return Columns(line, key.size() + 1, last);
}

void ApplyCovariance(std::string_view line, VectorDraft& d) {
  const int32_t index =
      StrToInt(Columns(line, kCovIndexColumn, kCovIndexColumn + kCovIndexWidth - 1));
  if (index < 1 || index > kCovKeyedElements) return;
  const double value = StrToReal(Columns(line, kCovValueColumn, kRealLastColumn));
  if (value != kMissingReal) d.cov[index - 1] = value;
}

void ApplyIntlDesig(std::string_view line, VectorDraft& d) {
  Line value;
  GetInputStr(value, ValueAfter(line, kIntlDesigKey, kIntLastColumn));
  std::copy_n(value.begin(), d.rec.intlDesig.size(), d.rec.intlDesig.begin());
}

// Applies the key that line begins with, if any.
void ApplyVectorKey(std::string_view line, VectorDraft& d) {
  for (const IntKey& k : kIntKeys) {
    if (!line.starts_with(k.key)) continue;
    const int32_t v = StrToInt(ValueAfter(line, k.key, kIntLastColumn));
    if (v != kMissingInt) k.apply(d, v);
    return;
  }
  for (const RealKey& k : kRealKeys) {
    if (!line.starts_with(k.key)) continue;
    const double v = StrToReal(ValueAfter(line, k.key, kRealLastColumn));
    if (v != kMissingReal) k.apply(d, v);
    return;
  }
  if (line.starts_with(kIntlDesigKey)) {
    ApplyIntlDesig(line, d);
  } else if (line.starts_with(kCovKey)) {
    ApplyCovariance(line, d);
  }
}

void GiveCovariance(VectorDraft& d) {
  double sum = 0.0;
  for (const double c : d.cov) sum += std::abs(c);
  if (sum > kCovThreshold) d.rec.SetCovMatrix(std::make_unique<CovMatrix>(d.cov));
}

// Keys the gathered vector and links it into the store under a composed key.
void AddVector(VectorDraft& d, LoadCounts& counts) {
  if (!d.year || !d.day) {
    ++counts.bad;
    return;
  }
  SetText(d.rec.epochDtg, View(DS50ToDate15(YrDays2DS50(*d.year, *d.day))));
  const int64_t key = CreateSatKey(d.rec.satNum, kVectorElsetType, View(d.rec.epochDtg));
  if (key == QUORB_KEY_NONE) {
    ++counts.bad;
    return;
  }
  GiveCovariance(d);
  if (!d.maneuvers.empty()) d.maneuvers.CopyTo(d.rec);
  auto node = std::make_unique<QuorbBinTree>();
  node->key = key;
  node->rec = std::make_unique<QuorbRecord>(std::move(d.rec));
  int32_t status = kTreeLinked;
  QuorbAddNode(node.get(), status);
  if (status == kTreeDuplicate) {
    ++counts.dup;
    return;
  }
  node.release();  // the store owns it now
  ++counts.loaded;
}

// ---- Keyed control data -----------------------------------------------------

// Control values run to column 128.
constexpr std::size_t kCtrlLastColumn = 128;

// Shared by every control read of the process, on any thread.
std::atomic<bool> applyPerts{false};

struct CtrlDraft {
  Card4pInput ctrl;
  bool drag = false;
  bool j70File = false;
};

struct CtrlRow {
  std::string_view key;  // compared over its whole length
  bool onlyWithDrag;     // consulted only while drag and perturbations are on
  void (*apply)(CtrlDraft&, double);
};

bool IsOne(double v) {
  return v == 1.0;
}
bool PertsOn() {
  return applyPerts.load(std::memory_order_relaxed);
}

void SetTruncated(int32_t& field, double v) {
  if (const std::optional<int32_t> t = TruncToInt32(v)) field = *t;
}

void SetIfOne(int32_t& field, double v, int32_t value) {
  if (IsOne(v)) field = value;
}

// A force-model flag is raised only while perturbations are on.
void RaiseIfPerts(int32_t& flag, double v) {
  if (IsOne(v) && PertsOn()) flag = 1;
}

// 10^-errCtrlExp is the integrator's error bound; a bound of zero or less
// has no exponent (its logarithm is infinite or no number, and so no integer).
void SetErrCtrlExp(CtrlDraft& d, double v) {
  SetTruncated(d.ctrl.errCtrlExp, -std::log10(v));
}

constexpr double kSecondsPerMinute = 60.0;

// In the order they are tested; no key is a prefix of another.
constexpr CtrlRow kCtrlRows[] = {
    {"perturbation_controls", false,
     [](CtrlDraft&, double v) { applyPerts.store(IsOne(v), std::memory_order_relaxed); }},
    {"perturbation_geopot_flag", false,
     [](CtrlDraft& d, double v) { RaiseIfPerts(d.ctrl.geopotFlag, v); }},
    {"perturbation_searth_tides_flag", false,
     [](CtrlDraft& d, double v) { RaiseIfPerts(d.ctrl.sEarthTidesFlag, v); }},
    {"perturbation_flux_file_flag", false, [](CtrlDraft&, double) {}},
    {"perturbation_jbhsgi_flag", false,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.dragModel, v, 4); }},
    {"perturbation_j70dca_file_flag", false,
     [](CtrlDraft& d, double v) { d.j70File = d.j70File || IsOne(v); }},
    {"perturbation_geopot_zonal_deg", false,
     [](CtrlDraft& d, double v) { SetTruncated(d.ctrl.geopotZonalDeg, v); }},
    {"perturbation_drag_flag", false,
     [](CtrlDraft& d, double v) { d.drag = IsOne(v) && PertsOn(); }},
    {"perturbation_atmos_j70dca", true,
     [](CtrlDraft& d, double v) {
       if (IsOne(v) && d.j70File && d.ctrl.dragModel != 4) d.ctrl.dragModel = 3;
     }},
    {"perturbation_atmos_j70_msis90", true,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.dragModel, v, 2); }},
    // Three blanks keep it apart from "perturbation_constant_f10bar".
    {"perturbation_constant_f10   ", false,
     [](CtrlDraft& d, double v) { SetTruncated(d.ctrl.f10, v); }},
    {"perturbation_constant_f10bar", false,
     [](CtrlDraft& d, double v) { SetTruncated(d.ctrl.f10Bar, v); }},
    {"perturbation_constant_ap", false, [](CtrlDraft& d, double v) { SetTruncated(d.ctrl.ap, v); }},
    {"perturbation_rad_pres_flag", false,
     [](CtrlDraft& d, double v) { RaiseIfPerts(d.ctrl.radPresFlag, v); }},
    {"perturbation_lunar_solar_flag", false,
     [](CtrlDraft& d, double v) { RaiseIfPerts(d.ctrl.lunarSolarFlag, v); }},
    {"perturbation_intrk_dur_thrust", false,
     [](CtrlDraft& d, double v) { RaiseIfPerts(d.ctrl.intrkThrustFlag, v); }},
    {"perturbation_nut_4_terms", false,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.nutTerms, v, 4); }},
    {"perturbation_nut_tarmek", false,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.nutTerms, v, 4); }},
    {"perturbation_nut_50_terms", false,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.nutTerms, v, 50); }},
    {"perturbation_nut_full_terms", false,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.nutTerms, v, 106); }},
    {"integrator_time_int_flag", false,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.integVar, v, 1); }},
    {"integrator_s_int_flag", false,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.integVar, v, 2); }},
    {"integrator_fix_step_flag", false,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.stepMode, v, 1); }},
    {"integrator_var_step_flag", false,
     [](CtrlDraft& d, double v) { SetIfOne(d.ctrl.stepMode, v, 0); }},
    {"integrator_error_control", false, SetErrCtrlExp},
    {"integrator_input_stepsize_sec", false,
     [](CtrlDraft& d, double v) { d.ctrl.stepSize = v * kSecondsPerMinute; }},
};

void ApplyCtrlKey(std::string_view line, CtrlDraft& d) {
  for (const CtrlRow& row : kCtrlRows) {
    if (row.onlyWithDrag && !(d.drag && PertsOn())) continue;
    if (!line.starts_with(row.key)) continue;
    const double v = StrToReal(ValueAfter(line, row.key, kCtrlLastColumn));
    if (v != kMissingReal) row.apply(d, v);
    return;
  }
}

// The fields a control read never takes from its data.
void SetFixedCtrls(Card4pInput& ctrl) {
  ctrl.ctrl1 = 1;
  ctrl.ctrl2 = 1;
  ctrl.ctrl3 = 1;
  ctrl.ctrl4 = 12;
}

}  // namespace

bool IsSkippedLine(std::string_view line) {
  return (!line.empty() && line.front() == '*') || IsBlank(line);
}

void ReadZyrQuorbs(int32_t unit, LoadCounts& counts) {
  VectorDraft d;
  Line line;
  while (UnitReadLine(unit, line)) {
    const std::string_view text = View(line);
    if (IsSkippedLine(text)) continue;
    if (IsManeuvCardType(text)) {
      d.maneuvers.Append(text);
      continue;
    }
    ApplyVectorKey(text, d);
  }
  AddVector(d, counts);
}

Card4pInput ReadZyrCtrls(int32_t unit) {
  CtrlDraft d;
  Line line;
  while (UnitReadLine(unit, line)) {
    const std::string_view text = View(line);
    if (!IsSkippedLine(text)) ApplyCtrlKey(text, d);
  }
  SetFixedCtrls(d.ctrl);
  return d.ctrl;
}

std::optional<int32_t> AttachZyrCtrls(int32_t satNum, int32_t unit) {
  const int64_t key = QuorbSatKeyGet(satNum);
  QuorbRecord rec;
  QuorbFindRec(key, rec);
  if (rec.satNum == kNotFoundSatNum) return std::nullopt;
  rec.SetCard4p(std::make_unique<Card4pInput>(ReadZyrCtrls(unit)));
  return QuorbUpdateRec(key, rec);
}

double CheckFieldNum(std::string_view line, std::string_view key) {
  if (!line.starts_with(key)) return kMissingReal;
  return StrToReal(ValueAfter(line, key, kCtrlLastColumn));
}

Line CheckFieldStr(std::string_view line, std::string_view key) {
  Line value = BlankText<kLineLength>();
  if (line.starts_with(key)) GetInputStr(value, ValueAfter(line, key, kCtrlLastColumn));
  return value;
}

}  // namespace quorb
