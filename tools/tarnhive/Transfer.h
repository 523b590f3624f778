// Subtrees as JSON documents, apart from where a document comes from or
// goes: the tool's export and import verbs, and any other client of the
// registry that moves the same documents, use these.
//
//   {"format": "tarnhive", "version": 1, "root": "/Acme",
//    "buckets": {"/Acme": {...values...}, "/Acme/Editor": {...}}}
#pragma once

#include <map>
#include <optional>
#include <string>

#include "Session.h"
#include "ValueJson.h"

namespace vesk::tarnhive::tool {

// An export document from its text; fails (usage) when the text is not
// well-formed JSON.
Json parseDocument(const std::string& text);

// The document of the subtree at `root`; fails (exit 1) when the bucket does
// not exist. `progress` shows a progress line (Output.h).
Json exportDocument(Session& session, const std::u16string& root, bool progress);

// An import checked in full: the buckets to write with their values,
// parents before children (a name sorts before every name it prefixes).
struct ImportPlan {
  std::u16string root;
  std::map<std::u16string, NamedValues> buckets;
  bool replace = false;  // also delete what under root the document lacks
};

// Reads an export document; `root` (a full name) replaces the document's
// own. Fails (usage) on anything malformed or outside the root.
ImportPlan planImport(const Json& document, const std::optional<std::u16string>& root,
                      bool replace);

// Applies the plan in one update of the session, so that it commits all of
// itself or nothing.
void applyImport(Session& session, const ImportPlan& plan, bool progress);

}  // namespace vesk::tarnhive::tool
