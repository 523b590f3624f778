// Names and directories of the bucket manager.
#include "bucket/BucketNames.h"
#include "entry/StatusGuard.h"
#include "manager/BucketManager.h"
#include "manager/NameRules.h"
#include "vesk/orlo/osdep/CommonAppDataDirectory.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::tarnhive {

// One pass over the name; the parts are those the support library's
// tokenizer gives for the separator "/".
orlo::WideString normalizedNameOf(const orlo::WideString& name) {
  orlo::WideString normalized;
  const std::uint32_t n = name.length();
  std::uint32_t at = 0;
  while (at < n) {
    while (at < n && name[at] == kNameSeparator) ++at;
    const std::uint32_t begin = at;
    while (at < n && name[at] != kNameSeparator) ++at;
    if (at == begin) break;
    normalized += kNameSeparator;
    normalized.append(name.data() + begin, at - begin);
  }
  if (normalized.empty()) normalized = kRootName;
  return normalized;
}

bool writableNameOf(const orlo::WideString& name, orlo::WideString& normal) {
  if (name.empty()) return false;
  normal = normalizedNameOf(name);
  return normal.length() <= kMaxBucketNameLength;
}

orlo::WideString parentOfNormal(const orlo::WideString& normal) {
  std::uint32_t last = 0;
  for (std::uint32_t i = 0; i < normal.length(); ++i) {
    if (normal[i] == kNameSeparator) last = i;
  }
  return last == 0 ? orlo::WideString(kRootName) : normal.substring(0, last);
}

bool BucketManager::getDirectory(WideString& directory, TarnhiveStatus* status) {
  if (failed(status)) return false;
  return guardedCall(status, false, [&] {
    directory = directory_;
    return true;
  });
}

bool BucketManager::getDefaultDirectory(WideString& directory, TarnhiveStatus* status) {
  if (failed(status)) return false;
  return guardedCall(status, false, [&] {
    directory = orlo::osdep::path::join(orlo::osdep::GetCommonAppDataDirectory(),
                                        WideString(u"Tarnhive"));
    return true;
  });
}

bool BucketManager::normalizeName(WideString& normalized, const WideString& name,
                                  TarnhiveStatus* status) {
  if (failed(status)) return false;
  return guardedCall(status, false, [&] {
    normalized = normalizedNameOf(name);
    return true;
  });
}

bool BucketManager::parentName(WideString& parent, const WideString& name,
                               TarnhiveStatus* status) {
  if (failed(status)) return false;
  return guardedCall(status, false, [&] {
    parent = parentNameOf(name);
    return true;
  });
}

}  // namespace vesk::tarnhive
