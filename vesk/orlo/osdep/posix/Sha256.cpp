// SHA-256 through libcrypto's low-level calls. They are deprecated in
// OpenSSL 3 but are the ones the library is defined by.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "vesk/orlo/osdep/Sha256.h"

#include <openssl/sha.h>

#include <new>

namespace vesk::orlo::osdep {
namespace {

static_assert(sizeof(SHA256_CTX) <= 128, "the state buffer holds the context");

}  // namespace

Sha256::Sha256() { SHA256_Init(new (state_) SHA256_CTX); }

Sha256::~Sha256() = default;

void Sha256::update(const void* bytes, std::size_t count) {
  SHA256_Update(reinterpret_cast<SHA256_CTX*>(state_), bytes, count);
}

void Sha256::finish(unsigned char* out) { SHA256_Final(out, reinterpret_cast<SHA256_CTX*>(state_)); }

}  // namespace vesk::orlo::osdep
