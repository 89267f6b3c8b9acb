#include "midi/midi_event.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/memory_stream.h"
#include "shared/crowd.h"

#include <gtest/gtest.h>

using namespace orbi;

namespace {

std::vector<uint8_t> bytesOf(const PSysexChunk& chunk)
{
  return {chunk.getData(), chunk.getData() + chunk.getSize()};
}

} // namespace

TEST(MidiEvent, status_and_channel_share_a_byte_below_240_only)
{
  PMidiEvent event(0x85, 60, 64);
  EXPECT_TRUE(event.isMidi());
  event.setStatus(0x90);
  EXPECT_EQ(event.status, 0x95);
  EXPECT_EQ(event.getStatus(), 0x90);
  event.setChannel(19);
  EXPECT_EQ(event.status, 0x93);
  event.setStatus(0xF8);
  EXPECT_EQ(event.getStatus(), 0xF8);
  event.setChannel(2);
  EXPECT_EQ(event.status, 0xF8);
  EXPECT_EQ(event.getChannel(), 8);
}

TEST(MidiEvent, a_copy_of_any_kind_is_a_midi_event_with_its_bytes)
{
  PCrescendo ramp;
  ramp.status = 0x91;
  ramp.data3 = 7;
  ramp.endValue = 50;
  ramp.rampLength = 2.5;
  ramp.flags = eventNoAutoNoteOff;
  auto copy = Ref<CmObject>::adopt(ramp.clone());
  auto* same = castTo<PCrescendo>(copy.get());
  ASSERT_NE(same, nullptr);
  EXPECT_EQ(same->flags, eventMidi | eventNoAutoNoteOff);
  EXPECT_EQ(same->data3, 7);
  EXPECT_EQ(same->startValue, 100);
  EXPECT_EQ(same->endValue, 50);
  EXPECT_EQ(same->rampLength, 2.5);
}

TEST(MidiEvent, sysex_copies_share_their_bytes_and_an_empty_one_has_none)
{
  PSysexEvent event;
  EXPECT_EQ(event.getSize(), 0u);
  EXPECT_EQ(event.getByte(0), 0);
  EXPECT_NE(event.getData(), nullptr);
  EXPECT_FALSE(event.isComplete());
  for (uint8_t byte : {0xF0, 0x41, 0xF7})
    EXPECT_TRUE(event.append(byte));
  EXPECT_TRUE(event.isComplete());
  EXPECT_EQ(event.getByte(1), 0x41);
  EXPECT_EQ(event.getByte(3), 0);
  auto copy = Ref<PSysexEvent>::adopt(static_cast<PSysexEvent*>(event.clone()));
  EXPECT_EQ(copy->chunk(), event.chunk());
  EXPECT_EQ(event.chunk()->refCount(), 2);
}

TEST(MidiEvent, a_chain_owns_its_events_and_copies_each)
{
  auto chain = make<PMidiString>();
  auto* note = new PMidiEvent(0x90, 60, 1);
  EXPECT_TRUE(chain->addEvent(note));
  EXPECT_FALSE(chain->addEvent(nullptr));
  const uint8_t bytes[] = {0xF0, 0xF7};
  EXPECT_TRUE(chain->append(bytes, 2));
  auto copy = Ref<PMidiString>::adopt(static_cast<PMidiString*>(chain->clone()));
  chain = nullptr;
  EXPECT_EQ(copy->count(), 1u);
  EXPECT_EQ(castTo<PMidiEvent>(copy->itemAt(0))->data1, 60);
  EXPECT_EQ(copy->itemAt(1), nullptr);
  EXPECT_EQ(copy->itemAt(-1), nullptr);
  EXPECT_TRUE(copy->isComplete());
}

TEST(MidiEvent, a_meta_event_copies_its_block)
{
  PSmfEvent event;
  EXPECT_EQ(event.metaType, 0x2F);
  event.setData("tempo", 5);
  PSmfEvent copy(event);
  event.setData("x", 1);
  EXPECT_EQ(copy.dataSize(), 5u);
  EXPECT_EQ(copy.data()[0], 't');
}

