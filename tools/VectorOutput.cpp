#include "VectorOutput.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "HostText.h"
#include "quorb/quorb.h"
#include "quorb/quorb_services.h"

namespace quorb_cli {
namespace {

struct StoredVector {
  int64_t key = 0;
  int32_t satNum = 0;
  char secClass = ' ';
  std::string intlDesig;
  std::string epoch;
  int32_t revNum = 0;
  int32_t elsetNum = 0;
  double pos[3] = {};
  double vel[3] = {};
  double bTerm = 0.0;
  double agom = 0.0;
  double inTrackThrust = 0.0;
  std::string coordSys;
  bool hasControls = false;
  bool hasCovariance = false;
  int32_t maneuverCards = 0;
};

// The array form writes the controls, and the covariance after them, only
// when the vector has controls: positions left untouched show what it lacks.
void ReadExtras(StoredVector& v) {
  std::array<double, QUORB_XA_SIZE> xa;
  xa.fill(std::numeric_limits<double>::quiet_NaN());
  char xs[kLineLength];
  if (QuorbDataToArray(v.key, xa.data(), xs) == 0 && !std::isnan(xa[QUORB_XA_CONTROLS])) {
    v.hasControls = true;
    v.hasCovariance = std::any_of(xa.begin() + QUORB_XA_COVARIANCE, xa.end(),
                                  [](double value) { return !std::isnan(value); });
  }
  v.maneuverCards = std::max(ManeuverCardGet(v.key, 0, nullptr), 0);
}

std::optional<StoredVector> ReadVector(int64_t key) {
  StoredVector v;
  v.key = key;
  char intlDesig[QUORB_INTL_DESIG_LENGTH], epoch[QUORB_EPOCH_LENGTH],
      coordSys[QUORB_COORD_SYS_LENGTH];
  if (QuorbGetAllFields(key, v.pos, v.vel, &v.secClass, &v.satNum, intlDesig, epoch, &v.revNum,
                        &v.elsetNum, &v.bTerm, &v.agom, &v.inTrackThrust, coordSys) != 0) {
    return std::nullopt;
  }
  v.intlDesig = OutText(intlDesig, sizeof intlDesig);
  v.epoch = std::string(TrimLeft(OutText(epoch, sizeof epoch)));
  v.coordSys = OutText(coordSys, sizeof coordSys);
  ReadExtras(v);
  return v;
}

std::vector<int64_t> LoadedKeys(int32_t order) {
  std::vector<int64_t> keys(static_cast<std::size_t>(std::max(QuorbGetCount(), 0)));
  if (!keys.empty()) QuorbGetLoaded(order, keys.data());
  return keys;
}

// ---- Table ----------------------------------------------------------------

std::string Extras(const StoredVector& v) {
  std::string extras;
  if (v.hasControls) extras += "+ctl";
  if (v.hasCovariance) extras += "+cov";
  if (v.maneuverCards > 0) extras += "+man";
  return extras.empty() ? "-" : extras.substr(1);
}

void PrintTableHeader(std::ostream& out) {
  char text[256];
  std::snprintf(text, sizeof text,
                "%19s %9s %-8s %-17s %12s %12s %12s %12s %12s %12s %10s %10s %-5s %s\n", "key",
                "satNum", "desig", "epoch", "x km", "y km", "z km", "vx m/s", "vy m/s", "vz m/s",
                "bTerm", "agom", "coord", "extras");
  out << text;
}

void PrintTableRow(std::ostream& out, const StoredVector& v) {
  char text[QUORB_LINE_LENGTH];
  std::snprintf(
      text, sizeof text,
      "%19lld %9d %-8s %-17s %12.4f %12.4f %12.4f %12.4f %12.4f %12.4f %10.6g %10.6g %-5s %s\n",
      static_cast<long long>(v.key), v.satNum, v.intlDesig.c_str(), v.epoch.c_str(), v.pos[0],
      v.pos[1], v.pos[2], v.vel[0], v.vel[1], v.vel[2], v.bTerm, v.agom, v.coordSys.c_str(),
      Extras(v).c_str());
  out << text;
}

// ---- CSV and JSON -----------------------------------------------------------

// The shortest text that reads back as the same double.
std::string Number(double value) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

// A field of the machine formats: its name and its value, already written
// as a number or a string.
struct Field {
  const char* name;
  std::string value;
  bool isText;
};

std::vector<Field> FieldsOf(const StoredVector& v) {
  return {{"key", std::to_string(v.key), false},
          {"satNum", std::to_string(v.satNum), false},
          {"secClass", std::string(1, v.secClass), true},
          {"intlDesig", v.intlDesig, true},
          {"epoch", v.epoch, true},
          {"revNum", std::to_string(v.revNum), false},
          {"elsetNum", std::to_string(v.elsetNum), false},
          {"x", Number(v.pos[0]), false},
          {"y", Number(v.pos[1]), false},
          {"z", Number(v.pos[2]), false},
          {"vx", Number(v.vel[0]), false},
          {"vy", Number(v.vel[1]), false},
          {"vz", Number(v.vel[2]), false},
          {"bTerm", Number(v.bTerm), false},
          {"agom", Number(v.agom), false},
          {"inTrackThrust", Number(v.inTrackThrust), false},
          {"coordSys", v.coordSys, true},
          {"hasControls", v.hasControls ? "true" : "false", false},
          {"hasCovariance", v.hasCovariance ? "true" : "false", false},
          {"maneuverCards", std::to_string(v.maneuverCards), false}};
}

std::string CsvValue(const Field& field) {
  if (field.value.find_first_of(",\"\r\n") == std::string::npos) return field.value;
  std::string quoted = "\"";
  for (const char c : field.value) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

std::string JsonValue(const Field& field) {
  if (!field.isText) return field.value;
  std::string quoted = "\"";
  for (const char c : field.value) {
    if (c == '"' || c == '\\') {
      quoted += {'\\', c};
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      quoted += escaped;
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

void PrintCsvRow(std::ostream& out, const std::vector<Field>& fields, bool header) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    out << (i > 0 ? "," : "") << (header ? fields[i].name : CsvValue(fields[i]));
  }
  out << '\n';
}

void PrintJsonObject(std::ostream& out, const std::vector<Field>& fields) {
  out << '{';
  for (std::size_t i = 0; i < fields.size(); ++i) {
    out << (i > 0 ? "," : "") << '"' << fields[i].name << "\":" << JsonValue(fields[i]);
  }
  out << '}';
}

}  // namespace

void PrintStore(std::ostream& out, int32_t order, VectorFormat format) {
  if (format == VectorFormat::kTable) PrintTableHeader(out);
  if (format == VectorFormat::kCsv) PrintCsvRow(out, FieldsOf(StoredVector{}), /*header=*/true);
  if (format == VectorFormat::kJson) out << '[';
  bool first = true;
  for (const int64_t key : LoadedKeys(order)) {
    const std::optional<StoredVector> vector = ReadVector(key);
    if (!vector) continue;
    switch (format) {
      case VectorFormat::kTable:
        PrintTableRow(out, *vector);
        break;
      case VectorFormat::kCsv:
        PrintCsvRow(out, FieldsOf(*vector), /*header=*/false);
        break;
      case VectorFormat::kJson:
        out << (first ? "\n" : ",\n");
        PrintJsonObject(out, FieldsOf(*vector));
        break;
    }
    first = false;
  }
  if (format == VectorFormat::kJson) out << "\n]\n";
}

}  // namespace quorb_cli
