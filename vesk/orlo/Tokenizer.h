// Splits a string at delimiter units. Without empty tokens, runs of
// delimiters count as one and leading delimiters are ignored; with them,
// "a\\b" split at "\" yields "a", "" and "b".
#pragma once

#include <cstdint>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo {

template <class String>
class Tokenizer {
 public:
  using Char = typename String::CharType;

  Tokenizer(const String& text, const String& delimiters, bool returnEmptyTokens)
      : text_(text),
        delimiters_(delimiters),
        length_(text_.length()),
        returnEmptyTokens_(returnEmptyTokens) {
    if (!returnEmptyTokens_) skipDelimiters();
  }
  virtual ~Tokenizer() = default;
  Tokenizer(const Tokenizer&) = delete;
  Tokenizer& operator=(const Tokenizer&) = delete;

  // Replaces `out` with the next token.
  void nextToken(String& out) {
    out.clear();
    while (true) {
      if (position_ >= length_) {
        position_ = length_ + 1;
        return;
      }
      const Char unit = text_[position_];
      if (isDelimiter(unit)) {
        ++position_;
        if (!returnEmptyTokens_) skipDelimiters();
        return;
      }
      out.append(unit);
      ++position_;
    }
  }

  bool hasMoreTokens() const noexcept {
    return returnEmptyTokens_ ? position_ <= length_ : position_ < length_;
  }

 private:
  bool isDelimiter(Char unit) const noexcept {
    return delimiters_.find(unit) != String::kNotFound;
  }
  void skipDelimiters() noexcept {
    while (position_ < length_ && isDelimiter(text_[position_])) ++position_;
  }

  String text_;
  String delimiters_;
  std::uint32_t position_ = 0;
  std::uint32_t length_;
  bool returnEmptyTokens_;
};

using WideTokenizer = Tokenizer<WideString>;

}  // namespace vesk::orlo
