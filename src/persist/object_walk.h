#pragma once

#include "persist/object_values.h"

#include <utility>
#include <vector>

namespace orbi {

/// The way through a tree that both writers of object files take: the containers that are open lie
/// on a list of its own, so depth is limited by memory only. Place is what a form of file keeps for
/// each of them. The form, a subclass, supplies
///
///   bool writeValue(const FStringIDAttribute& value, const Place& place);
///   bool openItem(Ref<FAttributes> item, const Place& place);       // of an FSubList
///   bool writeItem(CmObject& item, const Place& place);             // of an FObjectList
///   void writeItemReference(int64_t id, const Place& place);
///   void closePlace(const Place& place);
///
/// of which the first three may push further containers, and false ends the walk. What an item
/// refers to by its number needn't be there.
template <class Form, class Place>
class ObjectWalk {
protected:
  enum class Kind { attributes, subList, objectList };

  /// A container that is being written, its opening done. False when it is open already.
  bool push(Kind kind, Ref<CmObject> container, Place place)
  {
    if (!open_.enter(container.get()))
      return false;
    frames_.push_back({kind, std::move(container), 0, place});
    return true;
  }

  /// Works on the innermost open container until none is left.
  bool run()
  {
    bool complete = true;
    while (complete && !frames_.empty()) {
      const Kind kind = frames_.back().kind;
      complete = kind == Kind::attributes ? stepAttributes()
                 : kind == Kind::subList  ? stepSubList()
                                          : stepObjectList();
    }
    return complete;
  }

private:
  struct Frame {
    Kind kind;
    Ref<CmObject> container;
    uint32_t next; ///< item
    Place place;
  };

  Form& form() { return static_cast<Form&>(*this); }

  bool stepAttributes()
  {
    const size_t level = frames_.size();
    const Place place = frames_.back().place;
    auto* attributes = static_cast<FAttributes*>(frames_.back().container.get());
    auto values = attributes->all();
    for (uint32_t next = frames_.back().next; next < values.size();) {
      const FStringIDAttribute& value = *values[next++];
      const bool isObject = value.persistentKind() == attributeObject;
      if (isObject)
        frames_.back().next = next;
      if (!form().writeValue(value, place))
        return false;
      if (frames_.size() != level)
        return true;
      if (isObject) // which may have changed them
        values = attributes->all();
    }
    close();
    return true;
  }

  bool stepSubList()
  {
    Frame& frame = frames_.back();
    FAttributes* item = static_cast<FSubList*>(frame.container.get())->at(frame.next++);
    if (item)
      return form().openItem(Ref<FAttributes>::share(item), Place(frame.place));
    close();
    return true;
  }

  bool stepObjectList()
  {
    Frame& frame = frames_.back();
    auto* list = static_cast<FObjectList*>(frame.container.get());
    if (frame.next >= list->count()) {
      close();
      return true;
    }
    const Place place = frame.place;
    CmObject* item = list->at(frame.next++);
    if (auto* reference = castTo<FXmlReference>(item)) {
      item = reference->instance();
      if (!item)
        form().writeItemReference(reference->id(), place);
    }
    return !item || form().writeItem(*item, place);
  }

  void close()
  {
    const Frame frame = std::move(frames_.back());
    frames_.pop_back();
    open_.leave(frame.container.get());
    form().closePlace(frame.place);
    if (frame.kind != Kind::attributes)
      static_cast<FAttrList*>(frame.container.get())->rewindList();
  }

  OpenContainers open_;
  std::vector<Frame> frames_;
};

} // namespace orbi
