#pragma once

#include "foundation/stream.h"
#include "persist/object_values.h"
#include "persist/reference_graph.h"

#include <memory>
#include <string>

namespace orbi {

/// Bytes from a stream, read ahead in blocks.
class InputBuffer {
public:
  static constexpr size_t capacity = 65536;

  explicit InputBuffer(FStream& source); ///< borrowed

  /// The next bytes, at most capacity of them, borrowed until the next call; null when the stream
  /// ends before.
  const char* take(size_t count)
  {
    if (count > static_cast<size_t>(end_ - cursor_) && !fill(count))
      return nullptr;
    return std::exchange(cursor_, cursor_ + count);
  }
  template <class Number>
  bool takeNumber(Number& number)
  {
    const char* bytes = take(sizeof number);
    if (bytes)
      std::memcpy(&number, bytes, sizeof number);
    return bytes != nullptr;
  }
  void giveBack(); ///< leaves the stream behind what was taken
  int64_t taken() const { return readBytes_ - (end_ - cursor_); }

private:
  bool fill(size_t count);

  FStream& source_;
  std::unique_ptr<char[]> block_;
  const char* cursor_;
  const char* end_;
  int64_t readBytes_ = 0;
};

/// Reads binary object files, old forms included. One reader reads one file; depth is limited by
/// memory only, and a count that lies costs no more than the bytes that follow it.
///
/// A file that isn't whole leaves the targets as they were.
class BinaryObjectReader {
public:
  static constexpr int32_t longestText = 10000; ///< bytes of a text value
  static constexpr int32_t longestKey = CmString::longestRead;

  explicit BinaryObjectReader(FStream& source) : input_(source) {} ///< borrowed

  /// Either may be null. Values come on top of what the targets hold. Afterwards the stream stands
  /// behind the last root.
  bool readRoots(FAttributes* byReference, FAttributes* inlineRoots);

  int64_t overwritten() const { return keys_.overwritten(); } ///< values whose key came once more
  int64_t failedAt() const { return input_.taken(); } ///< bytes from the start, after a failure

private:
  using Key = KeyPool::Key*; ///< null for none
  enum class Kind { block, subList, objectList, oldObjects };
  enum class Goal { value, listItem, instance, oldObject, inlineRoot, rootReference };

  /// A container that is being filled.
  struct Frame {
    Kind kind = Kind::block;
    Goal goal = Goal::value;
    Ref<CmObject> container;
    int32_t left = 0; ///< entries or items to come
    int32_t owner = ReferenceGraph::outside;
    Key key = nullptr;     ///< of the value or root
    uint64_t opened = 0;   ///< number of the container
    std::string className; ///< this and the ID for an instance
    int64_t id = 0;
  };

  bool readFirstSection();
  bool readSecondSection();

  // Frames
  bool run();
  bool step();
  bool push(Frame frame);
  bool pushBlock(Goal goal, Key key);
  bool pushInstance(Goal goal, Key key);
  bool pushOldObject(Key key);
  bool pushList(Kind kind, Ref<CmObject> list, Key key);
  void finish(Frame& frame);
  void finishInstance(Frame& frame, FAttributes* roots);
  void finishOldObject(Frame& frame);
  void place(Key key, Ref<CmObject> object);

  // Entries and items
  bool readEntry();
  bool readText(Key key);
  bool readObject(Key key);
  bool readItem();
  bool readReference(Key key);
  bool readIntList(Key key);
  bool readFloatList(Key key);
  bool readStringList(Key key);
  bool readBytes(Key key);

  bool takeText(std::string& text, int32_t longest);
  Key takeKey(); ///< null when the stream ends before or the text is too long
  template <class Number>
  bool takeNumbers(std::vector<Number>& numbers);
  FStringIDAttribute& valueOf(Key key)
  {
    return keys_.valueIn(block(), frames_.back().opened, *key);
  }
  FAttributes& block() { return *static_cast<FAttributes*>(frames_.back().container.get()); }
  int32_t owner() const { return frames_.empty() ? ReferenceGraph::outside : frames_.back().owner; }

  InputBuffer input_;
  KeyPool keys_;
  std::vector<Frame> frames_;
  ReferenceGraph graph_;
  FAttributes* byReference_ = nullptr;
  FAttributes* inlineRoots_ = nullptr;
};

} // namespace orbi
