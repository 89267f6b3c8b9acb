#pragma once

#include "foundation/ref.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace orbi {

class PInput;

/// The inputs that an output reaches, as the threads see them that send. The main thread publishes
/// a new list with each change; readers walk the one they found, without a lock, an allocation or a
/// system call, and announce themselves while they do.
///
/// Readers count themselves on one of two sides. A change turns the side over, so that the writer
/// waits for those readers only who came before it, however many come after.
class PPublishedConnections {
public:
  using Inputs = std::vector<Ref<PInput>>;

  PPublishedConnections();
  PPublishedConnections(const PPublishedConnections&) = delete;
  ~PPublishedConnections(); ///< nobody may be reading, or come to

  /// One thread at a time. Returns when no other thread walks a former list, and lets go of its
  /// inputs then; so the caller may hold no lock that an input takes. From inside a visit of this
  /// very object it returns at once, and the former list lives on until a later change.
  void publish(Inputs inputs);

  /// Calls visit(PInput&) for each input, in order. Any thread; visits may nest.
  template <class Visit>
  void visitInputs(const Visit& visit)
  {
    if (!current_.load(std::memory_order_relaxed))
      return;
    Reader reader(*this);
    // In one order with the counting: who isn't seen by the writer sees what the writer published.
    if (const Inputs* inputs = current_.load(std::memory_order_seq_cst))
      for (const Ref<PInput>& input : *inputs)
        visit(*input);
  }

private:
  using ReaderCount = std::atomic<uint32_t>;

  /// A visit under way on this thread; they form a list through all objects.
  class Reader {
  public:
    explicit Reader(PPublishedConnections& of)
        : subject(&of), outer(innermost_),
          count_(of.readers_[of.side_.load(std::memory_order_relaxed)])
    {
      innermost_ = this;
      count_.fetch_add(1, std::memory_order_seq_cst);
    }
    ~Reader()
    {
      innermost_ = outer;
      count_.fetch_sub(1, std::memory_order_release);
    }
    Reader(const Reader&) = delete;

    const PPublishedConnections* subject;
    const Reader* outer;

  private:
    ReaderCount& count_;
  };

  bool isVisitedHere() const;
  void waitForReaders();

  static inline constinit thread_local const Reader* innermost_ = nullptr;

  std::atomic<const Inputs*> current_{nullptr}; ///< owned; null for an empty list
  ReaderCount readers_[2]{};
  std::atomic<uint32_t> side_{0};
  std::vector<std::unique_ptr<const Inputs>> retired_; ///< changed from inside a visit of theirs
};

} // namespace orbi
