#include "studio/node.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "foundation/plug_dependencies.h"
#include "persist/translator.h"
#include "persist/xml_object.h"
#include "studio/node_names.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace orbi {

CM_REGISTER(FNode);

namespace {

constexpr int32_t manyChildren = 16; ///< from here on their names are looked up

/// Keys that all nodes have in common.
const struct {
  Ref<CmString> name = make<CmString>("IDString");
  Ref<CmString> children = make<CmString>("Children");
} keys;

} // namespace

FNode::FNode(std::string_view name) : name_(name) {}

FNode::FNode(const FNode& other) : CmClass(other), name_(other.name_) {}

// Life

/// The nodes that a thread is letting go of. Those that wait are linked by parent_.
struct FNode::Teardown {
  int depth = 0;
  FNode* waiting = nullptr;

  static thread_local Teardown current;
};

thread_local FNode::Teardown FNode::Teardown::current;

void FNode::destroy(uint32_t flags)
{
  Teardown& teardown = Teardown::current;
  if (teardown.depth >= deepestNest && (flags & 1)) {
    parent_ = std::exchange(teardown.waiting, this);
    return;
  }
  ++teardown.depth;
  CmObject::destroy(flags);
  while (teardown.depth == 1 && teardown.waiting) {
    FNode* next = teardown.waiting;
    teardown.waiting = std::exchange(next->parent_, nullptr);
    next->CmObject::destroy(1);
  }
  --teardown.depth;
}

FNode::~FNode()
{
  names_.reset();
  while (children_ && !children_->isEmpty())
    drop(static_cast<int32_t>(children_->count()) - 1);
}

void FNode::tellGone()
{
  retain(); // whoever takes a reference for the last call and gives it back doesn't end it twice
  FDependencies* dependencies = FDependencies::instance();
  if (!dependencies)
    return;
  dependencies->removeFromDeferred(this);
  FPlugDependencies* plugs = FPlugDependencies::instance();
  auto* self = static_cast<CmObject*>(this);
  if (!dependencies->hasDependents(this) && !(plugs && plugs->hasDependents(self)))
    return;
  dependencies->changed(this, nodeGoneNotice);
  dependencies->removeDependent(this, nullptr);
  if (plugs)
    plugs->removeDependent(self, nullptr);
}

bool FNode::isEqual(const CmObject* other) const
{
  auto* node = castTo<FNode>(other);
  return node && node->name_ == name_.view();
}

// Name

void FNode::setName(const char* text)
{
  if (!text)
    return rename({});
  if (!parent_) {
    if (*text)
      rename(text);
    return;
  }
  if (parent_->findSameName(text, this))
    rename(parent_->freeNameFor(this, text).view());
  else
    rename(text);
}

void FNode::rename(std::string_view name)
{
  FNodeNames* names = parent_ ? parent_->names_.get() : nullptr;
  if (names)
    names->remove(name_.view(), this);
  name_.set(name);
  if (names)
    names->add(name_.view(), this);
  if (!isJoining_)
    nameChanged();
}

FNode* FNode::findSameName(const char* name, const FNode* besides) const
{
  if (names_)
    return names_->find(name, besides);
  for (int32_t i = 0; i < countChildren(); ++i)
    if (FNode* child = childAt(i);
        child != besides && child->name_.compare(name, TextCompare::ignoreCase) == 0)
      return child;
  return nullptr;
}

/// The text with the first number behind it that no child has in its name, or that this one has.
CmString FNode::freeNameFor(const FNode* child, std::string_view text)
{
  constexpr size_t roomForNumber = sizeof " 99999999" - 1;
  const CmString base(text.substr(0, longestNumberedName - roomForNumber));
  const FNode* holder = nullptr;
  auto numbered = [&](int32_t number) {
    CmString name(base);
    name.append(" ");
    name.appendNumber(number);
    holder = findSameName(name.text());
    return name;
  };
  const int32_t first = names_ ? names_->firstFree(base.view()) : 2;
  const NumberedName own(child->name_.view());
  if (own.number && own.number < first)
    if (CmString name = numbered(own.number); holder == child)
      return name;
  int32_t number = first;
  CmString name = numbered(number);
  while (holder && holder != child && number < NumberedName::lastNumber)
    name = numbered(++number);
  if (names_)
    names_->setFirstFree(base.view(), number + 1);
  return name;
}

// Paths

void FNode::getPath(CmString& out, const FNode* stopAt) const
{
  std::vector<const FNode*> way;
  for (const FNode* node = this; node != stopAt && node->parent_; node = node->parent_)
    way.push_back(node);
  out.set(std::string_view());
  for (auto node = way.rbegin(); node != way.rend(); ++node) {
    if (node != way.rbegin())
      out.append(std::string_view(&pathSeparator, 1));
    out.append((*node)->name_.view());
  }
}

FNode* FNode::findByPath(std::string_view path, EmptyPath empty)
{
  FNode* node = this;
  while (node && !path.empty()) {
    const size_t end = path.find(pathSeparator);
    node = node->findChild(CmString(path.substr(0, end)).text());
    if (end == path.npos)
      return node;
    path.remove_prefix(end + 1);
  }
  return empty == EmptyPath::givesSelf ? node : nullptr;
}

FNode* FNode::findChildByName(const char* name) const
{
  if (!name)
    return nullptr;
  if (names_ && *name) { // no sibling has the same name in another case
    FNode* child = names_->find(name);
    return child && child->name_ == name ? child : nullptr;
  }
  for (int32_t i = 0; i < countChildren(); ++i)
    if (FNode* child = childAt(i); child->name_ == name)
      return child;
  return nullptr;
}

