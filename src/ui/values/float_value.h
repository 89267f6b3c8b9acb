#pragma once

#include "ui/values/value.h"

namespace orbi {

/// Number with a fraction in a range. What is no number, and a limit that isn't finite, is not
/// taken. Its whole numbers are cut off.
class UFloatValue : public CmClass<UFloatValue, UValue> {
public:
  static constexpr const char* className = "UFloatValue";
  static constexpr int32_t finestPrecision = 30;

  explicit UFloatValue(float value = 0, float min = 0, float max = 1);

  int32_t precision() const { return precision_; } ///< digits behind the point
  void setPrecision(int32_t digits);               ///< 0 to finestPrecision; dependents are told
  virtual void setFloatValue(float value);         ///< as setValue: the target isn't told
  float constrainFloat(float value) const;

  // In whole numbers
  void setValue(int32_t value) override { setFloatValue(static_cast<float>(value)); }
  int32_t getValue() const override;
  int32_t getMin() const override;
  void setMin(int32_t min) override { setMinFloat(static_cast<float>(min)); }
  int32_t getMax() const override;
  void setMax(int32_t max) override { setMaxFloat(static_cast<float>(max)); }

  void setNormalized(float fraction) override;
  void stepDown() override;
  void stepUp() override;
  void copyValue(const UValue& other) override { setFloat(other.getFloat()); }

  void getString(CmString& text) const override;
  void getStringForValue(int32_t value, CmString& text) override;
  void getStringForNormalized(float fraction, CmString& text) override;
  void setTextBuffer(const char* text, bool notifyTarget) override;

  float getFloat() const override { return value_; }
  void setFloat(float value) override { setFloatEx(value, true); }
  float getMinFloat() const override { return min_; }
  float getMaxFloat() const override { return max_; }
  void setMinFloat(float min) override; ///< takes a lower maximum and a lower value up with it
  void setMaxFloat(float max) override; ///< takes a higher value down with it
  float getNormalized() const override;

  // Persistence: limits that are whole stand as whole numbers; the number's four bytes on a stream
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

protected:
  void setFloatEx(float value, bool notifyTarget);
  virtual double toDisplayed(float stored) const { return stored; } ///< what the text shows
  virtual double toStored(double displayed) const { return displayed; }

private:
  float atFraction(float fraction) const;
  void textFor(float value, CmString& text);
  void rangeChanged();

  float value_;
  float min_;
  float max_;
  int32_t precision_ = 4;
};

/// With a default.
class UFloatDefValue : public CmClass<UFloatDefValue, UFloatValue> {
public:
  static constexpr const char* className = "UFloatDefValue";

  explicit UFloatDefValue(float value = 0, float min = 0, float max = 1)
      : CmClass(value, min, max), default_(getFloat())
  {
  }

  bool getDefault(int32_t& value) const override;
  void setDefault(int32_t value) override { default_ = static_cast<float>(value); }
  bool getDefaultFloat(float& value) const override;
  void setDefaultFloat(float value) override;
  bool resetToDefault() override;

private:
  float default_;
};

/// Maps between the number that a value holds and the one that its text shows.
class UFloatTransform : public CmClass<UFloatTransform, CmObject> {
public:
  static constexpr const char* className = "UFloatTransform";

  virtual double toDisplayed(double stored) const = 0;
  virtual double toStored(double displayed) const = 0; ///< the way back
};

/// Shows and reads its text through a transform.
class UFloatTransformValue : public CmClass<UFloatTransformValue, UFloatDefValue> {
public:
  static constexpr const char* className = "UFloatTransformValue";

  explicit UFloatTransformValue(float value = 0, float min = 0, float max = 1)
      : CmClass(value, min, max)
  {
  }

  UFloatTransform* transform() const { return transform_.get(); }
  void setTransform(Ref<UFloatTransform> transform); ///< null: the number itself

protected:
  double toDisplayed(float stored) const override;
  double toStored(double displayed) const override;

private:
  Ref<UFloatTransform> transform_;
};

} // namespace orbi
