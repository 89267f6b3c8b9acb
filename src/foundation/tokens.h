#pragma once

#include "foundation/string.h"

#include <vector>

namespace orbi {

/// What stands between two separators with nothing between them.
enum class EmptyTokens { skip, keep };

/// Text split into tokens. Each separator is one byte; the tokens are copies.
class CmTokens final : public CmClass<CmTokens, CmObject> {
public:
  static constexpr const char* className = "CmTokens";
  static constexpr std::string_view whiteSpace = " \t\r\n";

  CmTokens() = default;
  explicit CmTokens(std::string_view text, std::string_view separators = whiteSpace,
                    EmptyTokens empty = EmptyTokens::skip)
  {
    split(text, separators, empty);
  }

  /// Replaces what was there. Keeping the empty ones, an empty text is one empty token.
  void split(std::string_view text, std::string_view separators = whiteSpace,
             EmptyTokens empty = EmptyTokens::skip);

  uint32_t count() const { return static_cast<uint32_t>(tokens_.size()); }
  const char* at(int32_t index) const; ///< null outside
  const char* next();                  ///< null behind the last one
  void rewind() { cursor_ = 0; }

private:
  std::vector<FText> tokens_;
  int32_t cursor_ = 0;
};

} // namespace orbi
