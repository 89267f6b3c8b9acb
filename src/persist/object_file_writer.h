#pragma once

#include "persist/object_values.h"
#include "persist/output_buffer.h"

#include <algorithm>
#include <deque>

namespace orbi {

/// Writes a tree as an XML object file, all from where the stream stands. For one file: its IDs and
/// the objects met belong to that. Depth is limited by memory only.
///
/// A text of more than FXmlParser::longestAttributeValue bytes, as escaped, is written and makes a
/// file that can't be read.
class ObjectFileWriter {
public:
  static constexpr int deferringDepth = 8;   ///< objects from here on stand at the end of the file
  static constexpr int deepestIndent = 1000; ///< below, a file would be hardly more than blanks

  /// Both are borrowed.
  ObjectFileWriter(FStream& target, TextBufferPool& pool) : out_(target, pool) {}

  // False when an object couldn't be stored or the stream took less than it should

  /// One object, or a tree as it stands, between the tags of the name.
  bool writeRootObject(const char* rootTag, const CmObject& object);
  bool writeRootAttributes(const char* rootTag, FAttributes& attributes);

  /// Named objects; either container may be null. Values that aren't objects are passed over.
  bool writeRoots(const char* rootTag, FAttributes* byReference, FAttributes* inlineRoots);

private:
  /// A container that is being written, its opening line done.
  struct Frame {
    enum class Kind { attributes, subList, objectList } kind;
    Ref<CmObject> container;
    uint32_t next;            ///< item
    int depth;                ///< of its content
    std::string_view closing; ///< tag, empty for none
  };

  // Top level
  bool finish(const char* rootTag);
  void writeRootReference(const FStringIDAttribute& root);
  bool writeInlineRoot(const FStringIDAttribute& root);
  bool writeDeferred();

  // Values
  bool writeContent(FAttributes& attributes, int depth, std::string_view closing);
  bool run();
  bool stepAttributes();
  bool stepSubList();
  bool stepObjectList();
  void closeFrame();
  bool push(Frame::Kind kind, Ref<CmObject> container, int depth, std::string_view closing);
  bool writeValue(const FStringIDAttribute& value, int depth);
  bool writeObjectValue(CmObject* object, std::string_view key, int depth);
  bool openList(FAttrList& list, ObjectSort sort, std::string_view key, int depth);
  void writeItems(FAttrList& list, ObjectSort sort, int depth);
  void writeBinary(CmObject* object, std::string_view key, int depth);
  bool writeObject(CmObject& object, std::string_view key, int depth);
  bool openObject(const CmObject& object, const std::string_view* key, int64_t id, int depth);

  // Lines
  static size_t indentLevels(int depth)
  {
    return static_cast<size_t>(std::min(depth, deepestIndent));
  }
  void indent(int depth) { out_.put(' ', indentLevels(depth) * 3); }
  void startLine(int depth, std::string_view element, std::string_view key);
  void endLine(std::string_view text);
  void writeReference(std::string_view element, std::string_view key, int64_t id, int depth);
  void writeItemReference(int64_t id, int depth);
  void tagLine(int depth, std::string_view before, std::string_view tag);

  struct Deferred {
    Ref<CmObject> object;
    int64_t id;
  };

  OutputBuffer out_;
  WrittenObjects written_;
  OpenContainers open_;
  std::vector<Frame> frames_;
  std::deque<Deferred> deferred_;
};

} // namespace orbi
