// Bucket: the one implementation of IBucket, a node of the registry tree.
//
// A bucket owns its values: a stored value is a private copy, shared only
// with copies of the bucket and destroyed with the last of them, and every
// value handed out is a fresh copy. The values sit in one array sorted by
// name (ignoring case), so a look-up is a binary search and a copy of the
// bucket copies one array of references. Its short name, digest and parent
// digest are derived from its full name whenever that is set (construction,
// deserialize).
//
// Invariants:
//  - every change to the values sets the modified flag, stamps the bucket
//    with the current time and invalidates every open enumeration;
//  - only deserialize clears the modified flag, and only deserialize and
//    mergeFrom change the version.
//
// Thread-safety: every member is read and written under the bucket's own
// re-entrant lock; only the reference count and the handle counter are
// atomic. Lock order: collections and caches lock before the buckets they
// hold. A bucket never calls into a collection, and it holds no lock of its
// own while it calls into another bucket, except in isEqual, which takes
// both locks in address order so that two comparisons of the same pair
// cannot deadlock.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "bucket/BucketValue.h"
#include "bucket/EnumerationCursors.h"
#include "bucket/TarnhiveAtomicInt.h"
#include "vesk/orlo/DLLAlloced.h"
#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringCase.h"
#include "vesk/orlo/osdep/CriticalSection.h"
#include "vesk/tarnhive/Digest.h"
#include "vesk/tarnhive/Export.h"
#include "vesk/tarnhive/IBucket.h"

namespace vesk::tarnhive {

class Bucket final
    : public orlo::RefCountedImplementation<IBucket, orlo::RefCountedThreadSafePolicy>,
      public orlo::DLLAlloced {
 public:
  // An unnamed, persistent bucket without values, to be filled by
  // deserialize.
  Bucket();
  // A new, modified bucket without values.
  Bucket(const WideString& fullName, bool persistent);
  // A copy of `source`: its names, flags, version and values. The copy is
  // stamped with the current time and is modified exactly when the source
  // is.
  explicit Bucket(IBucket& source);
  // The name and digest of every kDIGEST value, in value order, read
  // without copying the values.
  std::vector<std::pair<WideString, Digest>> digestValues();

  // The same copy under another full name, with the names derived from it.
  Bucket(IBucket& source, const WideString& fullName);
  explicit Bucket(Bucket& source) : Bucket(static_cast<IBucket&>(source)) {}
  ~Bucket() override;
  Bucket(const Bucket&) = delete;
  Bucket& operator=(const Bucket&) = delete;

  bool equalBuckets(IBucket* a, IBucket* b) override;
  bool mergeFrom(IBucket* source, std::uint32_t mode, TarnhiveStatus* status) override;

  std::uint32_t serializationSize() override;
  void serialize(std::uint8_t*& cursor, const std::uint8_t* end) override;
  void deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) override;

