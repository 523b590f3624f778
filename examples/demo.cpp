// The library's main job, as a client does it. Run as
//
//   tarnhive_demo write <registry directory>
//   tarnhive_demo read <registry directory>
//
// "write" creates (or opens) the registry and writes a small tree of typed
// settings in one commit; "read", run in another process, opens the same
// registry, reads the settings back and prints every bucket of the tree.
#include <cstdio>
#include <cstring>
#include <string>

#include "vesk/tarnhive/Tarnhive.h"

namespace {

using namespace vesk::tarnhive;
using vesk::orlo::NarrowString;
using vesk::orlo::RefPtr;
using vesk::orlo::WideString;

WideString wide(const char* text) {
  WideString out;
  for (; *text; ++text) out.append(static_cast<vesk::orlo::WChar>(*text));
  return out;
}

int report(const char* step, const TarnhiveStatus& status) {
  std::fprintf(stderr, "%s failed with status code %d\n", step, status.code);
  return 1;
}

RefPtr<IBucketManager> openManager(const char* directory, TarnhiveStatus& status) {
  ITarnhive2* registry = GetInterface(2, &status);
  IBucketManager* manager = nullptr;
  if (registry != nullptr) registry->createBucketManager(&manager, wide(directory), WideString(), &status);
  return RefPtr<IBucketManager>::adopt(manager);
}

int writeSettings(const char* directory) {
  TarnhiveStatus status;
  RefPtr<IBucketManager> manager = openManager(directory, status);
  if (!manager) return report("opening the registry", status);

  Guid token;
  manager->acquireLock(&token, &status);
  manager->beginUpdate(token, &status);

  IBucket* made = nullptr;
  manager->createBucket(&made, u"/Acme/Editor", true, true, &status);
  RefPtr<IBucket> editor = RefPtr<IBucket>::adopt(made);
  manager->createBucket(&made, u"/Acme/Editor/Window", true, true, &status);
  RefPtr<IBucket> window = RefPtr<IBucket>::adopt(made);
  if (!editor || !window) return report("making the buckets", status);

  editor->setString(u"language", u"English", &status, true);
  editor->setAnsiString(u"theme", "Solarized", &status, true);
  editor->setBool(u"autosave", true, &status, true);
  const WideString recent[] = {u"notes.txt", u"todo.md", u"r\u00e9sum\u00e9.odt"};
  editor->setStringArray(u"recentFiles", recent, 3, &status, true);
  const std::uint8_t layout[] = {0x01, 0x02, 0xFE, 0xFF};
  editor->setBlob(u"layout", layout, sizeof layout, &status, true);

  window->setInt8(u"monitor", -1, &status, true);
  window->setUInt8(u"opacity", 230, &status, true);
  window->setInt16(u"left", -20, &status, true);
  window->setUInt16(u"top", 40, &status, true);
  window->setInt32(u"width", 1280, &status, true);
  window->setUInt32(u"height", 800, &status, true);
  window->setInt64(u"openedAt", 1795219200, &status, true);
  window->setUInt64(u"bytesTyped", 123456789012ull, &status, true);
  window->setFloat32(u"zoom", 1.25f, &status, true);
  window->setFloat64(u"ratio", 1.6, &status, true);

  manager->writeBucket(editor.get(), false, token, &status);
  manager->writeBucket(window.get(), false, token, &status);
  manager->commitUpdate(token, &status);
  manager->releaseLock(token, &status);
  if (failed(&status)) return report("writing the settings", status);
  std::printf("wrote /Acme/Editor and /Acme/Editor/Window to %s\n", directory);
  return 0;
}

int readSettings(const char* directory) {
  TarnhiveStatus status;
  RefPtr<IBucketManager> manager = openManager(directory, status);
  if (!manager) return report("opening the registry", status);

  IBucket* found = nullptr;
  manager->getBucketByName(&found, u"/Acme/Editor/Window", &status);
  RefPtr<IBucket> window = RefPtr<IBucket>::adopt(found);
  if (!window) return report("reading /Acme/Editor/Window", status);
  RefPtr<IBucketValue> width = RefPtr<IBucketValue>::adopt(window->getValue(u"width", &status));
  std::printf("the window is %d pixels wide\n", width ? width->getInt32(&status) : -1);

  IBucketCase* made = nullptr;
  manager->newBucketCase(&made, &status);
  RefPtr<IBucketCase> tree = RefPtr<IBucketCase>::adopt(made);
  if (!tree || !manager->getBucketTree(u"/", tree.get(), &status)) {
    return report("reading the tree", status);
  }
  const std::uint32_t handle = tree->openEnumeration();
  for (RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(tree->enumFirstBucket(handle)); bucket;
       bucket = RefPtr<IBucket>::adopt(tree->enumNextBucket(handle, &status))) {
    bucket->dump();
  }
  tree->closeEnumeration(handle);
  std::fflush(stdout);
  return failed(&status) ? report("listing the tree", status) : 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || (std::strcmp(argv[1], "write") != 0 && std::strcmp(argv[1], "read") != 0)) {
    std::fprintf(stderr, "usage: %s write|read <registry directory>\n", argv[0]);
    return 2;
  }
  return std::strcmp(argv[1], "write") == 0 ? writeSettings(argv[2]) : readSettings(argv[2]);
}
