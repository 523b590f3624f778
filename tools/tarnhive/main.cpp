// tarnhive: the command-line tool for a registry. It parses the command
// line, runs one verb and turns its outcome into the exit status: 0
// success, 1 not found, 2 usage error, 3 damaged registry or library error.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#if TARNHIVE_TOOL_SYNC
#include "SyncCommands.h"
#endif
#include "ToolError.h"

namespace {

using namespace vesk::tarnhive::tool;

constexpr char kDescription[] =
    "tarnhive: read, change, export, watch and check a registry of typed settings.\n"
    "Exit status: 0 success, 1 not found, 2 usage error, 3 damaged registry or library error.";

constexpr char kTimeoutHelp[] =
    "Seconds to wait for the machine-wide registry lock before giving up (exit 3); "
    "by default the tool waits as long as the lock is held, as the library does";

// The arguments of every verb; the chosen verb's are filled in.
struct Arguments {
  std::string lsPath = "/";
  bool recursive = false;
  bool withValues = false;
  std::string getPath;
  std::string getName;
  std::vector<std::string> setWords;
  bool makeBuckets = false;
  std::string rmPath;
  std::optional<std::string> rmName;
  bool rmRecursive = false;
  std::string dumpPath = "/";
  std::string exportPath = "/";
  std::optional<std::string> importPath;
  bool replace = false;
  std::string watchPath = "/";
  bool verbose = false;
  std::string destination;
};

// Adds the verbs to `app`; each sets `run` to its action when chosen.
void addVerbs(CLI::App& app, GlobalOptions& global, Arguments& a, std::function<int()>& run) {
  auto* ls = app.add_subcommand("ls", "List the child buckets of PATH (default /)");
  ls->add_flag("-r,--recursive", a.recursive, "List the whole subtree");
  ls->add_flag("-l,--long", a.withValues, "Show PATH and every listed bucket with its values");
  ls->add_option("PATH", a.lsPath, "Bucket to list");
  ls->callback([&] { run = [&] { listBuckets(global, a.lsPath, a.recursive, a.withValues); return 0; }; });

  auto* get = app.add_subcommand("get", "Print a value's text (--json: its typed JSON)");
  get->add_option("PATH", a.getPath, "Bucket")->required();
  get->add_option("NAME", a.getName, "Value name")->required();
  get->callback([&] { run = [&] { printValue(global, a.getPath, a.getName); return 0; }; });

  auto* set = app.add_subcommand(
      "set", "Set a value: set [-p] PATH NAME TYPE VALUE... (options come before PATH; arrays: "
             "several VALUEs or one JSON array; binary: hex or base64:...)");
  set->add_flag("-p,--parents", a.makeBuckets, "Make the bucket and its parents when missing");
  // Everything from PATH on is taken as it stands, so values may start with
  // "-" and JSON arrays keep their commas.
  set->prefix_command();
  set->callback([&] { run = [&] { setValue(global, a.setWords, a.makeBuckets); return 0; }; });

  auto* rm = app.add_subcommand("rm", "Remove a value, or a bucket (with children: -r)");
  rm->add_flag("-r,--recursive", a.rmRecursive, "Remove a bucket with its whole subtree");
  rm->add_option("PATH", a.rmPath, "Bucket")->required();
  rm->add_option("NAME", a.rmName, "Value to remove (default: the bucket itself)");
  rm->callback([&] { run = [&] { removeEntry(global, a.rmPath, a.rmName, a.rmRecursive); return 0; }; });

  auto* dump = app.add_subcommand("dump", "Print PATH's subtree in the library's dump format");
  dump->add_option("PATH", a.dumpPath, "Bucket");
  dump->callback([&] { run = [&] { dumpBuckets(global, a.dumpPath); return 0; }; });

  auto* exp = app.add_subcommand("export", "Write PATH's subtree as lossless JSON to standard output");
  exp->add_option("PATH", a.exportPath, "Bucket");
  exp->callback([&] { run = [&] { exportTree(global, a.exportPath); return 0; }; });

  auto* imp = app.add_subcommand("import", "Read an export from standard input; one commit");
  imp->add_flag("--replace", a.replace, "Also delete what under PATH the file does not hold");
  imp->add_option("PATH", a.importPath, "Subtree the import may touch (default: the file's root)");
  imp->callback([&] { run = [&] { importTree(global, a.importPath, a.replace); return 0; }; });

  auto* watch = app.add_subcommand("watch", "Print one line per commit that touches PATH");
  watch->add_flag("-v,--verbose", a.verbose, "Also print the values that changed");
  watch->add_option("PATH", a.watchPath, "Subtree to watch");
  watch->callback([&] { run = [&] { watchRegistry(global, a.watchPath, a.verbose); return 0; }; });

  app.add_subcommand("check", "Verify the registry files; exit 3 on damage")
      ->callback([&] { run = [&] { return checkRegistry(global); }; });
  app.add_subcommand("compact", "Compact the registry file under the lock")
      ->callback([&] { run = [&] { compactRegistry(global); return 0; }; });
  auto* backup = app.add_subcommand("backup", "Copy the registry, consistently, to DEST");
  backup->add_option("DEST", a.destination, "New or empty directory")->required();
  backup->callback([&] { run = [&] { backupRegistry(global, a.destination); return 0; }; });
  app.add_subcommand("info", "Show the directory, files, counts and options in force")
      ->callback([&] { run = [&] { showInfo(global); return 0; }; });
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{kDescription, "tarnhive"};
  // Bucket names start with "/": never Windows-style options, on Windows
  // either (where the parser would take them for options by default).
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  app.fallthrough();
  // set takes its words as they stand (see addVerbs); every other verb must
  // use all of its arguments, which is checked after parsing.
  app.allow_extras();
  GlobalOptions global;
  app.add_option("-d,--dir", global.directory,
                 "Registry directory (default: the library's default directory)");
  app.add_option("--ini", global.iniFile, "Configuration file (default: the library's)");
  app.add_flag("--json", global.json, "Structured output as JSON (ls, get, watch, check, info)");
  app.add_option("--timeout", global.timeout, kTimeoutHelp);
  Arguments arguments;
  std::function<int()> run;
  addVerbs(app, global, arguments, run);
#if TARNHIVE_TOOL_SYNC
  vesk::tarnhive::sync::addSyncVerbs(app, global, run);
#endif
  try {
    app.parse(argc, argv);
    if (app.got_subcommand("set")) {
      arguments.setWords = app.remaining(true);
    } else if (app.remaining_size(true) != 0) {
      throw CLI::ExtrasError(app.remaining(true));
    }
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitOk : kExitUsage;
  }
  try {
    const int status = run();
    std::fflush(stdout);
    return status;
  } catch (const ToolError& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "tarnhive: %s\n", error.what());
    return error.exitStatus();
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "tarnhive: unexpected failure: %s\n", error.what());
    return kExitDamaged;
  }
}
