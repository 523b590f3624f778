// A store that keeps nothing: it writes every commit it is given into an
// event log ("commit" followed by "-name" per deleted name and "+name" per
// written bucket, in the order it receives them) and then reports a chosen
// code. Every other operation does nothing.
#pragma once

#include <string>
#include <vector>

#include "entry/StatusGuard.h"
#include "store/IBucketStore.h"

namespace vesk::tarnhive::test {

class RecordingBucketStore final : public IBucketStore {
 public:
  explicit RecordingBucketStore(std::vector<std::string>& log) : log_(log) {}

  // The code each commit sets; 0 sets none.
  std::int32_t commitCode = 0;

  void commit(const BucketsByName& written, const NameSet& deleted,
              TarnhiveStatus* status) override {
    log_.push_back("commit");
    for (const auto& name : deleted) log_.push_back("-" + text(name));
    for (const auto& entry : written) log_.push_back("+" + text(entry.first));
    if (commitCode != 0) setStatus(status, commitCode);
  }

  void open(std::uint32_t, TarnhiveStatus*) override {}
  void close(TarnhiveStatus*) override {}
  IBucket* loadBucket(const Digest&, TarnhiveStatus*) override { return nullptr; }
  IBucket* loadBucketByName(const orlo::WideString&, TarnhiveStatus*) override { return nullptr; }
  bool containsName(const orlo::WideString&, TarnhiveStatus*) override { return false; }
  bool containsBucket(IBucket*, TarnhiveStatus*) override { return false; }
  bool wasReset() override { return false; }
  bool isOverDiskLimit() override { return false; }

 private:
  static std::string text(const orlo::WideString& name) {
    return std::string(name.begin(), name.end());
  }

  std::vector<std::string>& log_;
};

}  // namespace vesk::tarnhive::test
