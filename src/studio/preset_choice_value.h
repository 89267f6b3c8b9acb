#pragma once

#include "studio/preset_bank.h"
#include "ui/values/value.h"

namespace orbi {

class PDeviceNode;

/// Which preset a node has: its number in a tree of banks. Its text is the preset's name.
class PPresetChoiceValue final : public CmClass<PPresetChoiceValue, UValue> {
public:
  static constexpr const char* className = "PPresetChoiceValue";

  /// Owner and bank are borrowed. A bank that goes leaves a choice of nothing.
  explicit PPresetChoiceValue(PDeviceNode* owner = nullptr, PPresetBank* bank = nullptr,
                              int32_t number = 0);
  PPresetChoiceValue(const PPresetChoiceValue&) = delete;
  ~PPresetChoiceValue() override;

  PDeviceNode* owner() const { return owner_; }
  PPresetBank* bank() const { return bank_; }
  bool recall() const; ///< the owner takes over the chosen preset; false when there is none

  void setValue(int32_t number) override;
  int32_t getValue() const override { return number_; }
  int32_t getMax() const override;
  void getString(CmString& text) const override;
  void getStringForValue(int32_t number, CmString& text) override;
  void getStringForNormalized(float fraction, CmString& text) override;
  /// Renames the preset where the bank allows it. The choice is the same, so no target is told.
  void setTextBuffer(const char* text, bool notifyTarget) override;

  void update(CmObject* subject, int32_t code) override;

private:
  CmString nameOf(int32_t number) const; ///< empty for none

  PDeviceNode* owner_;
  PPresetBank* bank_;
  int32_t number_;
};

} // namespace orbi
