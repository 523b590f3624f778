#include "vesk/orlo/osdep/MakeGUID.h"

#include <sys/random.h>

#include <cerrno>

#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/common/ErrorSites.h"

namespace vesk::orlo::osdep {

std::array<std::uint8_t, 16> MakeGUID() {
  std::array<std::uint8_t, 16> guid{};
  std::size_t done = 0;
  while (done < guid.size()) {
    const ssize_t n = ::getrandom(guid.data() + done, guid.size() - done, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) exception::raise(exception::InitializationFailure(), kMAKEGUID.file, kMAKEGUID.line);
    done += static_cast<std::size_t>(n);
  }
  // The third field (bytes 6 and 7, little-endian) carries the version in
  // its high nibble; the first byte of the fourth carries the variant.
  guid[7] = static_cast<std::uint8_t>((guid[7] & 0x0F) | 0x40);
  guid[8] = static_cast<std::uint8_t>((guid[8] & 0x3F) | 0x80);
  return guid;
}

}  // namespace vesk::orlo::osdep
