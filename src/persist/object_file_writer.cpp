#include "persist/object_file_writer.h"

#include "foundation/binary_block.h"
#include "persist/xml_entities.h"
#include "persist/xml_parser.h"

#include <algorithm>

namespace orbi {

namespace {

constexpr size_t bytesPerLine = 32;
constexpr std::string_view lineEnd = "\r\n";

std::string_view typeOf(ObjectSort sort)
{
  switch (sort) {
  case ObjectSort::intList:
    return "int";
  case ObjectSort::floatList:
    return "float";
  case ObjectSort::stringList:
    return "string";
  case ObjectSort::objectList:
    return "obj";
  default:
    return "list";
  }
}

std::string_view viewOf(const char* text)
{
  return text ? text : "";
}

} // namespace

bool ObjectFileWriter::writeRootObject(const char* rootTag, const CmObject& object)
{
  StoredObject stored = storedForm(object);
  return stored.attributes && writeRootAttributes(rootTag, *stored.attributes);
}

bool ObjectFileWriter::writeRootAttributes(const char* rootTag, FAttributes& attributes)
{
  tagLine(0, "<", rootTag);
  return writeContent(attributes, 1, {}) && finish(rootTag);
}

bool ObjectFileWriter::writeRoots(const char* rootTag, FAttributes* byReference,
                                  FAttributes* inlineRoots)
{
  tagLine(0, "<", rootTag);
  tagLine(1, "<", "rootObjects");
  for (uint32_t i = 0; byReference && i < byReference->count(); ++i)
    writeRootReference(*byReference->at(i));
  for (uint32_t i = 0; inlineRoots && i < inlineRoots->count(); ++i)
    if (!writeInlineRoot(*inlineRoots->at(i)))
      return false;
  tagLine(1, "</", "rootObjects");
  return finish(rootTag);
}

bool ObjectFileWriter::finish(const char* rootTag)
{
  if (!writeDeferred())
    return false;
  tagLine(0, "</", rootTag);
  return out_.flush();
}

void ObjectFileWriter::writeRootReference(const FStringIDAttribute& root)
{
  CmObject* object = root.asObject();
  auto* reference = castTo<FXmlReference>(object);
  if (reference && reference->instance())
    object = reference->instance();
  if (!object)
    return;
  int64_t id = reference ? reference->id() : 0;
  if (object != reference) {
    WrittenObjects::Entry entry = written_.enter(*object);
    id = entry.id;
    if (entry.isNew)
      deferred_.push_back({Ref<CmObject>::share(object), id});
  }
  writeReference("root", root.key().view(), id, 2);
}

bool ObjectFileWriter::writeInlineRoot(const FStringIDAttribute& root)
{
  CmObject* object = root.asObject();
  if (auto* reference = castTo<FXmlReference>(object))
    object = reference->instance();
  if (!object)
    return true;
  StoredObject stored;
  if (auto* attributes = castTo<FAttributes>(object))
    stored.attributes = Ref<FAttributes>::share(attributes);
  else
    stored = storedForm(*object);
  if (!stored.attributes)
    return false;
  startLine(2, "root", root.key().view());
  endLine(">");
  return writeContent(*stored.attributes, 3, "root");
}

/// Objects that were too deep for their place. More may come while they are written.
bool ObjectFileWriter::writeDeferred()
{
  if (!deferred_.empty())
    endLine({});
  while (!deferred_.empty()) {
    Deferred next = std::move(deferred_.front());
    deferred_.pop_front();
    if (!openObject(*next.object, nullptr, next.id, 1) || !run())
      return false;
    endLine({});
  }
  return true;
}

bool ObjectFileWriter::writeContent(FAttributes& attributes, int depth, std::string_view closing)
{
  return push(Kind::attributes, Ref<CmObject>::share(&attributes), {depth, closing}) && run();
}

void ObjectFileWriter::closePlace(const Place& place)
{
  if (!place.closing.empty())
    tagLine(place.depth - 1, "</", place.closing);
}

bool ObjectFileWriter::openItem(Ref<FAttributes> item, const Place& place)
{
  tagLine(place.depth, "<", "item");
  return push(Kind::attributes, std::move(item), {place.depth + 1, "item"});
}

bool ObjectFileWriter::writeItem(CmObject& item, const Place& place)
{
  WrittenObjects::Entry entry = written_.enter(item);
  if (entry.isNew)
    return openObject(item, nullptr, entry.id, place.depth);
  writeItemReference(entry.id, place);
  return true;
}

bool ObjectFileWriter::writeValue(const FStringIDAttribute& value, const Place& place)
{
  const int depth = place.depth;
  const std::string_view key = value.key().view();
  const auto kind = value.persistentKind();
  if (!fits(key) || (kind == attributeText && !fits(viewOf(value.asText())))) {
    leaveOut(key);
    return true;
  }
  switch (kind) {
  case attributeInt:
    startLine(depth, "int", key);
    out_.put(" value=\"");
    out_.putInt(value.asInt());
    endLine("\"/>");
    return true;
  case attributeDouble:
    startLine(depth, "float", key);
    out_.put(" value=\"");
    out_.putDouble(value.asDouble());
    endLine("\"/>");
    return true;
  case attributeText:
    startLine(depth, "string", key);
    out_.put(" value=\"");
    out_.putEscaped(viewOf(value.asText()));
    endLine("\"/>");
    return true;
  case attributeObject:
    return writeObjectValue(value.asObject(), key, depth);
  default:
    return true;
  }
}

bool ObjectFileWriter::writeObjectValue(CmObject* object, std::string_view key, int depth)
{
  const ObjectSort sort = sortOf(object);
  switch (sort) {
  case ObjectSort::none:
    return true;
  case ObjectSort::attributes:
    startLine(depth, "member", key);
    endLine(">");
    return push(Kind::attributes, Ref<CmObject>::share(object), {depth + 1, "member"});
  case ObjectSort::binary:
    writeBinary(object, key, depth);
    return true;
  case ObjectSort::reference: {
    auto* reference = static_cast<FXmlReference*>(object);
    if (reference->instance())
      return writeObject(*reference->instance(), key, depth);
    writeReference("obj", key, reference->id(), depth);
    return true;
  }
  case ObjectSort::object:
    return writeObject(*object, key, depth);
  default:
    return openList(*static_cast<FAttrList*>(object), sort, key, depth);
  }
}

bool ObjectFileWriter::openList(FAttrList& list, ObjectSort sort, std::string_view key, int depth)
{
  list.rewindList();
  if (list.count() == 0)
    return true;
  startLine(depth, "list", key);
  out_.put(" type=\"");
  out_.put(typeOf(sort));
  endLine("\">");
  if (sort == ObjectSort::objectList || sort == ObjectSort::subList)
    return push(sort == ObjectSort::subList ? Kind::subList : Kind::objectList,
                Ref<CmObject>::share(&list), {depth + 1, "list"});
  writeItems(list, sort, key, depth + 1);
  tagLine(depth, "</", "list");
  return true;
}

void ObjectFileWriter::writeItems(FAttrList& list, ObjectSort sort, std::string_view key, int depth)
{
  for (uint32_t i = 0; i < list.count(); ++i) {
    AttributeVariant value = list.valueAt(i);
    indent(depth);
    out_.put("<item value=\"");
    if (sort == ObjectSort::intList)
      out_.putInt(value.integer);
    else if (sort == ObjectSort::floatList)
      out_.putDouble(value.number);
    else if (fits(viewOf(value.text)))
      out_.putEscaped(viewOf(value.text));
    else
      leaveOut(key); // its place stays, as the others go by theirs
    endLine("\"/>");
  }
}

void ObjectFileWriter::writeBinary(CmObject* object, std::string_view key, int depth)
{
  startLine(depth, "bin", key);
  endLine(">");
  BinaryBlock block = binaryBlockOf(object).value_or(BinaryBlock{});
  for (auto left = static_cast<size_t>(block.size); left > 0;) {
    const size_t count = std::min(left, bytesPerLine);
    out_.put('\t', indentLevels(depth) + 1);
    out_.putHex(block.data, count);
    endLine({});
    block.data += count;
    left -= count;
  }
  tagLine(depth, "</", "bin");
}

bool ObjectFileWriter::writeObject(CmObject& object, std::string_view key, int depth)
{
  WrittenObjects::Entry entry = written_.enter(object);
  if (entry.isNew && depth < deferringDepth)
    return openObject(object, &key, entry.id, depth);
  if (entry.isNew)
    deferred_.push_back({Ref<CmObject>::share(&object), entry.id});
  writeReference("obj", key, entry.id, depth);
  return true;
}

/// Writes the object's opening line; its content comes next.
bool ObjectFileWriter::openObject(const CmObject& object, const std::string_view* key, int64_t id,
                                  int depth)
{
  StoredObject stored = storedForm(object);
  if (!stored.attributes)
    return false;
  indent(depth);
  out_.put("<obj class=\"");
  out_.putEscaped(stored.className);
  if (key) {
    out_.put("\" name=\"");
    out_.putEscaped(*key);
  }
  out_.put("\" ID=\"");
  out_.putInt(id);
  endLine("\">");
  return push(Kind::attributes, std::move(stored.attributes), {depth + 1, "obj"});
}

bool ObjectFileWriter::fits(std::string_view text) const
{
  constexpr size_t longest = FXmlParser::longestAttributeValue;
  return text.size() <= longest / longestEscape || longTexts_ == LongTexts::written ||
         escapedLength(text) <= longest;
}

void ObjectFileWriter::leaveOut(std::string_view key)
{
  constexpr size_t longestShown = 60;
  leftOut_ = key.substr(0, longestShown);
}

void ObjectFileWriter::startLine(int depth, std::string_view element, std::string_view key)
{
  indent(depth);
  out_.put("<");
  out_.put(element);
  out_.put(" name=\"");
  out_.putEscaped(key);
  out_.put("\"");
}

void ObjectFileWriter::endLine(std::string_view text)
{
  out_.put(text);
  out_.put(lineEnd);
}

void ObjectFileWriter::writeReference(std::string_view element, std::string_view key, int64_t id,
                                      int depth)
{
  startLine(depth, element, key);
  out_.put(" ID=\"");
  out_.putInt(id);
  endLine("\"/>");
}

void ObjectFileWriter::writeItemReference(int64_t id, const Place& place)
{
  indent(place.depth);
  out_.put("<item value=\"");
  out_.putInt(id);
  endLine("\"/>");
}

void ObjectFileWriter::tagLine(int depth, std::string_view before, std::string_view tag)
{
  indent(depth);
  out_.put(before);
  out_.put(tag);
  endLine(">");
}

} // namespace orbi
