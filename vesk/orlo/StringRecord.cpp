#include "vesk/orlo/StringRecord.h"

#include "vesk/orlo/Serial.h"
#include "vesk/orlo/Utf8.h"

namespace vesk::orlo {

using serial::saturatingAdd;

std::uint32_t narrowRecordSize(const NarrowString& text) noexcept {
  return saturatingAdd(saturatingAdd(text.length(), 1), 4);
}

std::uint32_t wideRecordSize(const WideString& text) noexcept {
  return saturatingAdd(utf8Length(text.data(), text.length(), kUtf8RecordLimit), 4);
}

void writeNarrowRecord(const NarrowString& text, std::uint8_t*& cursor, const std::uint8_t* end) {
  const std::uint32_t n = text.length();
  serial::roomForWrite(cursor, end, std::size_t{n} + 5);
  serial::putU32(cursor, end, n + 1);
  serial::putBytes(cursor, end, text.data(), n);
  *cursor++ = 0;
}

void writeWideRecord(const WideString& text, std::uint8_t*& cursor, const std::uint8_t* end) {
  const std::uint32_t n = utf8Length(text.data(), text.length(), kUtf8RecordLimit);
  serial::roomForWrite(cursor, end, std::size_t{n} + 4);
  std::uint8_t* p = cursor;
  serial::putU32(p, end, n);
  cursor = wideToUtf8(text.data(), text.length(), p, p + n);
}

void readNarrowRecord(NarrowString& text, const std::uint8_t*& cursor, const std::uint8_t* end) {
  const std::uint8_t* p = cursor;
  const std::uint32_t m = serial::getU32(p, end);
  serial::requireForRead(p, end, m);
  if (m == 0 || p[m - 1] != 0) {
    exception::raise(exception::DeserializationError(), kStringBaseSource, 1652);
  }
  text.assign(reinterpret_cast<const char*>(p), m - 1);
  cursor = p + m;
}

void readWideRecord(WideString& text, const std::uint8_t*& cursor, const std::uint8_t* end) {
  const std::uint8_t* p = cursor;
  const std::uint32_t n = serial::getU32(p, end);
  serial::requireForRead(p, end, n);
  WideString decoded = utf8ToWide(p, n);
  text.assign(decoded.data(), decoded.length());
  cursor = p + n;
}

}  // namespace vesk::orlo
