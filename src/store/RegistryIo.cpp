// The checksum uses the platform's SHA-256 that the digests of names use too.
#include "store/RegistryIo.h"

#include <cerrno>
#include <cstring>

#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/OSException.h"
#include "vesk/orlo/osdep/Sha256.h"

namespace vesk::tarnhive::store {
namespace {

using orlo::osdep::BinaryFile;

constexpr char kSource[] = "vesk/tarnhive/store/RegistryIo";

[[noreturn]] void failed(std::uint32_t line) {
  const int error = errno != 0 ? errno : EIO;
  orlo::exception::raise(orlo::osdep::PosixError(error), kSource, line);
}

void seekTo(BinaryFile& file, std::int64_t offset) {
  const auto low = static_cast<std::int32_t>(static_cast<std::uint32_t>(offset));
  if (file.seek(low, BinaryFile::kFROM_START) < 0) failed(__LINE__);
}

}  // namespace

void readAt(BinaryFile& file, std::int64_t offset, void* buffer, std::size_t count) {
  std::memset(buffer, 0, count);
  errno = 0;
  seekTo(file, offset);
  if (file.read(buffer, count) < 0) failed(__LINE__);
}

std::int64_t readI64At(BinaryFile& file, std::int64_t offset) {
  std::uint8_t bytes[8];
  readAt(file, offset, bytes, sizeof bytes);
  std::uint64_t value = 0;
  for (int i = 7; i >= 0; --i) value = (value << 8) | bytes[i];
  return static_cast<std::int64_t>(value);
}

std::uint32_t readU32At(BinaryFile& file, std::int64_t offset) {
  std::uint8_t bytes[4];
  readAt(file, offset, bytes, sizeof bytes);
  return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
         std::uint32_t{bytes[3]} << 24;
}

Digest readDigestAt(BinaryFile& file, std::int64_t offset) {
  unsigned char bytes[Digest::kSize];
  readAt(file, offset, bytes, sizeof bytes);
  const unsigned char* cursor = bytes;
  return Digest(cursor, bytes + sizeof bytes);
}

void writeBytesAt(BinaryFile& file, std::int64_t offset, const void* bytes, std::size_t count) {
  errno = 0;
  seekTo(file, offset);
  if (file.write(bytes, count) != static_cast<std::int64_t>(count)) failed(__LINE__);
}

void writeAt(BinaryFile& file, std::int64_t offset, const void* bytes, std::size_t count) {
  writeBytesAt(file, offset, bytes, count);
  file.flush();
}

void resizeFile(BinaryFile& file, std::int64_t length) {
  file.setSize(static_cast<std::int32_t>(static_cast<std::uint32_t>(length)));
  file.flush();
}

Digest checksumOfBytes(const std::uint8_t* bytes, std::size_t count) {
  unsigned char digest[Digest::kSize];
  orlo::osdep::sha256(bytes, count, digest);
  const unsigned char* cursor = digest;
  return Digest(cursor, digest + sizeof digest);
}

}  // namespace vesk::tarnhive::store
