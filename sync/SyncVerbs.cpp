// The command line of sync and publish. Both take the same options for
// reaching etcd; a password is best given in a file (--password-file),
// since a command line can be read by every user of the machine.
#include <fstream>
#include <iterator>
#include <memory>

#include "Names.h"
#include "SyncCommands.h"
#include "ToolError.h"

namespace vesk::tarnhive::sync {
namespace {

// The arguments of both verbs; they outlive the parse.
struct SyncArguments {
  EtcdArguments etcd;
  std::string subtree;
  bool once = false;
};

void addEtcdOptions(CLI::App& verb, EtcdArguments& etcd) {
  verb.add_option("--endpoints", etcd.endpoints, "etcd URLs, comma-separated (http://host:2379,...)")->required();
  verb.add_option("--prefix", etcd.prefix, "Key prefix: key <prefix>/Acme/Editor is bucket <SUBTREE>/Acme/Editor")
      ->required();
  verb.add_option("--request-timeout", etcd.requestTimeout, "Seconds to connect, and for each request (default 10)");
  verb.add_option("--cacert", etcd.caFile, "Certificate authorities to trust for https endpoints");
  verb.add_option("--cert", etcd.certFile, "Client certificate for https endpoints");
  verb.add_option("--key", etcd.keyFile, "Key of the client certificate");
  verb.add_option("--user", etcd.user, "etcd user, as NAME or NAME:PASSWORD");
  verb.add_option("--password-file", etcd.passwordFile, "File whose first line is the user's password");
}

std::string readPassword(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) tool::fail(tool::kExitUsage, "cannot read the password file " + file);
  std::string password;
  std::getline(in, password);
  if (!password.empty() && password.back() == '\r') password.pop_back();
  return password;
}

}  // namespace

EtcdOptions etcdOptionsOf(const EtcdArguments& arguments) {
  EtcdOptions options;
  std::size_t start = 0;
  while (start <= arguments.endpoints.size()) {
    std::size_t end = arguments.endpoints.find(',', start);
    if (end == std::string::npos) end = arguments.endpoints.size();
    if (end > start) options.endpoints.push_back(arguments.endpoints.substr(start, end - start));
    start = end + 1;
  }
  if (options.endpoints.empty()) tool::fail(tool::kExitUsage, "--endpoints names no etcd endpoint");
  if (arguments.requestTimeout <= 0) tool::fail(tool::kExitUsage, "--request-timeout must be positive");
  options.http = HttpOptions{arguments.requestTimeout, arguments.caFile, arguments.certFile, arguments.keyFile};
  const std::size_t colon = arguments.user.find(':');
  options.user = arguments.user.substr(0, colon);
  if (colon != std::string::npos) options.password = arguments.user.substr(colon + 1);
  if (!arguments.passwordFile.empty()) options.password = readPassword(arguments.passwordFile);
  return options;
}

std::string keyPrefixOf(const std::string& prefix) {
  std::string key = prefix;
  while (!key.empty() && key.back() == '/') key.pop_back();
  return key + "/";
}

std::u16string subtreeOf(const std::string& path) {
  const std::u16string subtree = tool::normalizePath(path);
  if (subtree == u"/") tool::fail(tool::kExitUsage, "the subtree must be a bucket below the registry's root");
  return subtree;
}

void addSyncVerbs(CLI::App& app, tool::GlobalOptions& global, std::function<int()>& run) {
  auto arguments = std::make_shared<SyncArguments>();
  auto* sync = app.add_subcommand("sync", "Keep SUBTREE in step with the keys under an etcd prefix");
  addEtcdOptions(*sync, arguments->etcd);
  sync->add_flag("--once", arguments->once, "Bring SUBTREE to etcd's current revision, then exit");
  sync->add_option("SUBTREE", arguments->subtree, "Bucket whose subtree mirrors the keys")->required();
  sync->callback([&global, &run, arguments] {
    run = [&global, arguments] {
      return syncSubtree(global, arguments->etcd, arguments->subtree, arguments->once);
    };
  });

  auto* publish = app.add_subcommand("publish", "Write SUBTREE's buckets to etcd under a prefix, in one transaction");
  addEtcdOptions(*publish, arguments->etcd);
  publish->add_option("SUBTREE", arguments->subtree, "Bucket whose subtree is written")->required();
  publish->callback([&global, &run, arguments] {
    run = [&global, arguments] { return publishSubtree(global, arguments->etcd, arguments->subtree); };
  });
}

}  // namespace vesk::tarnhive::sync
