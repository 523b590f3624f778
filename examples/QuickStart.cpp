// The README's example: the shortest complete client. It is built with the
// library so that the README never shows code that does not compile.
#include <cstdio>

#include "vesk/tarnhive/Tarnhive.h"

using namespace vesk::tarnhive;
using vesk::orlo::RefPtr;

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  vesk::orlo::WideString directory;
  for (const char* c = argv[1]; *c; ++c) directory.append(static_cast<char16_t>(*c));

  TarnhiveStatus status;
  ITarnhive2* registry = GetInterface(2, &status);
  IBucketManager* made = nullptr;
  registry->createBucketManager(&made, directory, u"", &status);
  RefPtr<IBucketManager> manager = RefPtr<IBucketManager>::adopt(made);
  if (!manager) return 1;

  // Change the registry: take the lock, open an update, write, commit.
  Guid token;
  manager->acquireLock(&token, &status);
  manager->beginUpdate(token, &status);
  IBucket* bucket = nullptr;
  manager->createBucket(&bucket, u"/MyApp/Window", true, true, &status);
  RefPtr<IBucket> window = RefPtr<IBucket>::adopt(bucket);
  if (window) window->setInt32(u"width", 1280, &status, true);
  manager->writeBucket(window.get(), false, token, &status);
  manager->commitUpdate(token, &status);
  manager->releaseLock(token, &status);

  // Read it back: a copy of the committed bucket.
  manager->getBucketByName(&bucket, u"/MyApp/Window", &status);
  RefPtr<IBucket> copy = RefPtr<IBucket>::adopt(bucket);
  RefPtr<IBucketValue> width;
  if (copy) width = RefPtr<IBucketValue>::adopt(copy->getValue(u"width", &status));
  if (width) std::printf("width = %d\n", width->getInt32(&status));

  // One check at the end: a negative code is the first error of the chain.
  return failed(&status) ? 1 : 0;
}
