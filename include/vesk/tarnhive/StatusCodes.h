// Every code that an operation writes into a TarnhiveStatus.
//
// 0 is success. Negative codes are errors: an operation entered with one does
// nothing and returns its failure result, so calls can be chained and the
// record tested once. Positive codes are warnings: the operation ran and
// later operations run normally.
#pragma once

#include <cstdint>

namespace vesk::tarnhive {

// Errors.
// A typed getter was called on a value of another type, or a value handed to
// a bucket is not valid.
inline constexpr std::int32_t kWRONGTYPE = -314500;
// A value of the right type holds no data (empty array, blob without data).
inline constexpr std::int32_t kNODATA = -314501;
// The caller's blob buffer is smaller than the blob (a size of 0 only asks).
inline constexpr std::int32_t kBUFFERTOOSMALL = -314502;
// An array element index is not below the element count.
inline constexpr std::int32_t kINDEXOUTOFRANGE = -314503;
// A required output pointer is null.
inline constexpr std::int32_t kNULLARGUMENT = -314504;
// A collection already holds a bucket of that name and overwriting was not
// requested; the old bucket stays.
inline constexpr std::int32_t kCOLLECTIONREJECTED = -314505;
// A bucket already holds a value of that name and overwriting was not
// requested.
inline constexpr std::int32_t kVALUEEXISTS = -314506;
// Reserved: never set by any operation.
inline constexpr std::int32_t kRESERVED = -314507;
// The store refused a bucket write.
inline constexpr std::int32_t kSTOREREJECTED = -314508;
// An operating-system call failed (process lock, store files).
inline constexpr std::int32_t kOSERROR = -314509;
// An unexpected failure; also a second bucket manager request.
inline constexpr std::int32_t kINTERNALERROR = -314510;
// Memory is exhausted.
inline constexpr std::int32_t kOUTOFMEMORY = -314511;
// A store operation needs a store that is not open.
inline constexpr std::int32_t kSTOREMISSING = -314512;
// A bucket merge was given a mode other than 1, 2 or 3.
inline constexpr std::int32_t kBADVALUEKIND = -314513;
// The store reports a bucket as absent during a recursive operation.
inline constexpr std::int32_t kSTORENOTFOUND = -314514;
// A pass over a bucket collection could not be completed.
inline constexpr std::int32_t kPASSFAILED = -314515;
// A bucket collection could not be filled.
inline constexpr std::int32_t kNOTAVAILABLE = -314516;
// The starting bucket of a subtree read could not be read.
inline constexpr std::int32_t kBUCKETREJECTED = -314517;
// The registry directory does not exist and cannot be created.
inline constexpr std::int32_t kBADDIRECTORY = -314518;
// A value name is empty.
inline constexpr std::int32_t kEMPTYVALUENAME = -314519;
// The lock token is not the current holder's (or nobody holds the lock).
inline constexpr std::int32_t kNOTLOCKOWNER = -314520;
// The root bucket "/" cannot be deleted.
inline constexpr std::int32_t kROOTBUCKET = -314521;
// The entry function finds no registry object.
inline constexpr std::int32_t kNOREGISTRY = -314522;
// A null value was handed to a bucket.
inline constexpr std::int32_t kNULLVALUE = -314523;
// An enumeration handle is unknown.
inline constexpr std::int32_t kNOTINCOLLECTION = -314524;
// An update was begun while one is open.
inline constexpr std::int32_t kUPDATEACTIVE = -314525;
// A changing operation or a commit was called with no update open.
inline constexpr std::int32_t kNOUPDATE = -314526;
// A commit mark's number or content is not a decimal integer.
inline constexpr std::int32_t kSTORECORRUPT = -314527;
// The store gave no bucket for a listed child during a tree read.
inline constexpr std::int32_t kSTORECHILDMISSING = -314528;
// A write is refused: the registry file is over its size limit even after
// compaction.
inline constexpr std::int32_t kDISKFULL = -314529;
// A bucket did not fit its buffer while it was serialized for a commit.
inline constexpr std::int32_t kSTOREBUFFEROVERFLOW = -314530;
// A failure of the store's own operations.
inline constexpr std::int32_t kSTOREFAILURE = -314531;
// The registry file is damaged.
inline constexpr std::int32_t kSTOREDAMAGED = -314532;
// The callback library cannot be loaded or lacks one of its two exports.
inline constexpr std::int32_t kCALLBACKLIBRARY = -314533;

// Warnings.
// The bucket exists neither in the memory cache nor in the store.
inline constexpr std::int32_t kWBUCKETNOTFOUND = 314501;
// A value replaced an existing value of the same name.
inline constexpr std::int32_t kWVALUEREPLACED = 314503;
// An enumeration cursor was invalidated by a change; the step yields nothing.
inline constexpr std::int32_t kWNOTFOUND = 314504;

// Codes of the entry function.
// The interface version is neither 1 nor 2.
inline constexpr std::int32_t kUNSUPPORTEDVERSION = static_cast<std::int32_t>(0x8ABC7001u);
// Written before the entry function decides; never left in a record.
inline constexpr std::int32_t kPROVISIONAL = static_cast<std::int32_t>(0x80004005u);

}  // namespace vesk::tarnhive
