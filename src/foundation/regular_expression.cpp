#include "foundation/regular_expression.h"

#include "foundation/class_registry.h"
#include "foundation/regular_expression_parser.h"

#include <new>

namespace orbi {

CM_REGISTER(CmRegularExpression);

/// Walks the text once with all the ways through the program side by side, in order of preference.
class RegularExpressionRun {
public:
  using Op = CmRegularExpression::Op;
  enum class Extent { whole, part };

  RegularExpressionRun(const CmRegularExpression& expression, std::string_view text, Extent extent)
      : program_(expression.program_), sets_(expression.sets_), text_(text), extent_(extent),
        reached_(program_.size(), 0)
  {
  }

  bool run(size_t from)
  {
    for (size_t place = from; place <= text_.size(); ++place) {
      // Later starts have the lowest preference; none is made behind a match.
      if (!found_ && (extent_ == Extent::part || place == from))
        follow(now_, 0, place, Slots{});
      if (now_.empty() && (found_ || extent_ == Extent::whole))
        break;
      step(place);
    }
    return found_;
  }

  void report(CmRegularExpression::Groups& groups) const
  {
    for (size_t i = 0; i < groups.size(); ++i) {
      groups[i] = {best_.at[2 * i], best_.at[2 * i + 1]};
      if (groups[i].start < 0 || groups[i].end < 0)
        groups[i] = {};
    }
  }

private:
  struct Slots {
    Slots() { at.fill(-1); }
    std::array<int32_t, 2 * CmRegularExpression::maxGroups> at;
  };
  struct Way {
    size_t place; // of the instruction, a set or accept
    Slots slots;
  };
  struct Visit {
    size_t place;
    int32_t slot = -1; // not negative: puts the slot back to its former value instead
    int32_t former = -1;
  };

  void step(size_t place)
  {
    ++generation_;
    next_.clear();
    for (const Way& way : now_) {
      const auto& instruction = program_[way.place];
      if (instruction.op == Op::accept) {
        if (extent_ == Extent::whole && place != text_.size())
          continue;
        found_ = true;
        best_ = way.slots;
        break; // what is left is less preferred
      }
      if (place < text_.size() &&
          sets_[size_t(instruction.a)][static_cast<unsigned char>(text_[place])])
        follow(next_, way.place + 1, place + 1, way.slots);
    }
    now_.swap(next_);
  }

  /// Adds what can be reached without a byte. Each instruction is reached once at one place of the
  /// text, by the most preferred way.
  void follow(std::vector<Way>& ways, size_t start, size_t place, Slots slots)
  {
    visits_.assign(1, {start});
    while (!visits_.empty()) {
      Visit visit = visits_.back();
      visits_.pop_back();
      if (visit.slot >= 0) {
        slots.at[size_t(visit.slot)] = visit.former;
        continue;
      }
      if (reached_[visit.place] == generation_)
        continue;
      reached_[visit.place] = generation_;
      visitInstruction(ways, visit.place, place, slots);
    }
  }

  void visitInstruction(std::vector<Way>& ways, size_t here, size_t place, Slots& slots)
  {
    const auto& instruction = program_[here];
    auto target = [here](int32_t way) {
      return static_cast<size_t>(static_cast<int64_t>(here) + way);
    };
    switch (instruction.op) {
    case Op::set:
    case Op::accept:
      ways.push_back({here, slots});
      break;
    case Op::split:
      visits_.push_back({target(instruction.b)});
      visits_.push_back({target(instruction.a)});
      break;
    case Op::jump:
      visits_.push_back({target(instruction.a)});
      break;
    case Op::save: {
      int32_t& slot = slots.at[size_t(instruction.a)];
      visits_.push_back({0, instruction.a, slot});
      slot = static_cast<int32_t>(place);
      visits_.push_back({here + 1});
      break;
    }
    default:
      if (holds(instruction.op, place))
        visits_.push_back({here + 1});
    }
  }

  bool holds(Op condition, size_t place) const
  {
    switch (condition) {
    case Op::textStart:
      return place == 0;
    case Op::textEnd:
      return place == text_.size();
    default: {
      bool edge = isWordAt(place) != (place > 0 && isWordAt(place - 1));
      return edge == (condition == Op::wordEdge);
    }
    }
  }

  bool isWordAt(size_t place) const
  {
    char c = place < text_.size() ? text_[place] : ' ';
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
  }

  const CmRegularExpression::Program& program_;
  const std::vector<CmRegularExpression::ByteSet>& sets_;
  std::string_view text_;
  Extent extent_;
  std::vector<Way> now_;
  std::vector<Way> next_;
  std::vector<Visit> visits_;
  std::vector<uint32_t> reached_; // by instruction: the generation in which it was reached
  uint32_t generation_ = 1;
  bool found_ = false;
  Slots best_;
};

namespace {

bool runOver(const CmRegularExpression& expression, std::string_view text,
             RegularExpressionRun::Extent extent, size_t from, CmRegularExpression::Groups* groups)
try {
  if (!expression.isCompiled() || text.size() > CmRegularExpression::longestText)
    return false;
  RegularExpressionRun run(expression, text, extent);
  if (!run.run(from))
    return false;
  if (groups)
    run.report(*groups);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

} // namespace

bool CmRegularExpression::compile(std::string_view pattern, TextCompare mode)
try {
  program_.clear();
  sets_.clear();
  pattern_.set(pattern);
  ignoresCase_ =
      mode == TextCompare::ignoreCase || (mode == TextCompare::byFlag && !CmString::comparesBytes);
  return pattern.size() <= longestPattern &&
         RegularExpressionParser(pattern, ignoresCase_).parse(program_, sets_);
} catch (const std::bad_alloc&) {
  program_.clear();
  return false;
}

bool CmRegularExpression::matches(std::string_view text, Groups* groups) const
{
  return runOver(*this, text, RegularExpressionRun::Extent::whole, 0, groups);
}

bool CmRegularExpression::search(std::string_view text, Groups* groups, size_t from) const
{
  return runOver(*this, text, RegularExpressionRun::Extent::part, from, groups);
}

bool CmRegularExpression::isEqual(const CmObject* other) const
{
  auto* expression = castTo<CmRegularExpression>(other);
  return expression && expression->pattern_ == pattern_.view() &&
         expression->ignoresCase_ == ignoresCase_;
}

} // namespace orbi
