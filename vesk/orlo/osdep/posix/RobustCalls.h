// System calls of the file layer with the retries every caller needs: an
// interrupted call (EINTR) is repeated, and reads and writes continue after a
// short transfer. Every call goes through the system-call table. On failure
// they return -1 (or false) with errno set by the failing call.
#pragma once

#include <sys/types.h>

#include <cstddef>

namespace vesk::orlo::osdep::posix {

// open() with O_CLOEXEC added: no descriptor of the layer leaks into a
// program that the host process executes.
int robustOpen(const char* path, int flags, mode_t mode);

// Reads until `count` bytes or the end of the file; the number read, or -1.
ssize_t robustRead(int fd, void* buffer, std::size_t count);

// Writes all `count` bytes; false on failure.
bool robustWrite(int fd, const void* buffer, std::size_t count);

int robustFtruncate(int fd, off_t length);
int robustFdatasync(int fd);

// close() is never repeated: the descriptor is released even when the call
// reports EINTR, and a retry could close a descriptor that another thread has
// just been given.
int closeOnce(int fd);

}  // namespace vesk::orlo::osdep::posix
