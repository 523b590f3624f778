// StringBase: the system's own string, narrow (8-bit units in the ANSI code
// page) or wide (16-bit UTF-16 units). It owns its storage through the task
// allocator, always keeps a 0 unit at its end, and may hold 0 units inside it:
// length, comparison and conversion go by its begin and end, not by the
// terminator.
//
// Assignment follows one buffer rule: with capacity c and new length n the
// block is kept when n <= c and 2n >= c, and otherwise reallocated to exactly
// n + 1 units. Strings never over-allocate on assignment and shrink when they
// drop below half their capacity. Appending grows the block geometrically.
//
// Everything here is inline, so clients may build and read strings freely.
// Case-insensitive comparison and conversions live beside it
// (StringCase.h, StringConversion.h, Utf8.h) and are the library's own.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "vesk/orlo/BadAllocation.h"
#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/TaskAllocator.h"
#include "vesk/orlo/osdep/WChar.h"

namespace vesk::orlo {

inline constexpr char kStringBaseSource[] = "vesk/orlo/StringBase";

template <class Char, class OtherChar, class WideChar>
class StringBase {
 public:
  using CharType = Char;
  static constexpr std::uint32_t kNotFound = 0xFFFFFFFFu;
  // The longest string: length + 1 must fit in 31 bits.
  static constexpr std::uint32_t kMaxLength = 0x7FFFFFFEu;
  // Whether char16_t text is accepted as this string's own units.
  template <class Utf16>
  static constexpr bool kTakesUtf16 = std::is_same_v<Utf16, char16_t> &&
                                      !std::is_same_v<Char, char16_t> && sizeof(Char) == 2;

  StringBase() { allocate(0); }
  // From a null-terminated array; null is the empty string.
  StringBase(const Char* text) {  // NOLINT(google-explicit-constructor)
    const std::uint32_t n = measure(text);
    allocate(n);
    copyIn(text, n);
  }
  StringBase(const Char* text, std::uint32_t count) {
    allocate(count);
    copyIn(text, count);
  }
  StringBase(const StringBase& other) : StringBase(other.begin_, other.length()) {}
  // UTF-16 text spelt with char16_t where the wide unit is another 16-bit
  // type (wchar_t on Windows): the units are the same, so u"..." literals
  // make wide strings on every platform.
  template <class Utf16>
    requires kTakesUtf16<Utf16>
  StringBase(const Utf16* text)  // NOLINT(google-explicit-constructor)
      : StringBase(reinterpret_cast<const Char*>(text)) {}
  template <class Utf16>
    requires kTakesUtf16<Utf16>
  StringBase(const Utf16* text, std::uint32_t count)
      : StringBase(reinterpret_cast<const Char*>(text), count) {}
  ~StringBase() { osdep::taskFree(begin_); }

  StringBase& operator=(const StringBase& other) {
    if (this != &other) assign(other.begin_, other.length());
    return *this;
  }
  StringBase& operator=(const Char* text) {
    assign(text, measure(text));
    return *this;
  }
  template <class Utf16>
    requires kTakesUtf16<Utf16>
  StringBase& operator=(const Utf16* text) {
    return *this = reinterpret_cast<const Char*>(text);
  }

  // Replaces the content with `count` units at `text` (which may point into
  // this string), following the buffer rule.
  void assign(const Char* text, std::uint32_t count) {
    const std::uint32_t capacity = this->capacity();
    if (count <= capacity && 2ull * count >= capacity) {
      if (count) std::memmove(begin_, text, count * sizeof(Char));
      setLength(count);
      return;
    }
    // A fresh block, filled before the old one is freed: `text` may point
    // into the old block.
    Char* block = newBlock(count);
    if (count) std::memcpy(block, text, count * sizeof(Char));
    osdep::taskFree(begin_);
    begin_ = block;
    capacityEnd_ = begin_ + count;
    setLength(count);
  }

