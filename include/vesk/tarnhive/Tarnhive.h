// The one header a client of the registry library includes.
#pragma once

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/AbsoluteTime.h"
#include "vesk/tarnhive/BucketValueType.h"
#include "vesk/tarnhive/Digest.h"
#include "vesk/tarnhive/Guid.h"
#include "vesk/tarnhive/IBucket.h"
#include "vesk/tarnhive/IBucketCase.h"
#include "vesk/tarnhive/IBucketManager.h"
#include "vesk/tarnhive/IBucketValue.h"
#include "vesk/tarnhive/IChangeFeed.h"
#include "vesk/tarnhive/ITarnhive.h"
#include "vesk/tarnhive/StatusCodes.h"
#include "vesk/tarnhive/TarnhiveStatus.h"
