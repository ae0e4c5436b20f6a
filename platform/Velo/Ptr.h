#pragma once
// Counted pointer to an object of the runtime. One raw pointer wide; a null pointer costs nothing.

#include <cstddef>
#include <type_traits>
#include <utility>

#include "platform/Velo/Fault.h"
#include "platform/Velo/PtrInterface.h"
#include "platform/Velo/Relocate.h"

namespace Velo {

// Copying takes a reference, destruction drops it, and the last one ends the object. `Ptr<const T>`
// gives read-only access. Dereferencing null ends the process with one line on standard error.
template <class T>
class Ptr {
 public:
  using element_type = T;

  constexpr Ptr() = default;
  constexpr Ptr(std::nullptr_t) {}
  explicit Ptr(T* object) : object_(object) { take(); }
  Ptr(const Ptr& other) : object_(other.object_) { take(); }
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires(std::is_convertible_v<U*, T*> && !std::is_same_v<U, T>) Ptr(const Ptr<U>& other)
      : object_(other.get()) {
    take();
  }
  template <class U>
  requires(std::is_convertible_v<U*, T*> && !std::is_same_v<U, T>) Ptr(Ptr<U>&& other)
  noexcept : object_(other.release()) {}
  ~Ptr() { drop(object_); }

  Ptr& operator=(const Ptr& other) {  // NOLINT(bugprone-unhandled-self-assignment)
    T* const old = object_;
    object_ = other.object_;
    take();
    drop(old);
    return *this;
  }
  Ptr& operator=(Ptr&& other) noexcept {
    Ptr(std::move(other)).swap(*this);
    return *this;
  }
  Ptr& operator=(std::nullptr_t) {
    Ptr().swap(*this);
    return *this;
  }

  void swap(Ptr& other) noexcept { std::swap(object_, other.object_); }

  T* get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  T* operator->() const {
    if (object_ == nullptr) [[unlikely]] {
      fault(__PRETTY_FUNCTION__, "the object pointed to");
    }
    return object_;
  }
  T& operator*() const { return *operator->(); }

  // Hands the reference over to the caller, who must drop it.
  [[nodiscard]] T* release() { return std::exchange(object_, nullptr); }

 private:
  void take() const {
    if (object_ != nullptr) static_cast<const PtrInterface*>(object_)->increment();
  }
  static void drop(T* object) {
    if (object == nullptr) return;
    const auto* base = static_cast<const PtrInterface*>(object);
    if (base->decrement()) [[unlikely]] {
      base->handleZeroRef();
    }
  }

  T* object_ = nullptr;
};

template <class T>
inline constexpr bool isRelocatable<Ptr<T>> = true;

template <class T, class U>
bool operator==(const Ptr<T>& a, const Ptr<U>& b) {
  return a.get() == b.get();
}
template <class T>
bool operator==(const Ptr<T>& a, std::nullptr_t) {
  return a.get() == nullptr;
}

template <class T, class... Args>
Ptr<T> make(Args&&... args) {
  return Ptr<T>(new T(std::forward<Args>(args)...));
}

template <class T>
std::ostream& operator<<(std::ostream& out, const Ptr<T>& object) {
  return out << static_cast<const PtrInterface*>(object.get());
}

// A reference to the object that the order of set-up guarantees; ends the process with one line
// that names the function and `what` if it is missing.
template <class T>
Ptr<T> required(Ptr<T> object, const char* what, const char* function = __builtin_FUNCTION()) {
  if (!object) fault(function, what);
  return object;
}

}  // namespace Velo
