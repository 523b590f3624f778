// The tool's use of the library: one bucket manager for the registry the
// command names, reads of buckets and subtrees, and the lock and update
// that every change is made in.
#pragma once

#include <string>
#include <vector>

#include "vesk/tarnhive/Tarnhive.h"

namespace vesk::tarnhive::tool {

using vesk::orlo::RefPtr;

// The options every verb takes.
struct GlobalOptions {
  std::string directory;  // empty: the library's default registry directory
  std::string iniFile;    // empty: the library's default configuration file
  bool json = false;
  double timeout = -1;  // seconds to wait for the registry lock; negative: forever
};

class Session {
 public:
  // Opens the registry (the library takes the machine-wide lock while it
  // opens and compacts the store). Fails (exit 3) when the library does, or
  // when the lock is not had within the time-out.
  explicit Session(const GlobalOptions& options);
  // Uses the bucket manager the caller already has (a process has one for
  // the life of the library); only the time-out of `options` applies.
  Session(RefPtr<IBucketManager> manager, const GlobalOptions& options);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  IBucketManager& manager() { return *manager_; }
  const GlobalOptions& options() const { return options_; }
  std::string directory();

  // A copy of the bucket, or null when it does not exist.
  RefPtr<IBucket> find(const std::u16string& fullName);
  // A copy of the bucket; fails (exit 1) when it does not exist.
  RefPtr<IBucket> get(const std::u16string& fullName);
  // Copies of the bucket and all its descendants, sorted by full name;
  // fails (exit 1) when the bucket does not exist.
  std::vector<RefPtr<IBucket>> subtree(const std::u16string& fullName);

 private:
  GlobalOptions options_;
  RefPtr<IBucketManager> manager_;
};

// The registry lock and one open update, for one commit. Destroying an
// Update that was not committed discards its changes and releases the lock.
class Update {
 public:
  // Waits for the lock as long as the session's time-out allows.
  explicit Update(Session& session);
  ~Update();
  Update(const Update&) = delete;
  Update& operator=(const Update&) = delete;

  // Puts the bucket (a changed copy) into the update; it is linked into its
  // parent, which is made when missing.
  void write(IBucket& bucket);
  // Deletes the bucket and its subtree at the commit.
  void remove(const std::u16string& fullName);
  void commit();

 private:
  Session& session_;
  Guid token_{};
  bool held_ = false;
};

// Waits for the registry lock with tryAcquireLock, as long as `timeout`
// allows (negative: forever, with acquireLock). Throws LockTimeout (exit 3)
// on time-out.
Guid takeLock(IBucketManager& manager, double timeout);

}  // namespace vesk::tarnhive::tool
