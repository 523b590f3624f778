// The verbs of the tool. Each runs one command to its end and reports a
// failure by throwing ToolError (ToolError.h); the ones that return an int
// return the exit status of a completed run.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Session.h"

namespace vesk::tarnhive::tool {

// Reading (ReadCommands.cpp).
void listBuckets(const GlobalOptions& options, const std::string& path, bool recursive,
                 bool withValues);
void printValue(const GlobalOptions& options, const std::string& path, const std::string& name);
void dumpBuckets(const GlobalOptions& options, const std::string& path);

// Changing (WriteCommands.cpp).
void setValue(const GlobalOptions& options, const std::vector<std::string>& words,
              bool makeBuckets);
void removeEntry(const GlobalOptions& options, const std::string& path,
                 const std::optional<std::string>& name, bool recursive);

// JSON transfer (Transfer.cpp).
void exportTree(const GlobalOptions& options, const std::string& path);
void importTree(const GlobalOptions& options, const std::optional<std::string>& path,
                bool replace);

// The registry files (CheckCommand.cpp, WatchCommand.cpp, Maintenance.cpp).
int checkRegistry(const GlobalOptions& options);
void watchRegistry(const GlobalOptions& options, const std::string& path, bool verbose);
void compactRegistry(const GlobalOptions& options);
void backupRegistry(const GlobalOptions& options, const std::string& destination);
void showInfo(const GlobalOptions& options);

}  // namespace vesk::tarnhive::tool
