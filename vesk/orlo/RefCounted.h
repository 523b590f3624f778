// Reference counting for every object that crosses the library's interface.
//
// Every interface begins with the two slots of IRefCounted. An implementation
// derives from RefCountedImplementation<Interface, RefCountedThreadSafePolicy>
// (and from DLLAlloced, so its memory comes from the task allocator). A new
// object's count is 0: whoever hands it out calls addRef first. The release
// that brings the count to 0 destroys the object through the policy's virtual
// destructor, which runs the most-derived destructor and frees the block.
// Counts change only by interlocked operations; nothing else about an object
// is made thread-safe here.
#pragma once

#include <cstdint>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "vesk/orlo/osdep/AtomicInt.h"

namespace vesk::orlo {

class IRefCounted {
 public:
  // Both return the new count; callers usually ignore it. After a release
  // that returns 0 the object is gone.
  virtual std::uint32_t addRef() = 0;
  virtual std::uint32_t release() = 0;

 protected:
  // Objects are destroyed by their final release, never through an interface.
  ~IRefCounted() = default;
};

// True for interfaces that are reference-counted.
template <class I>
struct RefCountedInterface : std::is_base_of<IRefCounted, I> {};

class RefCountedThreadSafePolicy {
 public:
  virtual ~RefCountedThreadSafePolicy() = default;

 protected:
  RefCountedThreadSafePolicy() = default;
  RefCountedThreadSafePolicy(const RefCountedThreadSafePolicy&) = delete;
  RefCountedThreadSafePolicy& operator=(const RefCountedThreadSafePolicy&) = delete;

  osdep::AtomicInt count_{0};
};

template <class I, class Policy = RefCountedThreadSafePolicy>
class RefCountedImplementation : public I, public Policy {
  static_assert(RefCountedInterface<I>::value, "the interface must be reference-counted");

 public:
  std::uint32_t addRef() override { return static_cast<std::uint32_t>(this->count_.increment()); }
  std::uint32_t release() override {
    const std::int32_t count = this->count_.decrement();
    if (count == 0) delete static_cast<Policy*>(this);
    return static_cast<std::uint32_t>(count);
  }
};

// Holds one reference: addRef on taking a pointer, release on letting go.
template <class T>
class RefPtr {
 public:
  RefPtr() noexcept = default;
  RefPtr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit RefPtr(T* object) noexcept : object_(object) {
    if (object_) object_->addRef();
  }
  RefPtr(const RefPtr& other) noexcept : RefPtr(other.object_) {}
  RefPtr(RefPtr&& other) noexcept : object_(other.object_) { other.object_ = nullptr; }
  ~RefPtr() { reset(); }

  RefPtr& operator=(RefPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  // Takes over a reference the caller already owns (from an out parameter).
  static RefPtr adopt(T* object) noexcept {
    RefPtr held;
    held.object_ = object;
    return held;
  }
  // Gives up the held reference without releasing it.
  T* detach() noexcept {
    T* object = object_;
    object_ = nullptr;
    return object;
  }
  void reset() noexcept {
    if (object_) {
      T* object = object_;
      object_ = nullptr;
      object->release();
    }
  }
  // For out parameters: releases what is held and exposes the slot.
  T** receive() noexcept {
    reset();
    return &object_;
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

}  // namespace vesk::orlo
