// The common application-data directory on Windows: the machine's
// configured value VESKPUBAPPDATADIR under the key
// "HKEY_LOCAL_MACHINE\Software\Tovanex\Common\Installer", else the
// system's common application-data folder joined with "Tovanex", else the
// temporary directory joined with "Tovanex Common App Data".
#include "vesk/orlo/osdep/CommonAppDataDirectory.h"

#include <windows.h>
#include <shlobj.h>

#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::orlo::osdep {
namespace {

constexpr wchar_t kInstallerKey[] = L"Software\\Tovanex\\Common\\Installer";
constexpr wchar_t kValueName[] = L"VESKPUBAPPDATADIR";

// An open key of the system registry, closed on every path out.
class RegistryKey {
 public:
  RegistryKey(HKEY hive, const wchar_t* subkey) {
    if (::RegOpenKeyExW(hive, subkey, 0, KEY_QUERY_VALUE, &key_) != ERROR_SUCCESS) key_ = nullptr;
  }
  ~RegistryKey() {
    if (key_ != nullptr) ::RegCloseKey(key_);
  }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  // The string value `name`; false when the key or value is missing, is not
  // a string, or is empty.
  bool readString(const wchar_t* name, WideString& value) const {
    if (key_ == nullptr) return false;
    DWORD type = 0;
    DWORD size = 0;
    if (::RegQueryValueExW(key_, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ) || size < sizeof(wchar_t)) {
      return false;
    }
    value.resize(size / sizeof(wchar_t));
    if (::RegQueryValueExW(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(value.data()),
                           &size) != ERROR_SUCCESS) {
      return false;
    }
    // The stored text may or may not carry its terminator.
    std::uint32_t length = size / sizeof(wchar_t);
    while (length > 0 && value[length - 1] == 0) --length;
    value.resize(length);
    return length > 0;
  }

 private:
  HKEY key_ = nullptr;
};

bool systemFolder(WideString& folder) {
  char path[MAX_PATH] = {};
  if (::SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path) != S_OK &&
      ::SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_DEFAULT, path) != S_OK) {
    return false;
  }
  folder = toWide(NarrowString(path));
  return true;
}

WideString temporaryFolder() {
  wchar_t path[MAX_PATH + 1] = {};
  const DWORD n = ::GetTempPathW(MAX_PATH + 1, path);
  if (n == 0 || n > MAX_PATH) return WideString(L"C:\\");
  return WideString(path, n);
}

}  // namespace

WideString GetCommonAppDataDirectory() {
  WideString configured;
  if (RegistryKey(HKEY_LOCAL_MACHINE, kInstallerKey).readString(kValueName, configured)) {
    return configured;
  }
  WideString folder;
  if (systemFolder(folder)) return path::join(folder, L"Tovanex");
  return path::join(temporaryFolder(), L"Tovanex Common App Data");
}

}  // namespace vesk::orlo::osdep
