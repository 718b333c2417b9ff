// A C++ host of libquorb: loads an input file, lists the stored vectors in
// satellite-number order and sends the library's lines to std::clog.
// docs/host-guide.md quotes this file.
#include <quorb/quorb.h>

#include <cstdint>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Out texts are blank-padded and carry no NUL.
std::string_view Trimmed(const char* text, std::size_t size) {
  std::string_view view(text, size);
  return view.substr(0, view.find_last_not_of(' ') + 1);
}

// May run on any thread that calls the library.
void LogLine(int32_t level, const char* msg, int32_t len, void* /*user*/) {
  std::clog << (level == 1 ? "error: " : "info: ") << std::string_view(msg, len) << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: host_example_cxx INPUT_FILE\n";
    return 2;
  }
  TraceLogSetSink(LogLine, nullptr);
  if (std::string(argv[1]).size() >= 512 || QuorbLoadFile(argv[1]) != 0) return 1;

  // Another thread may add vectors between the count and the listing: a
  // host that lets one do so sizes the list for the larger count.
  std::vector<int64_t> keys(static_cast<std::size_t>(QuorbGetCount()));
  if (!keys.empty()) QuorbGetLoaded(0, keys.data());
  for (int64_t key : keys) {
    char line1[512];
    char line2[512];
    if (QuorbGetLines(key, line1, line2) != 0) return 1;
    std::cout << Trimmed(line1, sizeof line1) << '\n' << Trimmed(line2, sizeof line2) << '\n';
  }
  std::cout << keys.size() << " vectors\n";
  TraceLogSetSink(nullptr, nullptr);
  return 0;
}
