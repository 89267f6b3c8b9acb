#include "persist/xml_writer.h"

#include "foundation/class_registry.h"
#include "persist/xml_entities.h"

namespace orbi {

CM_REGISTER_ABSTRACT(FXmlWriter);

namespace {

constexpr int32_t success = 0;
constexpr int32_t failure = 1;

std::string_view trimmed(std::string_view text)
{
  size_t from = text.find_first_not_of(' ');
  return from == text.npos ? std::string_view()
                           : text.substr(from, text.find_last_not_of(' ') + 1 - from);
}

} // namespace

FXmlWriter::FXmlWriter(FStream& target, uint32_t flags)
    : target_(Ref<FStream>::share(&target)), flags_(flags)
{
}

CmResult FXmlWriter::queryInterface(const FUID& id, void** out)
{
  if (out && id == IXmlWriter::interfaceId) {
    retain();
    *out = static_cast<IXmlWriter*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

int32_t FXmlWriter::put(std::string_view line)
{
  std::string text(openTags_.size(), '\t');
  text.append(line).append("\r\n");
  auto size = static_cast<int64_t>(text.size());
  return target_->write(text.data(), size) == size ? success : failure;
}

int32_t FXmlWriter::writeLine(std::string_view text)
{
  for (;;) {
    size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    if (end != text.npos && line.ends_with('\r'))
      line.remove_suffix(1);
    if (put(line) != success)
      return failure;
    if (end == text.npos || end + 1 == text.size())
      return success;
    text.remove_prefix(end + 1);
  }
}

int32_t FXmlWriter::startElement(std::string_view tag,
                                 std::span<const XmlWriterAttribute> attributes, XmlElement element)
{
  line_.assign("<").append(tag);
  for (const XmlWriterAttribute& attribute : attributes) {
    if (attribute.value.empty() && (flags_ & xmlOmitsEmpty))
      continue;
    line_.append(" ").append(attribute.name).append("=\"");
    if (flags_ & xmlEscapes)
      appendEscaped(line_, attribute.value);
    else
      line_.append(attribute.value);
    line_ += '"';
  }
  line_.append(element == XmlElement::empty ? "/>" : ">");
  if (put(line_) != success)
    return failure;
  if (element == XmlElement::open)
    openTags_.emplace_back(tag);
  return success;
}

int32_t FXmlWriter::endElement(std::string_view tag)
{
  if (openTags_.empty() || openTags_.back() != tag)
    return failure;
  openTags_.pop_back();
  return put(line_.assign("</").append(tag).append(">"));
}

int32_t FXmlWriter::comment(std::string_view text)
{
  text = trimmed(text);
  return text.empty() ? success : put(line_.assign("<!-- ").append(text).append(" -->"));
}

} // namespace orbi