  // Makes the string `count` units long under the buffer rule, keeping the
  // units that fit and filling new ones with 0. For filling a string in place
  // through data().
  void resize(std::uint32_t count) {
    const std::uint32_t n = length();
    const std::uint32_t capacity = this->capacity();
    if (!(count <= capacity && 2ull * count >= capacity)) reallocate(count);
    if (count > n) std::memset(begin_ + n, 0, (count - n) * sizeof(Char));
    setLength(count);
  }

  void clear() { assign(begin_, 0); }
  void swap(StringBase& other) noexcept {
    std::swap(begin_, other.begin_);
    std::swap(end_, other.end_);
    std::swap(capacityEnd_, other.capacityEnd_);
  }

  std::uint32_t length() const noexcept { return static_cast<std::uint32_t>(end_ - begin_); }
  std::uint32_t capacity() const noexcept {
    return static_cast<std::uint32_t>(capacityEnd_ - begin_);
  }
  bool empty() const noexcept { return end_ == begin_; }
  const Char* data() const noexcept { return begin_; }
  Char* data() noexcept { return begin_; }
  const Char* c_str() const noexcept { return begin_; }
  const Char* begin() const noexcept { return begin_; }
  const Char* end() const noexcept { return end_; }
  Char operator[](std::uint32_t index) const noexcept { return begin_[index]; }
  Char& operator[](std::uint32_t index) noexcept { return begin_[index]; }

  void append(const Char* text, std::uint32_t count) {
    if (count == 0) return;
    const std::uint32_t n = length();
    if (count > kMaxLength - n) tooLong();
    if (n + count > capacity()) {
      const std::uint64_t grown = 2ull * capacity();
      const std::uint64_t wanted = n + count;
      const auto target = static_cast<std::uint32_t>(
          grown > wanted ? (grown > kMaxLength ? kMaxLength : grown) : wanted);
      // The new block is filled before the old one is freed, since `text`
      // may lie in the old one (a string appended to itself).
      Char* block = newBlock(target);
      if (n != 0) std::memcpy(block, begin_, n * sizeof(Char));
      std::memcpy(block + n, text, count * sizeof(Char));
      osdep::taskFree(begin_);
      begin_ = block;
      capacityEnd_ = begin_ + target;
    } else {
      std::memmove(begin_ + n, text, count * sizeof(Char));
    }
    setLength(n + count);
  }
  void append(const StringBase& other) { append(other.begin_, other.length()); }
  void append(Char unit) { append(&unit, 1); }
  StringBase& operator+=(const StringBase& other) {
    append(other);
    return *this;
  }
  StringBase& operator+=(const Char* text) {
    append(text, measure(text));
    return *this;
  }
  template <class Utf16>
    requires kTakesUtf16<Utf16>
  StringBase& operator+=(const Utf16* text) {
    return *this += reinterpret_cast<const Char*>(text);
  }
  StringBase& operator+=(Char unit) {
    append(unit);
    return *this;
  }

  // The units from `offset` on, at most `count` of them. An offset beyond the
  // length throws OutOfRange2; an offset equal to it gives the empty string.
  StringBase substring(std::uint32_t offset, std::uint32_t count = kNotFound) const {
    const std::uint32_t n = length();
    if (offset > n) {
      exception::raise(exception::OutOfRange2("String offset out of range"), kStringBaseSource,
                       691);
    }
    const std::uint32_t rest = n - offset;
    return StringBase(begin_ + offset, count < rest ? count : rest);
  }

  // Index of the first unit equal to `unit` at or after `from`, or kNotFound.
  std::uint32_t find(Char unit, std::uint32_t from = 0) const noexcept {
    for (std::uint32_t i = from, n = length(); i < n; ++i) {
      if (begin_[i] == unit) return i;
    }
    return kNotFound;
  }

  // Exact comparison, unit by unit as unsigned values; with an equal prefix
  // the shorter string is the lesser. Returns -1, 0 or +1.
  int compare(const StringBase& other) const noexcept {
    return compareUnits(begin_, length(), other.begin_, other.length());
  }
  int compare(const Char* text) const noexcept {
    return compareUnits(begin_, length(), text ? text : emptyText(), measure(text));
  }

