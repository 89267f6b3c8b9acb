#pragma once

#include "foundation/lock.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace orbi {

/// Who depends on whom, and the fan-outs under way, for one kind of pointers. All but `tell` is
/// called with the owner's lock held. Subjects are spread over the parts by their address without
/// its lowest bits.
template <class Subject, class Dependent, size_t parts, unsigned lowBits>
class FDependencyTable {
public:
  static constexpr size_t maxFanOut = 5000; ///< dependents of one subject that hear of a change

  void add(Subject* subject, Dependent* dependent) ///< duplicates are kept
  {
    Part& part = partOf(subject);
    part.insert(std::upper_bound(part.begin(), part.end(), subject, BySubject{}),
                {subject, dependent});
  }

  /// Either may be null, which means all of them, not both. Whether there was anything to remove.
  bool remove(const Subject* subject, const Dependent* dependent)
  {
    blankFanOuts(subject, dependent);
    auto isMeant = [=](const Pair& pair) { return !dependent || pair.dependent == dependent; };
    if (!subject) {
      size_t removed = 0;
      for (Part& part : parts_)
        removed += std::erase_if(part, isMeant);
      return removed > 0;
    }
    Part& part = partOf(subject);
    auto [first, last] = std::equal_range(part.begin(), part.end(), subject, BySubject{});
    auto rest = std::remove_if(first, last, isMeant);
    bool anyRemoved = rest != last;
    part.erase(rest, last);
    return anyRemoved;
  }

  bool knows(const Subject* subject) const
  {
    const Part& part = partOf(subject);
    return std::binary_search(part.begin(), part.end(), subject, BySubject{});
  }

  bool isTelling() const { return fanOuts_ != nullptr; }
  bool isBeingTold(const Subject* subject) const
  {
    for (const FanOut* fanOut = fanOuts_; fanOut; fanOut = fanOut->outer)
      if (fanOut->subject == subject)
        return true;
    return false;
  }

  /// Calls the dependents without the lock, and atEnd with it. False when there are none; then
  /// atEnd isn't called either.
  template <class AtEnd>
  bool tell(FLock& lock, Subject* subject, int32_t code, AtEnd atEnd)
  {
    Dependent* dependents[maxFanOut];
    FanOut fanOut{subject, dependents};
    {
      FGuard guard(lock);
      if (!begin(fanOut))
        return false;
    }
    for (size_t i = 0; i < fanOut.count; ++i)
      if (Dependent* dependent = Entry(dependents[i]).load(std::memory_order_relaxed))
        dependent->update(subject, code);
    FGuard guard(lock);
    end(fanOut);
    atEnd();
    return true;
  }

private:
  struct Pair {
    Subject* subject;
    Dependent* dependent;
  };
  /// Its dependents, of which those that leave are overwritten by null.
  struct FanOut {
    const Subject* subject;
    Dependent** dependents;
    size_t count = 0;
    FanOut* outer = nullptr;
  };
  struct BySubject {
    static bool before(const void* a, const void* b) { return std::less<const void*>{}(a, b); }
    bool operator()(const Pair& a, const Subject* b) const { return before(a.subject, b); }
    bool operator()(const Subject* a, const Pair& b) const { return before(a, b.subject); }
  };
  using Part = std::vector<Pair>; ///< sorted by subject; one subject's pairs in order of addition
  /// Another thread may take a dependent out of a fan-out while it is called.
  using Entry = std::atomic_ref<Dependent*>;

  static size_t indexOf(const Subject* subject)
  {
    return (reinterpret_cast<uintptr_t>(subject) >> lowBits) % parts;
  }
  Part& partOf(const Subject* subject) { return parts_[indexOf(subject)]; }
  const Part& partOf(const Subject* subject) const { return parts_[indexOf(subject)]; }

  bool begin(FanOut& fanOut)
  {
    Part& part = partOf(fanOut.subject);
    auto [pair, last] = std::equal_range(part.begin(), part.end(), fanOut.subject, BySubject{});
    for (; pair != last && fanOut.count < maxFanOut; ++pair)
      fanOut.dependents[fanOut.count++] = pair->dependent;
    if (fanOut.count == 0)
      return false;
    fanOut.outer = fanOuts_;
    fanOuts_ = &fanOut;
    return true;
  }

  /// Fan-outs of several threads end in any order.
  void end(FanOut& fanOut)
  {
    FanOut** link = &fanOuts_;
    while (*link && *link != &fanOut)
      link = &(*link)->outer;
    if (*link)
      *link = fanOut.outer;
  }

  void blankFanOuts(const Subject* subject, const Dependent* dependent)
  {
    for (FanOut* fanOut = fanOuts_; fanOut; fanOut = fanOut->outer) {
      if (subject && fanOut->subject != subject)
        continue;
      for (size_t i = 0; i < fanOut->count; ++i)
        if (!dependent || fanOut->dependents[i] == dependent)
          Entry(fanOut->dependents[i]).store(nullptr, std::memory_order_relaxed);
    }
  }

  std::array<Part, parts> parts_;
  FanOut* fanOuts_ = nullptr;
};

} // namespace orbi
