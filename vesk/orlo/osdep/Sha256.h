// SHA-256 from the platform's own implementation: libcrypto on POSIX, the
// system's cryptography provider (CNG) on Windows. Digests of names and the
// checksums of commit blocks are made here, so both platforms write and
// accept the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vesk::orlo::osdep {

// One hash in progress: update any number of times, then finish once.
// Not safe for concurrent use; separate objects are independent.
class Sha256 {
 public:
  static constexpr std::size_t kSize = 32;

  // Throws InitializationFailure when the platform has no SHA-256.
  Sha256();
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  void update(const void* bytes, std::size_t count);
  // Writes the kSize bytes of the hash of everything given to update.
  void finish(unsigned char* out);

 private:
  // The platform's hash state, kept in place so that a hash allocates
  // nothing of its own on POSIX.
  alignas(16) unsigned char state_[128];
};

// The hash of `count` bytes in one call.
inline void sha256(const void* bytes, std::size_t count, unsigned char* out) {
  Sha256 hash;
  hash.update(bytes, count);
  hash.finish(out);
}

}  // namespace vesk::orlo::osdep
