// An owned, immutable narrow text for exceptions whose message is made at run
// time. Copying it may throw BadAllocation; a failed copy leaves nothing
// behind.
#pragma once

#include <cstring>

#include "vesk/orlo/BadAllocation.h"
#include "vesk/orlo/osdep/TaskAllocator.h"

namespace vesk::orlo {

class MessageText {
 public:
  MessageText() noexcept = default;
  // The concatenation of prefix and text (either may be null).
  explicit MessageText(const char* prefix, const char* text = nullptr) {
    const std::size_t a = prefix ? std::strlen(prefix) : 0;
    const std::size_t b = text ? std::strlen(text) : 0;
    text_ = static_cast<char*>(osdep::taskAlloc(a + b + 1));
    if (text_ == nullptr) throw BadAllocation();
    if (a) std::memcpy(text_, prefix, a);
    if (b) std::memcpy(text_ + a, text, b);
    text_[a + b] = 0;
  }
  MessageText(const MessageText& other) : MessageText(other.text_) {}
  MessageText& operator=(const MessageText& other) {
    if (this != &other) {
      MessageText copy(other);
      char* old = text_;
      text_ = copy.text_;
      copy.text_ = old;
    }
    return *this;
  }
  ~MessageText() { osdep::taskFree(text_); }

  const char* c_str() const noexcept { return text_ ? text_ : ""; }

 private:
  char* text_ = nullptr;
};

}  // namespace vesk::orlo
