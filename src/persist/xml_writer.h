#pragma once

#include "foundation/ref.h"
#include "foundation/stream.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orbi {

struct XmlWriterAttribute {
  std::string_view name;
  std::string_view value;
};

enum class XmlElement { open, empty };

/// Writing XML as others see it. Results are 0 for success and 1 for failure.
class IXmlWriter : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x584D4C57, 0x52540001, 1};

  virtual int32_t writeLine(std::string_view text) = 0; ///< several lines, when it holds LF
  virtual int32_t startElement(std::string_view tag, std::span<const XmlWriterAttribute> attributes,
                               XmlElement element) = 0;
  virtual int32_t endElement(std::string_view tag) = 0; ///< has to be the last one opened
  virtual int32_t comment(std::string_view text) = 0;   ///< trimmed; nothing for an empty one

protected:
  ~IXmlWriter() = default;
};

enum XmlWriterFlag : uint32_t {
  xmlOmitsEmpty = 1, ///< attributes without a value
  xmlEscapes = 2     ///< attribute values; otherwise the caller has done it
};

/// General XML writer: one tab of indent for each open element, lines end in CR LF.
class FXmlWriter final : public CmClass<FXmlWriter, CmObject>, public IXmlWriter {
public:
  static constexpr const char* className = "FXmlWriter";

  explicit FXmlWriter(FStream& target, uint32_t flags = 0); ///< keeps a reference to the stream
  FXmlWriter(const FXmlWriter&) = delete;

  // One object, two interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }

  int32_t writeLine(std::string_view text) override;
  int32_t startElement(std::string_view tag, std::span<const XmlWriterAttribute> attributes,
                       XmlElement element) override;
  int32_t endElement(std::string_view tag) override;
  int32_t comment(std::string_view text) override;

private:
  int32_t put(std::string_view line);

  Ref<FStream> target_;
  uint32_t flags_;
  std::vector<std::string> openTags_;
  std::string line_;
};

} // namespace orbi
