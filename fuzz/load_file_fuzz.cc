// Input-file loading: the top file up to the first zero byte, then a file it may name. Every
// loaded vector must read back, and the store must save and load again.
#include <filesystem>
#include <fstream>
#include <vector>

#include "FuzzSupport.h"

static std::filesystem::path tempDir;

// Loads a file, reads back its first vectors (more add time, not paths), saves if asked, empties.
static void CheckLoad(const std::string& file, const std::string& saveAs) {
  const int32_t status = QuorbLoadFile(ToHostLine(file).data());
  FUZZ_CHECK(status == 0 || status == 2);
  std::vector<int64_t> keys(QuorbGetCount());
  QuorbGetLoaded(2, keys.data());  // in load order
  char line1[kLineLength], line2[kLineLength], xs[kLineLength];
  double xa[kArraySize];
  for (std::size_t i = 0; i < std::min<std::size_t>(keys.size(), 32); ++i)
    FUZZ_CHECK(QuorbGetLines(keys[i], line1, line2) == 0 && QuorbDataToArray(keys[i], xa, xs) == 0);
  if (!saveAs.empty()) FUZZ_CHECK(QuorbSaveFile(ToHostLine(saveAs).data(), 0) == 0);
  ElsetKeyModeSet(0);
  QuorbRemoveAllSats();
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::string pattern = (std::filesystem::temp_directory_path() / "quorb-fuzz-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) std::abort();
  tempDir = pattern;
  std::atexit([] {
    std::error_code ignored;  // nothing to do about a failure at exit
    std::filesystem::remove_all(tempDir, ignored);
  });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto [top, included] = SplitAt('\0', data, size);
  // Named by a satellite number, so that keyed control data find its vector.
  std::ofstream(tempDir / "25544_top.txt", std::ios::binary) << top;
  std::ofstream(tempDir / "25544_inc.txt", std::ios::binary) << included;
  CheckLoad(tempDir / "25544_top.txt", tempDir / "saved.txt");
  CheckLoad(tempDir / "saved.txt", "");
  return 0;
}
