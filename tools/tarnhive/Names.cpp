// Full-name rules. Case is compared through the registry's own digests, so
// the tool and the library agree on which names are the same bucket.
#include "Names.h"

#include "Encoding.h"
#include "ToolError.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive::tool {

std::u16string normalizePath(std::string_view path) {
  const auto units = fromUtf8(path);
  if (!units) fail(kExitUsage, "the path \"" + std::string(path) + "\" is not valid UTF-8");
  return normalizeName(*units);
}

std::u16string normalizeName(std::u16string_view units) {
  std::u16string name;
  std::size_t start = 0;
  while (start <= units.size()) {
    std::size_t end = units.find(u'/', start);
    if (end == std::u16string_view::npos) end = units.size();
    if (end > start) {
      name += u'/';
      name += units.substr(start, end - start);
    }
    start = end + 1;
  }
  return name.empty() ? u"/" : name;
}

std::u16string valueNameOf(std::string_view name) {
  const auto units = fromUtf8(name);
  if (!units) fail(kExitUsage, "the value name \"" + std::string(name) + "\" is not valid UTF-8");
  return *units;
}

std::u16string parentOf(const std::u16string& fullName) {
  const std::size_t slash = fullName.rfind(u'/');
  if (slash == std::u16string::npos || slash == 0) return u"/";
  return fullName.substr(0, slash);
}

bool sameName(const std::u16string& a, const std::u16string& b) {
  if (a == b) return true;
  if (a.size() != b.size()) return false;
  using orlo::WideString;
  return Digest(WideString(a.data(), static_cast<std::uint32_t>(a.size()))) ==
         Digest(WideString(b.data(), static_cast<std::uint32_t>(b.size())));
}

bool isAtOrBelow(const std::u16string& name, const std::u16string& root) {
  if (root == u"/") return true;
  if (name.size() == root.size()) return sameName(name, root);
  return name.size() > root.size() && name[root.size()] == u'/' &&
         sameName(name.substr(0, root.size()), root);
}

std::string displayName(const std::u16string& name) { return toUtf8(name); }

}  // namespace vesk::tarnhive::tool