  bool setFloat64Array(const WideString& name, const double* elements, std::uint32_t count,
                       TarnhiveStatus* status, bool overwrite) override;
  bool setFloat32Array(const WideString& name, const float* elements, std::uint32_t count,
                       TarnhiveStatus* status, bool overwrite) override;
  bool setUInt64Array(const WideString& name, const std::uint64_t* elements, std::uint32_t count,
                      TarnhiveStatus* status, bool overwrite) override;
  bool setInt64Array(const WideString& name, const std::int64_t* elements, std::uint32_t count,
                     TarnhiveStatus* status, bool overwrite) override;
  bool setUInt32Array(const WideString& name, const std::uint32_t* elements, std::uint32_t count,
                      TarnhiveStatus* status, bool overwrite) override;
  bool setInt32Array(const WideString& name, const std::int32_t* elements, std::uint32_t count,
                     TarnhiveStatus* status, bool overwrite) override;
  bool setUInt16Array(const WideString& name, const std::uint16_t* elements, std::uint32_t count,
                      TarnhiveStatus* status, bool overwrite) override;
  bool setInt16Array(const WideString& name, const std::int16_t* elements, std::uint32_t count,
                     TarnhiveStatus* status, bool overwrite) override;
  bool setUInt8Array(const WideString& name, const std::uint8_t* elements, std::uint32_t count,
                     TarnhiveStatus* status, bool overwrite) override;
  bool setInt8Array(const WideString& name, const std::int8_t* elements, std::uint32_t count,
                    TarnhiveStatus* status, bool overwrite) override;
  bool setBoolArray(const WideString& name, const bool* elements, std::uint32_t count,
                    TarnhiveStatus* status, bool overwrite) override;
  bool setStringArray(const WideString& name, const WideString* elements, std::uint32_t count,
                      TarnhiveStatus* status, bool overwrite) override;
  bool setAnsiStringArray(const WideString& name, const NarrowString* elements, std::uint32_t count,
                          TarnhiveStatus* status, bool overwrite) override;
  bool setFloat64(const WideString& name, double value, TarnhiveStatus* status,
                  bool overwrite) override;
  bool setFloat32(const WideString& name, float value, TarnhiveStatus* status,
                  bool overwrite) override;
  bool setUInt64(const WideString& name, std::uint64_t value, TarnhiveStatus* status,
                 bool overwrite) override;
  bool setInt64(const WideString& name, std::int64_t value, TarnhiveStatus* status,
                bool overwrite) override;
  bool setUInt32(const WideString& name, std::uint32_t value, TarnhiveStatus* status,
                 bool overwrite) override;
  bool setInt32(const WideString& name, std::int32_t value, TarnhiveStatus* status,
                bool overwrite) override;
  bool setUInt16(const WideString& name, std::uint16_t value, TarnhiveStatus* status,
                 bool overwrite) override;
  bool setInt16(const WideString& name, std::int16_t value, TarnhiveStatus* status,
                bool overwrite) override;
  bool setUInt8(const WideString& name, std::uint8_t value, TarnhiveStatus* status,
                bool overwrite) override;
  bool setInt8(const WideString& name, std::int8_t value, TarnhiveStatus* status,
               bool overwrite) override;
  bool setBool(const WideString& name, bool value, TarnhiveStatus* status, bool overwrite) override;
  bool setString(const WideString& name, const WideString& value, TarnhiveStatus* status,
                 bool overwrite) override;
  bool setAnsiString(const WideString& name, const NarrowString& value, TarnhiveStatus* status,
                     bool overwrite) override;
  bool setDigest(const WideString& name, const Digest& value, TarnhiveStatus* status,
                 bool overwrite) override;
  bool setValue(const WideString& name, IBucketValue* value, TarnhiveStatus* status,
                bool overwrite) override;
  bool setBlob(const WideString& name, const std::uint8_t* bytes, std::uint32_t count,
               TarnhiveStatus* status, bool overwrite) override;

  bool removeValue(const WideString& name) override;
  bool hasValue(const WideString& name) override;
  void clearValues() override;
  void clearDataValues() override;
  // An empty short name is refused with kEMPTYVALUENAME.
  bool addChildLink(const WideString& childShortName, TarnhiveStatus* status,
                    bool overwrite) override;
  IBucketValue* getValue(const WideString& name, TarnhiveStatus* status) override;

  WideString getFullName() override;
  WideString getShortName() override;
  Digest getDigest() override;
  Digest getParentDigest() override;
  WideString getFileName() override;
  bool getPersistentFlag() override;
  std::uint32_t getNumValues() override;
  std::uint32_t getVersion() override;
  bool isModified() override;
  AbsoluteTime getTimestamp() override;

  std::uint32_t openEnumeration() override;
  bool closeEnumeration(std::uint32_t handle) override;
  bool enumFirstValue(WideString& name, IBucketValue*& value, std::uint32_t handle,
                      TarnhiveStatus* status) override;
  bool enumNextValue(WideString& name, IBucketValue*& value, std::uint32_t handle,
                     TarnhiveStatus* status) override;
  bool enumFirstChild(Digest& child, std::uint32_t handle) override;
  bool enumNextChild(Digest& child, std::uint32_t handle, TarnhiveStatus* status) override;

  void dump() override;
  // False for a null bucket or one of another implementation.
  bool isEqual(IBucket* other) override;

