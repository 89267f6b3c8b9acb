#include "persist/url.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER_VERSION(FUrl, 1);
CM_REGISTER_ABSTRACT(FFileIteratorUrlWrapper);

namespace {

constexpr std::string_view fileScheme = "file";
constexpr std::string_view hexDigits = "0123456789ABCDEF";

bool isPlain(char c)
{
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~/:").find(c) != std::string_view::npos;
}

std::string encode(std::string_view path)
{
  std::string text;
  for (char c : path) {
    const auto byte = static_cast<uint8_t>(c);
    if (isPlain(c))
      text += c;
    else
      text.append({'%', hexDigits[byte >> 4], hexDigits[byte & 15]});
  }
  return text;
}

int hexValue(char c)
{
  const char upper = c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  const size_t value = hexDigits.find(upper);
  return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

/// A percent sign without two digits behind it stands for itself, a NUL is never made.
std::string decode(std::string_view text)
{
  std::string path;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool whole = text[i] == '%' && i + 2 < text.size();
    const int high = whole ? hexValue(text[i + 1]) : -1;
    const int low = whole ? hexValue(text[i + 2]) : -1;
    const bool coded = high >= 0 && low >= 0 && high + low > 0;
    path += coded ? static_cast<char>(high * 16 + low) : text[i];
    i += coded ? 2 : 0;
  }
  return path;
}

/// "//host/path" and "//localhost/path" are "/path".
std::string_view withoutHost(std::string_view rest)
{
  if (!rest.starts_with("//"))
    return rest;
  return rest.substr(std::min(rest.find('/', 2), rest.size()));
}

} // namespace

FUrl::FUrl(std::string_view text) : text_(text)
{
  const size_t start = scheme().empty() ? 0 : scheme().size() + 1;
  path_ = FNPath(decode(withoutHost(text_.view().substr(start))));
}

FUrl::FUrl(FFileSystem* fileSystem, const FNPath& path)
    : path_(path), fileSystem_(Ref<FFileSystem>::share(fileSystem))
{
  text_.set("file:");
  text_.append(path.isAbsolute() ? "//" : "");
  text_.append(encode(path.view()));
}

std::string_view FUrl::scheme() const
{
  const size_t colon = text_.view().find(':');
  if (colon == std::string_view::npos || colon < 2) // one letter is a drive
    return {};
  const std::string_view scheme = text_.view().substr(0, colon);
  return scheme.find_first_of("/\\.%") == std::string_view::npos ? scheme : std::string_view();
}

FFileSystem* FUrl::fileSystem() const
{
  if (fileSystem_)
    return fileSystem_.get();
  const bool native = scheme().empty() || scheme() == fileScheme;
  return native ? FNFileSystem::instance() : nullptr;
}

Ref<FStream> FUrl::openStream(uint32_t mode) const
{
  FFileSystem* system = fileSystem();
  return system ? system->openStream(path_, mode) : nullptr;
}

bool FUrl::exists() const
{
  const FFileSystem* system = fileSystem();
  return system && system->exists(path_);
}

bool FUrl::isEqual(const CmObject* other) const
{
  auto* url = castTo<FUrl>(other);
  return url && url->text_.view() == text_.view() && url->fileSystem() == fileSystem();
}

bool FUrl::read(FStream& stream)
{
  CmString text;
  if (!text.read(stream))
    return false;
  *this = FUrl(text.view());
  return true;
}

bool FUrl::write(FStream& stream) const
{
  return text_.write(stream);
}

FFileIteratorUrlWrapper::FFileIteratorUrlWrapper(FFileSystem* fileSystem, const FNPath& folder,
                                                 Ref<FFileIterator> iterator)
    : fileSystem_(Ref<FFileSystem>::share(fileSystem)), folder_(folder),
      iterator_(std::move(iterator))
{
}

Ref<FUrl> FFileIteratorUrlWrapper::next()
{
  FFileItem item;
  if (!iterator_ || !iterator_->next(item))
    return nullptr;
  FNPath path = folder_;
  path.appendPart(item.name.view());
  return make<FUrl>(fileSystem_.get(), path);
}

void FFileIteratorUrlWrapper::rewind()
{
  if (iterator_)
    iterator_->rewind();
}

} // namespace orbi
