#include "studio/class_id_path.h"

#include <charconv>

namespace orbi {

namespace {

constexpr size_t idStart = 1;
constexpr size_t idDigits = 32;
constexpr size_t idEnd = idStart + idDigits;
constexpr size_t mostIndexDigits = 4;

/// The whole text as a decimal number that isn't negative.
std::optional<int32_t> numberOf(std::string_view digits)
{
  int32_t number = 0;
  const char* end = digits.data() + digits.size();
  auto [stop, error] = std::from_chars(digits.data(), end, number);
  if (digits.empty() || error != std::errc() || stop != end || number < 0 || digits[0] == '-')
    return std::nullopt;
  return number;
}

} // namespace

std::optional<FUID> classIDIn(std::string_view text)
{
  constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";
  FUID id;
  if (text.find_first_not_of(hexDigits) != text.npos || !id.fromPlainText(text))
    return std::nullopt;
  return id;
}

std::optional<ClassIDStep> firstClassIDStep(std::string_view path)
{
  if (path.size() <= idEnd || path[0] != '[')
    return std::nullopt;
  const auto id = classIDIn(path.substr(idStart, idDigits));
  if (!id)
    return std::nullopt;
  ClassIDStep step{*id};
  step.length = idEnd + 1;
  if (path[idEnd] == ']')
    return step;
  const size_t end = path.find(']', step.length);
  if (path[idEnd] != ',' || end == path.npos || end - step.length > mostIndexDigits)
    return std::nullopt;
  const auto index = numberOf(path.substr(step.length, end - step.length));
  if (!index)
    return std::nullopt;
  step.child = *index;
  step.length = end + 1;
  return step;
}

std::optional<int32_t> tagInName(std::string_view name)
{
  if (!name.starts_with(tagNameStart) || !name.ends_with(']'))
    return std::nullopt;
  name.remove_prefix(tagNameStart.size());
  name.remove_suffix(1);
  return numberOf(name);
}

} // namespace orbi
