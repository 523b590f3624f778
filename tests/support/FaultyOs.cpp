#include "support/FaultyOs.h"

#include <fstream>
#include <stdexcept>
#include <string>

#include "support/TempDirectory.h"

namespace vesk::test {
namespace {

// The wrapper every crash-point child runs. Its arguments: the operation to
// end at (0: none), the file to write the operation count to ("-": none),
// the job and the job's own arguments.
TARNHIVE_CHILD_JOB(FaultSeamRun) {
  const std::uint64_t k = std::stoull(args.at(0));
  const std::string countFile = args.at(1);
  const ChildJobBody body = findChildJob(args.at(2));
  if (body == nullptr) throw std::runtime_error("no child job " + args.at(2));
  if (k > 0) orlo::osdep::fileFaults::exitAt(k, kCRASH_EXIT_STATUS);
  if (countFile != "-") orlo::osdep::fileFaults::startCounting();
  body(ChildArgs(args.begin() + 3, args.end()));
  const std::uint64_t count = orlo::osdep::fileFaults::operationCount();
  orlo::osdep::fileFaults::disarm();
  if (countFile != "-") std::ofstream(countFile) << count;
}

ChildJob wrapped(const ChildJob& job, std::uint64_t k, const std::string& countFile) {
  ChildJob run{"FaultSeamRun", {std::to_string(k), countFile, job.name}};
  run.args.insert(run.args.end(), job.args.begin(), job.args.end());
  return run;
}

}  // namespace

ChildExit runInChild(const ChildJob& job, std::uint64_t k) {
  ChildExit end;
  end.exitStatus = runChild(wrapped(job, k, "-"));
  end.crashed = end.exitStatus == kCRASH_EXIT_STATUS;
  end.completed = end.exitStatus == kCHILD_COMPLETED;
  return end;
}

std::uint64_t countOperationsInChild(const ChildJob& job) {
  TempDirectory scratch;
  const std::string countFile = scratch.path("count");
  if (runChild(wrapped(job, 0, countFile)) != kCHILD_COMPLETED) {
    throw std::runtime_error("the counting child failed");
  }
  std::uint64_t count = 0;
  if (!(std::ifstream(countFile) >> count)) throw std::runtime_error("the counting child did not report");
  return count;
}

std::uint64_t forEachCrashPoint(const std::function<void()>& prepare, const ChildJob& job,
                                const std::function<void(std::uint64_t, const ChildExit&)>& check) {
  for (std::uint64_t k = 1;; ++k) {
    prepare();
    const ChildExit end = runInChild(job, k);
    check(k, end);
    if (!end.crashed) return k;
  }
}

}  // namespace vesk::test
