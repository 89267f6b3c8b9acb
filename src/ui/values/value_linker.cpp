#include "ui/values/value_linker.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"

#include <utility>
#include <vector>

namespace orbi {

CM_REGISTER(UValueLinker);

UValueLinker::~UValueLinker()
{
  // Not by way of the master, which may have gone after the table of dependents.
  if (FDependencies* dependencies = FDependencies::instance())
    dependencies->removeDependent(nullptr, this);
}

/// The linker depends on each value once, whatever that is to it.
bool UValueLinker::knows(const UValue* value) const
{
  return value == master_ || linked_.contains(value);
}

void UValueLinker::setMaster(UValue* master)
{
  if (master && !knows(master))
    master->addDependent(this);
  UValue* former = std::exchange(master_, master);
  if (former && !knows(former))
    former->removeDependent(this);
  push();
}

void UValueLinker::addValue(UValue* value)
{
  const bool isKnown = knows(value);
  if (!value || linked_.contains(value) || !linked_.add(value))
    return;
  if (!isKnown)
    value->addDependent(this);
  push();
}

bool UValueLinker::removeValue(UValue* value)
{
  if (!linked_.contains(value))
    return false;
  const auto kept = Ref<UValue>::share(value);
  linked_.remove(value);
  if (!knows(value))
    value->removeDependent(this);
  return true;
}

/// Also linked values go, though they are held: those that are a part of something else.
void UValueLinker::update(CmObject* subject, int32_t code)
{
  if (code == UValue::changeNotice && subject == master_)
    push();
  if (code != UValue::goneNotice)
    return;
  if (subject == master_)
    master_ = nullptr;
  linked_.remove(subject);
}

/// The targets that are told on the way may change the list and the master, and let the linker go.
void UValueLinker::push()
{
  if (!master_)
    return;
  auto alive = Ref<UValueLinker>::share(this);
  const float fraction = master_->getNormalized();
  for (CmObject* item : std::vector<CmObject*>(linked_.begin(), linked_.end()))
    if (item != master_ && linked_.contains(item))
      static_cast<UValue*>(item)->setNormalizedEx(fraction, true);
}

} // namespace orbi
