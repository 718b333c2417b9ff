// The command's standard error: library messages and, on a terminal, a
// progress line for long loads, kept from interleaving.
#ifndef QUORB_TOOLS_CONSOLE_H_
#define QUORB_TOOLS_CONSOLE_H_

#include <chrono>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>

namespace quorb_cli {

class Console {
 public:
  // Writes a line, clearing any progress line first.
  void Error(std::string_view line);
  // Shows text as the progress line, replacing the one before.
  void Progress(std::string_view text);
  void EndProgress();

 private:
  void ClearProgress();

  std::mutex mutex_;
  bool progressShown_ = false;
};

// While it lives, and only when standard error is a terminal, shows how far
// the load has read the largest input file it has open: the share of its
// bytes, the rate and the time left, every 200 ms.
class LoadProgress {
 public:
  explicit LoadProgress(Console& console);
  ~LoadProgress();
  LoadProgress(const LoadProgress&) = delete;
  LoadProgress& operator=(const LoadProgress&) = delete;

 private:
  void Run(std::stop_token stop);

  Console& console_;
  std::jthread thread_;
};

}  // namespace quorb_cli

#endif  // QUORB_TOOLS_CONSOLE_H_
