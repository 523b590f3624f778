// IBucketManager: the interface through which a client takes the process
// lock, opens and commits updates, reads, writes and deletes buckets, and
// makes values and collections. Its slot order is part of the library's
// binary interface and never changes.
//
// Conventions for every operation:
//  - `status` comes last; entered with a negative code the operation returns
//    its failure result (false, or null in *out) at once.
//  - Operations marked [store] also return the failure result, without a
//    code, when the manager has no open store (its construction failed).
//  - Objects come back through an out parameter carrying one reference for
//    the caller (null on failure). Buckets handed out are copies: changing
//    them changes nothing until they are written with writeBucket.
//  - Operations marked [token] compare the given lock token with the
//    holder's (kNOTLOCKOWNER when it differs or nobody holds the lock);
//    [update] ones also need an open update (kNOUPDATE).
//
// Thread safety: any thread may call any operation; a guard serialises the
// lock, update and changing operations. Across processes the lock taken by
// acquireLock / tryAcquireLock serialises changes.
#pragma once

#include <cstdint>

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/Guid.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

class Digest;
class IBucket;
class IBucketCase;
class IBucketValue;

class IBucketManager : public vesk::orlo::IRefCounted {
 public:
  using WideString = vesk::orlo::WideString;
  using NarrowString = vesk::orlo::NarrowString;

  // --- process lock and updates ------------------------------------------------

  // [store] Takes the machine-wide lock if it is free and stores a fresh
  // token in *token. False without a code when another process (or another
  // thread of this one) holds it; kOSERROR when waiting fails.
  virtual bool tryAcquireLock(Guid* token, TarnhiveStatus* status) = 0;
  // [store] As tryAcquireLock, but waits for the lock. Other threads of the
  // process block meanwhile.
  virtual bool acquireLock(Guid* token, TarnhiveStatus* status) = 0;
  // [store] Closes any open update, whoever calls. With the holder's token it
  // discards uncommitted changes, releases the lock and returns true;
  // otherwise false without a code.
  virtual bool releaseLock(const Guid& token, TarnhiveStatus* status) = 0;
  // [store] The current holder's token (kNoLockToken when none); true when
  // somebody holds the lock.
  virtual bool getLockToken(Guid* token, TarnhiveStatus* status) = 0;
  // [store, token] Opens an update (kUPDATEACTIVE when one is open).
  virtual bool beginUpdate(const Guid& token, TarnhiveStatus* status) = 0;
  // [store, token, update] Writes every change of the update to the store as
  // one commit and closes the update. True once the commit ran; the status
  // tells whether it succeeded.
  virtual bool commitUpdate(const Guid& token, TarnhiveStatus* status) = 0;

  // --- buckets ---------------------------------------------------------------------

