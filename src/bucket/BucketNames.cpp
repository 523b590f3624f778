// Name derivation for buckets, built on the support library's tokenizer so
// that every part of the system splits names the same way.
#include "bucket/BucketNames.h"

#include <vector>

#include "vesk/orlo/StringCase.h"
#include "vesk/orlo/Tokenizer.h"

namespace vesk::tarnhive {

using orlo::WideString;

namespace {

std::vector<WideString> componentsOf(const WideString& fullName) {
  std::vector<WideString> components;
  orlo::WideTokenizer tokens(fullName, WideString(kRootName), false);
  while (tokens.hasMoreTokens()) {
    WideString component;
    tokens.nextToken(component);
    components.push_back(component);
  }
  return components;
}

}  // namespace

WideString shortNameOf(const WideString& fullName) {
  const std::vector<WideString> components = componentsOf(fullName);
  return components.empty() ? WideString() : components.back();
}

WideString parentNameOf(const WideString& fullName) {
  const std::vector<WideString> components = componentsOf(fullName);
  if (components.size() < 2) return WideString(kRootName);
  WideString parent;
  for (std::size_t i = 0; i + 1 < components.size(); ++i) {
    parent += kNameSeparator;
    parent += components[i];
  }
  return parent;
}

WideString childNameOf(const WideString& fullName, const WideString& childShortName) {
  WideString child(fullName == kRootName ? WideString() : fullName);
  child += kNameSeparator;
  child += childShortName;
  return child;
}

bool isRootName(const WideString& fullName) noexcept {
  return orlo::compareIgnoreCase(fullName, kRootName) == 0;
}

}  // namespace vesk::tarnhive
