#include "orbitool/tree_losses.h"

#include "foundation/binary_block.h"
#include "orbitool/readable.h"
#include "persist/object_values.h"

#include <cmath>
#include <cstring>
#include <deque>
#include <unordered_map>

namespace orbi {

namespace {

std::string textOf(const char* text)
{
  return inQuotes(text ? text : "");
}

bool isSameText(const char* a, const char* b)
{
  return std::string_view(a ? a : "") == (b ? b : "");
}

bool isSameNumber(double a, double b)
{
  return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

/// A resolved reference stands for its object.
CmObject* behindReference(CmObject* object)
{
  auto* reference = castTo<FXmlReference>(object);
  return reference && reference->instance() ? reference->instance() : object;
}

bool isEmptyList(CmObject* object)
{
  auto* list = castTo<FAttrList>(object);
  return list && list->count() == 0;
}

const char* reasonOfAbsence(const FStringIDAttribute& value)
{
  if (value.persistentKind() == attributeText && isSameText(value.asText(), ""))
    return "an empty text isn't kept in a binary file";
  if (value.persistentKind() == attributeObject && isEmptyList(value.asObject()))
    return "an empty list isn't kept in an XML file";
  return "isn't kept under this key";
}

class TreeComparison {
public:
  void compare(FAttributes& before, FAttributes& after)
  {
    enter(Ref<FAttributes>::share(&before), Ref<FAttributes>::share(&after), {});
    for (current_ = 0; current_ < blocks_.size(); ++current_)
      compareBlock();
  }

  std::vector<std::string> losses;

private:
  /// Two blocks that should be the same.
  struct Block {
    Ref<FAttributes> before;
    Ref<FAttributes> after;
    size_t parent;
    std::string label; ///< within the parent
  };

  void enter(Ref<FAttributes> before, Ref<FAttributes> after, std::string label)
  {
    blocks_.push_back({std::move(before), std::move(after), current_, std::move(label)});
  }

  void compareBlock()
  {
    const Block block = blocks_[current_];
    for (uint32_t i = 0; i < block.before->count(); ++i) {
      const FStringIDAttribute& value = *block.before->at(i);
      const FStringIDAttribute* other = block.after->find(value.key().view());
      const std::string label = readable(value.key().view());
      if (other)
        compareValue(value, *other, label);
      else
        lose(label, reasonOfAbsence(value));
    }
  }

  void compareValue(const FStringIDAttribute& value, const FStringIDAttribute& other,
                    const std::string& label)
  {
    if (value.persistentKind() != other.persistentKind())
      return lose(label, "comes back as another kind of value");
    switch (value.persistentKind()) {
    case attributeInt:
      if (value.asInt() != other.asInt())
        lose(label, "comes back as another number");
      return;
    case attributeDouble:
      if (!isSameNumber(value.asDouble(), other.asDouble()))
        lose(label, "comes back as another number");
      return;
    case attributeText:
      return compareTexts(value.asText(), other.asText(), label);
    case attributeObject:
      return compareObjects(value.asObject(), other.asObject(), label);
    default:
      return;
    }
  }

  void compareTexts(const char* text, const char* other, const std::string& label)
  {
    if (!isSameText(text, other))
      lose(label, textOf(text) + " comes back as " + textOf(other));
  }

  void compareObjects(CmObject* object, CmObject* other, const std::string& label)
  {
    object = behindReference(object);
    other = behindReference(other);
    const ObjectSort sort = sortOf(object);
    if (sort != sortOf(other))
      return lose(label, "comes back as another kind of value");
    switch (sort) {
    case ObjectSort::none:
      return;
    case ObjectSort::attributes:
      return enter(Ref<FAttributes>::share(static_cast<FAttributes*>(object)),
                   Ref<FAttributes>::share(static_cast<FAttributes*>(other)), label);
    case ObjectSort::binary:
      return compareBinaries(object, other, label);
    case ObjectSort::reference:
      if (static_cast<FXmlReference*>(object)->id() != static_cast<FXmlReference*>(other)->id())
        lose(label, "comes back as a reference to another object");
      return;
    case ObjectSort::object:
      return compareInstances(*object, *other, label);
    default:
      return compareLists(static_cast<FAttrList&>(*object), static_cast<FAttrList&>(*other), sort,
                          label);
    }
  }

  void compareBinaries(CmObject* object, CmObject* other, const std::string& label)
  {
    const BinaryBlock a = binaryBlockOf(object).value_or(BinaryBlock{});
    const BinaryBlock b = binaryBlockOf(other).value_or(BinaryBlock{});
    if (a.size != b.size ||
        (a.size > 0 && std::memcmp(a.data, b.data, static_cast<size_t>(a.size)) != 0))
      lose(label, "comes back with other bytes");
  }

  void compareInstances(CmObject& object, CmObject& other, const std::string& label)
  {
    const auto [met, isNew] = counterparts_.try_emplace(&object, &other);
    if (!isNew) {
      if (met->second != &other)
        lose(label, "comes back as an object of its own");
      return;
    }
    StoredObject a = storedForm(object);
    StoredObject b = storedForm(other);
    if (!isSameText(a.className, b.className))
      lose(label, "class " + textOf(a.className) + " comes back as " + textOf(b.className));
    if (a.attributes && b.attributes)
      enter(std::move(a.attributes), std::move(b.attributes), label);
  }

  void compareLists(FAttrList& list, FAttrList& other, ObjectSort sort, const std::string& label)
  {
    // An old file's list may have places without object, which no form knows.
    auto isPlace = [&](uint32_t i) {
      return sort != ObjectSort::objectList || static_cast<FObjectList&>(list).at(i);
    };
    uint32_t found = 0;
    for (uint32_t i = 0; i < list.count(); ++i)
      if (isPlace(i) && found++ < other.count())
        compareItems(list, i, other, found - 1, sort, label + "[" + std::to_string(i) + "]");
    if (list.count() != other.count())
      lose(label, "comes back with " + counted(other.count(), "item", "items") + " instead of " +
                      std::to_string(list.count()));
  }

  void compareItems(FAttrList& list, uint32_t i, FAttrList& other, uint32_t k, ObjectSort sort,
                    const std::string& label)
  {
    switch (sort) {
    case ObjectSort::subList:
      return enter(Ref<FAttributes>::share(static_cast<FSubList&>(list).at(i)),
                   Ref<FAttributes>::share(static_cast<FSubList&>(other).at(k)), label);
    case ObjectSort::objectList:
      return compareObjects(static_cast<FObjectList&>(list).at(i),
                            static_cast<FObjectList&>(other).at(k), label);
    case ObjectSort::stringList:
      return compareTexts(list.valueAt(i).text, other.valueAt(k).text, label);
    case ObjectSort::floatList:
      if (!isSameNumber(list.valueAt(i).number, other.valueAt(k).number))
        lose(label, "comes back as another number");
      return;
    default:
      if (list.valueAt(i).integer != other.valueAt(k).integer)
        lose(label, "comes back as another number");
    }
  }

  /// The path begins with "..." where it would be endless.
  void lose(const std::string& label, const std::string& reason)
  {
    constexpr int mostParts = 32;
    std::string path = label;
    size_t at = current_;
    int parts = 1;
    for (; at > 0 && parts < mostParts; at = blocks_[at].parent, ++parts)
      path = blocks_[at].label + '/' + path;
    losses.push_back((at > 0 ? ".../" : "") + path + ": " + reason);
  }

  std::deque<Block> blocks_;
  size_t current_ = 0; ///< of the blocks, the one that is compared
  std::unordered_map<const CmObject*, const CmObject*> counterparts_;
};

} // namespace

std::vector<std::string> lossesBetween(FAttributes& before, FAttributes& after)
{
  TreeComparison comparison;
  comparison.compare(before, after);
  return std::move(comparison.losses);
}

} // namespace orbi
