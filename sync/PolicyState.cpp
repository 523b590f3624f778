// The keys under the prefix and the buckets they stand for. Buckets are
// told apart as the registry tells them, by the digest of their name, which
// ignores case; so is the count of keys below each parent, which says when
// a parent is no longer needed.
#include "PolicyState.h"

#include <cassert>
#include <cstdio>

#include "Encoding.h"
#include "Names.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueJson.h"

namespace vesk::tarnhive::sync {
namespace {

using tool::NamedValues;

// The longest full name, in UTF-16 units, the registry lets a bucket have.
constexpr std::size_t kMaxBucketName = 4096;

Digest digestOf(const std::u16string& name) { return Digest(tool::toWide(name)); }

}  // namespace

std::string quotedKey(const std::string& key) {
  std::string text = "\"";
  const bool utf8 = tool::isValidUtf8(key);
  for (const char c : key) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f || (byte >= 0x80 && !utf8) || c == '"' || c == '\\') {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
      text += escaped;
    } else {
      text += c;
    }
  }
  return text + "\"";
}

NamedValues bucketValuesOf(const std::string& text, const std::string& where) {
  tool::Json json;
  try {
    json = tool::Json::parse(text);
  } catch (const tool::Json::exception& error) {
    // A number beyond the doubles comes as out_of_range, not parse_error.
    tool::fail(tool::kExitUsage, where + ": not well-formed JSON: " + error.what());
  }
  NamedValues values = tool::valuesFromJson(json, where);
  std::set<Digest> names;
  for (const auto& [name, value] : values) {
    const std::string valueWhere = where + ", value \"" + tool::displayName(name) + "\"";
    if (name.empty()) tool::fail(tool::kExitUsage, valueWhere + ": a value needs a name");
    if (value.type == kDIGEST) {
      tool::fail(tool::kExitUsage, valueWhere + ": digest values are the registry's links to children");
    }
    if (!names.insert(digestOf(name)).second) {
      tool::fail(tool::kExitUsage, valueWhere + ": another value has the same name but for case");
    }
  }
  return values;
}

PolicyState::PolicyState(std::string keyPrefix, std::u16string subtree)
    : keyPrefix_(std::move(keyPrefix)), subtree_(std::move(subtree)) {
  assert(!keyPrefix_.empty() && keyPrefix_.back() == '/');
  assert(subtree_ != u"/");
}

std::optional<std::u16string> PolicyState::bucketOf(const std::string& key, std::string* problem) const {
  const auto rest = key.compare(0, keyPrefix_.size(), keyPrefix_) == 0
                        ? tool::fromUtf8(std::string_view(key).substr(keyPrefix_.size()))
                        : std::nullopt;
  if (!rest) {
    *problem = "the key's name after the prefix is not valid UTF-8";
    return std::nullopt;
  }
  const std::u16string name = subtree_ + u"/" + *rest;
  if (rest->empty() || tool::normalizeName(name) != name) {
    *problem = "the key's name after the prefix is not a bucket name (an empty part, or a \"/\" at an end)";
    return std::nullopt;
  }
  if (name.size() > kMaxBucketName) {
    *problem = "the bucket's name would be longer than " + std::to_string(kMaxBucketName) + " UTF-16 units";
    return std::nullopt;
  }
  return name;
}

std::vector<SkippedKey> PolicyState::put(const std::string& key, const std::string& value) {
  std::string problem;
  const std::optional<std::u16string> bucket = bucketOf(key, &problem);
  if (!bucket) return {{key, problem}};
  std::optional<NamedValues> values;
  try {
    values = bucketValuesOf(value, "its value");
  } catch (const tool::ToolError& error) {
    problem = error.what();
  }
  auto found = entries_.find(key);
  std::set<std::string>& sharing = owners_[digestOf(*bucket)];
  const std::string displaced = sharing.empty() ? std::string() : *sharing.begin();
  if (found == entries_.end()) {
    found = entries_.emplace(key, Entry{*bucket, std::nullopt}).first;
    sharing.insert(key);
    countParents(*bucket, +1);
  }
  if (values) found->second.values = std::move(values);
  if (!problem.empty()) {
    return {{key, problem + (found->second.values ? "; the bucket keeps the key's last valid values"
                                                  : "; the bucket is left as it is")}};
  }
  const std::string& owner = *sharing.begin();
  const std::string twins = " name the same bucket (the names differ only in case); the first in key order applies";
  if (owner != key) return {{key, "it and key " + quotedKey(owner) + twins}};
  if (!displaced.empty() && displaced != key) return {{displaced, "it and key " + quotedKey(key) + twins}};
  return {};
}

void PolicyState::remove(const std::string& key) {
  const auto found = entries_.find(key);
  if (found == entries_.end()) return;
  const Digest bucket = digestOf(found->second.bucket);
  auto& keys = owners_[bucket];
  keys.erase(key);
  if (keys.empty()) owners_.erase(bucket);
  countParents(found->second.bucket, -1);
  entries_.erase(found);
}

void PolicyState::countParents(const std::u16string& bucket, int delta) {
  for (std::u16string parent = tool::parentOf(bucket); parent.size() > subtree_.size();
       parent = tool::parentOf(parent)) {
    const Digest digest = digestOf(parent);
    std::size_t& count = below_[digest];
    if (delta > 0) {
      ++count;
    } else if (--count == 0) {
      below_.erase(digest);
    }
  }
}

Desired PolicyState::desired(const std::u16string& bucket) const {
  const Digest digest = digestOf(bucket);
  const auto owned = owners_.find(digest);
  if (owned != owners_.end()) {
    const Entry& entry = entries_.at(*owned->second.begin());
    if (!entry.values) return Desired{Desired::kHeld, {}, entry.bucket};
    return Desired{Desired::kValues, *entry.values, entry.bucket};
  }
  return Desired{below_.count(digest) != 0 ? Desired::kParent : Desired::kAbsent, {}, {}};
}

std::vector<std::u16string> PolicyState::bucketNames() const {
  std::map<Digest, std::u16string> names;
  for (const auto& [key, entry] : entries_) {
    for (std::u16string name = entry.bucket; name.size() > subtree_.size(); name = tool::parentOf(name)) {
      if (!names.emplace(digestOf(name), name).second) break;  // its parents are in too
    }
  }
  std::vector<std::u16string> list;
  for (auto& [digest, name] : names) list.push_back(std::move(name));
  return list;
}

std::vector<std::string> PolicyState::keys() const {
  std::vector<std::string> list;
  for (const auto& [key, entry] : entries_) list.push_back(key);
  return list;
}

}  // namespace vesk::tarnhive::sync
