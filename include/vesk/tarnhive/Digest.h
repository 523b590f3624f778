// Digest: the identity of a bucket. Buckets are found on disk and in the
// caches by the SHA-256 of their lower-cased wide name, so two names that
// differ only in letter case name the same bucket. DigestString is the
// fixed-size hexadecimal text that calculateDigest produces beside a digest.
//
// Both classes are exported by name: their members, signatures and virtual
// slots (the destructor, addRef, release) are part of the library's binary
// interface and keep their form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "vesk/orlo/BadAllocation.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/orlo/osdep/AtomicInt.h"
#include "vesk/tarnhive/Export.h"

namespace vesk::tarnhive {

// 64 hexadecimal digits and a terminating 0. An empty DigestString is 65 zero
// bytes, which reads as the empty text.
class VESK_TARNHIVE_EXPORT DigestString {
 public:
  static constexpr std::size_t kSize = 65;

  // All 65 bytes are 0.
  DigestString();
  // Sets all 65 bytes to 0.
  void clear();

  // The text, always terminated.
  const char* c_str() const noexcept { return text_; }
  char* data() noexcept { return text_; }

 private:
  char text_[kSize];
};

// The 32 bytes of a SHA-256, ordered as unsigned bytes, first byte most
// significant: the order of every structure keyed by digest.
//
// A Digest may live on the stack, as a member, inside a value's payload or on
// the heap under reference counting. A counted Digest is made with `new` and
// deletes itself with the runtime's free on its last release; its count starts
// at 0 in every constructor and is never copied.
//
// Thread-safety: the count is atomic; nothing else is. calculateDigest keeps
// no state and may run on several threads at once.
class VESK_TARNHIVE_EXPORT Digest {
 public:
  static constexpr std::uint32_t kSize = 32;

  // The digest of the empty name (SHA-256 of zero bytes).
  Digest();
  // Reads kSize bytes at cursor and advances it. Throws DeserializationError,
  // leaving cursor where it was, when cursor is past end or fewer bytes remain.
  Digest(const unsigned char*& cursor, const unsigned char* end);
  // Copies the bytes; the count of the new digest is 0.
  Digest(const Digest& other);
  // The digest of a narrow name, converted to wide in the system code page
  // first. Conversion and allocation failures propagate as the support
  // library's exceptions.
  explicit Digest(const vesk::orlo::NarrowString& name);
  // The digest of a wide name. Allocation failures propagate.
  explicit Digest(const vesk::orlo::WideString& name);
  virtual ~Digest();

  // Copies the bytes; the count stays.
  Digest& operator=(const Digest& other);
  bool operator==(const Digest& other) const;
  // True when this digest's bytes compare below other's as unsigned bytes.
  bool operator<(const Digest& other) const;

  // Atomic increment of the count.
  virtual void addRef();
  // Atomic decrement; the release that reaches 0 deletes the object.
  virtual void release();

  // Hashes `name` into `digest` and writes its 64 uppercase hexadecimal
  // digits into `text`. An empty name gives the digest of the empty name and
  // an empty (all-zero) text, not the digits of that digest.
  static void calculateDigest(const vesk::orlo::WideString& name, Digest& digest,
                              DigestString& text);

  // `out` becomes the 64 lowercase hexadecimal digits, high nibble first.
  // This is deliberately a different text from calculateDigest's: whatever
  // stores or compares digest text must use the form its side produced.
  void getString(vesk::orlo::WideString& out);

  // Writes the kSize bytes and advances cursor. Throws BufferOverflow, writing
  // nothing, when they do not fit.
  void serialize(unsigned char*& cursor, const unsigned char* end) const;
  // Reads kSize bytes and advances cursor. Throws DeserializationError,
  // leaving cursor and the bytes as they were, when fewer remain.
  void deserialize(const unsigned char*& cursor, const unsigned char* end);
  // Always kSize.
  unsigned int serializationSize() const;
  // Copies the bytes of other.
  void set(const Digest& other);

  const unsigned char* bytes() const noexcept { return bytes_; }

  // Counted digests live on the runtime heap, so that release can free them
  // with the runtime's free whichever module created them.
  static void* operator new(std::size_t size) {
    void* block = std::malloc(size);
    if (block == nullptr) throw vesk::orlo::BadAllocation();
    return block;
  }
  static void operator delete(void* block) noexcept { std::free(block); }

 private:
  unsigned char bytes_[kSize];
  vesk::orlo::osdep::AtomicInt count_{0};
};

}  // namespace vesk::tarnhive
