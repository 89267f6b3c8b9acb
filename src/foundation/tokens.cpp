#include "foundation/tokens.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(CmTokens);

void CmTokens::split(std::string_view text, std::string_view separators, EmptyTokens empty)
{
  std::vector<FText> tokens; // the text may be one of the present tokens
  for (size_t start = 0; start <= text.size();) {
    size_t end = std::min(text.find_first_of(separators, start), text.size());
    if (end > start || empty == EmptyTokens::keep)
      tokens.emplace_back(text.substr(start, end - start));
    start = end + 1;
  }
  tokens_.swap(tokens);
  cursor_ = 0;
}

const char* CmTokens::at(int32_t index) const
{
  return index >= 0 && static_cast<uint32_t>(index) < count() ? tokens_[size_t(index)].text()
                                                              : nullptr;
}

const char* CmTokens::next()
{
  const char* token = at(cursor_);
  if (token)
    ++cursor_;
  return token;
}

} // namespace orbi
