// Names and directories of the bucket manager.
#include "bucket/BucketNames.h"
#include "entry/StatusGuard.h"
#include "manager/BucketManager.h"
#include "manager/NameRules.h"
#include "vesk/orlo/Tokenizer.h"
#include "vesk/orlo/osdep/CommonAppDataDirectory.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::tarnhive {

orlo::WideString normalizedNameOf(const orlo::WideString& name) {
  orlo::WideTokenizer parts(name, orlo::WideString(u"/"), false);
  orlo::WideString normalized;
  orlo::WideString part;
  while (parts.hasMoreTokens()) {
    parts.nextToken(part);
    normalized += u'/';
    normalized += part;
  }
  if (normalized.empty()) normalized = u"/";
  return normalized;
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
