// The names and meanings of the library's status codes, as the tool prints
// them on standard error.
#include "ToolError.h"

#include <cstdio>

#include "vesk/tarnhive/StatusCodes.h"

namespace vesk::tarnhive::tool {
namespace {

struct CodeText {
  std::int32_t code;
  const char* name;
  const char* meaning;
};

constexpr CodeText kCodes[] = {
    {kWRONGTYPE, "kWRONGTYPE", "a value is not of the type asked for, or is not valid"},
    {kNODATA, "kNODATA", "a value of the right type holds no data"},
    {kBUFFERTOOSMALL, "kBUFFERTOOSMALL", "a buffer is smaller than the blob"},
    {kINDEXOUTOFRANGE, "kINDEXOUTOFRANGE", "an array index is out of range"},
    {kNULLARGUMENT, "kNULLARGUMENT", "a required output pointer is null"},
    {kCOLLECTIONREJECTED, "kCOLLECTIONREJECTED", "the collection already holds that bucket"},
    {kVALUEEXISTS, "kVALUEEXISTS", "the bucket already holds a value of that name"},
    {kRESERVED, "kRESERVED", "a reserved code"},
    {kSTOREREJECTED, "kSTOREREJECTED", "the store refused a bucket write"},
    {kOSERROR, "kOSERROR", "an operating-system call failed (process lock or registry files)"},
    {kINTERNALERROR, "kINTERNALERROR", "an unexpected failure inside the library"},
    {kOUTOFMEMORY, "kOUTOFMEMORY", "memory is exhausted"},
    {kSTOREMISSING, "kSTOREMISSING", "the store is not open"},
    {kBADVALUEKIND, "kBADVALUEKIND", "a bucket merge was given an unknown mode"},
    {kSTORENOTFOUND, "kSTORENOTFOUND", "the store reports a bucket as absent"},
    {kPASSFAILED, "kPASSFAILED", "a pass over a bucket collection could not be completed"},
    {kNOTAVAILABLE, "kNOTAVAILABLE", "a bucket collection could not be filled"},
    {kBUCKETREJECTED, "kBUCKETREJECTED", "the starting bucket of a subtree could not be read"},
    {kBADDIRECTORY, "kBADDIRECTORY", "the registry directory does not exist and cannot be created"},
    {kEMPTYVALUENAME, "kEMPTYVALUENAME", "a value name is empty"},
    {kNOTLOCKOWNER, "kNOTLOCKOWNER", "the lock token is not the current holder's"},
    {kROOTBUCKET, "kROOTBUCKET", "the root bucket \"/\" cannot be deleted"},
    {kNOREGISTRY, "kNOREGISTRY", "the library has no registry object"},
    {kNULLVALUE, "kNULLVALUE", "a null value was handed to a bucket"},
    {kNOTINCOLLECTION, "kNOTINCOLLECTION", "an enumeration handle is unknown"},
    {kUPDATEACTIVE, "kUPDATEACTIVE", "an update is already open"},
    {kNOUPDATE, "kNOUPDATE", "no update is open"},
    {kSTORECORRUPT, "kSTORECORRUPT", "a commit mark's number or content is not a decimal integer"},
    {kSTORECHILDMISSING, "kSTORECHILDMISSING", "a child link names a bucket the store does not hold"},
    {kDISKFULL, "kDISKFULL", "the registry file is over its size limit even after compaction"},
    {kSTOREBUFFEROVERFLOW, "kSTOREBUFFEROVERFLOW", "a bucket did not fit its buffer while it was serialized"},
    {kSTOREFAILURE, "kSTOREFAILURE", "a store operation failed"},
    {kSTOREDAMAGED, "kSTOREDAMAGED", "the registry file is damaged"},
    {kCALLBACKLIBRARY, "kCALLBACKLIBRARY", "the callback library cannot be loaded"},
    {kWBUCKETNOTFOUND, "kWBUCKETNOTFOUND", "the bucket does not exist"},
    {kWVALUEREPLACED, "kWVALUEREPLACED", "a value replaced one of the same name"},
    {kWNOTFOUND, "kWNOTFOUND", "an enumeration was invalidated by a change"},
    {kUNSUPPORTEDVERSION, "kUNSUPPORTEDVERSION", "the interface version is not supported"},
};

}  // namespace

void fail(int exitStatus, const std::string& message) { throw ToolError(exitStatus, message); }

StatusText statusText(std::int32_t code) {
  for (const CodeText& known : kCodes) {
    if (known.code == code) return {known.name, known.meaning};
  }
  return {nullptr, nullptr};
}

std::string describeStatus(std::int32_t code) {
  if (const StatusText known = statusText(code); known.name != nullptr) {
    return std::string(known.name) + " (" + std::to_string(code) + "): " + known.meaning;
  }
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%08X", static_cast<unsigned>(code));
  return "unknown status code (" + std::to_string(code) + ", " + hex + ")";
}

void require(const TarnhiveStatus& status, const std::string& what) {
  if (failed(&status)) {
    throw ToolError(kExitDamaged, what + ": " + describeStatus(status.code), status.code);
  }
}

}  // namespace vesk::tarnhive::tool
