// What the Python module does with the registry, in the tool's terms: the
// process's one bucket manager, buckets read as the tool's Values, and
// changes made under the registry lock in one update. Nothing here knows
// Python; every failure is a ToolError (ToolError.h) carrying the status
// code when the library gave one.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Session.h"
#include "Value.h"

namespace vesk::tarnhive::python {

using tool::NamedValues;
using tool::RefPtr;
using tool::Value;

// A bucket's full name with its values (child links left out).
using BucketValues = std::pair<std::u16string, NamedValues>;

class Registry {
 public:
  // Opens the registry in `directory` (empty: the default one) with the
  // options of `iniFile` (empty: the default file). The library allows one
  // bucket manager per process, so one Registry per process. Waits for the
  // machine-wide lock, which the library takes while it opens the store.
  Registry(const std::u16string& directory, const std::u16string& iniFile);
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  std::u16string directory();
  std::u16string defaultDirectory();

  bool contains(const std::u16string& path);
  // The bucket's full name and values; nothing when it does not exist.
  std::optional<BucketValues> values(const std::u16string& path);
  // The full names of the bucket's children, sorted. Fails (not found, with
  // kWBUCKETNOTFOUND) when the bucket does not exist; so do the two below.
  std::vector<std::u16string> children(const std::u16string& path);
  // The bucket and its descendants, sorted by full name.
  std::vector<BucketValues> subtree(const std::u16string& path);
  // The subtree as the tool's `export` prints it, final line end included.
  std::string exportText(const std::u16string& path);
  // An export document applied in one commit, as the tool's `import` does.
  // `timeout` in seconds bounds the wait for the lock (negative: none).
  void importText(const std::string& text, const std::optional<std::u16string>& root,
                  bool replace, double timeout);

  RefPtr<IBucketManager> manager() { return manager_; }

 private:
  tool::Session session(double timeout);
  RefPtr<IBucket> existing(const std::u16string& path);

  RefPtr<IBucketManager> manager_;
};

// One update: the registry lock is taken on construction and released on
// destruction, which discards whatever was not committed.
class Change {
 public:
  Change(Registry& registry, double timeout);
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  // The kind of the value as this update sees it; kNOTSET when the bucket
  // or the value does not exist.
  BucketValueType typeOf(const std::u16string& path, const std::u16string& name);
  // Stores the value, making the bucket (and its parents) when missing.
  void set(const std::u16string& path, const std::u16string& name, const Value& value);
  // Removes one value; fails (not found) when there is no such value.
  void removeValue(const std::u16string& path, const std::u16string& name);
  // Deletes the bucket and its subtree; fails (not found) when it does not
  // exist.
  void removeBucket(const std::u16string& path);
  // Commits every change (when there is any). The lock is released when
  // the Change is destroyed.
  void commit();

 private:
  RefPtr<IBucket> bucket(const std::u16string& path, bool make);

  tool::Session session_;
  tool::Update update_;
  // Copies of the buckets this update changed, by the digest of their name:
  // each later change of a bucket goes to the same copy.
  std::map<std::string, RefPtr<IBucket>> changed_;
  // Buckets deleted in this update: below them nothing is read from the
  // registry any more.
  std::vector<std::u16string> deleted_;
  bool dirty_ = false;
};

}  // namespace vesk::tarnhive::python
