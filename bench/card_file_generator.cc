#include "card_file_generator.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

#include "Services/Alpha5.h"
#include "Services/FixedText.h"

namespace quorb::bench {
namespace {

constexpr int64_t kMaxSatellites = 250'000;
constexpr int32_t kHighestSatNum = 339'999;  // the Alpha-5 range
constexpr double kEarthMu = 398'600.4418;    // km^3/s^2
constexpr double kGeoRadius = 42'164.0;      // km

struct CardSetId {
  int32_t satNum;
  int32_t epochIndex;  // every epoch of a satellite falls on its own day
};

std::vector<CardSetId> PlanCardSets(int64_t count, CardOrder order, std::mt19937& rng) {
  const int64_t satellites = std::max<int64_t>(1, std::min(count, kMaxSatellites));
  const int64_t epochsPerSat = (count + satellites - 1) / satellites;
  std::vector<CardSetId> ids;
  ids.reserve(count);
  for (int64_t s = 0; s < satellites; ++s) {
    // Spread over the whole range, letters included; the step exceeds 1, so
    // numbers never repeat.
    const auto satNum = static_cast<int32_t>(1 + s * (kHighestSatNum - 1) / satellites);
    for (int64_t e = 0; e < epochsPerSat && static_cast<int64_t>(ids.size()) < count; ++e) {
      ids.push_back({satNum, static_cast<int32_t>(e)});
    }
  }
  if (order == CardOrder::kShuffled) std::shuffle(ids.begin(), ids.end(), rng);
  return ids;
}

struct Vec3 {
  double x, y, z;
};

Vec3 Cross(const Vec3& a, const Vec3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

Vec3 Scaled(const Vec3& v, double length) {
  const double norm = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
  return {v.x * length / norm, v.y * length / norm, v.z * length / norm};
}

Vec3 RandomDirection(std::mt19937& rng) {
  std::normal_distribution<double> normal;
  return {normal(rng), normal(rng), normal(rng)};
}

// What stays the same over all epochs of one satellite.
struct Satellite {
  double radius;  // km
  char intlDesig[9];
  double bTerm;
  double agom;
  int32_t firstRev;
  int32_t firstElset;
};

// Mostly low orbits, some medium ones and a tenth geosynchronous.
double OrbitRadius(std::mt19937& rng) {
  const double pick = std::uniform_real_distribution<double>(0.0, 1.0)(rng);
  if (pick < 0.7) return std::uniform_real_distribution<double>(6'600.0, 8'000.0)(rng);
  if (pick < 0.9) return std::uniform_real_distribution<double>(20'000.0, 27'000.0)(rng);
  return kGeoRadius;
}

Satellite MakeSatellite(int32_t satNum, uint32_t seed) {
  std::mt19937 rng(seed ^ (static_cast<uint32_t>(satNum) * 2'654'435'761u));
  std::uniform_int_distribution<int> any(0, 1 << 30);
  Satellite sat{};
  sat.radius = OrbitRadius(rng);
  std::snprintf(sat.intlDesig, sizeof sat.intlDesig, "%02d%03d%c", 57 + any(rng) % 43,
                1 + any(rng) % 150, 'A' + any(rng) % 26);
  sat.bTerm = std::uniform_real_distribution<double>(0.0001, 0.1)(rng);
  sat.agom = std::uniform_real_distribution<double>(0.001, 0.05)(rng);
  sat.firstRev = any(rng) % 90'000;
  sat.firstElset = 1 + any(rng) % 900;
  return sat;
}

// A circular orbit: position in km, velocity in m/s.
void Write1P(const Satellite& sat, std::mt19937& rng, char* card) {
  const Vec3 pos = Scaled(RandomDirection(rng), sat.radius);
  const Vec3 vel =
      Scaled(Cross(pos, RandomDirection(rng)), std::sqrt(kEarthMu / sat.radius) * 1000.0);
  std::snprintf(card, 82, "%12.4f%12.4f%12.4f%13.4f%13.4f%13.4f UB1P\n", pos.x, pos.y, pos.z, vel.x,
                vel.y, vel.z);
}

// YYDDDHHMMSS.SSS of 2025; the time of day stays short of midnight so
// that each epoch keeps its day.
void WriteEpoch(double dayOfYear, char* out) {
  const auto day = static_cast<int>(dayOfYear);
  const double seconds = (dayOfYear - day) * 86'400.0;
  const int hours = static_cast<int>(seconds / 3600.0);
  const int minutes = static_cast<int>((seconds - hours * 3600.0) / 60.0);
  const double rest = seconds - hours * 3600.0 - minutes * 60.0;
  std::snprintf(out, 16, "25%03d%02d%02d%06.3f", day, hours, minutes, std::min(rest, 59.999));
}

// Each satellite's epochs fall on consecutive days, about 15 revolutions
// and one element set apart.
void Write2P(const CardSetId& id, const Satellite& sat, std::mt19937& rng, char* card) {
  const double dayOfYear =
      1 + id.satNum % 300 + id.epochIndex + std::uniform_real_distribution<double>(0, 0.95)(rng);
  char epoch[16];
  WriteEpoch(dayOfYear, epoch);
  const Text<5> alpha5 = NumToAlpha5(id.satNum);
  std::snprintf(card, 82, "%.5s %-8s  %15s %6d %4d%10.6f%10.6f%10.1fMMJ2K2P\n", alpha5.data(),
                sat.intlDesig, epoch, sat.firstRev + 15 * id.epochIndex,
                sat.firstElset + id.epochIndex, sat.bTerm, sat.agom, 0.0);
}

}  // namespace

bool WriteCardFile(const std::string& path, int64_t setCount, CardOrder order, uint32_t seed) {
  std::mt19937 rng(seed);
  const std::vector<CardSetId> ids = PlanCardSets(setCount, order, rng);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "w"),
                                                             &std::fclose);
  if (!file) return false;
  bool ok = std::fputs("* generated card sets\n", file.get()) >= 0;
  char cards[2 * 81 + 1];
  for (const CardSetId& id : ids) {
    const Satellite sat = MakeSatellite(id.satNum, seed);
    Write1P(sat, rng, cards);
    Write2P(id, sat, rng, cards + 81);
    ok = ok && std::fwrite(cards, 1, 2 * 81, file.get()) == 2 * 81;
  }
  return ok;
}

}  // namespace quorb::bench
