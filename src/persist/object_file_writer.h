#pragma once

#include "persist/object_walk.h"
#include "persist/output_buffer.h"

#include <algorithm>
#include <deque>

namespace orbi {

/// Where an open container stands in an XML object file.
struct XmlPlace {
  int depth;                ///< of its content
  std::string_view closing; ///< tag, empty for none
};

/// Writes a tree as an XML object file, all from where the stream stands. For one file: its IDs and
/// the objects met belong to that. Depth is limited by memory only.
///
/// A text of more than FXmlParser::longestAttributeValue bytes, as escaped, makes a file that can't
/// be read, unless it is left out.
class ObjectFileWriter : ObjectWalk<ObjectFileWriter, XmlPlace> {
public:
  static constexpr int deferringDepth = 8;   ///< objects from here on stand at the end of the file
  static constexpr int deepestIndent = 1000; ///< below, a file would be hardly more than blanks

  enum class LongTexts {
    written,
    leftOut ///< the whole entry goes with its text or its key; of a list only the item's text
  };

  /// Both are borrowed.
  ObjectFileWriter(FStream& target, TextBufferPool& pool, LongTexts longTexts = LongTexts::written)
      : out_(target, pool), longTexts_(longTexts)
  {
  }

  // False when an object couldn't be stored or the stream took less than it should

  /// One object, or a tree as it stands, between the tags of the name.
  bool writeRootObject(const char* rootTag, const CmObject& object);
  bool writeRootAttributes(const char* rootTag, FAttributes& attributes);

  /// Named objects; either container may be null. Values that aren't objects are passed over.
  bool writeRoots(const char* rootTag, FAttributes* byReference, FAttributes* inlineRoots);

  /// The key, or its beginning, of what was left out last. Empty: everything was written.
  const std::string& leftOut() const { return leftOut_; }

private:
  using Place = XmlPlace;
  friend class ObjectWalk<ObjectFileWriter, Place>;

  // The walk
  bool writeValue(const FStringIDAttribute& value, const Place& place);
  bool openItem(Ref<FAttributes> item, const Place& place);
  bool writeItem(CmObject& item, const Place& place);
  void writeItemReference(int64_t id, const Place& place);
  void closePlace(const Place& place);

  // Top level
  bool finish(const char* rootTag);
  void writeRootReference(const FStringIDAttribute& root);
  bool writeInlineRoot(const FStringIDAttribute& root);
  bool writeDeferred();

  // Values
  bool writeContent(FAttributes& attributes, int depth, std::string_view closing);
  bool writeObjectValue(CmObject* object, std::string_view key, int depth);
  bool openList(FAttrList& list, ObjectSort sort, std::string_view key, int depth);
  void writeItems(FAttrList& list, ObjectSort sort, std::string_view key, int depth);
  void writeBinary(CmObject* object, std::string_view key, int depth);
  bool writeObject(CmObject& object, std::string_view key, int depth);
  bool openObject(const CmObject& object, const std::string_view* key, int64_t id, int depth);

  bool fits(std::string_view text) const;
  void leaveOut(std::string_view key);

  // Lines
  static size_t indentLevels(int depth)
  {
    return static_cast<size_t>(std::min(depth, deepestIndent));
  }
  void indent(int depth) { out_.put(' ', indentLevels(depth) * 3); }
  void startLine(int depth, std::string_view element, std::string_view key);
  void endLine(std::string_view text);
  void writeReference(std::string_view element, std::string_view key, int64_t id, int depth);
  void tagLine(int depth, std::string_view before, std::string_view tag);

  struct Deferred {
    Ref<CmObject> object;
    int64_t id;
  };

  OutputBuffer out_;
  LongTexts longTexts_;
  std::string leftOut_;
  WrittenObjects written_;
  std::deque<Deferred> deferred_;
};

} // namespace orbi
