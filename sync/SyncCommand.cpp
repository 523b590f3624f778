// sync: the agent in the foreground. SIGINT and SIGTERM ask it to stop;
// it stops between two commits (a commit in progress completes), so a
// service manager may stop it at any time.
#include <atomic>
#include <csignal>

#include "SyncAgent.h"
#include "SyncCommands.h"
#include "ToolError.h"

namespace vesk::tarnhive::sync {
namespace {

std::atomic<bool> stopRequested{false};

extern "C" void requestStop(int) { stopRequested.store(true); }

}  // namespace

int syncSubtree(const tool::GlobalOptions& options, const EtcdArguments& etcd, const std::string& path,
                bool once) {
  const std::u16string subtree = subtreeOf(path);
  EtcdClient client(etcdOptionsOf(etcd));
  tool::Session session(options);
  SyncAgent agent(session, client, keyPrefixOf(etcd.prefix), subtree);
  if (once) {
    try {
      agent.syncOnce();
    } catch (const EtcdError& error) {
      tool::fail(tool::kExitDamaged, error.what());
    }
    return tool::kExitOk;
  }
  std::signal(SIGINT, requestStop);
  std::signal(SIGTERM, requestStop);
  agent.run([] { return stopRequested.load(); });
  return tool::kExitOk;
}

}  // namespace vesk::tarnhive::sync
