// The support library's exception hierarchy. Every failure inside the library
// travels as one of these classes (or as BadAllocation); the interface
// operations turn them into status codes, so none ever reaches a client.
//
// Each exception carries its message, the numeric code it stands for and the
// source location that raised it ("vesk/orlo/..." without extension, and a
// line). A raise site builds a default exception and throws a copy of it that
// has the location attached:
//
//   raise(OutOfRange2("String offset out of range"), kStringBaseSource, 691);
#pragma once

#include <cstdint>
#include <exception>

#include "vesk/orlo/MessageText.h"

namespace vesk::orlo::exception {

class Exception : public std::exception {
 public:
  Exception() noexcept = default;
  Exception(const Exception&) = default;
  Exception(const Exception& other, const char* file, std::uint32_t line) noexcept
      : Exception(other) {
    file_ = file;
    line_ = line;
  }
  Exception& operator=(const Exception&) = default;
  ~Exception() override = default;

  const char* what() const noexcept override { return "unspecified exception"; }
  virtual std::uint32_t errorCode() const noexcept { return 0xFFFFFFFFu; }

  // The raising module ("vesk/orlo/StringBase") or null, and its line or 0.
  const char* sourceFile() const noexcept { return file_; }
  std::uint32_t sourceLine() const noexcept { return line_; }

 private:
  std::uint32_t line_ = 0;
  const char* file_ = nullptr;
};

// Throws a copy of `error` that carries the given source location.
template <class E>
[[noreturn]] void raise(const E& error, const char* file, std::uint32_t line) {
  throw E(error, file, line);
}

// Classes with a fixed message and code.
#define VESK_ORLO_FIXED_EXCEPTION(Name, Base, Text, Code)                        \
  class Name : public Base {                                                     \
   public:                                                                       \
    Name() noexcept = default;                                                   \
    Name(const Name&) = default;                                                 \
    Name(const Name& other, const char* file, std::uint32_t line) noexcept       \
        : Base(other, file, line) {}                                             \
    const char* what() const noexcept override { return Text; }                  \
    std::uint32_t errorCode() const noexcept override { return Code; }           \
  };

VESK_ORLO_FIXED_EXCEPTION(OutOfRange, Exception, "Out of range", 0x8ABC7007u)
VESK_ORLO_FIXED_EXCEPTION(ObjectAlreadyExists, Exception, "Object already exists", 0x8ABC7009u)
VESK_ORLO_FIXED_EXCEPTION(InvalidOperation, Exception, "Invalid operation", 0x8ABC700Eu)
VESK_ORLO_FIXED_EXCEPTION(InvalidArgument, Exception, "Invalid argument(s)", 0x8ABC700Fu)
VESK_ORLO_FIXED_EXCEPTION(InitializationFailure, Exception, "Initialization failed", 0x8ABC7010u)
VESK_ORLO_FIXED_EXCEPTION(DeserializationError, Exception, "Failed to deserialize", 0x8ABC7014u)
VESK_ORLO_FIXED_EXCEPTION(BufferOverflow, Exception, "Buffer overflowed", 0x8ABC7017u)
VESK_ORLO_FIXED_EXCEPTION(InvalidLocale, Exception, "Invalid locale", 0x8ABC7024u)
VESK_ORLO_FIXED_EXCEPTION(InvalidSequence, Exception, "Invalid UTF8 encoding sequence", 0x8ABC7030u)
VESK_ORLO_FIXED_EXCEPTION(UnableToConvert, Exception, "Unable to convert.", 0x8ABC7034u)
VESK_ORLO_FIXED_EXCEPTION(NotImplemented, Exception, "Not implemented", 0x80004001u)

#undef VESK_ORLO_FIXED_EXCEPTION

// Classes whose message is a fixed prefix followed by a text given at
// construction.
#define VESK_ORLO_TEXT_EXCEPTION(Name, Base, Prefix, Code)                       \
  class Name : public Base {                                                     \
   public:                                                                       \
    Name() : message_(Prefix) {}                                                 \
    explicit Name(const char* text) : message_(Prefix, text) {}                  \
    Name(const Name&) = default;                                                 \
    Name(const Name& other, const char* file, std::uint32_t line)                \
        : Base(other, file, line), message_(other.message_) {}                   \
    const char* what() const noexcept override { return message_.c_str(); }      \
    std::uint32_t errorCode() const noexcept override { return Code; }           \
                                                                                 \
   private:                                                                      \
    MessageText message_;                                                        \
  };

VESK_ORLO_TEXT_EXCEPTION(OutOfRange2, OutOfRange, "Out of range: ", 0x8ABC7007u)
VESK_ORLO_TEXT_EXCEPTION(AccessDenied, Exception, "Access denied: ", 0x8ABC7019u)

#undef VESK_ORLO_TEXT_EXCEPTION

}  // namespace vesk::orlo::exception
