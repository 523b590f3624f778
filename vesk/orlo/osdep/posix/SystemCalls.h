// The table through which the POSIX file layer makes every system call. The
// production code always calls through it; fault injection and tests swap
// the table or single entries, so they reach the real error paths of the
// layer without a line of test code in it. Internal to the support library.
#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdio>

namespace vesk::orlo::osdep::posix {

struct SystemCalls {
  int (*open)(const char* path, int flags, mode_t mode);
  ssize_t (*read)(int fd, void* buffer, size_t count);
  ssize_t (*write)(int fd, const void* buffer, size_t count);
  off_t (*lseek)(int fd, off_t offset, int whence);
  int (*ftruncate)(int fd, off_t length);
  int (*fdatasync)(int fd);
  int (*close)(int fd);
  int (*rename)(const char* from, const char* to);
  int (*unlink)(const char* path);
  int (*stat)(const char* path, struct stat* status);
  int (*lstat)(const char* path, struct stat* status);
  int (*mkdir)(const char* path, mode_t mode);
  DIR* (*opendir)(const char* path);
  struct dirent* (*readdir)(DIR* directory);
  int (*closedir)(DIR* directory);
  ssize_t (*readlink)(const char* path, char* buffer, size_t size);
  std::FILE* (*fopen)(const char* path, const char* mode);
  size_t (*fwrite)(const void* buffer, size_t size, size_t count, std::FILE* stream);
  ssize_t (*getline)(char** line, size_t* size, std::FILE* stream);
  int (*ferror)(std::FILE* stream);
  int (*fflush)(std::FILE* stream);
  int (*fclose)(std::FILE* stream);
};

// The table in force: the real calls, or while a fault is injected, calls
// that fail.
const SystemCalls& sys() noexcept;

// The table of real calls. Tests may replace an entry for a scope (and must
// put it back); the layer sees the change at its next call.
SystemCalls& realSystemCalls() noexcept;

}  // namespace vesk::orlo::osdep::posix
