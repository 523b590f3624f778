// A client of the installed library: writes a setting into a registry
// directory given on the command line and reads it back.
#include <cstdio>

#include "vesk/tarnhive/Tarnhive.h"

using namespace vesk::tarnhive;
using vesk::orlo::RefPtr;
using vesk::orlo::WideString;

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  WideString directory;
  for (const char* c = argv[1]; *c != 0; ++c) directory.append(static_cast<vesk::orlo::WChar>(*c));
  TarnhiveStatus status;
  ITarnhive2* registry = GetInterface(2, &status);
  IBucketManager* made = nullptr;
  if (registry != nullptr) registry->createBucketManager(&made, directory, WideString(), &status);
  RefPtr<IBucketManager> manager = RefPtr<IBucketManager>::adopt(made);
  if (!manager) return 1;
  Guid token;
  manager->acquireLock(&token, &status);
  manager->beginUpdate(token, &status);
  IBucket* bucket = nullptr;
  manager->createBucket(&bucket, u"/Consumer", true, true, &status);
  RefPtr<IBucket> written = RefPtr<IBucket>::adopt(bucket);
  if (written) written->setInt32(u"answer", 42, &status, true);
  manager->writeBucket(written.get(), false, token, &status);
  manager->commitUpdate(token, &status);
  manager->releaseLock(token, &status);
  manager->getBucketByName(&bucket, u"/Consumer", &status);
  RefPtr<IBucket> read = RefPtr<IBucket>::adopt(bucket);
  RefPtr<IBucketValue> answer;
  if (read) answer = RefPtr<IBucketValue>::adopt(read->getValue(u"answer", &status));
  const int value = answer ? answer->getInt32(&status) : -1;
  std::printf("answer = %d\n", value);
  return failed(&status) || value != 42 ? 1 : 0;
}
