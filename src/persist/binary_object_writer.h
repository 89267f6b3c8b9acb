#pragma once

#include "persist/object_values.h"
#include "persist/output_buffer.h"

namespace orbi {

/// Writes trees as a binary object file, in the machine's byte order. Empty lists stay; depth is
/// limited by memory only. For one file.
///
/// The reader takes an ID for the second text of a root by reference, so a file with such roots
/// doesn't read back; what is to be read goes into inline roots. Neither does a text of more than
/// BinaryObjectReader::longestText bytes.
class BinaryObjectWriter {
public:
  /// Both are borrowed.
  BinaryObjectWriter(FStream& target, TextBufferPool& pool) : out_(target, pool) {}

  /// Either may be null. Values that aren't objects are passed over. False when an object couldn't
  /// be stored or the stream took less than it should.
  bool writeRoots(FAttributes* byReference, FAttributes* inlineRoots);

private:
  /// A container that is being written, its count done.
  struct Frame {
    enum class Kind { attributes, subList, objectList } kind;
    Ref<CmObject> container;
    uint32_t next;
  };

  bool writeRootReference(const FStringIDAttribute& root);
  bool writeInlineRoot(const FStringIDAttribute& root);
  bool writeBlock(Ref<FAttributes> attributes);
  bool push(Frame::Kind kind, Ref<CmObject> container);
  bool run();
  bool stepAttributes();
  bool stepSubList();
  bool stepObjectList();
  void closeFrame();
  bool writeValue(const FStringIDAttribute& value);
  bool writeObjectValue(CmObject* object);
  bool writeObject(CmObject& object);
  bool writeInstance(const CmObject& object, int64_t id);
  bool writeBytes(CmObject* object);
  void writeReference(int64_t id);
  void writeText(std::string_view text); ///< with its NUL
  void writeKey(std::string_view key);   ///< likewise, and nothing but its length of 0 when empty
  void writeHead(std::string_view key, uint16_t kind);
  bool writeTextValue(std::string_view text);

  OutputBuffer out_;
  WrittenObjects written_;
  OpenContainers open_;
  std::vector<Frame> frames_;
};

} // namespace orbi
