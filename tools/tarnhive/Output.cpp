// Standard output and the progress line.
#include "Output.h"

#if defined(_WIN32)
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

#include <cstdio>

namespace vesk::tarnhive::tool {

void print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

void printLine(std::string_view text) {
  print(text);
  std::fputc('\n', stdout);
}

Progress::Progress(std::string what, std::size_t total, std::string unit)
    : what_(std::move(what)), total_(total), unit_(std::move(unit)), shown_(isatty(2) == 1) {}

Progress::~Progress() {
  if (drawn_) std::fputs("\r\033[K", stderr);
}

void Progress::step(std::size_t done) {
  if (!shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (drawn_ && now - last_ < std::chrono::milliseconds(200) && done < total_) return;
  last_ = now;
  drawn_ = true;
  std::fprintf(stderr, "\r%s: %zu/%zu %s\033[K", what_.c_str(), done, total_, unit_.c_str());
  std::fflush(stderr);
}

}  // namespace vesk::tarnhive::tool
