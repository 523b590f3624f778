// Makes the bucket manager for the registry object.
#pragma once

#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/IBucketManager.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

// Allocates and constructs a bucket manager with no reference taken yet.
// Returns null, with errno set to ENOMEM, when it cannot be allocated; a
// construction that fails part way returns the object with its code in
// `status`.
IBucketManager* newBucketManager(const orlo::WideString& directory,
                                 const orlo::WideString& iniFile, TarnhiveStatus* status) noexcept;

}  // namespace vesk::tarnhive
