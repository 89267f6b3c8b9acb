#pragma once

#include "foundation/class_registry.h"
#include "foundation/memory_stream.h"
#include "persist/binary_object_reader.h"
#include "persist/binary_object_writer.h"
#include "persist/object_file_reader.h"
#include "persist/object_file_writer.h"

#include <functional>
#include <string>

namespace orbi {

inline TextBufferPool& pool()
{
  static TextBufferPool buffers;
  return buffers;
}

inline std::string textOf(const FMemoryStream& stream)
{
  return {reinterpret_cast<const char*>(stream.data()), static_cast<size_t>(stream.size())};
}

inline Ref<FMemoryStream> streamOf(std::string_view text)
{
  auto stream = make<FMemoryStream>();
  stream->write(text.data(), static_cast<int64_t>(text.size()));
  stream->rewind();
  return stream;
}

/// A tree as a file with the root tag "Root"; empty when writing failed.
inline std::string xmlOf(FAttributes& tree)
{
  FMemoryStream stream;
  bool written = ObjectFileWriter(stream, pool()).writeRootAttributes("Root", tree);
  return written ? textOf(stream) : std::string();
}

struct XmlResult {
  bool complete = false;
  XmlError error = XmlError::none;
  int32_t line = 0;
};

inline XmlResult readXml(std::string_view text, FAttributes& tree)
{
  auto reader = make<ObjectFileReader>(*streamOf(text));
  bool complete = reader->readRootAttributes("Root", tree);
  return {complete, reader->error(), reader->line()};
}

/// A tree as the one inline root of a binary file.
inline std::string binaryOf(FAttributes& tree)
{
  FMemoryStream stream;
  FAttributes roots;
  roots.setObject("Root", &tree, ObjectMode::borrowed);
  return BinaryObjectWriter(stream, pool()).writeRoots(nullptr, &roots) ? textOf(stream) : "";
}

/// Null when the file can't be read.
inline Ref<FAttributes> readBinary(std::string_view bytes)
{
  FAttributes roots;
  auto source = streamOf(bytes);
  if (!BinaryObjectReader(*source).readRoots(nullptr, &roots))
    return nullptr;
  return Ref<FAttributes>::share(roots.getObject<FAttributes>("Root"));
}

/// Keeps one number and another object.
class Node final : public CmClass<Node, CmObject> {
public:
  static constexpr const char* className = "TestNode";

  explicit Node(int64_t start = 0) : number(start) {}
  Node(const Node&) = delete;
  bool storeAttributes(FAttributes& attributes) const override
  {
    if (number < 0)
      return false;
    attributes.setInt("number", number);
    if (next)
      attributes.setObject("next", next.get(), ObjectMode::shared);
    return true;
  }
  bool loadAttributes(const FAttributes& attributes) override
  {
    number = attributes.getInt("number");
    next = Ref<Node>::share(attributes.getObject<Node>("next"));
    return true;
  }

  int64_t number;
  Ref<Node> next;
};

} // namespace orbi
