#include "foundation/regular_expression_parser.h"

#include <charconv>
#include <limits>

namespace orbi {

namespace {

constexpr size_t longestProgram = 2000; // instructions
constexpr int deepestGroup = 100;
constexpr size_t unbounded = std::numeric_limits<size_t>::max();

struct NamedByte {
  char letter;
  char byte;
};
constexpr NamedByte namedBytes[] = {{'t', '\t'}, {'n', '\n'}, {'r', '\r'},
                                    {'f', '\f'}, {'v', '\v'}, {'0', '\0'}};

bool isWord(int c)
{
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool isDigit(int c)
{
  return c >= '0' && c <= '9';
}

bool isSpace(int c)
{
  return c == ' ' || (c >= '\t' && c <= '\r');
}

struct NamedSet {
  char letter; // the capital one is all other bytes
  bool (*holds)(int c);
};
constexpr NamedSet namedSets[] = {{'d', isDigit}, {'w', isWord}, {'s', isSpace}};

} // namespace

bool RegularExpressionParser::parse(Program& program, std::vector<ByteSet>& sets)
{
  Program whole{{Op::save, 0}};
  append(whole, alternatives());
  whole.push_back({Op::save, 1});
  whole.push_back({Op::accept});
  if (failed_ || !rest_.empty())
    return false;
  program.swap(whole);
  sets.swap(sets_);
  return true;
}

RegularExpressionParser::Program RegularExpressionParser::fail()
{
  failed_ = true;
  rest_ = {};
  return {};
}

bool RegularExpressionParser::cut(std::string_view start)
{
  if (!rest_.starts_with(start))
    return false;
  rest_.remove_prefix(start.size());
  return true;
}

/// The next character, NUL with a failure at the end.
char RegularExpressionParser::cutOne()
{
  if (rest_.empty()) {
    fail();
    return 0;
  }
  char c = rest_.front();
  rest_.remove_prefix(1);
  return c;
}

void RegularExpressionParser::append(Program& program, const Program& piece)
{
  if (program.size() + piece.size() > longestProgram)
    fail();
  else
    program.insert(program.end(), piece.begin(), piece.end());
}

RegularExpressionParser::Program RegularExpressionParser::alternatives()
{
  Program first = sequence();
  if (!cut("|"))
    return first;
  Program others = alternatives();
  auto length = static_cast<int32_t>(first.size());
  Program all{{Op::split, 1, length + 2}};
  append(all, first);
  all.push_back({Op::jump, static_cast<int32_t>(others.size()) + 1});
  append(all, others);
  return all;
}

RegularExpressionParser::Program RegularExpressionParser::sequence()
{
  Program all;
  while (!rest_.empty() && !at('|') && !at(')')) {
    Program piece = atom();
    append(all, repeated(piece, repeat()));
  }
  return all;
}

RegularExpressionParser::Program RegularExpressionParser::atom()
{
  switch (char c = cutOne()) {
  case '(':
    return group();
  case '[':
    return setProgram(bracketSet());
  case '\\':
    return escape();
  case '^':
    return {{Op::textStart}};
  case '$':
    return {{Op::textEnd}};
  case '.':
    return setProgram(ByteSet().set('\n').flip());
  case '*':
  case '+':
  case '?':
    return fail(); // nothing to repeat
  default:
    return setProgram(ByteSet().set(static_cast<unsigned char>(c)));
  }
}

RegularExpressionParser::Program RegularExpressionParser::group()
{
  bool reported = !cut("?:");
  if ((reported && at('?')) || ++depth_ > deepestGroup)
    return fail();
  int number = reported ? ++groups_ : 0;
  reported = reported && number < static_cast<int>(CmRegularExpression::maxGroups);
  Program all;
  if (reported)
    all.push_back({Op::save, number * 2});
  append(all, alternatives());
  if (reported)
    all.push_back({Op::save, number * 2 + 1});
  --depth_;
  return cut(")") ? all : fail();
}

RegularExpressionParser::Program RegularExpressionParser::escape()
{
  char letter = cutOne();
  if (letter == 'b')
    return {{Op::wordEdge}};
  if (letter == 'B')
    return {{Op::noEdge}};
  ByteSet set;
  if (!namedSet(letter, set)) {
    int byte = escapedByte(letter);
    if (byte < 0)
      return fail();
    set.set(static_cast<size_t>(byte));
  }
  return setProgram(set);
}

bool RegularExpressionParser::namedSet(char letter, ByteSet& set) const
{
  for (const NamedSet& named : namedSets) {
    bool others = letter == named.letter - ('a' - 'A');
    if (letter != named.letter && !others)
      continue;
    for (int c = 0; c < 256; ++c)
      if (named.holds(c) != others)
        set.set(static_cast<size_t>(c));
    return true;
  }
  return false;
}

/// The byte that a backslash and the letter stand for, -1 for none.
int RegularExpressionParser::escapedByte(char letter)
{
  for (const NamedByte& named : namedBytes)
    if (named.letter == letter)
      return static_cast<unsigned char>(named.byte);
  if (letter == 'x' && rest_.size() >= 2) {
    int byte = 0;
    auto [end, error] = std::from_chars(rest_.data(), rest_.data() + 2, byte, 16);
    bool complete = error == std::errc{} && end == rest_.data() + 2 && byte >= 0;
    rest_.remove_prefix(2);
    return complete ? byte : -1;
  }
  return isWord(static_cast<unsigned char>(letter)) ? -1 : static_cast<unsigned char>(letter);
}

RegularExpressionParser::ByteSet RegularExpressionParser::bracketSet()
{
  ByteSet set;
  bool others = cut("^");
  for (bool first = true; !failed_ && (first || !at(']')); first = false) {
    int from = 0;
    if (!bracketItem(set, from))
      continue;
    int to = from;
    if (at('-') && rest_.size() > 1 && rest_[1] != ']') {
      cutOne();
      if (!bracketItem(set, to) || to < from)
        fail();
    }
    for (int c = from; c <= to; ++c)
      set.set(static_cast<size_t>(c));
  }
  if (!cut("]"))
    fail();
  // A byte excluded in one case is excluded in the other as well.
  if (others && ignoresCase_)
    for (int c = 'a'; c <= 'z'; ++c)
      if (set[size_t(c)] || set[size_t(c - 32)])
        set.set(size_t(c)).set(size_t(c - 32));
  return others ? ~set : set;
}

/// One byte within brackets; false for a named set, which is added, and on failure.
bool RegularExpressionParser::bracketItem(ByteSet& set, int& byte)
{
  char c = cutOne();
  byte = static_cast<unsigned char>(c);
  if (failed_ || c != '\\')
    return !failed_;
  char letter = cutOne();
  ByteSet named;
  if (namedSet(letter, named)) {
    set |= named;
    return false;
  }
  byte = escapedByte(letter);
  if (byte < 0)
    fail();
  return !failed_;
}

RegularExpressionParser::Program RegularExpressionParser::setProgram(ByteSet set)
{
  if (ignoresCase_)
    for (int c = 'a'; c <= 'z'; ++c)
      if (set[size_t(c)] || set[size_t(c - 32)])
        set.set(size_t(c)).set(size_t(c - 32));
  sets_.push_back(set);
  return {{Op::set, static_cast<int32_t>(sets_.size()) - 1}};
}

RegularExpressionParser::Repeat RegularExpressionParser::repeat()
{
  Repeat repeat;
  if (cut("*"))
    repeat = {0, unbounded, true};
  else if (cut("+"))
    repeat = {1, unbounded, true};
  else if (cut("?"))
    repeat = {0, 1, true};
  else if (!bounds(repeat))
    return repeat;
  repeat.eager = !cut("?");
  return repeat;
}

/// "{m}", "{m,}" or "{m,n}"; any other brace stands for itself.
bool RegularExpressionParser::bounds(Repeat& repeat)
{
  if (rest_.size() < 3 || !at('{') || !isDigit(rest_[1]))
    return false;
  const char* end = rest_.data() + rest_.size();
  auto [place, error] = std::from_chars(rest_.data() + 1, end, repeat.least);
  repeat.most = repeat.least;
  if (error == std::errc{} && place < end && *place == ',') {
    repeat.most = unbounded;
    if (++place < end && isDigit(*place)) {
      auto upper = std::from_chars(place, end, repeat.most);
      place = upper.ptr;
      error = upper.ec;
    }
  }
  if (error != std::errc{} || place == end || *place != '}' || repeat.most < repeat.least) {
    fail();
    return false;
  }
  rest_.remove_prefix(static_cast<size_t>(place + 1 - rest_.data()));
  return true;
}

RegularExpressionParser::Program RegularExpressionParser::repeated(const Program& piece,
                                                                   const Repeat& repeat)
{
  if (piece.empty() || (repeat.least == 1 && repeat.most == 1))
    return piece;
  auto length = static_cast<int32_t>(piece.size());
  auto fork = [&](int32_t behind) -> CmRegularExpression::Instruction {
    return repeat.eager ? CmRegularExpression::Instruction{Op::split, 1, behind}
                        : CmRegularExpression::Instruction{Op::split, behind, 1};
  };
  Program all;
  for (size_t i = 0; i < repeat.least && !failed_; ++i)
    append(all, piece);
  if (repeat.most == unbounded) {
    all.push_back(fork(length + 2));
    append(all, piece);
    all.push_back({Op::jump, -(length + 1)});
    return all;
  }
  for (size_t i = repeat.least; i < repeat.most && !failed_; ++i) {
    all.push_back(fork(length + 1));
    append(all, piece);
  }
  return all;
}

} // namespace orbi
