#pragma once

#include "foundation/object.h"
#include "foundation/ref.h"

namespace orbi {

/// A 128-bit id as an object, so that it can live in containers.
class CmUID final : public CmClass<CmUID, CmObject> {
public:
  static constexpr const char* className = "CmUID";

  CmUID() = default;
  explicit CmUID(const FUID& value) : uid(value) {}

  bool isEqual(const CmObject* other) const override;
  uint32_t hash(uint32_t tableSize) const override; ///< equal ids have equal hashes

  // On a stream in the byte form, among attributes in the plain form under "GUID"
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

  FUID uid;
};

/// What a component answers that can be kept in a stream.
class IPersistent : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x50455253, 0x49530001, 1};

  virtual FUID componentId() const = 0;
  virtual bool readFrom(FStream& stream) = 0;
  virtual bool writeTo(FStream& stream) const = 0;

protected:
  ~IPersistent() = default;
};

/// Makes components by their class id. The component registry, when there is one, installs itself.
class FComponentSource {
public:
  virtual ~FComponentSource() = default;
  virtual FUnknown* createComponent(const FUID& id) = 0; ///< with a reference, or null

  static inline FComponentSource* instance = nullptr;
};

class CmDelegatingUnknown;

/// Keeps account of the delegates that were made for it.
class IDelegateOwner {
public:
  virtual void registerDelegate(CmDelegatingUnknown* delegate) = 0;
  virtual void unregisterDelegate(CmDelegatingUnknown* delegate) = 0;

protected:
  ~IDelegateOwner() = default;
};

/// An interface pointer as an object: questions for interfaces go to what lies behind.
class CmDelegatingUnknown final : public CmClass<CmDelegatingUnknown, CmObject> {
public:
  static constexpr const char* className = "CmDelegatingUnknown";

  CmDelegatingUnknown() = default;
  /// Takes over the reference to unknown; tells the owner of itself.
  explicit CmDelegatingUnknown(FUnknown* unknown, IDelegateOwner* owner = nullptr);
  CmDelegatingUnknown(const CmDelegatingUnknown& other); ///< shares unknown, has no owner
  CmDelegatingUnknown& operator=(const CmDelegatingUnknown&) = delete;
  ~CmDelegatingUnknown() override;

  FUnknown* unknown() const { return unknown_; }
  IDelegateOwner* owner() const { return owner_; }

  CmResult queryInterface(const FUID& id, void** out) override;
  bool isEqual(const CmObject* other) const override; ///< among delegates: the same owner

  /// The component's class id in byte form, then what the component writes itself. Reading fails
  /// without a component of that class.
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;

private:
  FUnknown* unknown_ = nullptr;
  IDelegateOwner* owner_ = nullptr;
};

} // namespace orbi
