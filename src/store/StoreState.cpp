#include "store/StoreState.h"

#include "vesk/orlo/osdep/Path.h"

namespace vesk::tarnhive::store {

orlo::WideString storePath(const StoreState& state, const char* fileName) {
  orlo::WideString name;
  for (const char* c = fileName; *c; ++c) name.append(static_cast<orlo::WChar>(*c));
  return orlo::osdep::path::join(state.directory, name);
}

void StoreState::putLive(const Digest& digest, const RecordLocation& location) {
  auto [entry, added] = liveIndex.try_emplace(digest, location);
  if (!added) {
    liveBytes -= entry->second.recordBytes + kEntrySize;
    entry->second = location;
  }
  liveBytes += location.recordBytes + kEntrySize;
}

void StoreState::eraseLive(const Digest& digest) {
  const auto entry = liveIndex.find(digest);
  if (entry == liveIndex.end()) return;
  liveBytes -= entry->second.recordBytes + kEntrySize;
  liveIndex.erase(entry);
}

std::int64_t StoreState::deadBytes() const noexcept {
  if (validEnd == 0) return 0;
  return validEnd - kBlockOverhead - liveBytes;
}

}  // namespace vesk::tarnhive::store
