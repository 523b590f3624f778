// The verbs that connect a registry subtree with etcd: sync (etcd to the
// registry, once or as a long-running agent) and publish (the registry to
// etcd), and their command-line options.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

#include "EtcdClient.h"
#include "Session.h"

namespace vesk::tarnhive::sync {

// The options that say how to reach etcd and where the keys are.
struct EtcdArguments {
  std::string endpoints;  // comma-separated URLs
  std::string prefix;     // keys are <prefix>/<bucket below the subtree>
  double requestTimeout = 10;
  std::string caFile;
  std::string certFile;
  std::string keyFile;
  std::string user;  // NAME or NAME:PASSWORD
  std::string passwordFile;
};

// The client options the arguments describe. Fails (usage) on an empty
// endpoint list or an unreadable password file.
EtcdOptions etcdOptionsOf(const EtcdArguments& arguments);
// The key prefix: the given one without "/" at its end, followed by "/".
std::string keyPrefixOf(const std::string& prefix);
// The subtree as a full name; fails (usage) for the registry's root.
std::u16string subtreeOf(const std::string& path);

// sync: follows etcd (or, with `once`, brings the subtree to etcd's current
// revision and returns). Stops cleanly on SIGINT and SIGTERM.
int syncSubtree(const tool::GlobalOptions& options, const EtcdArguments& etcd, const std::string& subtree,
                bool once);
// publish: writes the subtree's buckets to etcd in one transaction.
int publishSubtree(const tool::GlobalOptions& options, const EtcdArguments& etcd, const std::string& subtree);

// Adds the verbs sync and publish to the tool; the chosen one sets `run`.
void addSyncVerbs(CLI::App& app, tool::GlobalOptions& global, std::function<int()>& run);

}  // namespace vesk::tarnhive::sync
