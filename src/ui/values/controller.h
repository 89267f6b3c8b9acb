#pragma once

#include "foundation/ref.h"
#include "foundation/string.h"

namespace orbi {

class FAttributes;
class UValue;
class UView;

/// Answers names: the values that controls show, objects, views that no skin describes, and the
/// controllers of parts. What it answers is borrowed and null for an unknown name.
class FController {
public:
  virtual ~FController() = default;

  virtual CmObject* getControllerObject() { return nullptr; } ///< the object that this is part of
  virtual UValue* getValue(const char* name) = 0;
  virtual bool hasValue(const char*) { return false; } ///< without making it
  virtual CmObject* getObject(const char*) { return nullptr; }
  /// A new view, whose one reference is the caller's, by the attributes of its place in the skin.
  virtual UView* createView(const char*, const FAttributes&) { return nullptr; }
  virtual bool getValueName(const UValue*, CmString&) { return false; } ///< the way back
  virtual FController* getController(const char*) { return nullptr; }   ///< of a part, by its path
};

/// A named thing in a controller's list. Found by its name, exact to the byte.
class FControllerEntry final : public CmClass<FControllerEntry, CmObject> {
public:
  static constexpr const char* className = "FControllerEntry";

  explicit FControllerEntry(std::string_view name = {}, CmObject* object = nullptr)
      : name_(name), object_(Ref<CmObject>::share(object))
  {
  }

  const CmString& name() const { return name_; }
  CmObject* object() const { return object_.get(); } ///< borrowed, may be null
  void setObject(CmObject* object) { object_ = Ref<CmObject>::share(object); }

  bool isEqual(const CmObject* other) const override; ///< by name
  int compare(const CmObject* other) const override;  ///< by name

private:
  CmString name_;
  Ref<CmObject> object_;
};

} // namespace orbi
