#include "persist/object_file_reader.h"

#include "foundation/class_registry.h"
#include "foundation/memory_stream.h"
#include "foundation/number_text.h"

#include <array>

namespace orbi {

CM_REGISTER_ABSTRACT(ObjectFileReader);

namespace {

using Kind = ReaderContext::Kind;
using Goal = ReaderContext::Goal;

struct ListType {
  std::string_view name;
  Kind kind;
  CmObject* (*create)();
};

template <class List>
CmObject* newList()
{
  return new List;
}

constexpr ListType listTypes[] = {
    {"obj", ReaderContext::objectList, newList<FObjectList>},
    {"list", ReaderContext::subList, newList<FSubList>},
    {"int", ReaderContext::intList, newList<FIntList>},
    {"float", ReaderContext::floatList, newList<FFloatList>},
    {"string", ReaderContext::stringList, newList<FStringList>},
};

constexpr uint8_t noDigit = 255;
constexpr auto hexDigits = [] {
  std::array<uint8_t, 256> values{};
  values.fill(noDigit);
  for (uint8_t i = 0; i < 10; ++i)
    values[size_t('0') + i] = i;
  for (uint8_t i = 0; i < 6; ++i)
    values[size_t('A') + i] = values[size_t('a') + i] = static_cast<uint8_t>(10 + i);
  return values;
}();

std::string_view viewOf(const std::string_view* value)
{
  return value ? *value : std::string_view();
}

/// Brings what was read into the container that the caller holds.
void handOver(FAttributes* target, const FAttributes& loaded)
{
  if (!target)
    return;
  if (target->isEmpty())
    target->assign(loaded);
  else
    target->copyValues(loaded);
}

} // namespace

// Tags in the order of how often they are met.
const ObjectFileReader::Element ObjectFileReader::elements[] = {
    {"int", &ObjectFileReader::startInt},
    {"float", &ObjectFileReader::startFloat},
    {"string", &ObjectFileReader::startString},
    {"item", &ObjectFileReader::startItem},
    {"member", &ObjectFileReader::startMember},
    {"obj", &ObjectFileReader::startObject},
    {"list", &ObjectFileReader::startList},
    {"bin", &ObjectFileReader::startBinary},
    {"root", &ObjectFileReader::startRoot},
    {"rootObjects", &ObjectFileReader::startRootObjects},
};

bool ObjectFileReader::readRootAttributes(const char* rootTag, FAttributes& target)
{
  auto loaded = make<FAttributes>();
  oneRoot_ = loaded.get();
  if (!readTree(rootTag))
    return false;
  handOver(&target, *loaded);
  return true;
}

bool ObjectFileReader::readRootObject(const char* rootTag, CmObject& object)
{
  auto loaded = make<FAttributes>();
  return readRootAttributes(rootTag, *loaded) && object.loadAttributes(*loaded);
}

bool ObjectFileReader::readRoots(const char* rootTag, FAttributes* byReference,
                                 FAttributes* inlineRoots)
{
  auto loadedReferences = make<FAttributes>();
  auto loadedRoots = make<FAttributes>();
  byReference_ = loadedReferences.get();
  inlineRoots_ = loadedRoots.get();
  if (!readTree(rootTag))
    return false;
  handOver(byReference, *loadedReferences);
  handOver(inlineRoots, *loadedRoots);
  return true;
}

bool ObjectFileReader::readTree(const char* rootTag)
{
  rootTag_ = rootTag;
  contexts_.emplace_back().taker = oneRoot_;
  if (parse() && !rootSeen_)
    setError(XmlError::unexpectedEnd);
  contexts_.clear();
  if (error() != XmlError::none)
    return false;
  graph_.resolve();
  return true;
}

bool ObjectFileReader::startElement(const char* tag, const XmlAttributes& attributes, bool isEmpty,
                                    void*)
{
  const std::string_view name(tag);
  if (!rootSeen_ && contexts_.size() == 1)
    return startRootTag(name, isEmpty);
  for (const Element& element : elements)
    if (element.tag == name)
      return (this->*element.start)(attributes, isEmpty);
  return top().kind == ReaderContext::root && startRootTag(name, isEmpty);
}

bool ObjectFileReader::endElement(const char*, void*)
{
  Context done = std::move(contexts_.back());
  contexts_.pop_back();
  finish(done);
  return true;
}

/// The element's content goes to a context of its own; an empty element is done with at once.
bool ObjectFileReader::enter(Context context, bool isEmpty)
{
  context.taker = context.made.get();
  if (context.owner == ReferenceGraph::outside)
    context.owner = top().owner;
  if (isEmpty) {
    finish(context);
    return true;
  }
  context.opened = keys_.open();
  contexts_.push_back(std::move(context));
  return true;
}

/// The element's content, if any, goes where its neighbours go.
bool ObjectFileReader::goOn(bool isEmpty)
{
  if (isEmpty)
    return true;
  Context same;
  same.kind = top().kind;
  same.taker = top().taker;
  same.opened = top().opened;
  same.owner = top().owner;
  contexts_.push_back(std::move(same));
  return true;
}

/// Puts what an element made into the context that the element stands in.
void ObjectFileReader::finish(Context& context)
{
  switch (context.goal) {
  case Goal::none:
    break;
  case Goal::value:
    valueFor(*context.name).setObject(context.made.detach(), ObjectMode::adopted);
    break;
  case Goal::listItem:
    static_cast<FSubList*>(top().taker)->append(static_cast<FAttributes*>(context.made.detach()));
    break;
  case Goal::inlineRoot:
    if (inlineRoots_)
      keys_.valueIn(*inlineRoots_, *context.name)
          .setObject(context.made.detach(), ObjectMode::adopted);
    break;
  case Goal::instance:
    finishInstance(context);
    break;
  }
}

void ObjectFileReader::finishInstance(Context& context)
{
  auto attributes = Ref<FAttributes>::adopt(static_cast<FAttributes*>(context.made.detach()));
  auto instance = make<FXmlInstance>(context.id, context.className, std::move(attributes));
  FAttributes* current = context.name ? currentAttributes() : nullptr;
  auto place = ReferenceGraph::Place::held;
  if (current)
    valueFor(*context.name).setObject(instance.get(), ObjectMode::shared);
  else if (top().kind == ReaderContext::objectList)
    static_cast<FObjectList*>(top().taker)->append(Ref<FXmlInstance>(instance).detach(), true);
  else
    place = ReferenceGraph::Place::none;
  graph_.complete(context.owner, std::move(instance), place);
}

FAttributes* ObjectFileReader::currentAttributes()
{
  switch (top().kind) {
  case ReaderContext::object:
  case ReaderContext::member:
  case ReaderContext::item:
  case ReaderContext::root:
    return static_cast<FAttributes*>(top().taker);
  default:
    return nullptr;
  }
}

/// The value under the element's name; null without name or container, which is no error.
FStringIDAttribute* ObjectFileReader::valueFor(const XmlAttributes& attributes)
{
  FAttributes* current = currentAttributes();
  const std::string_view* name = attributes.valueOf("name");
  return current && name ? &valueFor(keys_.keyFor(*name)) : nullptr;
}

FStringIDAttribute& ObjectFileReader::valueFor(KeyPool::Key& key)
{
  return keys_.valueIn(*currentAttributes(), top().opened, key);
}

bool ObjectFileReader::startInt(const XmlAttributes& attributes, bool isEmpty)
{
  if (!currentAttributes())
    return false;
  if (FAttributeValue* value = valueFor(attributes))
    value->setInt(readInt(viewOf(attributes.valueOf("value"))));
  return goOn(isEmpty);
}

bool ObjectFileReader::startFloat(const XmlAttributes& attributes, bool isEmpty)
{
  if (!currentAttributes())
    return false;
  if (FAttributeValue* value = valueFor(attributes))
    value->setDouble(readDouble(viewOf(attributes.valueOf("value"))));
  return goOn(isEmpty);
}

bool ObjectFileReader::startString(const XmlAttributes& attributes, bool isEmpty)
{
  if (!currentAttributes())
    return false;
  const char* given = attributes.find("value");
  if (FStringIDAttribute* value = given ? valueFor(attributes) : nullptr)
    currentAttributes()->placeText(*value, given);
  return goOn(isEmpty);
}

/// An element with a name that becomes a value of the current container.
template <class Made>
bool ObjectFileReader::startValue(ReaderContext::Kind kind, const XmlAttributes& attributes,
                                  bool isEmpty)
{
  const std::string_view* name = attributes.valueOf("name");
  if (!name || !currentAttributes())
    return false;
  Context context;
  context.kind = kind;
  context.goal = Goal::value;
  context.made = make<Made>();
  context.name = &keys_.keyFor(*name);
  return enter(std::move(context), isEmpty);
}

bool ObjectFileReader::startMember(const XmlAttributes& attributes, bool isEmpty)
{
  return startValue<FAttributes>(ReaderContext::member, attributes, isEmpty);
}

bool ObjectFileReader::startBinary(const XmlAttributes& attributes, bool isEmpty)
{
  return startValue<FMemoryStream>(ReaderContext::binary, attributes, isEmpty);
}

bool ObjectFileReader::startList(const XmlAttributes& attributes, bool isEmpty)
{
  const std::string_view* name = attributes.valueOf("name");
  const std::string_view* type = attributes.valueOf("type");
  if (!name || !type || !currentAttributes())
    return false;
  for (const ListType& listType : listTypes) {
    if (listType.name != *type)
      continue;
    Context context;
    context.kind = listType.kind;
    context.goal = Goal::value;
    context.made = Ref<CmObject>::adopt(listType.create());
    context.name = &keys_.keyFor(*name);
    return enter(std::move(context), isEmpty);
  }
  return goOn(isEmpty);
}

bool ObjectFileReader::startItem(const XmlAttributes& attributes, bool isEmpty)
{
  if (top().kind != ReaderContext::subList)
    return isEmpty && addItem(attributes);
  if (isEmpty)
    return false;
  Context context;
  context.kind = ReaderContext::item;
  context.goal = Goal::listItem;
  context.made = make<FAttributes>();
  return enter(std::move(context), isEmpty);
}

bool ObjectFileReader::addItem(const XmlAttributes& attributes)
{
  const std::string_view* value = attributes.valueOf("value");
  CmObject* list = top().taker;
  switch (top().kind) {
  case ReaderContext::intList:
    static_cast<FIntList*>(list)->values.push_back(readInt(viewOf(value)));
    return true;
  case ReaderContext::floatList:
    static_cast<FFloatList*>(list)->values.push_back(readDouble(viewOf(value)));
    return true;
  case ReaderContext::stringList:
    return !value || static_cast<FStringList*>(list)->append(value->data(), true);
  case ReaderContext::objectList:
    return value &&
           static_cast<FObjectList*>(list)->append(newReference(readInt(*value)).detach(), true);
  default:
    return false;
  }
}

bool ObjectFileReader::startObject(const XmlAttributes& attributes, bool isEmpty)
{
  const int64_t id = readInt(viewOf(attributes.valueOf("ID")));
  if (id == 0)
    return false;
  const std::string_view* className = attributes.valueOf("class");
  if (!className)
    return startReference(attributes, id, isEmpty);
  const std::string_view* name = attributes.valueOf("name");
  Context context;
  context.kind = ReaderContext::object;
  context.goal = Goal::instance;
  context.made = make<FAttributes>();
  if (name)
    context.name = &keys_.keyFor(*name);
  context.className = *className;
  context.id = id;
  context.owner = graph_.begin(top().owner);
  return enter(std::move(context), isEmpty);
}

bool ObjectFileReader::startReference(const XmlAttributes& attributes, int64_t id, bool isEmpty)
{
  const std::string_view* name = attributes.valueOf("name");
  FAttributes* current = currentAttributes();
  if (!name || (!current && top().kind != ReaderContext::objectList))
    return false;
  Ref<FXmlReference> reference = newReference(id);
  if (current)
    valueFor(keys_.keyFor(*name)).setObject(reference.detach(), ObjectMode::adopted);
  else
    static_cast<FObjectList*>(top().taker)->append(reference.detach(), true);
  return goOn(isEmpty);
}

Ref<FXmlReference> ObjectFileReader::newReference(int64_t id)
{
  auto reference = make<FXmlReference>(id);
  graph_.addReference(top().owner, reference);
  return reference;
}

bool ObjectFileReader::startRoot(const XmlAttributes& attributes, bool isEmpty)
{
  const std::string_view* name = attributes.valueOf("name");
  if (!name)
    return false;
  if (!isEmpty) {
    Context context;
    context.kind = ReaderContext::object;
    context.goal = Goal::inlineRoot;
    context.made = make<FAttributes>();
    context.name = &keys_.keyFor(*name);
    return enter(std::move(context), isEmpty);
  }
  const int64_t id = readInt(viewOf(attributes.valueOf("ID")));
  if (id == 0)
    return false;
  auto reference = make<FXmlReference>(id);
  graph_.addReference(ReferenceGraph::outside, reference);
  if (byReference_)
    keys_.valueIn(*byReference_, keys_.keyFor(*name))
        .setObject(reference.detach(), ObjectMode::adopted);
  return true;
}

bool ObjectFileReader::startRootObjects(const XmlAttributes&, bool isEmpty)
{
  return goOn(isEmpty);
}

bool ObjectFileReader::startRootTag(std::string_view tag, bool isEmpty)
{
  if (tag != rootTag_) {
    setError(XmlError::malformed);
    return false;
  }
  rootSeen_ = true;
  return goOn(isEmpty);
}

/// Digits of a binary value; what isn't one is passed over. The second of two makes a byte.
void ObjectFileReader::text(const char* bytes, size_t length, void*)
{
  Context& context = top();
  if (context.kind != ReaderContext::binary)
    return;
  auto& stream = *static_cast<FMemoryStream*>(context.taker);
  if (length == 0) {
    stream.trimCapacity();
    stream.rewind();
    context.nibbles = 0;
    return;
  }
  std::array<uint8_t, longestToken / 2 + 1> decoded;
  size_t count = 0;
  for (size_t i = 0; i < length; ++i) {
    const uint8_t digit = hexDigits[static_cast<uint8_t>(bytes[i])];
    if (digit == noDigit)
      continue;
    if (++context.nibbles == 1) {
      context.high = static_cast<uint8_t>(digit << 4);
    } else {
      decoded[count++] = context.high | digit;
      context.nibbles = 0;
    }
  }
  stream.seek(0, SeekMode::end); // a comment may have parted the text
  stream.write(decoded.data(), static_cast<int64_t>(count));
}

} // namespace orbi
