// Setting and clearing environment variables of the test process on every
// platform.
#pragma once

#include <stdlib.h>

#include <string>

namespace vesk::test {

inline void setEnvironment(const char* name, const std::string& value) {
#if defined(_WIN32)
  ::_putenv_s(name, value.c_str());
#else
  ::setenv(name, value.c_str(), 1);
#endif
}

inline void clearEnvironment(const char* name) {
#if defined(_WIN32)
  ::_putenv_s(name, "");
#else
  ::unsetenv(name);
#endif
}

}  // namespace vesk::test
