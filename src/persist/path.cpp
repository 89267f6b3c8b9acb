#include "persist/path.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(FNPath);

namespace {

/// Where the last part begins.
size_t nameStart(std::string_view path)
{
  size_t separator = path.find_last_of(FNPath::separators);
  return separator == std::string_view::npos ? 0 : separator + 1;
}

} // namespace

FNPath::FNPath(const std::filesystem::path& native)
{
  const auto utf8 = native.u8string();
  text_.assign(utf8.begin(), utf8.end());
}

std::filesystem::path FNPath::native() const
{
  return std::u8string(text_.begin(), text_.end());
}

bool FNPath::isAbsolute() const
{
  return native().is_absolute();
}

std::string_view FNPath::name() const
{
  return std::string_view(text_).substr(nameStart(text_));
}

std::string_view FNPath::extension() const
{
  const std::string_view last = name();
  const size_t dot = last.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view() : last.substr(dot + 1);
}

FNPath FNPath::parent() const
{
  const size_t start = nameStart(text_);
  return std::string_view(text_).substr(0, start > 1 ? start - 1 : start);
}

void FNPath::appendPart(std::string_view part)
{
  if (!text_.empty() && separators.find(text_.back()) == std::string_view::npos)
    text_ += '/';
  text_ += part;
}

void FNPath::append(std::string_view relative)
{
  for (std::string_view part : splitPath(relative))
    appendPart(part);
}

bool FNPath::isEqual(const CmObject* other) const
{
  auto* path = castTo<FNPath>(other);
  return path && *this == *path;
}

int FNPath::compare(const CmObject* other) const
{
  auto* path = castTo<FNPath>(other);
  const int order = path ? text_.compare(path->text_) : CmObject::compare(other);
  return order < 0 ? -1 : order > 0;
}

std::vector<std::string_view> splitPath(std::string_view path)
{
  std::vector<std::string_view> parts;
  while (!path.empty()) {
    const size_t end = std::min(path.find_first_of(FNPath::separators), path.size());
    if (end > 0)
      parts.push_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return parts;
}

} // namespace orbi
