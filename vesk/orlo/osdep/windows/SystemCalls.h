// The table through which the Windows file layer makes every runtime and
// system call. The production code always calls through it; fault injection
// swaps the table, so tests reach the real error paths of the layer without
// a line of test code in it. Internal to the support library.
#pragma once

#include <windows.h>
#include <io.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>

namespace vesk::orlo::osdep::windows {

struct SystemCalls {
  // Runtime descriptor calls; failures set errno.
  int (*wsopen)(const wchar_t* path, int flags, int permission);
  int (*read)(int fd, void* buffer, unsigned int count);
  int (*write)(int fd, const void* buffer, unsigned int count);
  long long (*lseeki64)(int fd, long long offset, int origin);
  int (*chsize)(int fd, long long size);  // returns the error number, 0 on success
  int (*commit)(int fd);
  int (*close)(int fd);
  int (*wstat)(const wchar_t* path, struct _stat64i32* status);
  int (*wmkdir)(const wchar_t* path);
  intptr_t (*wfindfirst)(const wchar_t* pattern, struct _wfinddata64i32_t* found);
  int (*wfindnext)(intptr_t search, struct _wfinddata64i32_t* found);
  int (*findclose)(intptr_t search);
  // Runtime stream calls.
  std::FILE* (*wfopen)(const wchar_t* path, const wchar_t* mode);
  std::size_t (*fwrite)(const void* buffer, std::size_t size, std::size_t count, std::FILE* stream);
  char* (*fgets)(char* buffer, int size, std::FILE* stream);
  int (*ferror)(std::FILE* stream);
  int (*fflush)(std::FILE* stream);
  int (*fclose)(std::FILE* stream);
  // System calls on narrow paths (the ANSI code page); failures set the
  // last error.
  BOOL(WINAPI* moveFileEx)(LPCSTR from, LPCSTR to, DWORD flags);
  BOOL(WINAPI* deleteFile)(LPCSTR path);
  BOOL(WINAPI* removeDirectory)(LPCSTR path);
  DWORD(WINAPI* getFileAttributesA)(LPCSTR path);
  BOOL(WINAPI* setFileAttributesA)(LPCSTR path, DWORD attributes);
  DWORD(WINAPI* getFileAttributesW)(LPCWSTR path);
};

// The table in force: the real calls, or while a fault is injected, calls
// that fail.
const SystemCalls& sys() noexcept;

}  // namespace vesk::orlo::osdep::windows
