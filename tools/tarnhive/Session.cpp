// Opening the registry and making changes under its lock. The library has
// no time-out of its own: opening a manager waits for the machine-wide lock
// without one, so a watchdog thread ends the tool when the time-out passes
// first (nothing is written before the lock is had, and the registry's
// commit protocol makes any stop safe).
#include "Session.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include "Encoding.h"
#include "Names.h"
#include "ToolError.h"
#include "ValueAccess.h"

namespace vesk::tarnhive::tool {
namespace {

using Clock = std::chrono::steady_clock;

std::string lockTimeoutMessage(double timeout) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%g", timeout);
  return std::string("gave up after ") + seconds +
         " s waiting for the registry lock, which another process holds (--timeout)";
}

// Ends the process when it is not dismissed within the time-out.
class Watchdog {
 public:
  explicit Watchdog(double timeout) {
    if (timeout < 0) return;
    thread_ = std::thread([this, timeout] {
      std::unique_lock<std::mutex> hold(mutex_);
      const auto limit = std::chrono::duration<double>(timeout);
      if (!woken_.wait_for(hold, limit, [this] { return dismissed_; })) {
        std::fprintf(stderr, "tarnhive: %s\n", lockTimeoutMessage(timeout).c_str());
        std::fflush(stderr);
        std::_Exit(kExitDamaged);
      }
    });
  }
  ~Watchdog() {
    if (!thread_.joinable()) return;
    {
      std::lock_guard<std::mutex> hold(mutex_);
      dismissed_ = true;
    }
    woken_.notify_all();
    thread_.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable woken_;
  bool dismissed_ = false;
  std::thread thread_;
};

orlo::WideString widePath(const std::string& path) {
  const auto units = fromUtf8(path);
  if (!units) fail(kExitUsage, "the path \"" + path + "\" is not valid UTF-8");
  return toWide(*units);
}

}  // namespace

Session::Session(const GlobalOptions& options) : options_(options) {
  TarnhiveStatus status;
  ITarnhive2* registry = GetInterface(2, &status);
  require(status, "loading the registry library");
  IBucketManager* made = nullptr;
  {
    Watchdog watchdog(options.timeout);
    registry->createBucketManager(&made, widePath(options.directory), widePath(options.iniFile),
                                  &status);
  }
  manager_ = RefPtr<IBucketManager>::adopt(made);
  const std::string where = options.directory.empty() ? "the default registry" : options.directory;
  require(status, "opening " + where);
  if (!manager_) fail(kExitDamaged, "opening " + where + ": the library gave no bucket manager");
}

Session::Session(RefPtr<IBucketManager> manager, const GlobalOptions& options)
    : options_(options), manager_(std::move(manager)) {}

std::string Session::directory() {
  TarnhiveStatus status;
  orlo::WideString directory;
  manager_->getDirectory(directory, &status);
  return toUtf8(fromWide(directory));
}

RefPtr<IBucket> Session::find(const std::u16string& fullName) {
  TarnhiveStatus status;
  IBucket* bucket = nullptr;
  manager_->getBucketByName(&bucket, toWide(fullName), &status);
  require(status, "reading " + displayName(fullName));
  return RefPtr<IBucket>::adopt(bucket);
}

RefPtr<IBucket> Session::get(const std::u16string& fullName) {
  RefPtr<IBucket> bucket = find(fullName);
  if (!bucket) fail(kExitNotFound, "the bucket " + displayName(fullName) + " does not exist");
  return bucket;
}

// The walk follows only true child links (ValueAccess.h): the library's own
// tree read takes every digest value for a link and fails on a digest value
// that names no bucket.
std::vector<RefPtr<IBucket>> Session::subtree(const std::u16string& fullName) {
  std::vector<RefPtr<IBucket>> buckets{get(fullName)};
  std::set<std::u16string> seen{fromWide(buckets.front()->getFullName())};
  for (std::size_t next = 0; next < buckets.size(); ++next) {
    for (const std::u16string& child : childLinks(*buckets[next])) {
      if (!seen.insert(child).second) continue;
      if (RefPtr<IBucket> bucket = find(child)) buckets.push_back(bucket);
    }
  }
  std::sort(buckets.begin(), buckets.end(), [](const RefPtr<IBucket>& a, const RefPtr<IBucket>& b) {
    return fromWide(a->getFullName()) < fromWide(b->getFullName());
  });
  return buckets;
}

Guid takeLock(IBucketManager& manager, double timeout) {
  TarnhiveStatus status;
  Guid token{};
  if (timeout < 0) {
    manager.acquireLock(&token, &status);
    require(status, "taking the registry lock");
    return token;
  }
  const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                           std::chrono::duration<double>(timeout));
  while (!manager.tryAcquireLock(&token, &status)) {
    require(status, "taking the registry lock");
    if (Clock::now() >= deadline) throw LockTimeout(kExitDamaged, lockTimeoutMessage(timeout));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return token;
}

Update::Update(Session& session) : session_(session) {
  token_ = takeLock(session.manager(), session.options().timeout);
  held_ = true;
  TarnhiveStatus status;
  session_.manager().beginUpdate(token_, &status);
  require(status, "opening an update");
}

Update::~Update() {
  if (!held_) return;
  TarnhiveStatus status;
  session_.manager().releaseLock(token_, &status);
}

void Update::write(IBucket& bucket) {
  TarnhiveStatus status;
  session_.manager().writeBucket(&bucket, false, token_, &status);
  require(status, "writing " + displayName(fromWide(bucket.getFullName())));
}

void Update::remove(const std::u16string& fullName) {
  TarnhiveStatus status;
  session_.manager().deleteBucket(toWide(fullName), token_, &status);
  require(status, "deleting " + displayName(fullName));
}

void Update::commit() {
  TarnhiveStatus status;
  session_.manager().commitUpdate(token_, &status);
  require(status, "committing");
}

}  // namespace vesk::tarnhive::tool
