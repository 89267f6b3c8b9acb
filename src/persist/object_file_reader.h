#pragma once

#include "persist/object_values.h"
#include "persist/reference_graph.h"
#include "persist/xml_parser.h"

namespace orbi {

/// One open element of an object file: what takes its content, and where that goes in the end.
struct ReaderContext {
  enum Kind {
    object = 0, ///< <obj class=...>, <root>
    member = 1,
    binary = 2,
    intList = 3,
    floatList = 4,
    stringList = 5,
    objectList = 6,
    subList = 7,
    item = 8, ///< of a subList
    root = 9  ///< the root element and what is around and directly inside it
  };
  enum class Goal { none, value, listItem, instance, inlineRoot };

  Kind kind = root;
  CmObject* taker = nullptr; ///< FAttributes, list or FMemoryStream; null for none
  int32_t owner = ReferenceGraph::outside;
  uint64_t opened = 0; ///< number of the taker

  // Given away when the element ends
  Goal goal = Goal::none;
  Ref<CmObject> made; ///< the taker, when the element made it
  KeyPool::Key* name = nullptr;
  std::string className; ///< this and the ID for an instance
  int64_t id = 0;

  // Of a binary value
  int nibbles = 0;
  uint8_t high = 0;
};

/// Reads XML object files. One reader reads one file, in one pass; depth is limited by memory only,
/// as the open elements lie on a stack of the reader's own and not on the processor's: it never
/// parses an element's content from within a handler.
///
/// A file that isn't whole leaves the targets as they were, and error() and line() tell why.
class ObjectFileReader final : public CmClass<ObjectFileReader, FXmlParser>, private XmlHandler {
public:
  static constexpr const char* className = "ObjectFileReader";

  explicit ObjectFileReader(FStream& source) : CmClass(source, this) {}

  // Values come on top of what the targets hold; whole files only

  bool readRootAttributes(const char* rootTag, FAttributes& target);
  bool readRootObject(const char* rootTag, CmObject& object); ///< through loadAttributes
  bool readRoots(const char* rootTag, FAttributes* byReference, FAttributes* inlineRoots);

  int64_t overwritten() const { return keys_.overwritten(); } ///< values whose key came once more

private:
  using Context = ReaderContext;
  using Start = bool (ObjectFileReader::*)(const XmlAttributes&, bool isEmpty);
  struct Element {
    std::string_view tag;
    Start start;
  };
  static const Element elements[];

  bool startElement(const char* tag, const XmlAttributes& attributes, bool isEmpty, void*) override;
  bool endElement(const char* tag, void*) override;
  void text(const char* bytes, size_t length, void*) override;

  // Elements
  bool startInt(const XmlAttributes& attributes, bool isEmpty);
  bool startFloat(const XmlAttributes& attributes, bool isEmpty);
  bool startString(const XmlAttributes& attributes, bool isEmpty);
  template <class Made>
  bool startValue(ReaderContext::Kind kind, const XmlAttributes& attributes, bool isEmpty);
  bool startMember(const XmlAttributes& attributes, bool isEmpty);
  bool startBinary(const XmlAttributes& attributes, bool isEmpty);
  bool startList(const XmlAttributes& attributes, bool isEmpty);
  bool startItem(const XmlAttributes& attributes, bool isEmpty);
  bool startObject(const XmlAttributes& attributes, bool isEmpty);
  bool startRoot(const XmlAttributes& attributes, bool isEmpty);
  bool startRootObjects(const XmlAttributes& attributes, bool isEmpty);
  bool startRootTag(std::string_view tag, bool isEmpty);

  FStringIDAttribute* valueFor(const XmlAttributes& attributes);
  FStringIDAttribute& valueFor(KeyPool::Key& key); ///< in the current attributes
  bool addItem(const XmlAttributes& attributes);
  bool startReference(const XmlAttributes& attributes, int64_t id, bool isEmpty);
  Ref<FXmlReference> newReference(int64_t id);
  bool enter(Context context, bool isEmpty);
  bool goOn(bool isEmpty);
  void finish(Context& context);
  void finishInstance(Context& context);

  // The context of what is parsed
  Context& top() { return contexts_.back(); }
  FAttributes* currentAttributes();
  bool readTree(const char* rootTag);

  FAttributes* oneRoot_ = nullptr;
  FAttributes* byReference_ = nullptr;
  FAttributes* inlineRoots_ = nullptr;
  std::string_view rootTag_;
  bool rootSeen_ = false;
  std::vector<Context> contexts_;
  KeyPool keys_;
  ReferenceGraph graph_;
};

} // namespace orbi
