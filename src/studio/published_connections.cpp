#include "studio/published_connections.h"

#include "studio/port.h"

#include <chrono>
#include <thread>

namespace orbi {

namespace {

void waitForZero(const std::atomic<uint32_t>& count)
{
  constexpr int yields = 100; // a visit takes microseconds, unless its thread lost the processor
  for (int i = 0; count.load(std::memory_order_seq_cst) != 0; ++i) {
    if (i < yields)
      std::this_thread::yield();
    else
      std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
}

} // namespace

PPublishedConnections::PPublishedConnections() = default;

PPublishedConnections::~PPublishedConnections()
{
  delete current_.load(std::memory_order_acquire);
}

void PPublishedConnections::publish(Inputs inputs)
{
  std::unique_ptr<const Inputs> next;
  if (!inputs.empty())
    next = std::make_unique<const Inputs>(std::move(inputs));
  std::unique_ptr<const Inputs> former(
      current_.exchange(next.release(), std::memory_order_seq_cst));
  if (!former && retired_.empty())
    return;
  if (isVisitedHere()) {
    retired_.push_back(std::move(former));
    return;
  }
  waitForReaders();
  std::vector<std::unique_ptr<const Inputs>> past = std::move(retired_);
  retired_.clear(); // before the last references go: what dies then may change connections
}

bool PPublishedConnections::isVisitedHere() const
{
  for (const Reader* reader = innermost_; reader; reader = reader->outer)
    if (reader->subject == this)
      return true;
  return false;
}

/// A reader that learned the side before the former turn may count itself there as late as now.
/// Hence both sides are waited for, first the one on which no new readers come.
void PPublishedConnections::waitForReaders()
{
  const uint32_t side = side_.load(std::memory_order_relaxed);
  waitForZero(readers_[side ^ 1]);
  side_.store(side ^ 1, std::memory_order_relaxed);
  waitForZero(readers_[side]);
}

} // namespace orbi
