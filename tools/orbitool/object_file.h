#pragma once

#include "foundation/attributes.h"
#include "foundation/memory_stream.h"
#include "orbitool/readable.h"

#include <optional>
#include <vector>

namespace orbi {

/// An object file in memory, whichever form it has on the disk. Objects aren't made of their
/// attributes, so that unknown classes do as well as known ones.
///
/// The binary form knows named roots and no root tag. A file of one root travels in it as the one
/// inline root "Root"; on the way back to XML the root tag is always "Root".
struct ObjectFile {
  static constexpr const char* defaultTag = "Root";

  std::string rootTag = defaultTag;
  bool isOneRoot = false; ///< the one inline root is the file
  Ref<FAttributes> byReference = make<FAttributes>();
  Ref<FAttributes> inlineRoots = make<FAttributes>();
  std::vector<std::string> leftOut; ///< what reading passed over, a reason each

  FAttributes* oneRoot() const; ///< borrowed; null for named roots
};

// Reading; nothing on failure. The bytes are borrowed for the call.
std::optional<ObjectFile> readXmlFile(std::string_view bytes, Fault& fault);
std::optional<ObjectFile> readBinaryFile(std::string_view bytes, Fault& fault);

/// Takes no more bytes than its limit: a binary file can nest so deep that the indents of its XML
/// would fill any memory.
class LimitedMemoryStream final : public FMemoryStream {
public:
  explicit LimitedMemoryStream(int64_t limit) : limit_(limit) {}

  using FMemoryStream::write;
  int64_t write(const void* buffer, int64_t count) override
  {
    return count > limit_ - size() ? 0 : FMemoryStream::write(buffer, count);
  }
  std::string_view bytes() const
  {
    return {reinterpret_cast<const char*>(data()), static_cast<size_t>(size())};
  }

private:
  int64_t limit_;
};

// Writing; false when the stream didn't take all.
bool writeXmlFile(const ObjectFile& file, FStream& stream);
bool writeBinaryFile(const ObjectFile& file, FStream& stream);

std::string firstElementOf(std::string_view xml); ///< its tag; empty for none

} // namespace orbi
