// Moving values between the library's buckets and the tool's Value: reading
// a bucket's values, and storing a Value under a name with the bucket's
// typed setters.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Value.h"
#include "vesk/tarnhive/Tarnhive.h"

namespace vesk::tarnhive::tool {

std::u16string fromWide(const vesk::orlo::WideString& text);
vesk::orlo::WideString toWide(const std::u16string& text);

// The value's content; fails (exit 3) when the library cannot read it.
Value readValue(IBucketValue& value);

// Every value of the bucket in its name order; child links are left out
// unless `withLinks`.
NamedValues readValues(IBucket& bucket, bool withLinks);

// The full names of the buckets `bucket` links to, in its name order.
std::vector<std::u16string> childLinks(IBucket& bucket);

// True when the value named `name` of the bucket called `owner` is a link
// to a child: a digest named by a direct child's full name and equal to
// that name's digest.
bool isChildLink(const std::u16string& owner, const std::u16string& name, const Value& value);

// Stores `value` under `name`, replacing any value of that name.
void storeValue(IBucket& bucket, const std::u16string& name, const Value& value,
                TarnhiveStatus* status);

}  // namespace vesk::tarnhive::tool
