#include "foundation/string.h"

#include "foundation/class_registry.h"
#include "foundation/stream.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace orbi {

CM_REGISTER(CmString);

namespace {

unsigned char lowerCase(char c)
{
  return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
}

int compareIgnoringCase(const char* a, const char* b)
{
  while (*a && lowerCase(*a) == lowerCase(*b)) {
    ++a;
    ++b;
  }
  return lowerCase(*a) - lowerCase(*b);
}

std::string_view viewOf(const char* text, int32_t length)
{
  if (!text)
    return {};
  if (length < 0)
    return text;
  const void* end = std::memchr(text, 0, static_cast<size_t>(length));
  return {text, end ? static_cast<size_t>(static_cast<const char*>(end) - text)
                    : static_cast<size_t>(length)};
}

} // namespace

FText& FText::operator=(const FText& other)
{
  if (this != &other)
    assign(other.view());
  return *this;
}

void FText::swap(FText& other) noexcept
{
  bool ownInline = isInline();
  bool otherInline = other.isInline();
  std::swap(inline_, other.inline_);
  std::swap(text_, other.text_);
  std::swap(length_, other.length_);
  std::swap(capacity_, other.capacity_);
  if (otherInline)
    text_ = inline_;
  if (ownInline)
    other.text_ = other.inline_;
}

bool FText::reserve(uint32_t length)
{
  if (text_ && length <= capacity_)
    return true;
  if (length < inlineBytes) {
    text_ = inline_;
    text_[0] = 0;
    capacity_ = inlineBytes - 1;
    return true;
  }
  auto* grown = static_cast<char*>(std::malloc(size_t(length) + 1));
  if (!grown)
    return false;
  std::memcpy(grown, text(), length_ + 1);
  if (!isInline())
    std::free(text_);
  text_ = grown;
  capacity_ = length;
  return true;
}

bool FText::assign(std::string_view text)
{
  if (text.empty()) {
    release();
    return true;
  }
  if (text.size() > INT32_MAX)
    return false;
  auto length = static_cast<uint32_t>(text.size());
  bool inside = text_ && text.data() >= text_ && text.data() <= text_ + length_;
  if (!inside && !reserve(length))
    return false;
  std::memmove(text_, text.data(), length);
  text_[length] = 0;
  length_ = length;
  return true;
}

bool FText::append(std::string_view text)
{
  if (text.empty())
    return true;
  if (text.size() > INT32_MAX - size_t(length_))
    return false;
  if (text_ && text.data() >= text_ && text.data() <= text_ + length_)
    return append(std::string(text)); // growing would free what is to be copied
  uint32_t length = length_ + static_cast<uint32_t>(text.size());
  if (!text_ || length > capacity_) {
    uint32_t generous = length < inlineBytes || length > INT32_MAX / 2 ? length : length * 3 / 2;
    if (!reserve(generous))
      return false;
  }
  std::memcpy(text_ + length_, text.data(), text.size());
  length_ = length;
  text_[length_] = 0;
  return true;
}

void FText::release()
{
  if (text_ && !isInline())
    std::free(text_);
  text_ = nullptr;
  length_ = 0;
  capacity_ = 0;
}

void CmString::set(const char* text, int32_t length)
{
  text_.assign(viewOf(text, length));
}

void CmString::append(const char* text, int32_t length)
{
  text_.append(viewOf(text, length));
}

void CmString::appendNumber(int64_t number, int width)
{
  char digits[64];
  int written = std::snprintf(digits, sizeof digits, "%0*lld",
                              width < 0    ? 0
                              : width > 40 ? 40
                                           : width,
                              static_cast<long long>(number));
  text_.append({digits, static_cast<size_t>(written)});
}

void CmString::format(const char* pattern, ...)
{
  va_list arguments;
  va_start(arguments, pattern);
  formatArguments(pattern, arguments);
  va_end(arguments);
}

void CmString::formatArguments(const char* pattern, va_list arguments)
{
  va_list again;
  va_copy(again, arguments);
  int length = std::vsnprintf(nullptr, 0, pattern, again);
  va_end(again);
  if (length < 0)
    return;
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), pattern, arguments);
  text.pop_back();
  text_.assign(text);
}

int CmString::compare(const char* text, TextCompare mode) const
{
  return compareTexts(text_.text(), text, mode);
}

bool CmString::isEqual(const CmObject* other) const
{
  auto* string = castTo<CmString>(other);
  return string && compare(string->text(), TextCompare::byFlag) == 0;
}

int CmString::compare(const CmObject* other) const
{
  auto* string = castTo<CmString>(other);
  if (!string)
    return CmObject::compare(other);
  int order = compare(string->text(), TextCompare::byFlag);
  return (order > 0) - (order < 0);
}

uint32_t CmString::hash(uint32_t tableSize) const
{
  if (!tableSize)
    return 0;
  uint32_t sum = 2166136261u; // FNV-1a, without case so that it agrees with either comparison
  for (char c : text_.view())
    sum = (sum ^ lowerCase(c)) * 16777619u;
  return sum % tableSize;
}

bool CmString::read(FStream& stream)
{
  int32_t length = 0;
  if (!stream.readInt32(length))
    return false;
  if (length > longestRead) {
    char skipped[1024]; // read rather than sought: a seek beyond the end makes some streams grow
    int64_t got = 1;
    for (int64_t left = length; left > 0 && got > 0; left -= got)
      got = stream.read(skipped, std::min<int64_t>(left, sizeof skipped));
    return false;
  }
  text_.clear();
  if (length <= 0)
    return length == 0;
  std::string bytes(static_cast<size_t>(length), '\0');
  if (stream.read(bytes.data(), length) != length)
    return false;
  text_.assign(std::string_view(bytes.c_str()));
  return true;
}

bool CmString::write(FStream& stream) const
{
  return stream.writeText(isEmpty() ? nullptr : text());
}

int compareTexts(const char* a, const char* b, TextCompare mode)
{
  a = a ? a : "";
  b = b ? b : "";
  bool bytes =
      mode == TextCompare::bytes || (mode == TextCompare::byFlag && CmString::comparesBytes);
  return bytes ? std::strcmp(a, b) : compareIgnoringCase(a, b);
}

} // namespace orbi
