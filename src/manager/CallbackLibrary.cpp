#include "manager/CallbackLibrary.h"

#include "vesk/orlo/StringConversion.h"

namespace vesk::tarnhive {

std::unique_ptr<CallbackLibrary> CallbackLibrary::load(const orlo::WideString& name) {
  auto library = std::make_unique<orlo::osdep::SharedLibrary>(name, true, false);
  if (!library->isLoaded() && !library->load()) return nullptr;
  auto preInit = reinterpret_cast<Callback>(library->getSymbol("TarnhivePreInitCallback", true));
  auto postCommit =
      reinterpret_cast<Callback>(library->getSymbol("TarnhivePostCommitCallback", true));
  if (preInit == nullptr || postCommit == nullptr) return nullptr;
  return std::unique_ptr<CallbackLibrary>(
      new CallbackLibrary(std::move(library), preInit, postCommit));
}

CallbackLibrary::CallbackLibrary(std::unique_ptr<orlo::osdep::SharedLibrary> library,
                                 Callback preInit, Callback postCommit)
    : library_(std::move(library)), preInit_(preInit), postCommit_(postCommit) {}

void CallbackLibrary::preInit(const orlo::WideString& directory) const {
  preInit_(orlo::toNarrow(directory).c_str());
}

void CallbackLibrary::postCommit(const orlo::WideString& directory) const {
  postCommit_(orlo::toNarrow(directory).c_str());
}

}  // namespace vesk::tarnhive
