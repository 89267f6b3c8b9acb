#include "persist/binary_object_writer.h"

#include "foundation/binary_block.h"
#include "persist/binary_object_file.h"

#include <cstring>

namespace orbi {

namespace {

constexpr size_t longestQuickEntry = 1024; ///< bytes of key and text that are put in one piece
/// What an entry has beside: the key's length and end, the kind, a number or the text's length.
constexpr size_t entryBytes = sizeof(int32_t) + 1 + sizeof(uint16_t) + sizeof(int64_t);

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
  if (attributes)
    for (const FStringIDAttribute* value : attributes->all())
      walk(*value);
}

/// Also asks for the memory that the entries' texts lie in, as they are written next.
uint32_t entryCount(const FAttributes& attributes)
{
  uint32_t count = 0;
  forEachValue(&attributes, [&](const FStringIDAttribute& value) {
    __builtin_prefetch(&value.key());
    if (value.persistentKind() == attributeText)
      __builtin_prefetch(value.asText());
    else if (value.persistentKind() == attributeObject)
      __builtin_prefetch(value.asObject());
    count += isWritten(value);
  });
  return count;
}

/// Most texts are short: these take few moves and no call.
char* putBytes(char* to, std::string_view bytes)
{
  const char* from = bytes.data();
  size_t left = bytes.size();
  if (left > 32) {
    std::memcpy(to, from, left);
    return to + left;
  }
  for (; left >= 8; left -= 8, from += 8, to += 8)
    std::memcpy(to, from, 8);
  if (left & 4) {
    std::memcpy(to, from, 4);
    from += 4;
    to += 4;
  }
  for (left &= 3; left > 0; --left)
    *to++ = *from++;
  return to;
}

template <class Number>
char* putNumber(char* to, Number number)
{
  std::memcpy(to, &number, sizeof number);
  return to + sizeof number;
}

/// As a CmString writes itself: with its NUL, and nothing but its length of 0 when empty.
char* putKey(char* to, std::string_view key)
{
  if (key.empty())
    return putNumber(to, int32_t(0));
  to = putBytes(putNumber(to, static_cast<int32_t>(key.size() + 1)), key);
  *to = '\0';
  return to + 1;
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
  writeKey(root.key().view());
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
  writeKey(root.key().view());
  return attributes && writeBlock(std::move(attributes)) && run();
}

void BinaryObjectWriter::writeText(std::string_view text)
{
  out_.putNumber(static_cast<int32_t>(text.size() + 1));
  out_.put(text);
  out_.put('\0', 1);
}

void BinaryObjectWriter::writeKey(std::string_view key)
{
  if (key.empty())
    out_.putNumber(int32_t(0));
  else
    writeText(key);
}

bool BinaryObjectWriter::writeBlock(Ref<FAttributes> attributes)
{
  out_.putNumber(entryCount(*attributes));
  return push(Kind::attributes, std::move(attributes), {});
}

bool BinaryObjectWriter::writeValue(const FStringIDAttribute& value, Place)
{
  if (!isWritten(value))
    return true;
  const uint16_t kind = value.persistentKind();
  const std::string_view key = value.key().view();
  const char* given = kind == attributeText ? value.asText() : nullptr;
  const std::string_view text = given ? given : std::string_view();
  const size_t bytes = key.size() + text.size();
  char* to = bytes <= longestQuickEntry ? out_.room(bytes + entryBytes) : nullptr;
  if (!to)
    return writeLongValue(value, text);
  to = putNumber(putKey(to, key), kind);
  if (kind == attributeInt)
    to = putNumber(to, value.asInt());
  else if (kind == attributeDouble)
    to = putNumber(to, value.asDouble());
  else if (kind == attributeText)
    to = putBytes(putNumber(to, static_cast<int32_t>(text.size())), text);
  out_.used(to);
  return kind != attributeObject || writeObjectValue(value.asObject());
}

/// Of a long key or text, or after a failure.
bool BinaryObjectWriter::writeLongValue(const FStringIDAttribute& value, std::string_view text)
{
  writeKey(value.key().view());
  out_.putNumber(value.persistentKind());
  switch (value.persistentKind()) {
  case attributeInt:
    out_.putNumber(value.asInt());
    return true;
  case attributeDouble:
    out_.putNumber(value.asDouble());
    return true;
  case attributeText:
    out_.putNumber(static_cast<int32_t>(text.size()));
    out_.put(text);
    return text.size() <= INT32_MAX;
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
  const ObjectSort sort = sortOf(object);
  FAttrList* list = isList(sort) ? static_cast<FAttrList*>(object) : nullptr;
  if (list)
    list->rewindList();
  switch (sort) {
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
    return push(Kind::subList, Ref<CmObject>::share(object), {});
  case ObjectSort::objectList:
    begin(binaryTagObjectList, itemCount(*static_cast<FObjectList*>(list)));
    return push(Kind::objectList, Ref<CmObject>::share(object), {});
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
  const BinaryBlock block = binaryBlockOf(object).value_or(BinaryBlock{});
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
