#pragma once

#include "ui/values/value.h"

namespace orbi {

/// Fraction of two whole numbers, in lowest terms. Its whole number is the quotient, cut off.
class URationalValue : public CmClass<URationalValue, UValue> {
public:
  static constexpr const char* className = "URationalValue";

  explicit URationalValue(int32_t numerator = 0, int32_t denominator = 1);

  int32_t numerator() const { return numerator_; }
  int32_t denominator() const { return denominator_; }      ///< never 0
  void setRational(int32_t numerator, int32_t denominator); ///< a denominator of 0 changes nothing

  void setValue(int32_t value) override { setRational(value, 1); }
  int32_t getValue() const override;
  float getFloat() const override;
  void copyValue(const UValue& other) override;

  void getString(CmString& text) const override;
  void getStringForValue(int32_t value, CmString& text) override;
  void getStringForNormalized(float fraction, CmString& text) override;
  void setTextBuffer(const char* text,
                     bool notifyTarget) override; ///< "3/4"; what isn't whole is cut

  // Persistence: "Numerator" and "Denominator" besides; both on a stream
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

protected:
  /// Brings both to the form that is kept; the denominator isn't 0 and mustn't become so.
  virtual void reduce(int32_t& numerator, int32_t& denominator) const;

private:
  template <class Set>
  void textFor(Set set, CmString& text);

  int32_t numerator_ = 0;
  int32_t denominator_ = 1;
};

} // namespace orbi
