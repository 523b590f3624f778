// The record as three typed values: the revision as an int64, the cluster
// and the prefix as strings (a prefix that is not UTF-8 is kept as its
// bytes in a narrow string).
#include "SyncRecord.h"

#include "Encoding.h"
#include "Names.h"
#include "ToolError.h"
#include "ValueAccess.h"

namespace vesk::tarnhive::sync {
namespace {

using tool::Value;

const Value* lookUp(const tool::NamedValues& values, const char16_t* name) {
  for (const auto& [held, value] : values) {
    if (tool::sameName(held, name)) return &value;
  }
  return nullptr;
}

std::string textOf(const Value* value) {
  if (value == nullptr) return {};
  if (value->type == kSTRING) return tool::toUtf8(value->wide.at(0));
  if (value->type == kANSISTRING) return value->narrow.at(0);
  return {};
}

Value textValue(const std::string& text) {
  Value value;
  if (const auto units = tool::fromUtf8(text)) {
    value.type = kSTRING;
    value.wide.push_back(*units);
  } else {
    value.type = kANSISTRING;
    value.narrow.push_back(text);
  }
  return value;
}

void store(IBucket& root, const char16_t* name, const Value& value) {
  TarnhiveStatus status;
  tool::storeValue(root, name, value, &status);
  tool::require(status, "recording the etcd revision in " + tool::displayName(tool::fromWide(root.getFullName())));
}

}  // namespace

SyncRecord readRecord(IBucket& root) {
  const tool::NamedValues values = tool::readValues(root, false);
  SyncRecord record;
  const Value* revision = lookUp(values, kRevisionValue);
  if (revision == nullptr || revision->type != kINT64) return record;
  record.revision = static_cast<std::int64_t>(revision->bits.at(0));
  record.clusterId = textOf(lookUp(values, kClusterValue));
  record.keyPrefix = textOf(lookUp(values, kPrefixValue));
  return record;
}

void storeRecord(IBucket& root, const SyncRecord& record) {
  Value revision;
  revision.type = kINT64;
  revision.bits.push_back(static_cast<std::uint64_t>(record.revision));
  store(root, kRevisionValue, revision);
  store(root, kClusterValue, textValue(record.clusterId));
  store(root, kPrefixValue, textValue(record.keyPrefix));
}

}  // namespace vesk::tarnhive::sync
