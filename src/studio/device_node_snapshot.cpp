#include "foundation/attributes.h"
#include "foundation/message.h"
#include "studio/device_node.h"
#include "studio/parameter_tag_state.h"
#include "studio/snapshot_filter.h"

#include <algorithm>

namespace orbi {

namespace {

constexpr const char* tagsKey = "Parameter Tags";
constexpr const char* valuesKey = "Parameter Values";
constexpr const char* childrenKey = "SubSnapshots";
constexpr const char* childNameKey = "SubNodeName";
constexpr const char* childIndexKey = "SubNodeIndex";
constexpr const char* childClassKey = "SubNodeClass";

/// The list under a key that has only numbers in it; false when something else is there.
bool findNumbers(const FAttributes& attributes, const char* key, Ref<FAttrList>& list)
{
  list = Ref<FAttrList>::share(attributes.getList(key));
  if (!list)
    return !attributes.has(key);
  return castTo<FIntList>(list.get()) || castTo<FFloatList>(list.get());
}

bool isFraction(float value)
{
  return value >= 0 && value <= 1; // no number isn't one either
}

/// The whole number at a fraction of the value's range; what isn't whole is cut off.
int32_t atFraction(const UValue& value, float fraction)
{
  const int64_t min = value.getMin();
  const auto offset = static_cast<int64_t>(static_cast<float>(value.getMax() - min) * fraction);
  return static_cast<int32_t>(std::clamp(min + offset, int64_t{INT32_MIN}, int64_t{INT32_MAX}));
}

} // namespace

// Storing

bool PDeviceNode::storeSnapshot(FAttributes& attributes, PSnapshotFilter* filter)
{
  bool any = false;
  return storeParameters(attributes, filter, any) && storeChildren(attributes, filter, any) && any;
}

bool PDeviceNode::storeParameters(FAttributes& attributes, PSnapshotFilter* filter, bool& any)
{
  if (!filter)
    return storeAll(attributes, any);
  if (!filter->accepts(*this))
    return true;
  return filter->countStates(*this) > 0 ? storeChosen(attributes, *filter, any)
                                        : storeAll(attributes, any);
}

bool PDeviceNode::storeChosen(FAttributes& attributes, PSnapshotFilter& filter, bool& any)
{
  CmArray states(CmOwnership::adopts);
  filter.fillStates(*this, states);
  for (CmObject* item : states) {
    const auto* state = castTo<ParameterTagState>(item);
    if (!state)
      continue;
    const UValue* value = state->hasValue ? nullptr : getParameterValue(state->tag);
    const float fraction = value ? value->getNormalized() : state->hasValue ? state->value : 0;
    if (!storeParameter(attributes, state->tag, fraction, any))
      return false;
  }
  return true;
}

bool PDeviceNode::storeAll(FAttributes& attributes, bool& any)
{
  const int32_t count = getParameterCount();
  for (int32_t i = 0; i < count; ++i) {
    const int32_t tag = getParameterTag(i);
    if (tag < 0)
      return false;
    const UValue* value = getParameterValue(tag);
    if (value && !storeParameter(attributes, tag, value->getNormalized(), any))
      return false;
  }
  return true;
}

bool PDeviceNode::storeParameter(FAttributes& attributes, int32_t tag, double fraction,
                                 bool& any) const
{
  any = true;
  return attributes.appendInt(tagsKey, tag) && attributes.appendDouble(valuesKey, fraction);
}

bool PDeviceNode::storeChildren(FAttributes& attributes, PSnapshotFilter* filter, bool& any) const
{
  for (int32_t i = 0; i < countChildren(); ++i) {
    const auto child = Ref<PDeviceNode>::share(deviceChildAt(i));
    if (!child)
      continue;
    auto snapshot = make<FAttributes>();
    snapshot->setString(childNameKey, child->getName().text());
    snapshot->setInt(childIndexKey, i);
    snapshot->setString(childClassKey, child->nodeClass_.text());
    if (!child->storeSnapshot(*snapshot, filter))
      continue;
    any = true;
    if (!attributes.appendObject(childrenKey, snapshot.get(), false))
      return false;
  }
  return true;
}

// Restoring. Values tell others of their change, who may change the tree.

bool PDeviceNode::restoreSnapshot(FAttributes& attributes)
{
  const auto alive = Ref<PDeviceNode>::share(this);
  FMessage question("Is Restore Automated");
  question.setObject("Attributes", &attributes);
  const bool quiet = tellApplication(question) != 0;
  return restoreParameters(attributes, quiet) && restoreChildren(attributes);
}

bool PDeviceNode::restoreParameters(const FAttributes& attributes, bool quiet)
{
  Ref<FAttrList> tags;
  Ref<FAttrList> values;
  if (!findNumbers(attributes, tagsKey, tags) || !findNumbers(attributes, valuesKey, values))
    return false;
  const uint32_t count = tags && values ? std::min(tags->count(), values->count()) : 0;
  for (uint32_t i = 0; i < count; ++i) {
    const AttributeVariant tag = tags->valueAt(i);
    const AttributeVariant value = values->valueAt(i);
    const auto fraction =
        value.tag == tagInt ? static_cast<float>(value.integer) : static_cast<float>(value.number);
    if (tag.tag != tagInt || tag.integer < 0 || tag.integer > INT32_MAX || !isFraction(fraction))
      return false;
    if (!restoreParameter(static_cast<int32_t>(tag.integer), fraction, quiet))
      return false;
  }
  return true;
}

bool PDeviceNode::restoreParameter(int32_t tag, float fraction, bool quiet)
{
  const auto value = Ref<UValue>::share(getParameterValue(tag));
  if (!value)
    return false;
  if (!quiet)
    value->setImmediate(false);
  value->setInt(atFraction(*value, fraction));
  if (!quiet)
    value->setImmediate(true);
  return true;
}

bool PDeviceNode::restoreChildren(const FAttributes& attributes)
{
  const auto list = Ref<FSubList>::share(castTo<FSubList>(attributes.getList(childrenKey)));
  if (!list)
    return !attributes.has(childrenKey);
  bool complete = true;
  for (uint32_t i = 0; i < list->count(); ++i) {
    FAttributes& snapshot = *list->at(i);
    const auto target = Ref<PDeviceNode>::share(snapshotTarget(snapshot));
    complete &= target && target->restoreSnapshot(snapshot);
  }
  return complete;
}

/// The child at the stored place if it is the one that stood there, else the one of that name, else
/// one of the same class at that place.
PDeviceNode* PDeviceNode::snapshotTarget(const FAttributes& snapshot) const
{
  const char* name = snapshot.getString(childNameKey);
  const char* nodeClass = snapshot.getString(childClassKey);
  int64_t index = -1;
  if (!name || !nodeClass || !snapshot.getInt(childIndexKey, index))
    return nullptr;
  auto ofClass = [nodeClass](FNode* node) {
    auto* child = castTo<PDeviceNode>(node);
    return child && child->nodeClass_ == nodeClass ? child : nullptr;
  };
  const bool isIndex = index >= 0 && index < countChildren();
  PDeviceNode* atIndex = isIndex ? ofClass(childAt(static_cast<int32_t>(index))) : nullptr;
  if (atIndex && atIndex->getName() == name)
    return atIndex;
  PDeviceNode* named = ofClass(findChildByName(name));
  return named ? named : atIndex;
}

} // namespace orbi
