#pragma once

#include "foundation/attributes.h"

namespace orbi {

class FXmlReference;

/// Hash of IDs, as a file may choose some that fall into one bucket.
struct MixedId {
  size_t operator()(int64_t id) const
  {
    auto bits = static_cast<uint64_t>(id) * 0x9E3779B97F4A7C15u;
    return static_cast<size_t>(bits ^ bits >> 29);
  }
};

/// Stands for a persistent object inside a loaded tree. Whoever asks the tree for the value gets
/// the object itself.
class FXmlObject : public CmClass<FXmlObject, CmObject>, public IObjectReference {
public:
  static constexpr const char* className = "FXmlObject";

  explicit FXmlObject(int64_t id = 0) : id_(id) {}
  FXmlObject(const FXmlObject&) = delete;

  virtual CmObject* target() { return nullptr; }              ///< borrowed; null for none
  virtual FAttributes* attributes() const { return nullptr; } ///< not yet consumed; borrowed

  int64_t id() const { return id_; } ///< names the object within one file

  // One object, two interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  CmObject* resolved() override { return target(); }

private:
  int64_t id_;
};

/// An object that is made of its attributes when it is first asked for.
class FXmlInstance final : public CmClass<FXmlInstance, FXmlObject> {
public:
  static constexpr const char* className = "FXmlInstance";

  static constexpr int deepestLoad = 1000;

  FXmlInstance(int64_t id, std::string_view classWanted, Ref<FAttributes> attributes);
  FXmlInstance(const FXmlInstance&) = delete;
  ~FXmlInstance() override;

  /// The first call makes the object and loads it, and the attributes are gone in any case. Null
  /// for an unknown class and for an object that wouldn't load. Null as well, and nothing is gone,
  /// while more than deepestLoad objects are being loaded, each one for the one before.
  CmObject* target() override;
  FAttributes* attributes() const override { return attributes_.get(); }

  CmObject* object() const { return object_.get(); } ///< what was made so far; borrowed
  const CmString& storedClass() const { return class_; }

private:
  friend class FXmlReference;

  Ref<CmObject> object_;
  Ref<FAttributes> attributes_;
  CmString class_;
  FXmlReference* borrowers_ = nullptr; ///< references that don't keep it alive, a list
};

/// The place of an object that stands elsewhere in the file.
class FXmlReference final : public CmClass<FXmlReference, FXmlObject> {
public:
  static constexpr const char* className = "FXmlReference";

  explicit FXmlReference(int64_t id = 0) : CmClass(id) {}
  FXmlReference(const FXmlReference&) = delete;
  ~FXmlReference() override;

  CmObject* target() override { return instance_ ? instance_->target() : nullptr; }
  FAttributes* attributes() const override { return instance_ ? instance_->attributes() : nullptr; }

  FXmlInstance* instance() const { return instance_; } ///< null while unresolved; borrowed

  /// Keeps the instance alive, or only knows it for as long as it lives: the way out of rings,
  /// whose objects would otherwise hold each other for ever.
  enum class Hold { keeps, borrows };
  void resolve(FXmlInstance* instance, Hold hold = Hold::keeps);

private:
  friend class FXmlInstance;
  void letGo();

  FXmlInstance* instance_ = nullptr;
  Hold hold_ = Hold::keeps;
  FXmlReference* previous_ = nullptr; ///< among the instance's borrowers
  FXmlReference* next_ = nullptr;
};

} // namespace orbi
