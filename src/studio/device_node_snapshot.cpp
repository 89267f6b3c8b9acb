#include "foundation/attributes.h"
#include "foundation/message.h"
#include "studio/device_node.h"
#include "studio/parameter_tag_state.h"
#include "studio/snapshot_filter.h"
#include "ui/values/value_numbers.h"

#include <algorithm>
#include <cmath>

namespace orbi {

namespace {

/// Keys that all snapshots have in common.
const struct {
  Ref<CmString> tags = make<CmString>("Parameter Tags");
  Ref<CmString> values = make<CmString>("Parameter Values");
  Ref<CmString> children = make<CmString>("SubSnapshots");
  Ref<CmString> childName = make<CmString>("SubNodeName");
  Ref<CmString> childIndex = make<CmString>("SubNodeIndex");
  Ref<CmString> childClass = make<CmString>("SubNodeClass");
} keys;
constexpr uint32_t keyCount = 6;

/// Makes the list; null when something else is under the key.
template <class List>
List* listUnder(FAttributes& attributes, const Ref<CmString>& key)
{
  FStringIDAttribute& value = attributes.require(key);
  if (!value.persistentKind())
    value.setObject(new List, ObjectMode::adopted);
  return castTo<List>(value.asObject());
}

/// The list under a key that has only numbers in it; false when something else is there.
bool findNumbers(const FAttributes& attributes, const CmString& key, Ref<FAttrList>& list)
{
  list = Ref<FAttrList>::share(attributes.getList(key.text()));
  if (!list)
    return !attributes.has(key.text());
  return castTo<FIntList>(list.get()) || castTo<FFloatList>(list.get());
}

bool isFraction(float value)
{
  return value >= 0 && value <= 1; // no number isn't one either
}

int32_t atFraction(const UValue& value, float fraction)
{
  return cutAtFraction(value.getMin(), value.getMax(), fraction);
}

/// A fraction that lies below its whole number by its last bit would be restored as the one before.
float storedFraction(const UValue& value)
{
  const float fraction = value.getNormalized();
  const float next = std::nextafter(fraction, 1.0f);
  const int32_t number = value.getInt();
  const bool isLost = atFraction(value, fraction) < number && atFraction(value, next) == number;
  return isLost ? next : fraction;
}

} // namespace

// Storing

/// Takes what is stored of one node.
class PDeviceNode::SnapshotWriter {
public:
  explicit SnapshotWriter(FAttributes& attributes) : attributes_(attributes) {}

  bool any() const { return any_; } ///< anything was written
  bool write(int32_t tag, float fraction)
  {
    if (!tags_) {
      tags_ = listUnder<FIntList>(attributes_, keys.tags);
      values_ = listUnder<FFloatList>(attributes_, keys.values);
    }
    if (!tags_ || !values_)
      return false;
    tags_->values.push_back(tag);
    values_->values.push_back(fraction);
    return any_ = true;
  }
  bool writeChild(Ref<FAttributes> snapshot)
  {
    if (!children_)
      children_ = listUnder<FSubList>(attributes_, keys.children);
    if (!children_ || !children_->append(snapshot.get()))
      return false;
    snapshot.detach(); // the list adopted it
    return any_ = true;
  }

private:
  FAttributes& attributes_;
  FIntList* tags_ = nullptr;
  FFloatList* values_ = nullptr;
  FSubList* children_ = nullptr;
  bool any_ = false;
};

bool PDeviceNode::storeSnapshot(FAttributes& attributes, PSnapshotFilter* filter)
{
  SnapshotWriter writer(attributes);
  return storeParameters(writer, filter) && storeChildren(writer, filter) && writer.any();
}

bool PDeviceNode::storeParameters(SnapshotWriter& writer, PSnapshotFilter* filter)
{
  if (!filter)
    return storeAll(writer);
  if (!filter->accepts(*this))
    return true;
  return filter->countStates(*this) > 0 ? storeChosen(writer, *filter) : storeAll(writer);
}

bool PDeviceNode::storeChosen(SnapshotWriter& writer, PSnapshotFilter& filter)
{
  CmArray states(CmOwnership::adopts);
  filter.fillStates(*this, states);
  for (CmObject* item : states) {
    const auto* state = castTo<ParameterTagState>(item);
    if (!state)
      continue;
    const UValue* value = state->hasValue ? nullptr : getParameterValue(state->tag);
    const float fraction = value ? storedFraction(*value) : state->hasValue ? state->value : 0;
    if (!writer.write(state->tag, fraction))
      return false;
  }
  return true;
}

bool PDeviceNode::storeAll(SnapshotWriter& writer)
{
  const int32_t count = getParameterCount();
  for (int32_t i = 0; i < count; ++i) {
    const int32_t tag = parameterRequest({PParameterQuestion::tagAt, i}).number;
    if (tag < 0)
      return false;
    const UValue* value = getParameterValue(tag);
    if (value && !writer.write(tag, storedFraction(*value)))
      return false;
  }
  return true;
}

bool PDeviceNode::storeChildren(SnapshotWriter& writer, PSnapshotFilter* filter) const
{
  for (int32_t i = 0; i < countChildren(); ++i) {
    const auto child = Ref<PDeviceNode>::share(deviceChildAt(i));
    if (!child)
      continue;
    auto snapshot = make<FAttributes>();
    snapshot->reserve(keyCount);
    snapshot->addNew(keys.childName).setText(child->getName().view());
    snapshot->addNew(keys.childIndex).setInt(i);
    snapshot->addNew(keys.childClass).setText(child->nodeClass_.view());
    if (child->storeSnapshot(*snapshot, filter) && !writer.writeChild(std::move(snapshot)))
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
  if (!findNumbers(attributes, *keys.tags, tags) || !findNumbers(attributes, *keys.values, values))
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
  const auto list =
      Ref<FSubList>::share(castTo<FSubList>(attributes.getList(keys.children->text())));
  if (!list)
    return !attributes.has(keys.children->text());
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
  const char* name = snapshot.getString(keys.childName->text());
  const char* nodeClass = snapshot.getString(keys.childClass->text());
  int64_t index = -1;
  if (!name || !nodeClass || !snapshot.getInt(keys.childIndex->text(), index))
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
