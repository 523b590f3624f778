// The Windows file layer, lock and process services where they differ from
// POSIX: files held open without sharing, access denied on the lock, paths
// longer than MAX_PATH, directory names outside the ASCII range (the narrow
// calls use the ANSI code page), and the system registry's application-data
// directory.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/TempDirectory.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/BinaryFile.h"
#include "vesk/orlo/osdep/CommonAppDataDirectory.h"
#include "vesk/orlo/osdep/Mutex.h"
#include "vesk/orlo/osdep/OSException.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::orlo::osdep {
namespace {

namespace fs = std::filesystem;
constexpr std::uint32_t kOsErrorCode = 42;

// A handle of this process opened as another program would open it.
class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() {
    if (handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE) ::CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  bool valid() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }

 private:
  HANDLE handle_;
};

class WindowsLayerTest : public ::testing::Test {
 protected:
  test::TempDirectory dir_;
};

TEST_F(WindowsLayerTest, FileHeldWithoutSharingRefusesOpenRenameAndDelete) {
  std::ofstream(dir_.path("registry.bin")) << "x";
  const WideString file = dir_.wide("registry.bin");
  Handle holder(::CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(holder.valid());
  BinaryFile binary;
  try {
    binary.open(file, BinaryFile::kREADWRITE);
    FAIL() << "opened a file held without sharing";
  } catch (const PosixError& e) {
    EXPECT_EQ(e.osErrorCode(), std::uint32_t{EACCES});
    EXPECT_EQ(e.errorCode(), kOsErrorCode);
    EXPECT_EQ(e.sourceLine(), 239u);
  }
  try {
    path::rename(file, dir_.wide("registry.bin.1"));
    FAIL();
  } catch (const WinError& e) {
    EXPECT_EQ(e.osErrorCode(), std::uint32_t{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(e.sourceLine(), 1241u);
  }
  EXPECT_FALSE(path::deleteFile(file, true));
}

TEST_F(WindowsLayerTest, OwnFilesStayRenamableAndDeletableWhileOpenOrReadOnly) {
  BinaryFile binary;
  binary.open(dir_.wide("registry.bin"),
              BinaryFile::kCREATE | BinaryFile::kTRUNCATE | BinaryFile::kREADWRITE);
  EXPECT_EQ(binary.write("abc", 3), 3);
  EXPECT_TRUE(binary.isFileAt(dir_.wide("registry.bin")));
  path::rename(dir_.wide("registry.bin"), dir_.wide("registry.bin.1"));
  EXPECT_FALSE(binary.isFileAt(dir_.wide("registry.bin")));
  EXPECT_TRUE(path::deleteFile(dir_.wide("registry.bin.1")));
  // Read-only files are deleted too.
  std::ofstream(dir_.path("readonly")) << "x";
  ASSERT_TRUE(::SetFileAttributesW(dir_.wide("readonly").c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_TRUE(path::deleteFile(dir_.wide("readonly")));
}

// Wide calls reach a path longer than MAX_PATH through the long-path form;
// the narrow rename cannot, and reports the system's failure.
TEST_F(WindowsLayerTest, PathsLongerThanMaxPath) {
  WideString deep = dir_.wide();
  for (int i = 0; i < 30; ++i) deep = path::join(deep, WideString(L"directory"));
  ASSERT_GT(deep.length(), std::uint32_t{MAX_PATH});
  path::createDirectories(deep);
  EXPECT_TRUE(path::isDirectory(deep));
  BinaryFile binary;
  binary.open(path::join(deep, WideString(L"registry.bin")),
              BinaryFile::kCREATE | BinaryFile::kTRUNCATE | BinaryFile::kREADWRITE);
  EXPECT_EQ(binary.write("abc", 3), 3);
  binary.close();
  EXPECT_TRUE(path::exists(path::join(deep, WideString(L"registry.bin"))));
  try {
    path::rename(path::join(deep, WideString(L"registry.bin")),
                 path::join(deep, WideString(L"registry.bin.1")));
    FAIL() << "a narrow call took a path longer than MAX_PATH";
  } catch (const WinError& e) {
    EXPECT_EQ(e.sourceLine(), 1241u);
    EXPECT_NE(e.errorCode(), 0u);
  }
  // The runtime's directory walk cannot reach so deep: the test removes its
  // tree itself, through the long-path form.
  EXPECT_TRUE(path::deleteFile(path::join(deep, WideString(L"registry.bin")), true) ||
              ::DeleteFileW((L"\\\\?\\" + std::wstring(deep.c_str()) + L"\\registry.bin").c_str()));
  for (WideString at = deep; at.length() > dir_.wide().length();
       at = at.substring(0, at.length() - 10)) {
    ::RemoveDirectoryW((L"\\\\?\\" + std::wstring(at.c_str())).c_str());
  }
}

// Delete and rename take their paths in the ANSI code page: a directory
// name that the code page spells works, one that it cannot spell fails.
TEST_F(WindowsLayerTest, NonAsciiDirectoriesFollowTheAnsiCodePage) {
  const WideString names[] = {WideString(L"Caf\u00e9"), WideString(L"\u03a3\u03c0\u03af\u03c4\u03b9")};
  for (const WideString& name : names) {
    const WideString directory = path::join(dir_.wide(), name);
    path::createDirectories(directory);
    const WideString from = path::join(directory, WideString(L"commitmark.1"));
    BinaryFile file;
    file.open(from, BinaryFile::kCREATE | BinaryFile::kREADWRITE);
    file.close();
    BOOL lossy = FALSE;
    ::WideCharToMultiByte(CP_ACP, 0, name.c_str(), static_cast<int>(name.length()), nullptr, 0,
                          nullptr, &lossy);
    const WideString to = path::join(directory, WideString(L"commitmark.2"));
    if (!lossy) {
      EXPECT_NO_THROW(path::rename(from, to)) << toNarrow(name).c_str();
      EXPECT_TRUE(path::exists(to));
    } else {
      EXPECT_THROW(path::rename(from, to), WinError) << "code page " << ::GetACP();
      EXPECT_TRUE(path::exists(from));
    }
  }
}

TEST_F(WindowsLayerTest, LockDeniedToUsIsAnOsError) {
  test::TempDirectory space;
  ::_putenv_s("VESK_TARNHIVE_LOCK_DIR", space.path().c_str());
  const WideString name(L"__vesk_tarnhive_denied_lock__");
  // Another owner's mutex of that name whose DACL grants nothing.
  SECURITY_DESCRIPTOR descriptor;
  ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  ACL empty;
  ::InitializeAcl(&empty, sizeof empty, ACL_REVISION);
  ::SetSecurityDescriptorDacl(&descriptor, TRUE, &empty, FALSE);
  SECURITY_ATTRIBUTES attributes{sizeof attributes, &descriptor, FALSE};
  WideString full(L"Global\\");
  full += name;
  full += L"|";
  for (char c : space.path()) full += c == '\\' ? L'/' : static_cast<WChar>(c);
  Handle other(::CreateMutexW(&attributes, FALSE, full.c_str()));
  ASSERT_TRUE(other.valid());
  try {
    Mutex mutex(name);
    GTEST_SKIP() << "this system does not enforce the mutex's access list";
  } catch (const WinError& e) {
    EXPECT_EQ(e.osErrorCode(), std::uint32_t{ERROR_ACCESS_DENIED});
    EXPECT_EQ(e.errorCode(), 0x80070005u);
    EXPECT_EQ(e.sourceLine(), 42u);
  }
  ::_putenv_s("VESK_TARNHIVE_LOCK_DIR", "");
}

TEST(WindowsServicesTest, CommonAppDataComesFromTheSystemRegistryFirst) {
  const wchar_t* key = L"Software\\Tovanex\\Common\\Installer";
  ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, L"VESKPUBAPPDATADIR");
  const WideString fallback = GetCommonAppDataDirectory();
  EXPECT_EQ(path::fileName(fallback), WideString(L"Tovanex"));
  EXPECT_TRUE(path::isDirectory(fallback.substring(0, fallback.length() - 8)));

  const wchar_t configured[] = L"D:\\Shared\\Tovanex";
  ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, L"VESKPUBAPPDATADIR", REG_SZ, configured,
                              sizeof configured),
            ERROR_SUCCESS);
  EXPECT_EQ(GetCommonAppDataDirectory(), WideString(configured));
  ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, L"VESKPUBAPPDATADIR");
}

}  // namespace
}  // namespace vesk::orlo::osdep