FNode* FNode::findChild(const char* name) const
{
  if (FNode* child = findChildByName(name))
    return child;
  if (!name || !UTranslator::instance())
    return nullptr;
  for (int32_t i = 0; i < countChildren(); ++i) {
    FNode* child = childAt(i);
    const char* translation = UTranslator::text(child->name_.text());
    if (translation != child->name_.text() && std::strcmp(translation, name) == 0)
      return child;
  }
  return nullptr;
}

// Children

int32_t FNode::countChildren() const
{
  return children_ ? static_cast<int32_t>(children_->count()) : 0;
}

FNode* FNode::childAt(int32_t index) const
{
  return children_ ? static_cast<FNode*>(children_->at(index)) : nullptr;
}

int32_t FNode::indexOfChild(const FNode* node) const
{
  return children_ ? children_->indexOf(node) : -1;
}

int32_t FNode::getIndex() const
{
  return parent_ ? parent_->indexOfChild(this) : -1;
}

/// Whether this is the node or stands somewhere above it.
bool FNode::isSameOrAbove(const FNode* node) const
{
  if (countChildren() == 0)
    return node == this;
  while (node && node != this)
    node = node->parent_;
  return node != nullptr;
}

bool FNode::insertChild(FNode* node, int32_t index)
{
  if (!node || index > countChildren())
    return false;
  if (node->parent_ == this)
    return true;
  if (node->isSameOrAbove(this))
    return false;
  const auto held = Ref<FNode>::share(node);
  if (node->parent_ && (!node->parent_->removeChild(node) || node->parent_))
    return false;
  node->isJoining_ = true;
  node->setParent(this);
  adopt(node, index);
  node->isJoining_ = false;
  node->nameChanged();
  return true;
}

void FNode::setParent(FNode* parent)
{
  parent_ = parent;
  if (parent_ && parent_->findSameName(name_.text(), this))
    setName(name_.text());
}

void FNode::adopt(FNode* child, int32_t index)
{
  if (!children_)
    children_ = make<CmArray>(CmOwnership::shares);
  if (index < 0 || !children_->insertAt(index, child))
    children_->add(child);
  if (names_) {
    names_->add(child->name_.view(), child);
  } else if (countChildren() >= manyChildren) {
    names_ = std::make_unique<FNodeNames>();
    for (CmObject* item : *children_)
      names_->add(static_cast<FNode*>(item)->name_.view(), static_cast<FNode*>(item));
  }
}

void FNode::drop(int32_t index)
{
  const auto child = Ref<FNode>::share(childAt(index));
  if (names_)
    names_->remove(child->name_.view(), child.get());
  children_->removeAt(index);
  child->setParent(nullptr);
}

bool FNode::removeChild(FNode* node)
{
  if (!node || node->parent_ != this)
    return false;
  const int32_t last = countChildren() - 1;
  drop(childAt(last) == node ? last : children_->indexOf(node));
  return true;
}

void FNode::removeAllChildren()
{
  const auto alive = Ref<FNode>::share(this);
  for (int32_t left = countChildren(); left > 0; left = std::min(left - 1, countChildren()))
    removeChild(childAt(left - 1));
}

PStudio* FNode::getStudio() const
{
  return parent_ ? parent_->getStudio() : nullptr;
}

PDevice* FNode::getDevice()
{
  return parent_ ? parent_->getDevice() : nullptr;
}

// Persistence

bool FNode::storeAttributes(FAttributes& attributes) const
{
  attributes.require(keys.name).setText(name_.view());
  if (countChildren() == 0)
    return true;
  FStringIDAttribute& value = attributes.require(keys.children);
  auto list = make<FObjectList>();
  for (int32_t i = 0; i < countChildren(); ++i) {
    auto child = Ref<FNode>::share(childAt(i));
    if (list->append(child.get(), true))
      child.detach(); // the list adopted it
  }
  value.setObject(list.get(), ObjectMode::shared);
  return list->count() == static_cast<uint32_t>(countChildren());
}

bool FNode::loadAttributes(const FAttributes& attributes)
{
  isLoading_ = true;
  if (const auto list = Ref<FAttrList>::share(attributes.getList(keys.children->text())))
    if (auto* objects = castTo<FObjectList>(list.get()))
      for (uint32_t i = 0; i < objects->count(); ++i)
        loadChild(objects->at(i));
  isLoading_ = false;
  if (const char* name = attributes.getString(keys.name->text()))
    setName(name);
  return true;
}

void FNode::loadChild(CmObject* item)
{
  auto* node = castTo<FNode>(resolveObject(item));
  if (!node || node->isLoading_ || node->parent_ == this)
    return;
  if (!node->parent_)
    addChild(node);
  else if (!castTo<FXmlReference>(item)) // living: it stays where it is
    addChild(copyOf(*node).get());
}

/// A node like this one, with all below it. Null when it is of a class that can be made in no way.
Ref<FNode> FNode::copyOf(FNode& node)
{
  thread_local int depth = 0;
  if (depth >= deepestCopy)
    return nullptr;
  auto copy = Ref<FNode>::adopt(static_cast<FNode*>(node.clone()));
  if (!copy)
    copy = createAs<FNode>(node.getClassName());
  const auto attributes = make<FAttributes>();
  ++depth;
  const bool isLoaded =
      copy && node.storeAttributes(*attributes) && copy->loadAttributes(*attributes);
  --depth;
  return isLoaded ? copy : nullptr;
}

} // namespace orbi
