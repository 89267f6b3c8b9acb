#include "studio/node_names.h"

#include <algorithm>
#include <charconv>

namespace orbi {

namespace {

char lowerCase(char c)
{
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

size_t FNodeNames::Hash::operator()(std::string_view name) const
{
  uint64_t sum = 14695981039346656037u;
  for (char c : name)
    sum = (sum ^ static_cast<uint8_t>(lowerCase(c))) * 1099511628211u;
  return static_cast<size_t>(sum ^ sum >> 32);
}

bool FNodeNames::Equal::operator()(std::string_view a, std::string_view b) const
{
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lowerCase(x) == lowerCase(y); });
}

void FNodeNames::add(std::string_view name, FNode* child)
{
  if (name.empty())
    nameless_.insert(child);
  else
    children_.emplace(name, child);
}

void FNodeNames::remove(std::string_view name, FNode* child)
{
  if (name.empty()) {
    nameless_.erase(child);
    return;
  }
  auto place = children_.find(name);
  if (place == children_.end() || place->second != child)
    return;
  children_.erase(place);
  const NumberedName freed(name);
  auto first = freed.number ? firstFree_.find(freed.base) : firstFree_.end();
  if (first != firstFree_.end())
    first->second = std::min(first->second, freed.number);
}

FNode* FNodeNames::find(std::string_view name, const FNode* besides) const
{
  if (name.empty()) {
    auto other = std::find_if(nameless_.begin(), nameless_.end(),
                              [besides](const FNode* child) { return child != besides; });
    return other == nameless_.end() ? nullptr : *other;
  }
  auto place = children_.find(name);
  return place == children_.end() || place->second == besides ? nullptr : place->second;
}

int32_t FNodeNames::firstFree(std::string_view name) const
{
  auto place = firstFree_.find(name);
  return place == firstFree_.end() ? 2 : place->second;
}

void FNodeNames::setFirstFree(std::string_view name, int32_t number)
{
  auto place = firstFree_.find(name);
  if (place == firstFree_.end())
    firstFree_.emplace(name, number);
  else
    place->second = number;
}

NumberedName::NumberedName(std::string_view name) : base(name)
{
  const size_t blank = name.rfind(' ');
  if (blank == name.npos || blank + 1 == name.size() || name[blank + 1] == '0')
    return;
  int32_t value = 0;
  const char* end = name.data() + name.size();
  auto [stop, error] = std::from_chars(name.data() + blank + 1, end, value);
  if (error != std::errc() || stop != end || value < 2 || value > lastNumber)
    return;
  base = name.substr(0, blank);
  number = value;
}

} // namespace orbi
