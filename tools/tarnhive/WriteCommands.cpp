// set and rm: one change, made under the registry lock in one commit. Input
// is checked in full before the registry is opened, so bad input changes
// nothing.
#include "Commands.h"
#include "Names.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueText.h"

namespace vesk::tarnhive::tool {

void setValue(const GlobalOptions& options, const std::vector<std::string>& words,
              bool makeBuckets) {
  if (words.size() < 3) fail(kExitUsage, "set needs PATH NAME TYPE VALUE...");
  const std::u16string path = normalizePath(words[0]);
  const std::u16string name = valueNameOf(words[1]);
  const TypeInfo* type = typeByName(words[2]);
  if (type == nullptr) {
    fail(kExitUsage, "unknown type \"" + words[2] + "\" (known: " + typeNames() + ")");
  }
  const Value value = parseArguments(*type, {words.begin() + 3, words.end()});

  Session session(options);
  Update update(session);
  RefPtr<IBucket> bucket = session.find(path);
  TarnhiveStatus status;
  if (!bucket && !makeBuckets) {
    fail(kExitNotFound, "the bucket " + displayName(path) + " does not exist (-p makes it)");
  }
  if (!bucket) {
    IBucket* made = nullptr;
    session.manager().createBucket(&made, toWide(path), true, true, &status);
    bucket = RefPtr<IBucket>::adopt(made);
    require(status, "making " + displayName(path));
  }
  storeValue(*bucket, name, value, &status);
  require(status, "setting " + words[1] + " of " + displayName(path));
  update.write(*bucket);
  update.commit();
}

void removeEntry(const GlobalOptions& options, const std::string& path,
                 const std::optional<std::string>& name, bool recursive) {
  const std::u16string root = normalizePath(path);
  const std::u16string valueName = name ? valueNameOf(*name) : std::u16string();
  if (!name && root == u"/") fail(kExitUsage, "the root bucket \"/\" cannot be removed");

  Session session(options);
  Update update(session);
  RefPtr<IBucket> bucket = session.get(root);
  if (name) {
    if (!bucket->removeValue(toWide(valueName))) {
      fail(kExitNotFound, "the bucket " + displayName(root) + " has no value " + *name);
    }
    update.write(*bucket);
  } else {
    if (!recursive && !childLinks(*bucket).empty()) {
      fail(kExitUsage, "the bucket " + displayName(root) + " has child buckets (-r removes them too)");
    }
    update.remove(root);
  }
  update.commit();
}

}  // namespace vesk::tarnhive::tool
