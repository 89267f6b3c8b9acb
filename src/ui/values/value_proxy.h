#pragma once

#include "ui/values/value.h"

namespace orbi {

/// Stands for another value, its source, which may change: whoever shows the proxy shows the
/// source. Every operation is the source's; without one the proxy is a switch of its own.
class UValueProxy : public CmClass<UValueProxy, UValue> {
public:
  static constexpr const char* className = "UValueProxy";

  explicit UValueProxy(UValue* source = nullptr);
  UValueProxy(const UValueProxy& other);
  ~UValueProxy() override;

  UValue* source() const { return source_.get(); }
  /// Holds a reference to it and tells the dependents. False, and nothing is done, for the proxy
  /// itself and for a proxy that leads to it.
  bool setSource(UValue* source);

  void update(CmObject* subject, int32_t code) override;

  // Target
  void setTarget(CmObject* target, int32_t tag, bool owned = false) override;
  void setTargetObject(IDependent* object, int32_t tag) override;
  void setTag(int32_t tag) override;
  CmObject* getTarget() const override;
  int32_t getTag() const override;
  void notifyTarget() override;

  // Notices: of both
  void setNotify(bool on) override;
  bool getNotify() const override;
  void setImmediate(bool on) override;

  // The value and its range
  void setValue(int32_t value) override;
  int32_t getValue() const override;
  int32_t getMin() const override;
  void setMin(int32_t min) override;
  int32_t getMax() const override;
  void setMax(int32_t max) override;
  int32_t constrain(int32_t value) const override;
  void setNormalized(float fraction) override;
  bool getDefault(int32_t& value) const override;
  void setDefault(int32_t value) override;
  void stepDown() override;
  void stepUp() override;
  void copyValue(const UValue& other) override;
  void setIntEx(int32_t value, bool notify) override;
  float getFloat() const override;
  void setFloat(float value) override;
  float getMinFloat() const override;
  void setMinFloat(float min) override;
  float getMaxFloat() const override;
  void setMaxFloat(float max) override;
  float getNormalized() const override;
  void setNormalizedEx(float fraction, bool notify) override;
  bool resetToDefault() override;
  bool getDefaultFloat(float& value) const override;
  void setDefaultFloat(float value) override;

  // Edits
  void BeginEdit() override;
  void EndEdit() override;
  bool isEditing() const override;
  bool getNotifyOnEdit() const override;
  void setNotifyOnEdit(bool on) override;
  void setNotifyAtEnd(bool on) override;
  void setEditMessages(bool on) override;

  // Text
  void getString(CmString& text) const override;
  void getStringThis(CmString& text) const override;
  void getStringForValue(int32_t value, CmString& text) override;
  void getStringForNormalized(float fraction, CmString& text) override;
  void setTextBuffer(const char* text, bool notify) override;

  // Properties
  int32_t getType() const override;
  void setType(int32_t type) override;
  bool isEnabled() const override;
  void setEnabled(bool on) override;
  bool isReadOnly() const override;
  void setReadOnly(bool on) override;
  bool isChoice() const override;
  void setChoice(bool on) override;
  bool isMarked() const override;
  void setMarked(bool on) override;
  bool getFlag(int32_t index) const override;
  void setFlag(int32_t index, bool on) override;

  // Persistence
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

private:
  void attach(UValue* source);
  void detach();
  bool mirrorTarget();
  void tellOfSource();

  Ref<UValue> source_;
  bool hasSilencedSource_ = false; ///< which would speak again without the proxy
};

} // namespace orbi
