#include "studio/preset_choice_value.h"

#include "foundation/class_registry.h"

#include "ui/values/value_numbers.h"

#include <algorithm>
#include <cmath>
#include <utility>

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

CmString PPresetChoiceValue::nameOf(int32_t number) const
{
  int32_t index = 0;
  const PPresetBank* holder = bank_ ? findPreset(std::as_const(*bank_), number, index) : nullptr;
  return holder ? holder->getPresetName(index) : CmString();
}

void PPresetChoiceValue::getString(CmString& text) const
{
  text = nameOf(number_);
}

// The choice isn't moved for a text: one that lies outside, as from a file, wouldn't come back.

void PPresetChoiceValue::getStringForValue(int32_t number, CmString& text)
{
  text = nameOf(constrain(number));
}

void PPresetChoiceValue::getStringForNormalized(float fraction, CmString& text)
{
  text = nameOf(std::isnan(fraction) ? number_
                                     : constrain(cutAtFraction(getMin(), getMax(), fraction)));
}

void PPresetChoiceValue::setTextBuffer(const char* text, bool)
{
  int32_t index = 0;
  PPresetBank* holder = bank_ ? findPreset(*bank_, number_, index) : nullptr;
  if (holder && holder->canRename(index) && holder->renamePreset(text ? text : "", index))
    changed(changeNotice);
}

void PPresetChoiceValue::update(CmObject* subject, int32_t code)
{
  if (subject != bank_ || code != goneNotice)
    return;
  bank_->removeDependent(this);
  bank_ = nullptr;
  changed(changeNotice); // its text is another one
}

} // namespace orbi
