// publish: the subtree's buckets below its root, each as key
// <prefix>/<name below the subtree> holding its values in the export's
// JSON form, written to etcd in one transaction, which also deletes the
// keys under the prefix that no bucket stands for any more. The
// transaction applies only if no key under the prefix changed since they
// were read, and is tried again when one did. Keys that already hold
// their bucket's values are left alone, so publishing an unchanged subtree
// makes no revision.
#include <cstdio>
#include <map>
#include <set>

#include "Encoding.h"
#include "Names.h"
#include "SyncCommands.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueJson.h"

namespace vesk::tarnhive::sync {
namespace {

constexpr int kAttempts = 5;  // reads and transactions, while other writers get in between

// Key to the JSON of its bucket's values.
std::map<std::string, tool::Json> localKeys(tool::Session& session, const std::u16string& subtree,
                                            const std::string& keyPrefix) {
  std::map<std::string, tool::Json> keys;
  for (const orlo::RefPtr<IBucket>& bucket : session.subtree(subtree)) {
    const std::u16string name = tool::fromWide(bucket->getFullName());
    if (name.size() <= subtree.size()) continue;
    if (!tool::isValidUtf16(name)) {
      std::fprintf(stderr, "tarnhive: publish: %s skipped: its name is not valid UTF-16\n",
                   tool::displayName(name).c_str());
      continue;
    }
    keys[keyPrefix + tool::toUtf8(name.substr(subtree.size() + 1))] =
        tool::valuesJson(tool::readValues(*bucket, false));
  }
  return keys;
}

bool holds(const KeyValue& kv, const tool::Json& values) {
  try {
    return tool::Json::parse(kv.value) == values;
  } catch (const tool::Json::exception&) {  // parse_error, or out_of_range for a huge number
    return false;
  }
}

std::vector<TxnOperation> operationsFor(const std::map<std::string, tool::Json>& local, const Snapshot& remote) {
  std::vector<TxnOperation> operations;
  std::set<std::string> present;
  for (const KeyValue& kv : remote.keys) {
    present.insert(kv.key);
    const auto found = local.find(kv.key);
    if (found == local.end()) {
      operations.push_back({kv.key, std::nullopt});
    } else if (!holds(kv, found->second)) {
      operations.push_back({kv.key, found->second.dump()});
    }
  }
  for (const auto& [key, values] : local) {
    if (present.count(key) == 0) operations.push_back({key, values.dump()});
  }
  return operations;
}

}  // namespace

int publishSubtree(const tool::GlobalOptions& options, const EtcdArguments& etcd, const std::string& path) {
  const std::u16string subtree = subtreeOf(path);
  const std::string keyPrefix = keyPrefixOf(etcd.prefix);
  EtcdClient client(etcdOptionsOf(etcd));
  std::map<std::string, tool::Json> local;
  {
    tool::Session session(options);
    local = localKeys(session, subtree, keyPrefix);
  }
  try {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      const Snapshot remote = client.readPrefix(keyPrefix, 0);
      const std::vector<TxnOperation> operations = operationsFor(local, remote);
      if (operations.empty()) {
        std::printf("etcd already holds the %zu buckets (revision %lld)\n", local.size(),
                    static_cast<long long>(remote.revision));
        return tool::kExitOk;
      }
      if (const auto revision = client.commitIfUnchanged(keyPrefix, remote.revision, operations)) {
        std::printf("revision %lld: %zu keys written or deleted\n", static_cast<long long>(*revision),
                    operations.size());
        return tool::kExitOk;
      }
    }
  } catch (const EtcdError& error) {
    std::string message = error.what();
    if (message.find("too many operations") != std::string::npos) {
      message += "; a subtree of this many buckets needs etcd's --max-txn-ops raised";
    }
    tool::fail(tool::kExitDamaged, message);
  }
  tool::fail(tool::kExitDamaged, "the keys under the prefix kept changing; nothing was published");
}

}  // namespace vesk::tarnhive::sync
