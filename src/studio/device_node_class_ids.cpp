#include "foundation/attributes.h"
#include "foundation/uid_object.h"
#include "studio/class_id_path.h"
#include "studio/device_node.h"

namespace orbi {

namespace {

constexpr const char* countKey = "NumberClassIDs";
constexpr const char* textsKey = "ClassIDs";

/// What every node is for outside callers, once for all nodes.
struct CommonID {
  explicit CommonID(const FUID& uid) : id(make<CmUID>(uid)), text(uid.toPlainText()) {}
  Ref<CmUID> id;
  std::string text;
};

const CommonID commonIDs[] = {
    CommonID({0xCA1729D0, 0x88FC4857, 0x937F78CC, 0x37D45B48}),
    CommonID({0xAB9705CD, 0x467B4D7A, 0x946C8860, 0xC504F492}),
};

/// Null for what is no id.
Ref<CmUID> idOf(std::string_view text)
{
  for (const CommonID& common : commonIDs)
    if (common.text == text)
      return common.id;
  const auto uid = classIDIn(text);
  return uid ? make<CmUID>(*uid) : nullptr;
}

} // namespace

void PDeviceNode::addCommonClassIDs()
{
  for (const CommonID& common : commonIDs)
    classIDs_.add(common.id.get());
}

const FUID* PDeviceNode::classIDAt(int32_t index) const
{
  auto* id = static_cast<CmUID*>(classIDs_.at(index));
  return id ? &id->uid : nullptr;
}

void PDeviceNode::addClassID(const FUID& id)
{
  classIDs_.add(make<CmUID>(id).get());
}

bool PDeviceNode::hasClassID(const FUID& id) const
{
  const CmUID key(id);
  return classIDs_.find(&key) != nullptr;
}

bool PDeviceNode::storeClassIDs(FAttributes& attributes) const
{
  attributes.setInt(countKey, classIDs_.count());
  bool complete = true;
  for (CmObject* item : classIDs_) {
    const auto* id = static_cast<CmUID*>(item);
    const CommonID* common = nullptr;
    for (const CommonID& each : commonIDs)
      if (each.id.get() == id)
        common = &each;
    complete &= attributes.appendString(textsKey, common ? common->text.c_str()
                                                         : id->uid.toPlainText().c_str());
  }
  return complete;
}

/// Without a count of them the node keeps the ones that it has.
bool PDeviceNode::loadClassIDs(const FAttributes& attributes)
{
  int64_t count = 0;
  if (!attributes.getInt(countKey, count))
    return true;
  classIDs_.removeAll();
  auto* texts = castTo<FStringList>(attributes.getList(textsKey));
  for (int64_t i = 0; i < count; ++i) {
    const bool isThere = texts && i < texts->count();
    const auto id = isThere ? idOf(texts->valueAt(static_cast<uint32_t>(i)).text) : nullptr;
    if (!id)
      return false;
    classIDs_.add(id.get());
  }
  return true;
}

/// One step on from the node; null when it leads nowhere.
PDeviceNode* PDeviceNode::stepTo(const ClassIDStep& step)
{
  if (step.child == ClassIDStep::stays)
    return hasClassID(step.id) ? this : nullptr;
  int32_t left = step.child;
  for (int32_t i = 0; i < countChildren(); ++i)
    if (PDeviceNode* child = deviceChildAt(i); child && child->hasClassID(step.id) && left-- == 0)
      return child;
  return nullptr;
}

PDeviceNode* PDeviceNode::resolvePath(CmString& path, FUID* id)
{
  PDeviceNode* node = this;
  FUID lastID = id ? *id : FUID();
  std::string_view rest = path.view();
  while (!rest.empty() && !rest.starts_with(tagNameStart)) {
    if (rest[0] != '[' && rest.size() < path.view().size())
      break; // the name of something in the node
    const auto step = firstClassIDStep(rest);
    node = step ? node->stepTo(*step) : nullptr;
    if (!node)
      return nullptr;
    rest.remove_prefix(step->length);
    lastID = step->id;
  }
  path.set(rest);
  if (id)
    *id = lastID;
  return node;
}

} // namespace orbi