  friend bool operator==(const StringBase& a, const StringBase& b) noexcept {
    return a.length() == b.length() &&
           (a.length() == 0 || std::memcmp(a.begin_, b.begin_, a.length() * sizeof(Char)) == 0);
  }
  friend bool operator==(const StringBase& a, const Char* b) noexcept { return a.compare(b) == 0; }
  template <class Utf16>
    requires kTakesUtf16<Utf16>
  friend bool operator==(const StringBase& a, const Utf16* b) noexcept {
    return a.compare(reinterpret_cast<const Char*>(b)) == 0;
  }
  friend bool operator<(const StringBase& a, const StringBase& b) noexcept {
    return a.compare(b) < 0;
  }
  friend bool operator>(const StringBase& a, const StringBase& b) noexcept {
    return a.compare(b) > 0;
  }
  friend bool operator<=(const StringBase& a, const StringBase& b) noexcept {
    return a.compare(b) <= 0;
  }
  friend bool operator>=(const StringBase& a, const StringBase& b) noexcept {
    return a.compare(b) >= 0;
  }

  // Length of a null-terminated array; 0 for null.
  static std::uint32_t measure(const Char* text) {
    if (text == nullptr) return 0;
    std::uint64_t n = 0;
    while (text[n] != 0) ++n;
    if (n > kMaxLength) tooLong();
    return static_cast<std::uint32_t>(n);
  }

  static int compareUnits(const Char* a, std::uint32_t na, const Char* b,
                          std::uint32_t nb) noexcept {
    using Unsigned = std::make_unsigned_t<Char>;
    const std::uint32_t n = na < nb ? na : nb;
    for (std::uint32_t i = 0; i < n; ++i) {
      const auto x = static_cast<Unsigned>(a[i]);
      const auto y = static_cast<Unsigned>(b[i]);
      if (x != y) return x < y ? -1 : 1;
    }
    return na == nb ? 0 : (na < nb ? -1 : 1);
  }

 private:
  static const Char* emptyText() noexcept {
    static const Char kEmpty[1] = {0};
    return kEmpty;
  }
  [[noreturn]] static void tooLong() {
    exception::raise(exception::OutOfRange(), kStringBaseSource, 0);
  }

  // Allocates a block of capacity n for a string being constructed.
  static Char* newBlock(std::uint32_t n) {
    if (n > kMaxLength) tooLong();
    auto* block = static_cast<Char*>(osdep::taskAlloc((std::size_t{n} + 1) * sizeof(Char)));
    if (block == nullptr) throw BadAllocation();
    return block;
  }
  void allocate(std::uint32_t n) {
    begin_ = newBlock(n);
    capacityEnd_ = begin_ + n;
    end_ = begin_;
    *end_ = 0;
  }
  // Reallocates to capacity exactly n, keeping the content that fits.
  void reallocate(std::uint32_t n) {
    if (n > kMaxLength) tooLong();
    const std::uint32_t keep = length() < n ? length() : n;
    auto* block =
        static_cast<Char*>(osdep::taskRealloc(begin_, (std::size_t{n} + 1) * sizeof(Char)));
    if (block == nullptr) throw BadAllocation();
    begin_ = block;
    capacityEnd_ = begin_ + n;
    setLength(keep);
  }
  void copyIn(const Char* text, std::uint32_t n) noexcept {
    if (n) std::memcpy(begin_, text, n * sizeof(Char));
    setLength(n);
  }
  void setLength(std::uint32_t n) noexcept {
    end_ = begin_ + n;
    *end_ = 0;
  }

  Char* begin_ = nullptr;
  Char* end_ = nullptr;
  Char* capacityEnd_ = nullptr;
};

using NarrowString = StringBase<char, WChar, WChar>;
using WideString = StringBase<WChar, char, WChar>;

}  // namespace vesk::orlo