  // [store] A new, unstored bucket with that full name.
  virtual bool newBucket(IBucket** bucket, const WideString& fullName, TarnhiveStatus* status) = 0;
  // [store] When the bucket exists: with openIfExists a copy of it, without
  // it null and no code. Otherwise a new, unstored bucket.
  virtual bool createBucket(IBucket** bucket, const WideString& fullName, bool openIfExists,
                            bool persistent, TarnhiveStatus* status) = 0;
  // [store] A new bucket without a name.
  virtual bool newEmptyBucket(IBucket** bucket, TarnhiveStatus* status) = 0;
  // A new, empty bucket collection.
  virtual bool newBucketCase(IBucketCase** collection, TarnhiveStatus* status) = 0;
  // A new digest (of the empty name).
  virtual bool newDigest(Digest** digest, TarnhiveStatus* status) = 0;
  // [store] A copy of the bucket with that digest, from the memory cache or
  // the store; null and the warning kWBUCKETNOTFOUND when it exists nowhere.
  virtual bool getBucket(IBucket** bucket, const Digest& digest, TarnhiveStatus* status) = 0;
  // [store] As getBucket, adding the copy to `collection`.
  virtual bool collectBucket(const Digest& digest, IBucketCase* collection,
                             TarnhiveStatus* status) = 0;
  // [store] As getBucket, by full name.
  virtual bool getBucketByName(IBucket** bucket, const WideString& fullName,
                               TarnhiveStatus* status) = 0;
  // [store] As getBucketByName, adding the copy to `collection`.
  virtual bool collectBucketByName(const WideString& fullName, IBucketCase* collection,
                                   TarnhiveStatus* status) = 0;
  // [store] Adds copies of the bucket and all its descendants to
  // `collection`.
  virtual bool getBucketTree(const WideString& fullName, IBucketCase* collection,
                             TarnhiveStatus* status) = 0;
  // [store, token, update] Puts the bucket and its descendants into the
  // update, to be stored at commit. kDISKFULL when the registry file is over
  // its size limit even after compaction.
  virtual bool writeBucket(IBucket* bucket, bool flag, const Guid& token,
                           TarnhiveStatus* status) = 0;
  // [store, token, update] Deletes the bucket and all its descendants at
  // commit. kROOTBUCKET for "/".
  virtual bool deleteBucket(const WideString& fullName, const Guid& token,
                            TarnhiveStatus* status) = 0;
  // [store, token, update] As deleteBucket, with the name of `bucket`.
  virtual bool deleteBucketByName(IBucket* bucket, const Guid& token, TarnhiveStatus* status) = 0;
  // [store] True when the memory cache or the store holds the bucket.
  virtual bool bucketExists(const WideString& fullName, TarnhiveStatus* status) = 0;
  // [store, token, update] Writes every bucket of `collection` as
  // writeBucket does; kPASSFAILED when the pass cannot be completed.
  virtual bool writeBuckets(IBucketCase* collection, bool flag, const Guid& token,
                            TarnhiveStatus* status) = 0;

  // --- names and directories ---------------------------------------------------------

  // A copy of the registry directory.
  virtual bool getDirectory(WideString& directory, TarnhiveStatus* status) = 0;
  // The common application-data directory joined with "Tarnhive".
  virtual bool getDefaultDirectory(WideString& directory, TarnhiveStatus* status) = 0;
  // The name's "/"-separated parts joined again, each preceded by "/"; an
  // empty result becomes "/".
  virtual bool normalizeName(WideString& normalized, const WideString& name,
                             TarnhiveStatus* status) = 0;
  // The name of the parent of `name` ("/" for a name of one part and for
  // "/").
  virtual bool parentName(WideString& parent, const WideString& name, TarnhiveStatus* status) = 0;
  // Empties both caches, then reads the root bucket "/" from the store, or
  // creates and stores it.
  virtual bool ensureRootBucket(TarnhiveStatus* status) = 0;

  // --- value factories ---------------------------------------------------------------
  // Each makes a new value of one type with one reference for the caller.
  // They need neither the store nor the lock. kOUTOFMEMORY when the data
  // cannot be copied.

  virtual bool newValue(IBucketValue** value, IBucketValue* source, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const double* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const float* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const std::uint64_t* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const std::int64_t* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const std::uint32_t* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const std::int32_t* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const std::uint16_t* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const std::int16_t* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const std::uint8_t* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const std::int8_t* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const bool* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const WideString* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const NarrowString* elements, std::uint32_t count,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, double scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, float scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, std::uint64_t scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, std::int64_t scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, std::uint32_t scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, std::int32_t scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, std::uint16_t scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, std::int16_t scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, std::uint8_t scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, std::int8_t scalar, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, bool scalar, TarnhiveStatus* status) = 0;
  // A blob: `count` bytes at `bytes`.
  virtual bool newValue(IBucketValue** value, const std::uint8_t* bytes, std::uint32_t count,
                        bool flag, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const WideString& text, TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const NarrowString& text,
                        TarnhiveStatus* status) = 0;
  virtual bool newValue(IBucketValue** value, const Digest& digest, TarnhiveStatus* status) = 0;
  // An empty value (kNOTSET); works even on a manager without a store.
  virtual bool newValue(IBucketValue** value, TarnhiveStatus* status) = 0;

 protected:
  ~IBucketManager() = default;
};

}  // namespace vesk::tarnhive
