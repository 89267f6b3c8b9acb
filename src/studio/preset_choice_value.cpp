#include "studio/preset_choice_value.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(PPresetChoiceValue);

PPresetChoiceValue::PPresetChoiceValue(PDeviceNode* owner, PPresetBank* bank, int32_t number)
    : owner_(owner), bank_(bank), number_(number)
{
  setType(choiceType);
  setChoice(true);
  if (bank_)
    bank_->addDependent(this);
}

PPresetChoiceValue::~PPresetChoiceValue()
{
  if (bank_)
    bank_->removeDependent(this);
}

bool PPresetChoiceValue::recall() const
{
  int32_t index = 0;
  PPresetBank* holder = bank_ ? findPreset(*bank_, number_, index) : nullptr;
  return holder && owner_ && holder->recall(index, owner_);
}

void PPresetChoiceValue::setValue(int32_t number)
{
  number = constrain(number);
  if (number == number_)
    return;
  number_ = number;
  changed(changeNotice);
}

int32_t PPresetChoiceValue::getMax() const
{
  return bank_ ? std::max(countAllPresets(*bank_) - 1, 0) : 0;
}

void PPresetChoiceValue::getString(CmString& text) const
{
  int32_t index = 0;
  const PPresetBank* holder = bank_ ? findPreset(*bank_, number_, index) : nullptr;
  text = holder ? holder->getPresetName(index) : CmString();
}

void PPresetChoiceValue::update(CmObject* subject, int32_t code)
{
  if (subject != bank_ || code != goneNotice)
    return;
  bank_->removeDependent(this);
  bank_ = nullptr;
}

} // namespace orbi
