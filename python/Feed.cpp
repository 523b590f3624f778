// The change feed through the library's version-3 registry object, as the
// tool's watch reads it.
#include "Feed.h"

#include <algorithm>

#include "LibraryReports.h"
#include "Names.h"
#include "ToolError.h"
#include "ValueAccess.h"

namespace vesk::tarnhive::python {

Feed::Feed(const std::u16string& root) : root_(tool::normalizeName(root)) {
  TarnhiveStatus status;
  IChangeFeed* opened = nullptr;
  tool::registryObject().openChangeFeed(&opened, &status);
  feed_ = tool::RefPtr<IChangeFeed>::adopt(opened);
  tool::require(status, "opening the change feed");
  feed_->getCursor(&cursor_, &status);
  tool::require(status, "reading the change feed");
}

bool Feed::wait(std::uint32_t milliseconds) {
  TarnhiveStatus status;
  const bool changed = feed_->waitForChange(cursor_, milliseconds, &status);
  tool::require(status, "waiting for commits");
  return changed;
}

std::vector<FeedChange> Feed::read() {
  TarnhiveStatus status;
  IChangeList* list = nullptr;
  feed_->readChanges(cursor_, &list, &cursor_, &status);
  tool::RefPtr<IChangeList> changes = tool::RefPtr<IChangeList>::adopt(list);
  tool::require(status, "reading the change feed");
  std::vector<FeedChange> found;
  const std::uint32_t count = changes->getCount(&status);
  for (std::uint32_t i = 0; i < count; ++i) {
    FeedChange change;
    orlo::WideString name;
    changes->getChange(i, &change.commit, &change.written, &change.net, name, &status);
    change.bucket = tool::fromWide(name);
    if (tool::isAtOrBelow(change.bucket, root_)) found.push_back(std::move(change));
  }
  tool::require(status, "reading the change feed");
  // The feed keeps no order among the buckets of one commit (a net change
  // lists them as it finds them); sorted by name they read the same every
  // time.
  std::stable_sort(found.begin(), found.end(), [](const FeedChange& a, const FeedChange& b) {
    return a.commit != b.commit ? a.commit < b.commit : a.bucket < b.bucket;
  });
  return found;
}

}  // namespace vesk::tarnhive::python
