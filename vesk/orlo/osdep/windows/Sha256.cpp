// SHA-256 through CNG. The algorithm provider is opened once per process and
// shared; each hash is a CNG hash object whose handle sits in the state.
#include "vesk/orlo/osdep/Sha256.h"

#include <windows.h>
#include <bcrypt.h>

#include <cstring>

#include "vesk/orlo/Exception.h"

namespace vesk::orlo::osdep {
namespace {

constexpr char kSource[] = "vesk/orlo/osdep/Sha256";

[[noreturn]] void unavailable() {
  exception::raise(exception::InitializationFailure(), kSource, 0);
}

BCRYPT_ALG_HANDLE provider() {
  static const BCRYPT_ALG_HANDLE opened = [] {
    BCRYPT_ALG_HANDLE handle = nullptr;
    if (!BCRYPT_SUCCESS(::BCryptOpenAlgorithmProvider(&handle, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) {
      return BCRYPT_ALG_HANDLE{nullptr};
    }
    return handle;
  }();
  if (opened == nullptr) unavailable();
  return opened;
}

BCRYPT_HASH_HANDLE& handleIn(unsigned char* state) {
  return *reinterpret_cast<BCRYPT_HASH_HANDLE*>(state);
}

}  // namespace

Sha256::Sha256() {
  BCRYPT_HASH_HANDLE hash = nullptr;
  if (!BCRYPT_SUCCESS(::BCryptCreateHash(provider(), &hash, nullptr, 0, nullptr, 0, 0))) {
    unavailable();
  }
  handleIn(state_) = hash;
}

Sha256::~Sha256() { ::BCryptDestroyHash(handleIn(state_)); }

void Sha256::update(const void* bytes, std::size_t count) {
  // CNG takes at most 2^32 - 1 bytes per call.
  const auto* at = static_cast<const unsigned char*>(bytes);
  while (count > 0) {
    const ULONG piece = count > 0x40000000u ? 0x40000000u : static_cast<ULONG>(count);
    ::BCryptHashData(handleIn(state_), const_cast<PUCHAR>(at), piece, 0);
    at += piece;
    count -= piece;
  }
}

void Sha256::finish(unsigned char* out) {
  ::BCryptFinishHash(handleIn(state_), out, static_cast<ULONG>(kSize), 0);
}

}  // namespace vesk::orlo::osdep
