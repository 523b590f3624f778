// A commit target that keeps nothing: it writes every commit it is given
// into an event log ("commit" followed by "-name" per deleted name and
// "+name" per written bucket, in the order it receives them) and then
// reports a chosen code.
#pragma once

#include <string>
#include <vector>

#include "entry/StatusGuard.h"
#include "cache/BucketUpdateCache.h"

namespace vesk::tarnhive::test {

class RecordingBucketStore final {
 public:
  explicit RecordingBucketStore(std::vector<std::string>& log) : log_(log) {}

  // The code each commit sets; 0 sets none.
  std::int32_t commitCode = 0;

  void commit(const BucketsByName& written, const NameSet& deleted,
              TarnhiveStatus* status) {
    log_.push_back("commit");
    for (const auto& name : deleted) log_.push_back("-" + text(name));
    for (const auto& entry : written) log_.push_back("+" + text(entry.first));
    if (commitCode != 0) setStatus(status, commitCode);
  }

  // The update cache's commit step into this recorder.
  BucketUpdateCache::CommitStep commitStep() {
    return [this](const BucketsByName& written, const NameSet& deleted, TarnhiveStatus* status) {
      commit(written, deleted, status);
    };
  }

 private:
  static std::string text(const orlo::WideString& name) {
    return std::string(name.begin(), name.end());
  }

  std::vector<std::string>& log_;
};

}  // namespace vesk::tarnhive::test
