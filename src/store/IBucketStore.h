// IBucketStore: the persistent store behind the bucket manager. The manager
// creates it, opens it, reads from it, commits to it, closes it and destroys
// it through its virtual destructor; the manager never touches the files
// itself. The slot order is part of the binary layout and is kept.
//
// Conventions of slots 1 to 7: entered with a negative code they do nothing
// (and return null or false); slots 3 to 7 report kSTOREMISSING until `open`
// succeeded; failures never leave as exceptions but become codes (OS errors
// kOSERROR, allocation kOUTOFMEMORY, a bad commit mark kSTORECORRUPT, a
// buffer overflow while serializing kSTOREBUFFEROVERFLOW, a damaged file
// kSTOREDAMAGED, anything else kINTERNALERROR). Any thread may call any slot;
// the store's own lock serialises them. Across processes the manager's named
// lock must be held around `open` and every `commit`.
#pragma once

#include <cstdint>

#include "bucket/BucketMaps.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/IBucket.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

class Digest;

class IBucketStore {
 public:
  virtual ~IBucketStore() = default;

  // Finds the valid commit mark, repairs the file set after a crash, opens
  // "registry.bin", compacts it and loads its index. `openMode` is kept, not
  // interpreted. An open store ignores the call.
  virtual void open(std::uint32_t openMode, TarnhiveStatus* status) = 0;
  // Closes the file and forgets the index. Writes nothing.
  virtual void close(TarnhiveStatus* status) = 0;
  // A new bucket (one reference for the caller) built from the newest record
  // of the digest, or null when it is deleted, unknown or empty.
  virtual IBucket* loadBucket(const Digest& digest, TarnhiveStatus* status) = 0;
  virtual IBucket* loadBucketByName(const orlo::WideString& fullName, TarnhiveStatus* status) = 0;
  // Appends one commit block holding every bucket of `written` and deleting
  // every name of `deleted`, and compacts the file when it has grown past its
  // size limit. Does nothing when both are empty.
  virtual void commit(const BucketsByName& written, const NameSet& deleted,
                      TarnhiveStatus* status) = 0;
  // True when the bucket has a live record.
  virtual bool containsName(const orlo::WideString& fullName, TarnhiveStatus* status) = 0;
  virtual bool containsBucket(IBucket* bucket, TarnhiveStatus* status) = 0;
  // True when, at the last open, "registry.bin" was missing or longer or
  // shorter than its commit mark said.
  virtual bool wasReset() = 0;
  // True when, after the last compaction, the file was still over its size
  // limit.
  virtual bool isOverDiskLimit() = 0;
};

}  // namespace vesk::tarnhive
