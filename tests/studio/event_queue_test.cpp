#include "studio/event_queue.h"

#include <gtest/gtest.h>
#include <random>

using namespace orbi;

namespace {

Ref<PEvent> at(double time, uint64_t tag = 0)
{
  auto event = make<PEvent>();
  event->setTime(time);
  event->sourceTag = tag;
  return event;
}

std::vector<uint64_t> tagsOf(const PEventQueue& queue)
{
  std::vector<uint64_t> tags;
  for (PEvent* event = queue.firstEvent(); event; event = PEventQueue::nextEvent(event))
    tags.push_back(event->sourceTag);
  return tags;
}

/// Its owner interface is its only sense.
class Owner final : public CmObject, public IEventOwner {
public:
  CmResult queryInterface(const FUID& id, void** out) override
  {
    if (id != IEventOwner::interfaceId)
      return CmObject::queryInterface(id, out);
    retain();
    *out = static_cast<IEventOwner*>(this);
    return resultOk;
  }
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
};

} // namespace

TEST(EventQueue, events_stand_by_time_and_equal_ones_by_arrival)
{
  PEventQueue queue;
  EXPECT_FALSE(queue.insertEvent(nullptr));
  const double times[] = {5, 5, 5, 1, 9, 5, 1, -1};
  for (uint64_t tag = 0; tag < std::size(times); ++tag)
    EXPECT_TRUE(queue.insertEvent(at(times[tag], tag).get()));
  EXPECT_EQ(tagsOf(queue), (std::vector<uint64_t>{7, 3, 6, 0, 1, 2, 5, 4}));
  EXPECT_EQ(queue.lastEvent()->sourceTag, 4u);

  std::mt19937 random(3);
  std::vector<std::pair<double, uint64_t>> expected;
  PEventQueue large;
  for (uint64_t tag = 0; tag < 500; ++tag) {
    expected.emplace_back(random() % 40, tag);
    large.insertEvent(at(expected.back().first, tag).get());
  }
  std::sort(expected.begin(), expected.end());
  std::vector<uint64_t> tags = tagsOf(large);
  ASSERT_EQ(tags.size(), expected.size());
  for (size_t i = 0; i < tags.size(); ++i)
    ASSERT_EQ(tags[i], expected[i].second);
}

TEST(EventQueue, shares_its_events_and_lets_go_of_them)
{
  Ref<PEvent> event = at(1.0);
  {
    PEventQueue queue;
    queue.insertEvent(event.get());
    EXPECT_EQ(event->refCount(), 2);
    EXPECT_EQ(queue.at(0), event.get());
    EXPECT_EQ(queue.at(1), nullptr);
    EXPECT_TRUE(queue.remove(event.get()));
    EXPECT_EQ(event->refCount(), 1);
    queue.addEvent(event.get());
  }
  EXPECT_EQ(event->refCount(), 1);
}

TEST(EventQueue, a_clear_that_finds_the_queue_busy_is_put_off)
{
  PEventQueueLocked queue;
  queue.insertEvent(at(1.0).get());
  queue.busy = 1;
  queue.removeAll();
  EXPECT_TRUE(queue.clearDeferred());
  EXPECT_EQ(queue.count(), 1u);
  EXPECT_EQ(queue.busy, 1);
  queue.busy = 0;
  queue.removeAll();
  EXPECT_FALSE(queue.clearDeferred());
  EXPECT_EQ(queue.count(), 0u);
  EXPECT_EQ(queue.busy, 0);
}

TEST(Event, trimming_keeps_the_end_and_only_the_end_is_clamped)
{
  Ref<PEvent> event = at(10.0);
  event->setEnd(14.0);
  EXPECT_EQ(event->getLength(), 4.0);
  event->trimStart(6.0);
  EXPECT_EQ(event->getTime(), 16.0);
  EXPECT_EQ(event->getLength(), -2.0);
  EXPECT_EQ(event->getContentOffset(), 6.0);
  EXPECT_EQ(event->getEnd(), 14.0);
  event->setEnd(15.0);
  EXPECT_EQ(event->getLength(), 0.0);
  event->setLength(3.0);
  event->trimEnd(1.0);
  EXPECT_EQ(event->getLength(), 2.0);
  event->trimEnd(5.0);
  EXPECT_EQ(event->getLength(), 0.0);
  EXPECT_EQ(make<PEvent>()->getTime(), -1.0);
}

TEST(Event, a_copy_shares_the_attachment_and_stands_in_no_queue)
{
  auto attachment = make<CmObject>();
  Ref<PEvent> event = at(3.0, 77);
  event->setAttachment(attachment.get());
  event->scratch = 5;
  event->channelTag = 6;
  event->flags = eventMidi | eventTransient;
  PEventQueue queue;
  queue.insertEvent(event.get());
  queue.insertEvent(at(4.0).get());
  auto copy = Ref<PEvent>::adopt(static_cast<PEvent*>(event->clone()));
  EXPECT_EQ(copy->next(), nullptr);
  EXPECT_EQ(copy->scratch, 0u);
  EXPECT_EQ(copy->sourceTag, 77u);
  EXPECT_EQ(copy->channelTag, 6u);
  EXPECT_EQ(copy->getTime(), 3.0);
  copy->clearTransientFlag();
  EXPECT_EQ(copy->flags, eventMidi);
  EXPECT_EQ(attachment->refCount(), 3);
  queue.removeAll();
  event = copy = nullptr;
  EXPECT_EQ(attachment->refCount(), 1);
}

TEST(Event, the_interface_knows_owner_and_neighbour)
{
  Owner owner;
  PEventQueue queue;
  Ref<PEvent> first = at(1.0);
  queue.insertEvent(first.get());
  queue.insertEvent(at(2.0, 9).get());
  void* found = nullptr;
  ASSERT_EQ(first->queryInterface(IEvent::interfaceId, &found), resultOk);
  auto* event = static_cast<IEvent*>(found);
  EXPECT_EQ(first->refCount(), 3);
  EXPECT_EQ(event->getOwner(), nullptr);
  first->ownerRef = &owner;
  EXPECT_EQ(event->getOwner(), static_cast<IEventOwner*>(&owner));
  EXPECT_EQ(owner.refCount(), 2);
  EXPECT_EQ(event->getNextEvent(event)->getStart(), 2.0);
  IEvent* last = event->getNextEvent(event);
  EXPECT_EQ(last->getNextEvent(event), nullptr);
  EXPECT_EQ(event->getNextEvent(nullptr), nullptr);
  EXPECT_EQ(event->getNextEvent(static_cast<CmObject*>(&owner)), nullptr); // no event
  EXPECT_EQ(event->getSubInterface(), nullptr);
  event->release();
}
