// What the agent records in the subtree's root bucket, in the same commit
// as the changes of each revision: the last etcd revision applied, the
// cluster it came from and the key prefix it mirrors. A restart resumes
// after that revision when the cluster and the prefix are still the same.
#pragma once

#include <cstdint>
#include <string>

#include "vesk/tarnhive/Tarnhive.h"

namespace vesk::tarnhive::sync {

struct SyncRecord {
  std::int64_t revision = 0;  // 0: nothing applied yet
  std::string clusterId;
  std::string keyPrefix;

  bool operator==(const SyncRecord&) const = default;
};

// The value names in the root bucket.
inline constexpr char16_t kRevisionValue[] = u"etcdRevision";
inline constexpr char16_t kClusterValue[] = u"etcdCluster";
inline constexpr char16_t kPrefixValue[] = u"etcdPrefix";

// The record held by `root`; revision 0 when it holds none (or values of
// other types under those names).
SyncRecord readRecord(IBucket& root);

// Stores `record` in `root` (a copy, written by the caller). Fails
// (ToolError) when the library refuses a value.
void storeRecord(IBucket& root, const SyncRecord& record);

}  // namespace vesk::tarnhive::sync
