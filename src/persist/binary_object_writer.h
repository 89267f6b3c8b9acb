#pragma once

#include "persist/object_walk.h"
#include "persist/output_buffer.h"

namespace orbi {

/// The binary form has nothing to keep for an open container.
struct BinaryPlace {};

/// Writes trees as a binary object file, in the machine's byte order. Empty lists stay; depth is
/// limited by memory only. For one file.
///
/// The reader takes an ID for the second text of a root by reference, so a file with such roots
/// doesn't read back; what is to be read goes into inline roots. Neither does a text of more than
/// BinaryObjectReader::longestText bytes.
class BinaryObjectWriter : ObjectWalk<BinaryObjectWriter, BinaryPlace> {
public:
  /// Both are borrowed.
  BinaryObjectWriter(FStream& target, TextBufferPool& pool) : out_(target, pool) {}

  /// Either may be null. Values that aren't objects are passed over. False when an object couldn't
  /// be stored or the stream took less than it should.
  bool writeRoots(FAttributes* byReference, FAttributes* inlineRoots);

private:
  using Place = BinaryPlace;
  friend class ObjectWalk<BinaryObjectWriter, Place>;

  // The walk
  bool writeValue(const FStringIDAttribute& value, Place);
  bool openItem(Ref<FAttributes> item, Place) { return writeBlock(std::move(item)); }
  bool writeItem(CmObject& item, Place) { return writeObject(item); }
  void writeItemReference(int64_t id, Place) { writeReference(id); }
  void closePlace(Place) {}

  bool writeRootReference(const FStringIDAttribute& root);
  bool writeInlineRoot(const FStringIDAttribute& root);
  bool writeBlock(Ref<FAttributes> attributes);
  bool writeObjectValue(CmObject* object);
  bool writeObject(CmObject& object);
  bool writeInstance(const CmObject& object, int64_t id);
  bool writeBytes(CmObject* object);
  void writeReference(int64_t id);
  void writeText(std::string_view text); ///< with its NUL
  void writeKey(std::string_view key);   ///< likewise, and nothing but its length of 0 when empty
  bool writeLongValue(const FStringIDAttribute& value, std::string_view text);

  OutputBuffer out_;
  WrittenObjects written_;
};

} // namespace orbi
