// Child processes on Windows: the test binary started again with
// CreateProcess, sharing the test's standard handles.
#include "support/ChildProcess.h"

#include <windows.h>

#include <stdexcept>
#include <string>

namespace vesk::test {
namespace {

// One argument quoted so that the C runtime's parser gives it back as it
// stands: backslashes are literal except before a quote.
std::string quoted(const std::string& argument) {
  if (!argument.empty() && argument.find_first_of(" \t\"") == std::string::npos) return argument;
  std::string out = "\"";
  std::size_t backslashes = 0;
  for (char c : argument) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    out.append(c == '"' ? 2 * backslashes + 1 : backslashes, '\\');
    backslashes = 0;
    out += c;
  }
  out.append(2 * backslashes, '\\');
  return out + "\"";
}

HANDLE processOf(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

}  // namespace

ChildProcess::ChildProcess(const ChildJob& job) {
  char self[MAX_PATH * 4];
  const DWORD length = ::GetModuleFileNameA(nullptr, self, sizeof self);
  if (length == 0 || length == sizeof self) throw std::runtime_error("no module file name");
  std::string commandLine = quoted(self);
  for (const std::string& argument : childCommandArguments(job)) {
    commandLine += ' ';
    commandLine += quoted(argument);
  }
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = ::GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION started{};
  std::fflush(nullptr);
  // A start can fail for a moment on a loaded system; a few tries ride that
  // out.
  DWORD error = 0;
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (::CreateProcessA(self, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                         &startup, &started)) {
      error = 0;
      break;
    }
    error = ::GetLastError();
    ::Sleep(200);
  }
  if (error != 0) {
    throw std::runtime_error("the child process could not be started: error " + std::to_string(error));
  }
  ::CloseHandle(started.hThread);
  handle_ = reinterpret_cast<std::intptr_t>(started.hProcess);
}

int ChildProcess::wait() {
  ::WaitForSingleObject(processOf(handle_), INFINITE);
  DWORD code = 0;
  const BOOL known = ::GetExitCodeProcess(processOf(handle_), &code);
  ::CloseHandle(processOf(handle_));
  handle_ = 0;
  return known ? static_cast<int>(code) : -1;
}

void ChildProcess::kill() {
  ::TerminateProcess(processOf(handle_), 137);
  wait();
}

}  // namespace vesk::test
