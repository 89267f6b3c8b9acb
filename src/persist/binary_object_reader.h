#pragma once

#include "foundation/stream.h"
#include "persist/reference_graph.h"

#include <memory>
#include <optional>
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

  int64_t failedAt() const { return input_.taken(); } ///< bytes from the start, after a failure

private:
  enum class Kind { block, subList, objectList, oldObjects };
  enum class Goal { value, listItem, instance, oldObject, inlineRoot, rootReference };

  /// A container that is being filled.
  struct Frame {
    Kind kind = Kind::block;
    Goal goal = Goal::value;
    Ref<CmObject> container;
    int32_t left = 0; ///< entries or items to come
    int32_t owner = ReferenceGraph::outside;
    std::string key;       ///< of the value or root
    std::string className; ///< this and the ID for an instance
    int64_t id = 0;
  };

  bool readFirstSection();
  bool readSecondSection();

  // Frames
  bool run();
  bool step();
  bool push(Frame frame);
  bool pushBlock(Goal goal, std::string_view key);
  bool pushInstance(Goal goal, std::string_view key);
  bool pushOldObject(std::string_view key);
  bool pushList(Kind kind, Ref<CmObject> list, std::string_view key);
  void finish(Frame& frame);
  void finishInstance(Frame& frame, FAttributes* roots);
  void finishOldObject(Frame& frame);
  void place(std::string_view key, Ref<CmObject> object);

  // Entries and items
  bool readEntry();
  bool readText(std::string_view key);
  bool readObject(std::string_view key);
  bool readItem();
  bool readReference(std::string_view key);
  bool readIntList(std::string_view key);
  bool readFloatList(std::string_view key);
  bool readStringList(std::string_view key);
  bool readBytes(std::string_view key);

  bool takeText(std::string& text, int32_t longest);
  std::optional<std::string_view> takeKey();
  template <class Number>
  bool takeNumbers(std::vector<Number>& numbers);
  FAttributes& block() { return *static_cast<FAttributes*>(frames_.back().container.get()); }
  int32_t owner() const { return frames_.empty() ? ReferenceGraph::outside : frames_.back().owner; }

  InputBuffer input_;
  std::string key_;
  std::vector<Frame> frames_;
  ReferenceGraph graph_;
  FAttributes* byReference_ = nullptr;
  FAttributes* inlineRoots_ = nullptr;
};

} // namespace orbi
