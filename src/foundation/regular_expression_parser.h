#pragma once

#include "foundation/regular_expression.h"

namespace orbi {

/// Turns a pattern into a program whose jumps are relative, so that repeated pieces are copies.
class RegularExpressionParser {
public:
  using Program = CmRegularExpression::Program;
  using ByteSet = CmRegularExpression::ByteSet;

  RegularExpressionParser(std::string_view pattern, bool ignoresCase)
      : rest_(pattern), ignoresCase_(ignoresCase)
  {
  }

  bool parse(Program& program, std::vector<ByteSet>& sets); ///< false for a wrong pattern

private:
  using Op = CmRegularExpression::Op;
  struct Repeat {
    size_t least = 1;
    size_t most = 1;
    bool eager = true;
  };

  Program alternatives();
  Program sequence();
  Program atom();
  Program group();
  Program escape();
  Program setProgram(ByteSet set);
  ByteSet bracketSet();
  bool bracketItem(ByteSet& set, int& byte);
  bool namedSet(char letter, ByteSet& set) const;
  int escapedByte(char letter);
  Repeat repeat();
  bool bounds(Repeat& repeat);
  Program repeated(const Program& piece, const Repeat& repeat);
  void append(Program& program, const Program& piece);

  bool at(char c) const { return !rest_.empty() && rest_.front() == c; }
  bool cut(std::string_view start);
  char cutOne();
  Program fail();

  std::string_view rest_;
  bool ignoresCase_;
  bool failed_ = false;
  int depth_ = 0;
  int groups_ = 0;
  std::vector<ByteSet> sets_;
};

} // namespace orbi
