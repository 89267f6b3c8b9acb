#pragma once

#include "persist/xml_object.h"

#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace orbi {

/// What both forms of object files have in common: the sorts of object values, and which object is
/// known in a file under which ID.

enum class ObjectSort {
  none,       ///< no object
  attributes, ///< FAttributes
  intList,
  floatList,
  stringList,
  objectList,
  subList,
  binary,    ///< CmBuffer, FAttrBuffer, FMemoryStream
  reference, ///< FXmlReference
  object     ///< any other, FXmlInstance included
};
ObjectSort sortOf(const CmObject* object);
inline bool isList(ObjectSort sort)
{
  return sort >= ObjectSort::intList && sort <= ObjectSort::subList;
}

/// What a file says of an object: its class, or the nearest registered one, and its attributes.
struct StoredObject {
  const char* className = nullptr;
  Ref<FAttributes> attributes;
};
/// An instance that wasn't asked for yet gives what it was read with. No attributes when
/// storeAttributes failed.
StoredObject storedForm(const CmObject& object);

/// The objects that a file holds so far. An instance and the object made of it are one. Keeps them
/// alive, as the next object must not get the address of one that was written.
class WrittenObjects {
public:
  struct Entry {
    int64_t id;
    bool isNew; ///< met for the first time
  };
  Entry enter(const CmObject& object);

private:
  std::unordered_map<const CmObject*, int64_t> ids_{50};
  std::unordered_set<int64_t, MixedId> taken_{50};
  uint64_t spareId_ = 0; ///< the last that was given instead of a taken one
  std::vector<Ref<CmObject>> kept_;
};

/// The keys of one file, each kept once: most are met again and again, and mostly in the order in
/// which they came before.
class KeyPool {
public:
  struct Key {
    Ref<CmString> text;
    uint64_t lastUse = 0;  ///< the newest container when it was met last
    Key* next = nullptr;   ///< what came behind its value last time
    Key* inside = nullptr; ///< what came first in its value
  };
  /// Stays where it is.
  Key& keyFor(std::string_view text)
  {
    Key* expected = *expected_;
    return expected && expected->text->view() == text ? pass(*expected) : search(text);
  }
  /// The expected key if these are its bytes, terminator included; null otherwise.
  Key* expectedKey(const char* bytes, size_t count)
  {
    Key* expected = *expected_;
    return expected && count == static_cast<size_t>(expected->text->length()) + 1 &&
                   std::memcmp(expected->text->text(), bytes, count) == 0
               ? &pass(*expected)
               : nullptr;
  }

  /// The number of a container that is about to be filled.
  uint64_t open()
  {
    expected_ = last_ ? &last_->inside : &first_;
    return ++newest_;
  }
  /// The key's value in a container of the reader's own. One that wasn't met since the container
  /// was opened isn't looked for there.
  FStringIDAttribute& valueIn(FAttributes& container, uint64_t opened, Key& key)
  {
    const bool isNew = key.lastUse < opened && CmString::comparesBytes;
    key.lastUse = newest_;
    pass(key);
    return isNew ? container.addNew(key.text) : valueIn(container, key);
  }
  /// The same where containers aren't counted.
  FStringIDAttribute& valueIn(FAttributes& container, const Key& key)
  {
    FStringIDAttribute& value = container.require(key.text);
    overwritten_ += value.persistentKind() != 0;
    return value;
  }
  int64_t overwritten() const { return overwritten_; } ///< values whose key came once more

private:
  Key& search(std::string_view text);
  Key& pass(Key& key)
  {
    last_ = &key;
    expected_ = &key.next;
    return key;
  }

  Key* first_ = nullptr;
  Key* last_ = nullptr;
  Key** expected_ = &first_;
  std::unordered_map<std::string_view, Key> keys_; ///< the views are of the keys
  int64_t overwritten_ = 0;
  uint64_t newest_ = 0;
};

/// The containers on the way down to where a writer stands. One that lies in itself would never
/// end.
class OpenContainers {
public:
  bool enter(const CmObject* container); ///< false when it is open already
  void leave(const CmObject* container);

private:
  static constexpr size_t watchedDepth = 64; ///< rings show soon enough below it
  size_t depth_ = 0;
  std::unordered_set<const CmObject*> open_;
};

} // namespace orbi
