// Input-file loading: the fuzz bytes before the first zero byte become the
// file 25544_top.txt, the bytes after it 25544_inc.txt, both in a temporary
// directory of this process. The top file is loaded with QuorbLoadFile; its
// keyword lines (VECFIL, ZYRVECFILE, ZYRCTRLFILE, ...) may name the second
// file by its bare name, which is found beside the top file, and both files
// may hold card sets, maneuver cards, KT_DMA_ON and keyed vector or control
// data. The loaded vectors are then listed, read, saved and loaded back.
// Key modes are reset and the store emptied after every input.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "quorb/quorb.h"
#include "support/HostFields.h"

namespace quorb::fuzz {
namespace {

// Both names begin with a satellite number, so that keyed control data in
// either file find the vector of satellite 25544 when one was loaded.
constexpr const char* kTopName = "25544_top.txt";
constexpr const char* kIncludedName = "25544_inc.txt";
constexpr const char* kSavedName = "saved.txt";
// Vectors read back one by one after each load; more add time, not paths.
constexpr int32_t kMaxVectorsRead = 32;

std::filesystem::path& TempDir() {
  static std::filesystem::path dir;
  return dir;
}

void RemoveTempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(TempDir(), ignored);
}

void WriteFile(const std::filesystem::path& path, std::string_view content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(content.data(), static_cast<std::streamsize>(content.size()));
}

void ReadVector(int64_t key) {
  char line1[512];
  char line2[512];
  FUZZ_CHECK(QuorbGetLines(key, line1, line2) == 0);
  FUZZ_CHECK(testing::GetAllFields(key).status == 0);
  double xa[155];
  char xs[512];
  FUZZ_CHECK(QuorbDataToArray(key, xa, xs) == 0);
  char value[512];
  FUZZ_CHECK(QuorbGetField(key, 11, value) == 0);
}

// Every listing order gives every stored key once; each vector reads back.
void ReadStore() {
  const int32_t count = QuorbGetCount();
  if (count == 0) return;
  std::vector<int64_t> byKey(count);
  QuorbGetLoaded(3, byKey.data());
  FUZZ_CHECK(std::is_sorted(byKey.begin(), byKey.end()) &&
             std::adjacent_find(byKey.begin(), byKey.end()) == byKey.end());
  for (int32_t order = 0; order < 3; ++order) {
    std::vector<int64_t> keys(count);
    QuorbGetLoaded(order, keys.data());
    std::sort(keys.begin(), keys.end());
    FUZZ_CHECK(keys == byKey);
  }
  for (int32_t i = 0; i < count && i < kMaxVectorsRead; ++i) ReadVector(byKey[i]);
}

void ResetStoreAndModes() {
  ElsetKeyModeSet(0);
  QuorbRemoveAllSats();
}

}  // namespace
}  // namespace quorb::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  using namespace quorb::fuzz;
  std::string pattern = (std::filesystem::temp_directory_path() / "quorb-fuzz-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) std::abort();
  TempDir() = pattern;
  std::atexit(RemoveTempDir);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quorb::fuzz;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::size_t split = std::min(bytes.find('\0'), bytes.size());
  const std::filesystem::path top = TempDir() / kTopName;
  WriteFile(top, bytes.substr(0, split));
  WriteFile(TempDir() / kIncludedName, bytes.substr(std::min(split + 1, bytes.size())));

  const int32_t status = QuorbLoadFile(ToHostLine(top.string()).data());
  FUZZ_CHECK(status == 0 || status == 2);
  ReadStore();

  const HostLine saved = ToHostLine((TempDir() / kSavedName).string());
  FUZZ_CHECK(QuorbSaveFile(saved.data(), 0) == 0);
  ResetStoreAndModes();
  const int32_t reloaded = QuorbLoadFile(saved.data());
  FUZZ_CHECK(reloaded == 0 || reloaded == 2);
  ReadStore();

  ResetStoreAndModes();
  return 0;
}