  // The caches' estimate of the bytes this bucket occupies: per value twice
  // its name's length plus the value's own estimate, 20 per open
  // enumeration, twice the length of each of the three names, and 296 for
  // the bucket itself, summed in wrapping 32-bit arithmetic.
  VESK_TARNHIVE_EXPORT std::uint32_t getMemUsage();

  // The text block of the manager's debug comparison: the names, flags,
  // version and value count, then one line per value. Never throws; a
  // failure yields what was built so far.
  WideString toText();

  // Set and cleared by the store while it commits; false otherwise.
  bool excludeFromCommit = false;

 private:
  using ValuePtr = std::unique_ptr<BucketValue>;
  // A stored value under the spelling of its name, with its record size and
  // memory estimate taken once, when it is made. An entry, once stored, is
  // never changed: a setter stores a new one in its place. So copies of a
  // bucket share their entries instead of copying them.
  struct ValueEntry {
    ValueEntry(const WideString& entryName, ValuePtr entryValue);

    WideString name;
    ValuePtr value;
    std::uint32_t recordSize;  // the name's record and the value's, saturated
    std::uint32_t memUsage;    // twice the name's length and the value's estimate
  };
  using SharedEntry = std::shared_ptr<const ValueEntry>;
  // Sorted by name ignoring case, one entry per name.
  using ValueList = std::vector<SharedEntry>;

  // Recomputes the short name, digest and parent from fullName_.
  void deriveNames();
  // Marks the values changed: modified, stamped now, cursors invalidated.
  void touch() noexcept;
  // The common path of every setter. Takes `value` when it stores it.
  bool storeValue(const WideString& name, ValuePtr& value, TarnhiveStatus* status, bool overwrite);
  // storeValue's refusals of a name or value before the lock: false, with
  // the code, for an empty name, a null or an unset value.
  static bool storable(const WideString& name, const ValuePtr& value, TarnhiveStatus* status);
  // storeValue under the lock, without marking the change: true when it
  // stored `value`.
  // REQUIRES: lock_ is held; storable(name, value).
  bool placeValue(const WideString& name, ValuePtr& value, TarnhiveStatus* status, bool overwrite);
  // The first entry whose name is not below `name`.
  // REQUIRES: lock_ is held.
  ValueList::iterator lowerBound(const WideString& name);
  // The entry of `name`, or end().
  // REQUIRES: lock_ is held.
  ValueList::iterator findValue(const WideString& name);
  // Builds a value with BucketValue's constructor for `args` and stores it.
  template <class... Args>
  bool setBuilt(const WideString& name, TarnhiveStatus* status, bool overwrite, Args&&... args);
  // Copies the values of `source` under one of this bucket's handles;
  // true when any was stored.
  bool copyValuesFrom(IBucket& source, bool overwrite, TarnhiveStatus* status);
  // The names and values of `source`, shared with it.
  void copyFromBucket(Bucket& source);
  // Destroys every value. Marks the change when there was any.
  void dropAllValues() noexcept;
  // Recomputes valuesUsage_ from the entries.
  void recountUsage() noexcept;
  // Reads one entry of a record and stores it with overwrite.
  void readEntry(const std::uint8_t*& cursor, const std::uint8_t* end);
  // A copy of `value` for a caller (one reference), or null with the failure
  // in `status`.
  static IBucketValue* copyForCaller(const BucketValue& value, TarnhiveStatus* status);
  static bool isLink(ValueList::const_iterator entry) noexcept;

  WideString fullName_;
  WideString shortName_;
  Digest digest_;
  Digest parent_;
  WideString fileName_;
  ValueList values_;
  // The sum of the entries' memUsage, in wrapping 32-bit arithmetic.
  std::uint32_t valuesUsage_ = 0;
  orlo::osdep::CriticalSection lock_;
  bool persistentFlag_ = true;
  std::uint32_t version_ = 0;
  bool modified_ = true;
  TarnhiveAtomicInt nextHandle_{1};
  EnumerationCursors<ValueList::iterator> cursors_;
  AbsoluteTime timestamp_;
};

}  // namespace vesk::tarnhive
