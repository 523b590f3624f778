// Digest and DigestString: hashing of bucket names, their two text forms and
// the 32-byte record. SHA-256 comes from the platform's implementation.
#include "vesk/tarnhive/Digest.h"

#include <cstring>

#include "vesk/orlo/Exception.h"
#include "vesk/orlo/Serial.h"
#include "vesk/orlo/StringCase.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/Sha256.h"

namespace vesk::tarnhive {
namespace {

constexpr char kDigestSource[] = "vesk/tarnhive/Digest";

void hashBytes(const unsigned char* bytes, std::size_t count, unsigned char* out) {
  orlo::osdep::sha256(bytes, count, out);
}

// SHA-256 of the lower-cased UTF-16LE bytes of `name`: no terminator, no
// byte-order mark, no length prefix.
void hashName(const orlo::WideString& name, unsigned char* out) {
  orlo::WideString lowered(name);
  orlo::toLower(lowered);
  // Rewrite the copy's units in place as little-endian byte pairs, so the
  // bytes hashed are the same on every host.
  auto* bytes = reinterpret_cast<unsigned char*>(lowered.data());
  for (std::uint32_t i = 0, n = lowered.length(); i < n; ++i) {
    const auto unit = static_cast<std::uint16_t>(lowered[i]);
    bytes[2 * i] = static_cast<unsigned char>(unit & 0xFF);
    bytes[2 * i + 1] = static_cast<unsigned char>(unit >> 8);
  }
  hashBytes(bytes, std::size_t{lowered.length()} * 2, out);
}

}  // namespace

DigestString::DigestString() { clear(); }

void DigestString::clear() { std::memset(text_, 0, kSize); }

// The digest of the empty name is hashed once: every bucket starts with two.
Digest::Digest() {
  static const struct EmptyName {
    unsigned char bytes[kSize];
    EmptyName() { hashBytes(nullptr, 0, bytes); }
  } empty;
  std::memcpy(bytes_, empty.bytes, kSize);
}

Digest::Digest(const unsigned char*& cursor, const unsigned char* end) {
  orlo::serial::getBytes(cursor, end, bytes_, kSize);
}

Digest::Digest(const Digest& other) { std::memcpy(bytes_, other.bytes_, kSize); }

Digest::Digest(const orlo::NarrowString& name) { hashName(orlo::toWide(name), bytes_); }

Digest::Digest(const orlo::WideString& name) { hashName(name, bytes_); }

Digest::~Digest() = default;

Digest& Digest::operator=(const Digest& other) {
  set(other);
  return *this;
}

bool Digest::operator==(const Digest& other) const {
  return std::memcmp(bytes_, other.bytes_, kSize) == 0;
}

bool Digest::operator<(const Digest& other) const {
  return std::memcmp(bytes_, other.bytes_, kSize) < 0;
}

void Digest::addRef() { count_.increment(); }

void Digest::release() {
  if (count_.decrement() == 0) delete this;
}

void Digest::calculateDigest(const orlo::WideString& name, Digest& digest, DigestString& text) {
  if (name.empty()) {
    hashBytes(nullptr, 0, digest.bytes_);
    text.clear();
    return;
  }
  hashName(name, digest.bytes_);
  // 64 uppercase digits and a 0, which fill the text exactly.
  static constexpr char kDigits[] = "0123456789ABCDEF";
  char* out = text.data();
  for (std::uint32_t i = 0; i < kSize; ++i) {
    *out++ = kDigits[digest.bytes_[i] >> 4];
    *out++ = kDigits[digest.bytes_[i] & 0x0F];
  }
  *out = 0;
}

void Digest::getString(orlo::WideString& out) {
  static constexpr char kDigits[] = "0123456789abcdef";
  out.resize(2 * kSize);
  for (std::uint32_t i = 0; i < kSize; ++i) {
    out[2 * i] = static_cast<orlo::WChar>(kDigits[bytes_[i] >> 4]);
    out[2 * i + 1] = static_cast<orlo::WChar>(kDigits[bytes_[i] & 0x0F]);
  }
}

void Digest::serialize(unsigned char*& cursor, const unsigned char* end) const {
  // The room is measured in 32 bits, as every record writer of the library
  // measures it.
  if (cursor == nullptr || cursor > end || static_cast<std::uint32_t>(end - cursor) < kSize) {
    orlo::exception::raise(orlo::exception::BufferOverflow(), kDigestSource, 0);
  }
  orlo::serial::putBytes(cursor, end, bytes_, kSize);
}

void Digest::deserialize(const unsigned char*& cursor, const unsigned char* end) {
  orlo::serial::getBytes(cursor, end, bytes_, kSize);
}

unsigned int Digest::serializationSize() const { return kSize; }

void Digest::set(const Digest& other) {
  if (this != &other) std::memcpy(bytes_, other.bytes_, kSize);
}

}  // namespace vesk::tarnhive
