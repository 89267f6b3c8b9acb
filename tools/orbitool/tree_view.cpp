#include "orbitool/tree_view.h"

#include "foundation/binary_block.h"
#include "orbitool/readable.h"
#include "persist/object_values.h"

#include <algorithm>
#include <charconv>

namespace orbi {

namespace {

struct NameOfList {
  ObjectSort sort;
  const char* name;
};
constexpr NameOfList listNames[] = {
    {ObjectSort::intList, "int"},     {ObjectSort::floatList, "float"},
    {ObjectSort::stringList, "text"}, {ObjectSort::objectList, "object"},
    {ObjectSort::subList, "member"},
};

const char* nameOfList(ObjectSort sort)
{
  for (const NameOfList& row : listNames)
    if (row.sort == sort)
      return row.name;
  return "";
}

/// The shortest text of the number.
std::string numberText(double number)
{
  char text[64];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::string textOf(const char* text)
{
  return inQuotes(text ? text : "");
}

} // namespace

void TreeView::print(FAttributes& tree, int64_t depth)
{
  open(Ref<CmObject>::share(&tree), depth);
  run();
}

void TreeView::printObject(std::string_view head, CmObject* object, int64_t depth)
{
  openObject(head, object, depth);
  run();
}

/// Works on the innermost open container until none is left.
void TreeView::run()
{
  while (!frames_.empty()) {
    Frame frame = frames_.back(); // what is printed may open another one
    ++frames_.back().next;
    if (!step(frame))
      frames_.pop_back();
  }
}

/// False at the end of the container.
bool TreeView::step(Frame& frame)
{
  if (auto* list = castTo<FAttrList>(frame.container.get()))
    return frame.next < list->count() && stepItem(*list, frame.next, frame.depth);
  const FStringIDAttribute* value =
      static_cast<FAttributes*>(frame.container.get())->at(frame.next);
  if (value)
    printValue(*value, frame.depth);
  return value != nullptr;
}

bool TreeView::stepItem(FAttrList& list, uint32_t index, int64_t depth)
{
  switch (sortOf(&list)) {
  case ObjectSort::intList:
    startLine(out_, depth) << list.valueAt(index).integer << '\n';
    return true;
  case ObjectSort::floatList:
    startLine(out_, depth) << numberText(list.valueAt(index).number) << '\n';
    return true;
  case ObjectSort::stringList:
    startLine(out_, depth) << textOf(list.valueAt(index).text) << '\n';
    return true;
  case ObjectSort::subList:
    startLine(out_, depth) << "item\n";
    open(Ref<CmObject>::share(static_cast<FSubList&>(list).at(index)), depth + 1);
    return true;
  default:
    openObject("", static_cast<FObjectList&>(list).at(index), depth);
    return true;
  }
}

void TreeView::printValue(const FStringIDAttribute& value, int64_t depth)
{
  const std::string key = readable(value.key().view());
  switch (value.persistentKind()) {
  case attributeInt:
    startLine(out_, depth) << "int " << key << " = " << value.asInt() << '\n';
    return;
  case attributeDouble:
    startLine(out_, depth) << "float " << key << " = " << numberText(value.asDouble()) << '\n';
    return;
  case attributeText:
    startLine(out_, depth) << "text " << key << " = " << textOf(value.asText()) << '\n';
    return;
  case attributeObject:
    return openObject(' ' + key, value.asObject(), depth);
  default:
    return;
  }
}

/// The head is what stands behind the sort: nothing, or a blank and the key.
void TreeView::openObject(std::string_view head, CmObject* object, int64_t depth)
{
  int64_t id = 0;
  if (auto* reference = castTo<FXmlReference>(object)) {
    id = reference->id();
    if (reference->instance())
      object = reference->instance();
  }
  switch (const ObjectSort sort = sortOf(object)) {
  case ObjectSort::none:
    startLine(out_, depth) << "object" << head << ", none\n";
    return;
  case ObjectSort::attributes:
    startLine(out_, depth) << "member" << head << '\n';
    return open(Ref<CmObject>::share(object), depth + 1);
  case ObjectSort::binary:
    return printBinary(head, object, depth);
  case ObjectSort::reference:
    startLine(out_, depth) << "reference" << head << ", ID " << id << ", not in this file\n";
    return;
  case ObjectSort::object:
    if (auto* instance = castTo<FXmlInstance>(object))
      id = instance->id();
    return openInstance(head, *object, id, depth);
  default:
    return openList(head, static_cast<FAttrList&>(*object), nameOfList(sort), depth);
  }
}

void TreeView::openList(std::string_view head, FAttrList& list, const char* sort, int64_t depth)
{
  startLine(out_, depth) << sort << " list" << head << ", "
                         << counted(list.count(), "item", "items") << '\n';
  open(Ref<CmObject>::share(&list), depth + 1);
}

/// Met again, an object is just referred to.
void TreeView::openInstance(std::string_view head, CmObject& object, int64_t id, int64_t depth)
{
  const bool isNew = printed_.insert(&object).second;
  StoredObject stored = storedForm(object);
  startLine(out_, depth) << (isNew ? "object" : "reference") << head << ", class "
                         << readable(stored.className ? stored.className : "");
  if (id != 0)
    out_ << ", ID " << id;
  out_ << '\n';
  if (isNew && stored.attributes)
    open(std::move(stored.attributes), depth + 1);
}

void TreeView::printBinary(std::string_view head, CmObject* object, int64_t depth)
{
  const BinaryBlock block = binaryBlockOf(object).value_or(BinaryBlock{});
  printBytes(startLine(out_, depth) << "binary" << head,
             {reinterpret_cast<const char*>(block.data), static_cast<size_t>(block.size)});
}

} // namespace orbi
