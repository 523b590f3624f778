// The start-up check of the registry: every bucket written as text to a file
// of the registry directory, and that text compared with a reference file.
#pragma once

#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/IBucketManager.h"

namespace vesk::tarnhive {

// Writes the text form of "/" and all its descendants to `fileName` in
// `directory`, replacing the file. Failures end the dump and are not
// reported.
void dumpRegistry(IBucketManager& manager, const orlo::WideString& directory,
                  const orlo::WideString& fileName);

// Compares the reference file `fileName` with the dump "temp_" + `fileName`,
// line by line. Lines that differ still agree when both hold "version_ " at
// the same place, or (neither holding it) both hold "modified_ " at the same
// place: those lines change from run to run. Writes "debugResults.txt" with
// "file compare passed" or "file compare failed" and returns the outcome. A
// missing file fails the comparison.
bool compareWithReference(const orlo::WideString& directory, const orlo::WideString& fileName);

}  // namespace vesk::tarnhive
