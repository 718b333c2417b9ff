// Input-file loading: the bytes up to the first zero byte are the top file,
// the rest a file it may name. Every loaded vector must read back, and the
// store must save and load again.
#include <filesystem>
#include <fstream>
#include <vector>

#include "FuzzSupport.h"
#include "support/HostFields.h"

using namespace quorb::fuzz;

namespace {

// Named by a satellite number, so that keyed control data find its vector.
constexpr const char* kTopName = "25544_top.txt";
constexpr const char* kIncludedName = "25544_inc.txt";
constexpr const char* kSavedName = "saved.txt";
constexpr int32_t kLoadOrder = 2;
constexpr int32_t kMaxVectorsRead = 32;  // more add time, not paths
std::filesystem::path tempDir;

void WriteFile(const char* name, std::string_view content) {
  std::ofstream(tempDir / name, std::ios::binary)
      .write(content.data(), static_cast<std::streamsize>(content.size()));
}

// Loads a file, reads its vectors back, saves the store when asked and empties it.
void CheckLoad(const char* name, const char* saveAs) {
  const int32_t status = QuorbLoadFile(ToHostLine((tempDir / name).string()).data());
  FUZZ_CHECK(status == 0 || status == 2);
  std::vector<int64_t> keys(QuorbGetCount());
  QuorbGetLoaded(kLoadOrder, keys.data());
  for (std::size_t i = 0; i < std::min(keys.size(), std::size_t{kMaxVectorsRead}); ++i) {
    char line1[kLineLength], line2[kLineLength], xs[kLineLength];
    double xa[kArraySize];
    FUZZ_CHECK(QuorbGetLines(keys[i], line1, line2) == 0 && QuorbDataToArray(keys[i], xa, xs) == 0);
    FUZZ_CHECK(quorb::testing::GetAllFields(keys[i]).status == 0);
  }
  if (saveAs) FUZZ_CHECK(QuorbSaveFile(ToHostLine((tempDir / saveAs).string()).data(), 0) == 0);
  ElsetKeyModeSet(0);
  QuorbRemoveAllSats();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::string pattern = (std::filesystem::temp_directory_path() / "quorb-fuzz-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) std::abort();
  tempDir = pattern;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(tempDir, ignored);
  });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto [top, included] = SplitAt('\0', data, size);
  WriteFile(kTopName, top);
  WriteFile(kIncludedName, included);
  CheckLoad(kTopName, kSavedName);
  CheckLoad(kSavedName, nullptr);
  return 0;
}
