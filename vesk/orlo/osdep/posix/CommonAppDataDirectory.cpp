#include "vesk/orlo/osdep/CommonAppDataDirectory.h"

#include <cstdlib>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::orlo::osdep {
namespace {

// The environment variable `name` when set and not empty.
bool environment(const char* name, WideString& value) {
  const char* text = std::getenv(name);
  if (text == nullptr || text[0] == 0) return false;
  value = toWide(NarrowString(text));
  return true;
}

}  // namespace

WideString GetCommonAppDataDirectory() {
  WideString configured;
  if (environment("VESKPUBAPPDATADIR", configured)) return configured;
  const WideString system(u"/var/lib");
  if (path::isDirectory(system)) return path::join(system, u"Tovanex");
  WideString temporary;
  if (!environment("TMPDIR", temporary)) temporary = u"/tmp";
  return path::join(temporary, u"Tovanex Common App Data");
}

}  // namespace vesk::orlo::osdep
