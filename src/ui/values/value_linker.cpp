#include "ui/values/value_linker.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"

#include <vector>

namespace orbi {

CM_REGISTER(UValueLinker);

UValueLinker::~UValueLinker()
{
  // Not by way of the master, which may have gone after the table of dependents.
  if (FDependencies* dependencies = FDependencies::instance())
    dependencies->removeDependent(nullptr, this);
}

void UValueLinker::setMaster(UValue* master)
{
  if (master_)
    master_->removeDependent(this);
  master_ = master;
  if (!master)
    return;
  master->addDependent(this);
  push();
}

void UValueLinker::addValue(UValue* value)
{
  if (!value || linked_.contains(value) || !linked_.add(value))
    return;
  push();
}

void UValueLinker::update(CmObject* subject, int32_t code)
{
  if (!master_ || subject != master_)
    return;
  if (code == UValue::goneNotice)
    master_ = nullptr;
  else
    push();
}

/// The targets that are told on the way may change the list and the master, and let the linker go.
void UValueLinker::push()
{
  if (!master_)
    return;
  auto alive = Ref<UValueLinker>::share(this);
  const float fraction = master_->getNormalized();
  std::vector<Ref<UValue>> values;
  for (CmObject* item : linked_)
    values.push_back(Ref<UValue>::share(static_cast<UValue*>(item)));
  for (const Ref<UValue>& value : values)
    if (value != master_ && linked_.contains(value.get()))
      value->setNormalizedEx(fraction, true);
}

} // namespace orbi
