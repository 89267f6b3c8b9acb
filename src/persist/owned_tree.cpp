#include "persist/owned_tree.h"

#include "foundation/binary_block.h"
#include "foundation/memory_stream.h"
#include "persist/object_values.h"
#include "persist/reference_graph.h"

namespace orbi {

namespace {

/// Walks a tree by a list of containers yet to be done, not by calling itself.
class TreeOwner {
public:
  bool run(FAttributes& tree)
  {
    if (tree.sharesValues()) {
      FAttributes own;
      own.copyValues(tree);
      tree.assign(own);
    }
    pending_.push_back({Ref<FAttributes>::share(&tree), ReferenceGraph::outside});
    while (!pending_.empty()) {
      Pending next = std::move(pending_.back());
      pending_.pop_back();
      for (uint32_t i = 0; i < next.attributes->count(); ++i) {
        FAttributeValue& value = *next.attributes->at(i);
        const bool staysInside = value.kind() & attributeNoExport;
        if (!ownValue(value, next.owner))
          return false;
        if (staysInside)
          value.setNoExport();
      }
    }
    graph_.resolve();
    return true;
  }

private:
  struct Pending {
    Ref<FAttributes> attributes;
    int32_t owner; ///< the object that it lies in
  };

  bool ownValue(FAttributeValue& value, int32_t owner)
  {
    if (value.kind() & attributeInterface)
      return true; // no file holds it either
    if ((value.kind() & (attributeText | attributeBorrowedText)) ==
        (attributeText | attributeBorrowedText)) {
      const CmString copy(value.asText());
      value.setText(copy.view());
      return true;
    }
    CmObject* object = value.asObject();
    if (!object)
      return true;
    const bool isHeld = value.kind() & (attributeShared | attributeAdopted);
    Ref<CmObject> owned = ownObject(*object, isHeld && object->refCount() == 1, owner);
    if (owned && owned != object)
      value.setObject(owned.get(), ObjectMode::shared);
    return owned.get() != nullptr;
  }

  /// What takes the object's place, perhaps itself; null when it couldn't be stored.
  Ref<CmObject> ownObject(CmObject& object, bool isSole, int32_t owner)
  {
    switch (sortOf(&object)) {
    case ObjectSort::attributes:
      return ownContainer(static_cast<FAttributes&>(object), isSole, owner);
    case ObjectSort::intList:
    case ObjectSort::floatList:
      return isSole ? Ref<CmObject>::share(&object) : Ref<CmObject>::adopt(object.clone());
    case ObjectSort::stringList:
      return ownTexts(static_cast<FStringList&>(object));
    case ObjectSort::objectList:
      return ownItems(static_cast<FObjectList&>(object), owner);
    case ObjectSort::subList:
      return ownSubList(static_cast<FSubList&>(object), isSole, owner);
    case ObjectSort::binary:
      return ownBytes(object, isSole);
    default:
      return ownInstance(object, owner);
    }
  }

  Ref<FAttributes> ownContainer(FAttributes& container, bool isSole, int32_t owner)
  {
    auto own = Ref<FAttributes>::share(&container);
    if (!isSole || container.sharesValues() || !container.isClass(FAttributes::className)) {
      own = make<FAttributes>();
      own->copyValues(container);
    }
    pending_.push_back({own, owner});
    return own;
  }

  Ref<CmObject> ownTexts(const FStringList& list)
  {
    auto own = make<FStringList>(true);
    for (uint32_t i = 0; i < list.count(); ++i)
      own->append(list.valueAt(i).text, true);
    return own;
  }

  Ref<CmObject> ownSubList(const FSubList& list, bool isSole, int32_t owner)
  {
    auto own = make<FSubList>();
    for (uint32_t i = 0; i < list.count(); ++i) {
      FAttributes& item = *list.at(i);
      own->append(ownContainer(item, isSole && item.refCount() == 1, owner).detach());
    }
    return own;
  }

  Ref<CmObject> ownItems(const FObjectList& list, int32_t owner)
  {
    auto own = make<FObjectList>(true);
    for (uint32_t i = 0; i < list.count(); ++i) {
      CmObject* item = list.at(i);
      Ref<CmObject> instance = item ? ownInstance(*item, owner) : nullptr;
      if (item && !instance)
        return nullptr;
      own->append(instance.detach(), true);
    }
    return own;
  }

  Ref<CmObject> ownBytes(CmObject& object, bool isSole)
  {
    if (isSole && object.isA(FMemoryStream::className) &&
        static_cast<FMemoryStream&>(object).ownsBuffer())
      return Ref<CmObject>::share(&object);
    const BinaryBlock block = binaryBlockOf(&object).value_or(BinaryBlock{});
    auto own = make<FMemoryStream>();
    own->write(block.data, block.size);
    own->trimCapacity();
    own->rewind();
    return own;
  }

  Ref<CmObject> ownInstance(CmObject& object, int32_t owner)
  {
    CmObject* source = &object;
    if (auto* reference = castTo<FXmlReference>(source)) {
      source = reference->instance();
      if (!source)
        return Ref<CmObject>::share(reference);
    }
    const WrittenObjects::Entry entry = met_.enter(*source);
    if (!entry.isNew) {
      auto reference = make<FXmlReference>(entry.id);
      graph_.addReference(owner, reference);
      return reference;
    }
    StoredObject stored = storedForm(*source);
    if (!stored.attributes)
      return nullptr;
    const int32_t number = graph_.begin(owner);
    // A copy, as what an instance holds is still its own.
    Ref<FAttributes> own = ownContainer(*stored.attributes, false, number);
    auto instance = make<FXmlInstance>(entry.id, stored.className, std::move(own));
    graph_.complete(number, instance, ReferenceGraph::Place::held);
    return instance;
  }

  std::vector<Pending> pending_;
  WrittenObjects met_;
  ReferenceGraph graph_;
};

} // namespace

bool ownTree(FAttributes& tree)
{
  return TreeOwner().run(tree);
}

} // namespace orbi
