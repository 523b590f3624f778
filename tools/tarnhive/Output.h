// Writing to standard output and the progress line on standard error.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace vesk::tarnhive::tool {

// Writes `text` to standard output as it is (bytes, no conversion).
void print(std::string_view text);
// The same, followed by a line end.
void printLine(std::string_view text);

// A progress line ("export: 120/5000 buckets") on standard error, redrawn
// at most a few times a second, and only when standard error is a
// terminal; erased when the work ends.
class Progress {
 public:
  Progress(std::string what, std::size_t total, std::string unit);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void step(std::size_t done);

 private:
  std::string what_;
  std::size_t total_;
  std::string unit_;
  bool shown_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point last_{};
};

}  // namespace vesk::tarnhive::tool
