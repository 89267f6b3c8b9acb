#include "persist/binary_object_reader.h"

#include "foundation/class_registry.h"
#include "foundation/memory_stream.h"
#include "persist/binary_object_file.h"

#include <algorithm>
#include <cstring>

namespace orbi {

namespace {

constexpr int32_t mostReserved = 64; // values; a count may lie

void handOver(FAttributes* target, const FAttributes& loaded)
{
  if (target)
    target->copyValues(loaded);
}

} // namespace

InputBuffer::InputBuffer(FStream& source)
    : source_(source), block_(std::make_unique<char[]>(capacity)), cursor_(block_.get()),
      end_(cursor_)
{
}

bool InputBuffer::fill(size_t count)
{
  auto left = static_cast<size_t>(end_ - cursor_);
  if (count > capacity)
    return false;
  std::memmove(block_.get(), cursor_, left);
  cursor_ = block_.get();
  while (left < count) {
    int64_t got = source_.read(block_.get() + left, static_cast<int64_t>(capacity - left));
    if (got <= 0)
      break;
    left += static_cast<size_t>(got);
    readBytes_ += got;
  }
  end_ = cursor_ + left;
  return left >= count;
}

void InputBuffer::giveBack()
{
  if (cursor_ != end_)
    source_.seek(cursor_ - end_, SeekMode::current);
  readBytes_ -= end_ - cursor_;
  end_ = cursor_;
}

bool BinaryObjectReader::readRoots(FAttributes* byReference, FAttributes* inlineRoots)
{
  auto loadedReferences = make<FAttributes>();
  auto loadedRoots = make<FAttributes>();
  byReference_ = loadedReferences.get();
  inlineRoots_ = loadedRoots.get();
  if (!readFirstSection() || !readSecondSection()) {
    frames_.clear();
    return false;
  }
  input_.giveBack();
  graph_.resolve();
  handOver(byReference, *loadedReferences);
  handOver(inlineRoots, *loadedRoots);
  return true;
}

/// Key, class, ID and block of each. The writer puts another ID before the class.
bool BinaryObjectReader::readFirstSection()
{
  int32_t count = 0;
  if (!input_.takeNumber(count))
    return false;
  for (; count > 0; --count) {
    Key key = takeKey();
    if (!key || !pushInstance(Goal::rootReference, key) || !run())
      return false;
  }
  return true;
}

bool BinaryObjectReader::readSecondSection()
{
  int32_t count = 0;
  if (!input_.takeNumber(count))
    return false;
  for (; count > 0; --count) {
    Key key = takeKey();
    if (!key || !pushBlock(Goal::inlineRoot, key) || !run())
      return false;
  }
  return true;
}

/// Fills the innermost container until none is left.
bool BinaryObjectReader::run()
{
  while (!frames_.empty())
    if (!step())
      return false;
  return true;
}

bool BinaryObjectReader::step()
{
  const size_t level = frames_.size();
  while (frames_.back().left > 0) {
    --frames_.back().left;
    bool complete = false;
    switch (frames_.back().kind) {
    case Kind::block:
      complete = readEntry();
      break;
    case Kind::subList:
      complete = pushBlock(Goal::listItem, nullptr);
      break;
    case Kind::objectList:
      complete = readItem();
      break;
    case Kind::oldObjects:
      complete = pushOldObject(nullptr);
      break;
    }
    if (!complete || frames_.size() != level)
      return complete;
  }
  Frame done = std::move(frames_.back());
  frames_.pop_back();
  finish(done);
  return true;
}

bool BinaryObjectReader::push(Frame frame)
{
  if (!input_.takeNumber(frame.left))
    return false;
  if (frame.kind == Kind::block && frame.left > 0)
    static_cast<FAttributes*>(frame.container.get())
        ->reserve(static_cast<uint32_t>(std::min(frame.left, mostReserved)));
  frame.opened = keys_.open();
  frames_.push_back(std::move(frame));
  return true;
}

bool BinaryObjectReader::pushBlock(Goal goal, Key key)
{
  Frame frame;
  frame.goal = goal;
  frame.container = make<FAttributes>();
  frame.owner = owner();
  frame.key = key;
  return push(std::move(frame));
}

bool BinaryObjectReader::pushInstance(Goal goal, Key key)
{
  Frame frame;
  frame.goal = goal;
  frame.key = key;
  if (!takeText(frame.className, longestKey) || !input_.takeNumber(frame.id))
    return false;
  frame.container = make<FAttributes>();
  frame.owner = graph_.begin(owner());
  return push(std::move(frame));
}

bool BinaryObjectReader::pushOldObject(Key key)
{
  Frame frame;
  frame.goal = Goal::oldObject;
  frame.key = key;
  if (!takeText(frame.className, longestKey))
    return false;
  frame.container = make<FAttributes>();
  frame.owner = owner();
  return push(std::move(frame));
}

bool BinaryObjectReader::pushList(Kind kind, Ref<CmObject> list, Key key)
{
  Frame frame;
  frame.kind = kind;
  frame.container = std::move(list);
  frame.owner = owner();
  frame.key = key;
  return push(std::move(frame));
}

void BinaryObjectReader::finish(Frame& frame)
{
  switch (frame.goal) {
  case Goal::value:
    place(frame.key, std::move(frame.container));
    break;
  case Goal::listItem:
    static_cast<FSubList*>(frames_.back().container.get())
        ->append(static_cast<FAttributes*>(frame.container.detach()));
    break;
  case Goal::instance:
    finishInstance(frame, nullptr);
    break;
  case Goal::rootReference:
    finishInstance(frame, byReference_);
    break;
  case Goal::oldObject:
    finishOldObject(frame);
    break;
  case Goal::inlineRoot:
    keys_.valueIn(*inlineRoots_, *frame.key)
        .setObject(frame.container.detach(), ObjectMode::adopted);
    break;
  }
}

void BinaryObjectReader::finishInstance(Frame& frame, FAttributes* roots)
{
  auto attributes = Ref<FAttributes>::adopt(static_cast<FAttributes*>(frame.container.detach()));
  auto instance = make<FXmlInstance>(frame.id, frame.className, std::move(attributes));
  if (roots)
    keys_.valueIn(*roots, *frame.key).setObject(instance.get(), ObjectMode::shared);
  else
    place(frame.key, instance);
  graph_.complete(frame.owner, std::move(instance), ReferenceGraph::Place::held);
}

/// Made at once. An unknown class leaves an empty place in a list and nothing else; an object that
/// won't load leaves nothing.
void BinaryObjectReader::finishOldObject(Frame& frame)
{
  Ref<CmObject> object = createAs<CmObject>(frame.className.c_str());
  const bool inList = frames_.back().kind == Kind::oldObjects;
  if (object ? !object->loadAttributes(*static_cast<FAttributes*>(frame.container.get())) : !inList)
    return;
  place(frame.key, std::move(object));
}

/// Puts an object into the container that is being filled.
void BinaryObjectReader::place(Key key, Ref<CmObject> object)
{
  if (frames_.back().kind == Kind::block)
    valueOf(key).setObject(object.detach(), ObjectMode::adopted);
  else
    static_cast<FObjectList*>(frames_.back().container.get())->append(object.detach(), true);
}

/// An entry of a kind that is never written loses the place in the stream, and the next key or
/// length is likely to fail.
bool BinaryObjectReader::readEntry()
{
  Key key = takeKey();
  uint16_t kind = 0;
  if (!key || !input_.takeNumber(kind))
    return false;
  switch (kind) {
  case attributeInt: {
    int64_t value = 0;
    if (!input_.takeNumber(value))
      return false;
    valueOf(key).setInt(value);
    return true;
  }
  case attributeDouble: {
    double value = 0;
    if (!input_.takeNumber(value))
      return false;
    valueOf(key).setDouble(value);
    return true;
  }
  case attributeText:
    return readText(key);
  case attributeObject:
    return readObject(key);
  default:
    return true;
  }
}

bool BinaryObjectReader::readText(Key key)
{
  int32_t length = 0;
  if (!input_.takeNumber(length) || length < 0 || length > longestText)
    return false;
  const char* bytes = input_.take(static_cast<size_t>(length));
  if (!bytes)
    return false;
  if (length > 0)
    block().placeText(valueOf(key), {bytes, strnlen(bytes, static_cast<size_t>(length))});
  return true;
}

bool BinaryObjectReader::readObject(Key key)
{
  uint16_t tag = 0;
  if (!input_.takeNumber(tag))
    return false;
  switch (tag) {
  case binaryTagInts:
    return readIntList(key);
  case binaryTagFloats:
    return readFloatList(key);
  case binaryTagStrings:
    return readStringList(key);
  case binaryTagSubList:
    return pushList(Kind::subList, make<FSubList>(), key);
  case binaryTagAttributes:
    return pushBlock(Goal::value, key);
  case binaryTagBytes:
    return readBytes(key);
  case binaryTagInstance:
    return pushInstance(Goal::instance, key);
  case binaryTagReference:
    return readReference(key);
  case binaryTagOldObjects:
    return pushList(Kind::oldObjects, make<FObjectList>(), key);
  case binaryTagOldObject:
    return pushOldObject(key);
  case binaryTagObjectList:
    return pushList(Kind::objectList, make<FObjectList>(), key);
  default:
    return false; // binaryTagObject and binaryTagObjects among them
  }
}

bool BinaryObjectReader::readItem()
{
  uint16_t tag = 0;
  if (!input_.takeNumber(tag))
    return false;
  if (tag == binaryTagReference)
    return readReference(nullptr);
  return tag == binaryTagInstance && pushInstance(Goal::instance, nullptr);
}

bool BinaryObjectReader::readReference(Key key)
{
  int64_t id = 0;
  if (!input_.takeNumber(id))
    return false;
  auto reference = make<FXmlReference>(id);
  graph_.addReference(owner(), reference);
  place(key, std::move(reference));
  return true;
}

template <class Number>
bool BinaryObjectReader::takeNumbers(std::vector<Number>& numbers)
{
  int32_t count = 0;
  if (!input_.takeNumber(count))
    return false;
  for (auto left = static_cast<size_t>(std::max(count, 0)); left > 0;) {
    const size_t some = std::min(left, InputBuffer::capacity / sizeof(Number) / 2);
    const char* bytes = input_.take(some * sizeof(Number));
    if (!bytes)
      return false;
    const size_t before = numbers.size();
    numbers.resize(before + some);
    std::memcpy(&numbers[before], bytes, some * sizeof(Number));
    left -= some;
  }
  return true;
}

bool BinaryObjectReader::readIntList(Key key)
{
  auto list = make<FIntList>();
  if (!takeNumbers(list->values))
    return false;
  place(key, std::move(list));
  return true;
}

bool BinaryObjectReader::readFloatList(Key key)
{
  auto list = make<FFloatList>();
  if (!takeNumbers(list->values))
    return false;
  place(key, std::move(list));
  return true;
}

bool BinaryObjectReader::readStringList(Key key)
{
  auto list = make<FStringList>();
  int32_t count = 0;
  if (!input_.takeNumber(count))
    return false;
  std::string text;
  for (; count > 0; --count)
    if (!takeText(text, INT32_MAX) || !list->append(text.c_str(), true))
      return false;
  place(key, std::move(list));
  return true;
}

bool BinaryObjectReader::readBytes(Key key)
{
  uint32_t size = 0;
  auto stream = make<FMemoryStream>();
  if (!input_.takeNumber(size))
    return false;
  while (size > 0) {
    const uint32_t some = std::min<uint32_t>(size, InputBuffer::capacity / 2);
    const char* bytes = input_.take(some);
    if (!bytes || stream->write(bytes, some) != some)
      return false;
    size -= some;
  }
  stream->trimCapacity();
  stream->rewind();
  place(key, std::move(stream));
  return true;
}

/// A text with its NUL, up to the first one; none for a length below 1. Memory goes with the bytes
/// that arrive.
bool BinaryObjectReader::takeText(std::string& text, int32_t longest)
{
  int32_t length = 0;
  text.clear();
  if (!input_.takeNumber(length) || length > longest)
    return false;
  for (auto left = static_cast<size_t>(std::max(length, 0)); left > 0;) {
    const size_t some = std::min(left, InputBuffer::capacity / 2);
    const char* bytes = input_.take(some);
    if (!bytes)
      return false;
    text.append(bytes, some);
    left -= some;
  }
  text.resize(std::strlen(text.c_str()));
  return true;
}

BinaryObjectReader::Key BinaryObjectReader::takeKey()
{
  int32_t length = 0;
  if (!input_.takeNumber(length) || length < 0 || length > longestKey)
    return nullptr;
  const char* bytes = input_.take(static_cast<size_t>(length));
  if (!bytes)
    return nullptr;
  const auto count = static_cast<size_t>(length);
  Key key = keys_.expectedKey(bytes, count);
  return key ? key : &keys_.keyFor({bytes, strnlen(bytes, count)});
}

} // namespace orbi
