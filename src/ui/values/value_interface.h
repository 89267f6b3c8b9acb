#pragma once

#include "foundation/object.h"

namespace orbi {

class IDependent;

/// A value as controls and outside callers see it. Whole numbers, numbers with a fraction, the
/// fraction of the range and texts are four views of the same value; each type of value converts.
/// Main thread.
class IValue : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x56414C55, 0x45490001, 1};
  static constexpr size_t textBytes = 128; ///< what getText fills at most, terminator included

  virtual void getText(char text[textBytes]) const = 0; ///< cut behind a whole character
  virtual void setText(const char* text) = 0;           ///< tells the target
  virtual int32_t getInt() const = 0;
  virtual void setInt(int32_t value) = 0; ///< tells the target before it returns
  virtual int32_t getMinInt() const = 0;
  virtual int32_t getMaxInt() const = 0;
  /// The object, borrowed, hears of changes that come through this interface; also of the edits,
  /// if it has IEditListener. Null for none.
  virtual void setTargetObject(IDependent* object, int32_t tag) = 0;
  virtual int32_t getTag2() const = 0; ///< the same
  virtual int32_t getTag() const = 0;
  virtual void setNotifyEx(bool on) = 0;
  virtual void setEnabled(bool on) = 0;
  virtual bool isEnabled() const = 0;
  virtual void edit(bool begins) = 0;
  virtual bool isReadOnlyEx() const = 0;
  /// Answers the bytes that the whole text takes, terminator included. A null text only asks, and
  /// sets the size to them, too; else at most *size bytes are filled, or all of them when size is
  /// null.
  virtual uint32_t getTextBuffer(char* text, uint32_t* size) const = 0;
  virtual void setTextBuffer(const char* text, bool notifyTarget) = 0;
  virtual void setIntEx(int32_t value, bool notifyTarget) = 0;
  virtual void setMinInt(int32_t min) = 0;
  virtual void setMaxInt(int32_t max) = 0;
  virtual float getFloat() const = 0;
  virtual void setFloat(float value) = 0; ///< tells the target
  virtual float getMinFloat() const = 0;
  virtual float getMaxFloat() const = 0;
  virtual void setMinFloat(float min) = 0;
  virtual void setMaxFloat(float max) = 0;
  virtual float getNormalized() const = 0; ///< 0 to 1, 0 for an empty range
  virtual void setNormalizedEx(float fraction, bool notifyTarget) = 0;
  virtual CmObject* getTarget() const = 0;
  virtual bool resetToDefault() = 0; ///< false without a default
  virtual void setDefaultFloat(float value) = 0;
  virtual bool getDefaultFloat(float& value) const = 0; ///< false without a default
  virtual bool getFlag(int32_t index) const = 0;        ///< 1, 2, 4 or 8; see UValue
  virtual void setFlag(int32_t index, bool on) = 0;     ///< 1 or 2

protected:
  ~IValue() = default;
};

/// What the target of a value offers when it wants to hear of the edits: from the press on a
/// control to its release.
class IEditListener : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x45444954, 0x4C490001, 1};

  virtual void onBeginEdit(IValue* value) = 0;
  virtual void onEndEdit(IValue* value) = 0;

protected:
  ~IEditListener() = default;
};

} // namespace orbi
