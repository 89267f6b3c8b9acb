#pragma once

#include "foundation/string.h"

#include <array>
#include <bitset>
#include <vector>

namespace orbi {

/// Compiled regular expression. Patterns and texts may be anybody's: the time is bounded by the
/// product of their lengths, whatever the pattern, and nothing recurses with the text.
///
///   . ^ $          any byte but a line feed, start and end of the text
///   [a-z] [^a-z]   sets, with the classes below
///   \d \w \s       digits, word characters, white space; \D \W \S all others
///   \b \B          at a word's edge, or not
///   \t \n \r \xHH  bytes by name or number; a backslash takes the meaning from a mark
///   ( ) (?: ) |    groups, the first nine of them reported, and alternatives
///   * + ? {m,n}    as much as possible; with ? behind them as little as possible
class CmRegularExpression final : public CmClass<CmRegularExpression, CmObject> {
public:
  static constexpr const char* className = "CmRegularExpression";
  static constexpr size_t longestPattern = 1000;
  static constexpr size_t longestText = 65536;
  static constexpr size_t maxGroups = 10; ///< with the whole match, which is group 0

  struct Span {
    int32_t start = -1; ///< -1: the group took no part
    int32_t end = -1;
    bool operator==(const Span&) const = default;
  };
  using Groups = std::array<Span, maxGroups>;

  CmRegularExpression() = default;
  explicit CmRegularExpression(std::string_view pattern, TextCompare mode = TextCompare::bytes)
  {
    compile(pattern, mode);
  }

  /// False, and nothing matches any more, for a pattern that is wrong, too long or too big.
  bool compile(std::string_view pattern, TextCompare mode = TextCompare::bytes);
  bool isCompiled() const { return !program_.empty(); }
  const CmString& pattern() const { return pattern_; }

  // False for a text that is too long
  bool matches(std::string_view text, Groups* groups = nullptr) const; ///< the text as a whole
  /// The first match from there on: of those the leftmost, by the preferences of the pattern.
  bool search(std::string_view text, Groups* groups = nullptr, size_t from = 0) const;

  bool isEqual(const CmObject* other) const override; ///< same pattern and mode
  uint32_t hash(uint32_t tableSize) const override { return pattern_.hash(tableSize); }

private:
  friend class RegularExpressionParser;
  friend class RegularExpressionRun;

  enum class Op : uint8_t { set, split, jump, save, textStart, textEnd, wordEdge, noEdge, accept };
  struct Instruction {
    Op op;
    int32_t a = 0; ///< set: its number; split: preferred way, jump: way, from here; save: slot
    int32_t b = 0; ///< split: the other way, from here
  };
  using Program = std::vector<Instruction>;
  using ByteSet = std::bitset<256>;

  CmString pattern_;
  bool ignoresCase_ = false;
  Program program_; ///< empty without a pattern
  std::vector<ByteSet> sets_;
};

} // namespace orbi
