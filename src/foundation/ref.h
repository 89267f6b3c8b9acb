#pragma once

#include <cstddef>
#include <utility>

namespace orbi {

/// Owns one reference to an object with retain and releaseRef. A raw pointer is borrowed.
template <class T>
class Ref {
public:
  Ref() = default;
  Ref(std::nullptr_t) {}
  Ref(const Ref& other) : object_(other.object_) { retain(); }
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  Ref(Ref<U> other) : object_(other.detach())
  {
  }
  ~Ref() { release(); }

  /// Takes over the caller's reference.
  static Ref adopt(T* object)
  {
    Ref ref;
    ref.object_ = object;
    return ref;
  }
  /// Adds a reference.
  static Ref share(T* object)
  {
    Ref ref = adopt(object);
    ref.retain();
    return ref;
  }

  Ref& operator=(Ref other) noexcept
  {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  bool operator==(const T* object) const { return object_ == object; }

  /// Gives the reference away; the caller releases it.
  T* detach() { return std::exchange(object_, nullptr); }

private:
  void retain()
  {
    if (object_)
      object_->retain();
  }
  void release()
  {
    if (object_)
      object_->releaseRef();
  }

  T* object_ = nullptr;
};

/// A new object whose one reference the caller owns.
template <class T, class... Args>
Ref<T> make(Args&&... args)
{
  return Ref<T>::adopt(new T(std::forward<Args>(args)...));
}

} // namespace orbi
