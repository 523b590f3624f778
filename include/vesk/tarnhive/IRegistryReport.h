// A report of the library about a registry's files, for tools that show or
// check them: what `ITarnhive3::checkRegistry` found and what
// `ITarnhive3::describeRegistry` tells. Each entry has a group, a name, and
// a text or a number, as `isText` tells (entries of group "problem" give
// both); texts are UTF-8.
#pragma once

#include <cstdint>

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

class IRegistryReport : public vesk::orlo::IRefCounted {
 public:
  // The number of entries.
  virtual std::uint32_t getCount(TarnhiveStatus* status) = 0;
  // Entry `index`; an index past the end gives kINDEXOUTOFRANGE. `isText`
  // tells which of `text` and `number` holds the entry's value.
  virtual bool getEntry(std::uint32_t index, vesk::orlo::NarrowString& group,
                        vesk::orlo::NarrowString& name, bool* isText,
                        vesk::orlo::NarrowString& text, std::int64_t* number,
                        TarnhiveStatus* status) = 0;

 protected:
  ~IRegistryReport() = default;
};

}  // namespace vesk::tarnhive
