// Lock tokens: 16-byte GUIDs. A token is handed out when the process lock is
// taken and must be presented to every changing operation of the bucket
// manager.
#pragma once

#include <cstdint>
#include <cstring>

namespace vesk::tarnhive {

struct Guid {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];
};

static_assert(sizeof(Guid) == 16, "a GUID is sixteen bytes");

// Two tokens are equal when all sixteen bytes are equal.
inline bool operator==(const Guid& a, const Guid& b) noexcept {
  return std::memcmp(&a, &b, sizeof(Guid)) == 0;
}

// {5DCB1616-8ADE-4496-8D70-895D84034A17}: nobody holds the lock.
inline constexpr Guid kNoLockToken = {
    0x5DCB1616u, 0x8ADEu, 0x4496u, {0x8D, 0x70, 0x89, 0x5D, 0x84, 0x03, 0x4A, 0x17}};

}  // namespace vesk::tarnhive
