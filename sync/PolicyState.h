// What the keys under an etcd prefix say the registry subtree should hold.
// Key <prefix>Acme/Editor, whose value is a JSON object of typed values in
// the form of a bucket of the tool's export, stands for the bucket
// <subtree>/Acme/Editor with exactly those values; the buckets between the
// subtree and it are its parents and hold no values of their own unless a
// key names them too.
//
// Keys that cannot be applied are skipped, each with a problem naming it:
// a key whose rest is not a bucket name in normal form (valid UTF-8, no
// empty part) maps to no bucket; a key whose value is not a valid bucket
// keeps the values its key last had (or, when it never had valid ones,
// leaves the bucket as the registry holds it); of keys that name one
// bucket (names that differ only in case), the first in key order
// applies.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Value.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive::sync {

// What the subtree should show for one bucket.
struct Desired {
  enum Kind {
    kAbsent,  // no bucket
    kParent,  // a bucket without values of its own, there for its children
    kHeld,    // left as the registry holds it (its key's value was never valid)
    kValues,  // a bucket with exactly `values`
  };
  Kind kind = kAbsent;
  tool::NamedValues values;
  std::u16string name;  // kValues and kHeld: the bucket's name as its key spells it
};

// A key whose change is not applied, and why.
struct SkippedKey {
  std::string key;
  std::string reason;
};

class PolicyState {
 public:
  // REQUIRES: `keyPrefix` ends with "/"; `subtree` is a full name in normal
  // form other than "/".
  PolicyState(std::string keyPrefix, std::u16string subtree);

  // The bucket `key` stands for; nothing, with the reason in `problem`,
  // when it stands for none.
  std::optional<std::u16string> bucketOf(const std::string& key, std::string* problem) const;

  // Records that `key` now holds `value`. Returns the keys whose values
  // are not applied because of it: `key` itself, or another key for the
  // same bucket that it takes the place of.
  std::vector<SkippedKey> put(const std::string& key, const std::string& value);
  // Records that `key` was deleted.
  void remove(const std::string& key);

  Desired desired(const std::u16string& bucket) const;

  // The buckets that keys stand for, and their parents below the subtree.
  std::vector<std::u16string> bucketNames() const;
  // The keys recorded, in key order.
  std::vector<std::string> keys() const;

  const std::string& keyPrefix() const { return keyPrefix_; }
  const std::u16string& subtree() const { return subtree_; }

 private:
  struct Entry {
    std::u16string bucket;
    std::optional<tool::NamedValues> values;  // nothing: never valid
  };

  // Counts the entry in (or, with -1, out of) its bucket's parents.
  void countParents(const std::u16string& bucket, int delta);

  std::string keyPrefix_;
  std::u16string subtree_;
  std::map<std::string, Entry> entries_;
  // Buckets, by name ignoring case, to the keys that name them.
  std::map<Digest, std::set<std::string>> owners_;
  // Buckets, by name ignoring case, to the number of entries below them.
  std::map<Digest, std::size_t> below_;
};

// A bucket's values from the JSON text of a key. Fails (ToolError) on text
// that is not a JSON object of typed values, on two names that differ only
// in case, on an empty name, and on digest values, which in a bucket are
// the registry's own links to its children.
tool::NamedValues bucketValuesOf(const std::string& text, const std::string& where);

}  // namespace vesk::tarnhive::sync

namespace vesk::tarnhive::sync {

// A key for messages: quoted, with bytes that are not printable UTF-8
// written as \xNN.
std::string quotedKey(const std::string& key);

}  // namespace vesk::tarnhive::sync
