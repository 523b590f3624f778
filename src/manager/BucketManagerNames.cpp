// Names and directories of the bucket manager.
#include "bucket/Bucket.h"
#include "bucket/BucketNames.h"
#include "status/StatusGuard.h"
#include "manager/BucketManager.h"
#include "manager/NameRules.h"
#include "vesk/orlo/StringCase.h"
#include "vesk/tarnhive/Digest.h"
#include "vesk/tarnhive/IBucketValue.h"
#include "vesk/orlo/osdep/CommonAppDataDirectory.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::tarnhive {

orlo::WideString normalizedNameOf(const orlo::WideString& name) {
  orlo::WideString normalized;
  for (const NameComponent& part : componentsOf(name)) {
    normalized += kNameSeparator;
    normalized.append(name.data() + part.begin, part.end - part.begin);
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

namespace {

// The name and digest of every kDIGEST value of `bucket`.
std::vector<std::pair<orlo::WideString, Digest>> digestValuesOf(IBucket& bucket) {
  if (auto* typed = dynamic_cast<Bucket*>(&bucket)) return typed->digestValues();
  std::vector<std::pair<orlo::WideString, Digest>> found;
  TarnhiveStatus own;
  orlo::WideString name;
  IBucketValue* value = nullptr;
  const std::uint32_t handle = bucket.openEnumeration();
  for (bool more = bucket.enumFirstValue(name, value, handle, &own); more;
       more = bucket.enumNextValue(name, value, handle, &own)) {
    TarnhiveStatus read;
    if (value->getType() == kDIGEST) found.emplace_back(name, value->getDigest(&read));
  }
  if (value != nullptr) value->release();
  bucket.closeEnumeration(handle);
  return found;
}

}  // namespace

std::vector<orlo::WideString> childLinksOf(IBucket& bucket) {
  const orlo::WideString parent = normalizedNameOf(bucket.getFullName());
  std::vector<orlo::WideString> links;
  for (const auto& [name, digest] : digestValuesOf(bucket)) {
    const orlo::WideString child = normalizedNameOf(name);
    if (child == orlo::WideString(kRootName) || !orlo::equalsIgnoreCase(child, name) ||
        !orlo::equalsIgnoreCase(parentOfNormal(child), parent)) {
      continue;
    }
    if (digest == Digest(name)) links.push_back(name);
  }
  return links;
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
