#include "persist/binary_object_writer.h"

#include "persist/binary_object_file.h"

namespace orbi {

namespace {

/// Whether the value is an entry of its block. An object value without object is none.
bool isWritten(const FStringIDAttribute& value)
{
  switch (value.persistentKind()) {
  case attributeInt:
  case attributeDouble:
  case attributeText:
    return true;
  case attributeObject:
    return value.asObject() != nullptr;
  default:
    return false;
  }
}

template <class Walk>
void forEachValue(const FAttributes* attributes, Walk walk)
{
  for (uint32_t i = 0; attributes && i < attributes->count(); ++i)
    walk(*attributes->at(i));
}

uint32_t entryCount(const FAttributes& attributes)
{
  uint32_t count = 0;
  forEachValue(&attributes, [&](const FStringIDAttribute& value) { count += isWritten(value); });
  return count;
}

/// The object of a root, a resolved reference's one included; null for none.
CmObject* rootObject(const FStringIDAttribute& root)
{
  CmObject* object = root.asObject();
  auto* reference = castTo<FXmlReference>(object);
  return reference ? reference->instance() : object;
}

uint32_t rootCount(const FAttributes* roots)
{
  uint32_t count = 0;
  forEachValue(roots,
               [&](const FStringIDAttribute& root) { count += rootObject(root) != nullptr; });
  return count;
}

uint32_t itemCount(const FObjectList& list)
{
  uint32_t count = 0;
  for (uint32_t i = 0; i < list.count(); ++i)
    count += list.at(i) != nullptr;
  return count;
}

} // namespace

bool BinaryObjectWriter::writeRoots(FAttributes* byReference, FAttributes* inlineRoots)
{
  bool complete = true;
  out_.putNumber(rootCount(byReference));
  forEachValue(byReference, [&](const FStringIDAttribute& root) {
    complete = complete && writeRootReference(root);
  });
  out_.putNumber(rootCount(inlineRoots));
  forEachValue(inlineRoots, [&](const FStringIDAttribute& root) {
    complete = complete && writeInlineRoot(root);
  });
  return complete && out_.flush();
}

bool BinaryObjectWriter::writeRootReference(const FStringIDAttribute& root)
{
  CmObject* object = rootObject(root);
  if (!object)
    return true;
  WrittenObjects::Entry entry = written_.enter(*object);
  writeKey(root.key());
  out_.putNumber(entry.id);
  return !entry.isNew || (writeInstance(*object, entry.id) && run());
}

bool BinaryObjectWriter::writeInlineRoot(const FStringIDAttribute& root)
{
  CmObject* object = rootObject(root);
  if (!object)
    return true;
  auto attributes = Ref<FAttributes>::share(castTo<FAttributes>(object));
  if (!attributes)
    attributes = storedForm(*object).attributes;
  writeKey(root.key());
  return attributes && writeBlock(std::move(attributes)) && run();
}

void BinaryObjectWriter::writeText(std::string_view text)
{
  out_.putNumber(static_cast<int32_t>(text.size() + 1));
  out_.put(text);
  out_.put('\0', 1);
}

/// As a CmString writes itself.
void BinaryObjectWriter::writeKey(const CmString& key)
{
  if (key.isEmpty())
    out_.putNumber(int32_t(0));
  else
    writeText(key.view());
}

bool BinaryObjectWriter::writeBlock(Ref<FAttributes> attributes)
{
  out_.putNumber(entryCount(*attributes));
  return push(Frame::Kind::attributes, std::move(attributes));
}

bool BinaryObjectWriter::push(Frame::Kind kind, Ref<CmObject> container)
{
  if (!open_.enter(container.get()))
    return false;
  frames_.push_back({kind, std::move(container), 0});
  return true;
}

/// Works on the innermost open container until none is left.
bool BinaryObjectWriter::run()
{
  while (!frames_.empty()) {
    bool complete = false;
    switch (frames_.back().kind) {
    case Frame::Kind::attributes:
      complete = stepAttributes();
      break;
    case Frame::Kind::subList:
      complete = stepSubList();
      break;
    case Frame::Kind::objectList:
      complete = stepObjectList();
      break;
    }
    if (!complete)
      return false;
  }
  return true;
}

void BinaryObjectWriter::closeFrame()
{
  const Frame frame = std::move(frames_.back());
  frames_.pop_back();
  open_.leave(frame.container.get());
  if (frame.kind != Frame::Kind::attributes)
    static_cast<FAttrList*>(frame.container.get())->rewindList();
}

bool BinaryObjectWriter::stepAttributes()
{
  const size_t level = frames_.size();
  auto* attributes = static_cast<FAttributes*>(frames_.back().container.get());
  while (const FStringIDAttribute* value = attributes->at(frames_.back().next)) {
    ++frames_.back().next;
    if (!isWritten(*value))
      continue;
    if (!writeValue(*value))
      return false;
    if (frames_.size() != level)
      return true;
  }
  closeFrame();
  return true;
}

bool BinaryObjectWriter::stepSubList()
{
  Frame& frame = frames_.back();
  FAttributes* item = static_cast<FSubList*>(frame.container.get())->at(frame.next++);
  if (item)
    return writeBlock(Ref<FAttributes>::share(item));
  closeFrame();
  return true;
}

bool BinaryObjectWriter::stepObjectList()
{
  Frame& frame = frames_.back();
  auto* list = static_cast<FObjectList*>(frame.container.get());
  if (frame.next == list->count()) {
    closeFrame();
    return true;
  }
  CmObject* item = list->at(frame.next++);
  if (auto* reference = castTo<FXmlReference>(item)) {
    item = reference->instance();
    if (!item)
      writeReference(reference->id());
  }
  return !item || writeObject(*item);
}

bool BinaryObjectWriter::writeValue(const FStringIDAttribute& value)
{
  writeKey(value.key());
  out_.putNumber(value.persistentKind());
  switch (value.persistentKind()) {
  case attributeInt:
    out_.putNumber(value.asInt());
    return true;
  case attributeDouble:
    out_.putNumber(value.asDouble());
    return true;
  case attributeText: {
    const char* text = value.asText();
    const std::string_view bytes = text ? text : "";
    out_.putNumber(static_cast<int32_t>(bytes.size()));
    out_.put(bytes);
    return bytes.size() <= INT32_MAX;
  }
  default:
    return writeObjectValue(value.asObject());
  }
}

bool BinaryObjectWriter::writeObjectValue(CmObject* object)
{
  auto begin = [this](BinaryObjectTag tag, uint32_t count) {
    out_.putNumber(static_cast<uint16_t>(tag));
    out_.putNumber(count);
  };
  auto* list = castTo<FAttrList>(object);
  if (list)
    list->rewindList();
  switch (sortOf(object)) {
  case ObjectSort::intList:
    begin(binaryTagInts, list->count());
    for (int64_t value : static_cast<FIntList*>(list)->values)
      out_.putNumber(value);
    return true;
  case ObjectSort::floatList:
    begin(binaryTagFloats, list->count());
    for (double value : static_cast<FFloatList*>(list)->values)
      out_.putNumber(value);
    return true;
  case ObjectSort::stringList:
    begin(binaryTagStrings, list->count());
    for (uint32_t i = 0; i < list->count(); ++i) {
      const char* text = list->valueAt(i).text;
      text ? writeText(text) : out_.putNumber(int32_t(0));
    }
    return true;
  case ObjectSort::subList:
    begin(binaryTagSubList, list->count());
    return push(Frame::Kind::subList, Ref<CmObject>::share(object));
  case ObjectSort::objectList:
    begin(binaryTagObjectList, itemCount(*static_cast<FObjectList*>(list)));
    return push(Frame::Kind::objectList, Ref<CmObject>::share(object));
  case ObjectSort::attributes:
    out_.putNumber(static_cast<uint16_t>(binaryTagAttributes));
    return writeBlock(Ref<FAttributes>::share(static_cast<FAttributes*>(object)));
  case ObjectSort::binary:
    return writeBytes(object);
  case ObjectSort::reference: {
    auto* reference = static_cast<FXmlReference*>(object);
    if (reference->instance())
      return writeObject(*reference->instance());
    writeReference(reference->id());
    return true;
  }
  default:
    return writeObject(*object);
  }
}

bool BinaryObjectWriter::writeBytes(CmObject* object)
{
  const BinaryBlock block = binaryBlockOf(object);
  out_.putNumber(static_cast<uint16_t>(binaryTagBytes));
  out_.putNumber(static_cast<uint32_t>(block.size));
  out_.put({reinterpret_cast<const char*>(block.data), static_cast<size_t>(block.size)});
  return block.size <= INT32_MAX;
}

bool BinaryObjectWriter::writeObject(CmObject& object)
{
  WrittenObjects::Entry entry = written_.enter(object);
  if (!entry.isNew) {
    writeReference(entry.id);
    return true;
  }
  out_.putNumber(static_cast<uint16_t>(binaryTagInstance));
  return writeInstance(object, entry.id);
}

/// Class, ID and, next to be written, the attributes.
bool BinaryObjectWriter::writeInstance(const CmObject& object, int64_t id)
{
  StoredObject stored = storedForm(object);
  if (!stored.attributes)
    return false;
  writeText(stored.className);
  out_.putNumber(id);
  return writeBlock(std::move(stored.attributes));
}

void BinaryObjectWriter::writeReference(int64_t id)
{
  out_.putNumber(static_cast<uint16_t>(binaryTagReference));
  out_.putNumber(id);
}

} // namespace orbi