TEST(SysexChunk, comes_back_from_a_stream_and_a_cut_one_changes_nothing)
{
  PSysexChunk chunk;
  for (int i = 0; i < 100; ++i)
    chunk.append(uint8_t(i));
  FMemoryStream stream;
  ASSERT_TRUE(chunk.write(stream));
  ASSERT_EQ(stream.size(), 108);
  for (int64_t size = 0; size <= stream.size(); ++size) {
    std::vector<uint8_t> cut(stream.data(), stream.data() + size);
    FMemoryStream source(cut.data(), size);
    PSysexChunk loaded;
    loaded.append(0x55);
    bool whole = size == stream.size();
    ASSERT_EQ(loaded.read(source), whole) << size;
    ASSERT_EQ(bytesOf(loaded), whole ? bytesOf(chunk) : std::vector<uint8_t>{0x55});
  }
}

TEST(SysexChunk, comes_back_from_attributes_in_one_block_or_several)
{
  const uint8_t bytes[] = {0xF0, 1, 2, 3, 0xF7};
  PSysexChunk chunk;
  chunk.append(bytes, 5);
  FAttributes one;
  ASSERT_TRUE(chunk.storeAttributes(one));
  EXPECT_EQ(one.getInt("ChunkSize0"), 5);
  EXPECT_FALSE(one.has("ChunkCounter"));
  PSysexChunk loaded;
  ASSERT_TRUE(loaded.loadAttributes(one));
  EXPECT_EQ(bytesOf(loaded), bytesOf(chunk));

  FAttributes several;
  several.setInt("ChunkCounter", 3);
  for (int i = 0; i < 3; ++i) {
    const std::string number = std::to_string(i);
    several.setInt(("ChunkSize" + number).c_str(), 2 - i % 2);
    several.setBinary(("Chunk" + number).c_str(), bytes + i, 2 - i % 2, true);
  }
  PSysexChunk gathered;
  ASSERT_TRUE(gathered.loadAttributes(several));
  EXPECT_EQ(bytesOf(gathered), (std::vector<uint8_t>{0xF0, 1, 1, 2, 3}));
  several.setInt("ChunkCounter", -1); // no data: nothing is appended
  ASSERT_TRUE(gathered.loadAttributes(several));
  EXPECT_EQ(gathered.getSize(), 5u);

  for (int64_t size : {int64_t(6), int64_t(-1), INT64_MAX}) { // lies about its block
    one.setInt("ChunkSize0", size);
    EXPECT_FALSE(gathered.loadAttributes(one));
    EXPECT_EQ(gathered.getSize(), 5u);
  }
}

TEST(EventPool, grows_by_releases_up_to_its_capacity)
{
  PEventPool pool;
  EXPECT_EQ(pool.freeBlocks(), 0u);
  std::vector<void*> blocks;
  for (uint32_t i = 0; i < PEventPool::capacity + 1; ++i)
    blocks.push_back(pool.allocate());
  for (void* block : blocks)
    pool.release(block);
  pool.release(nullptr);
  EXPECT_EQ(pool.freeBlocks(), PEventPool::capacity);
  EXPECT_NE(std::find(blocks.begin(), blocks.end(), blocks.emplace_back(pool.allocate())),
            blocks.end() - 1); // one of those that came back
  pool.release(blocks.back());
  PEventPool prepared;
  prepared.prepare(10);
  prepared.prepare(5);
  EXPECT_EQ(prepared.freeBlocks(), 10u);
}

TEST(EventPool, serves_several_threads)
{
  Crowd crowd(3, [] {
    for (int turn = 0; turn < 300; ++turn) {
      std::vector<Ref<PMidiEvent>> events;
      for (uint8_t i = 0; i < 20; ++i)
        events.push_back(make<PMidiEvent>(uint8_t(0x90), i, i));
      for (uint8_t i = 0; i < 20; ++i)
        ASSERT_EQ(events[i]->data1, i);
    }
  });
}
