#pragma once

#include "foundation/uid.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace orbi {

class CmClassInfo;
class FAttributes;
class FMessage;
class FStream;

/// Result of an interface operation, in the manner of COM.
using CmResult = uint32_t;
inline constexpr CmResult resultOk = 0;
inline constexpr CmResult resultBadArgument = 0x80070057;
inline constexpr CmResult resultFailed = 0x80004005;
inline constexpr CmResult resultNoInterface = 0x80004002;

/// Id of the base interface, which every object answers.
inline constexpr FUID unknownInterfaceId{0, 0, 0xC0000000, 70};

/// What every interface begins with: query, add reference, release.
class FUnknown {
public:
  /// An all-zero id gives the CmObject behind the interface, without a reference.
  virtual CmResult queryInterface(const FUID& id, void** out) = 0;
  virtual int32_t addRef() = 0;
  virtual int32_t release() = 0;

protected:
  ~FUnknown() = default;
};

/// Root of the framework's classes: reference count, identity by class name, interface query,
/// dependents, messages and persistence. Retaining and releasing is atomic and may happen on any
/// thread, real-time threads included; everything else belongs to the thread of its user.
///
/// Objects made by `new`, `create` and `clone` start with one reference that the maker owns.
/// Objects on the stack keep theirs and must not be handed to anyone who outlives them.
class CmObject : public FUnknown {
public:
  static constexpr const char* className = "CmObject";
  static inline const CmClassInfo* info = nullptr; ///< set by registration
  static const CmClassInfo* staticInfo() { return info; }

  CmObject() = default;
  CmObject(const CmObject&) {}
  CmObject& operator=(const CmObject&) { return *this; }

  // Interfaces
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }

  // Class
  virtual const CmClassInfo* getClassInfo() const { return info; }
  virtual bool isClass(const char* name) const { return sameName(name, className); }
  virtual const char* getClassName() const { return className; }
  virtual bool isA(const char* name) const { return sameName(name, className); }

  // Life and order
  virtual CmObject* clone() const
  {
    return new CmObject(*this);
  }                                     ///< null where copying has no sense
  virtual void destroy(uint32_t flags); ///< bit 0 frees the memory, too
  virtual bool isEqual(const CmObject* other) const { return this == other; }
  virtual int compare(const CmObject* other) const; ///< -1, 0, 1, by address unless overridden
  virtual uint32_t hash(uint32_t tableSize) const;
  virtual int32_t retain() { return refCount_.fetch_add(1, std::memory_order_relaxed) + 1; }
  virtual int32_t releaseRef();

  // Dependents, through the global table when there is one
  virtual void addDependent(CmObject* dependent);
  virtual void removeDependent(CmObject* dependent);
  virtual void changed(int32_t code);
  virtual void deferChanged(int32_t code);
  virtual void onChanged() {}                           ///< after the dependents were told
  virtual void update(CmObject* subject, int32_t code); ///< what a dependent hears

  // Persistence and messages
  virtual bool read(FStream& stream);
  virtual bool write(FStream& stream) const;
  virtual bool storeAttributes(FAttributes& attributes) const;
  virtual bool loadAttributes(const FAttributes& attributes);
  virtual int32_t handleMessage(FMessage& message); ///< non-zero when recognised

  virtual ~CmObject() = default; // here, as foreign callers count on the order of the operations

  virtual void onNoticeTaken() {} ///< a deferred notice left the queue; its dependents come next

  int32_t refCount() const { return refCount_.load(std::memory_order_relaxed); }

protected:
  static bool sameName(const char* a, const char* b)
  {
    return a == b || (a && std::strcmp(a, b) == 0);
  }

private:
  std::atomic<int32_t> refCount_{1};
};

/// Gives Self its identity; Self states `static constexpr const char* className`.
template <class Self, class Base>
class CmClass : public Base {
public:
  using Base::Base;
  using Super = Base;
  static inline const CmClassInfo* info = nullptr; ///< set by registration

  static const CmClassInfo* staticInfo() { return info ? info : Base::staticInfo(); }
  const CmClassInfo* getClassInfo() const override { return staticInfo(); }
  bool isClass(const char* name) const override { return Base::sameName(name, Self::className); }
  const char* getClassName() const override { return Self::className; }
  bool isA(const char* name) const override
  {
    return Base::sameName(name, Self::className) || Base::isA(name);
  }
  CmObject* clone() const override
  {
    if constexpr (std::is_copy_constructible_v<Self> && !std::is_abstract_v<Self>)
      return new Self(static_cast<const Self&>(*this));
    else
      return nullptr;
  }
};

/// The object as a T when it is one by name, else null.
template <class T>
T* castTo(CmObject* object)
{
  return object && object->isA(T::className) ? static_cast<T*>(object) : nullptr;
}
template <class T>
const T* castTo(const CmObject* object)
{
  return object && object->isA(T::className) ? static_cast<const T*>(object) : nullptr;
}

/// The CmObject behind an interface pointer, borrowed; null when there is none.
CmObject* objectBehind(FUnknown* unknown);

} // namespace orbi
