#include "foundation/attributes.h"
#include "foundation/block_stream_reader.h"
#include "foundation/buffer_stream.h"
#include "foundation/buffered_stream.h"
#include "foundation/stream_counter.h"
#include "foundation/stream_helpers.h"
#include "foundation/stream_proxy.h"

#include <functional>
#include <gtest/gtest.h>
#include <thread>

using namespace orbi;

namespace {

std::string line(FStream& stream, int64_t size = 100)
{
  char buffer[101];
  int64_t length = stream.readLine(buffer, size);
  EXPECT_EQ(std::strlen(buffer), static_cast<size_t>(length));
  return buffer;
}

bool writeOneOfEach(FStream& stream)
{
  const int16_t shorts[] = {-1, 2};
  return stream.writeInt8(-3) && stream.writeUint16(0x1234) && stream.writeInt32(-70000) &&
         stream.writeUint64(0x0102030405060708u) && stream.writeFloat(1.5f) &&
         stream.writeDouble(-2.25) && stream.writeBool(true) && stream.writeArray(shorts, 2);
}

struct OneOfEach {
  int8_t a = 99;
  uint16_t b = 99;
  int32_t c = 99;
  uint64_t d = 99;
  float e = 99;
  double f = 99;
  bool g = true;
  int16_t h[2] = {99, 99};

  bool read(FStream& s)
  {
    const bool done[] = {s.readInt8(a),  s.readUint16(b), s.readInt32(c), s.readUint64(d),
                         s.readFloat(e), s.readDouble(f), s.readBool(g),  s.readArray(h, 2)};
    return std::all_of(std::begin(done), std::end(done), std::identity());
  }
};

} // namespace

TEST(Stream, line_loses_cr_lf_but_keeps_a_bare_lf)
{
  auto stream = memoryWith(std::string_view("a\nb\r\n\r\nc\0defgh", 14));
  EXPECT_EQ(line(*stream), "a\n");
  EXPECT_EQ(line(*stream), "b");
  EXPECT_EQ(line(*stream), "");
  EXPECT_EQ(line(*stream), "c");
  EXPECT_EQ(line(*stream, 3), "def");
  EXPECT_EQ(line(*stream), "gh");
  EXPECT_EQ(line(*stream), "");
}

TEST(Stream, typed_values_come_back_in_either_byte_order_and_cut_ones_are_zero)
{
  for (bool swap : {false, true}) {
    FMemoryStream stream;
    stream.setSwapsBytes(swap);
    ASSERT_TRUE(writeOneOfEach(stream));
    ASSERT_EQ(stream.size(), 1 + 2 + 4 + 8 + 4 + 8 + 2 + 4);
    EXPECT_EQ(stream.data()[1], swap ? 0x12 : 0x34);
    for (int64_t size = stream.size(); size >= 0; --size) {
      auto cut = memoryWith(textOf(stream).substr(0, static_cast<size_t>(size)));
      cut->setSwapsBytes(swap);
      OneOfEach values;
      ASSERT_EQ(values.read(*cut), size == stream.size()) << size;
      EXPECT_EQ(values.a, size >= 1 ? -3 : 0);
      EXPECT_EQ(values.b, size >= 3 ? 0x1234 : 0);
      EXPECT_EQ(values.c, size >= 7 ? -70000 : 0);
      if (size < 7)
        continue; // what is left over is read by the fields that follow
      EXPECT_EQ(values.d, size >= 15 ? 0x0102030405060708u : 0u);
      EXPECT_EQ(values.f, size >= 27 ? -2.25 : 0.0);
      EXPECT_EQ(values.g, size >= 29);
      EXPECT_EQ(values.h[0], size >= 31 ? -1 : 0);
      EXPECT_EQ(values.h[1], size >= 33 ? 2 : size >= 31 ? 0 : 99);
    }
  }
}

TEST(Stream, block_of_unknown_contents_can_be_skipped_on_every_stream)
{
  TextBufferPool pool;
  FMemoryStream memory;
  FMemoryStream behindPage;
  FBufferedStream buffered(&behindPage, pool, 16);
  FBuffer bytes;
  FBufferStream overBuffer(bytes);
  FStreamCounter counter;
  for (FStream* stream :
       std::initializer_list<FStream*>{&memory, &buffered, &overBuffer, &counter}) {
    int64_t outer = stream->beginBlock();
    int64_t inner = stream->beginBlock();
    EXPECT_EQ(put(*stream, "unknown"), 7);
    EXPECT_TRUE(stream->endBlock(inner));
    EXPECT_TRUE(stream->endBlock(outer));
    EXPECT_EQ(put(*stream, "next"), 4);
    EXPECT_EQ(stream->tell(), 19) << stream->getClassName();
    EXPECT_TRUE(stream->flush());
  }
  EXPECT_EQ(textOf(memory), textOf(behindPage));
  EXPECT_EQ(textOf(memory), std::string(reinterpret_cast<char*>(bytes.data()), bytes.used()));
  memory.rewind();
  EXPECT_EQ(memory.readBlock(), 15);
  auto end = memory.readBlock();
  ASSERT_EQ(end, 15);
  memory.seek(*end, SeekMode::start);
  EXPECT_EQ(take(memory, 9), "next");
  EXPECT_EQ(memory.readBlock(), std::nullopt);
  EXPECT_FALSE(memory.endBlock(100));
}

TEST(Stream, text_too_long_to_read_is_left_behind)
{
  FMemoryStream stream;
  const std::string longest(49999, 'x');
  stream.writeText(longest.c_str());
  stream.writeText((longest + "x").c_str());
  stream.writeText(nullptr);
  stream.writeText("next");
  stream.rewind();
  CmString text;
  EXPECT_TRUE(text.read(stream));
  EXPECT_EQ(text.view(), longest);
  EXPECT_FALSE(text.read(stream));
  EXPECT_EQ(stream.readText(), nullptr);
  std::unique_ptr<char[]> next(stream.readText());
  EXPECT_STREQ(next.get(), "next");
  EXPECT_EQ(stream.tell(), stream.size());
}

TEST(Stream, copy_fails_where_the_target_is_full_or_the_user_stops)
{
  const std::string text(3000, 'x');
  auto source = memoryWith(text);
  char room[2999];
  FMemoryStream small(room, sizeof room);
  TextBufferPool pool;
  FBufferedStream stream(source.get(), pool);
  Monitor monitor;
  monitor.questionsLeft = 2;
  FMemoryStream target;
  EXPECT_TRUE(stream.copyTo(target));
  EXPECT_EQ(textOf(target), text);
  EXPECT_FALSE(stream.copyTo(small));
  EXPECT_FALSE(source->copyTo(small));
  stream.setProgress(&monitor);
  EXPECT_FALSE(stream.copyTo(target));
}

TEST(MemoryStream, callers_block_takes_its_size_and_not_a_byte_more)
{
  char block[10] = {};
  FMemoryStream stream(block, sizeof block);
  EXPECT_EQ(put(stream, "0123456789"), 10);
  EXPECT_EQ(put(stream, "x"), 0);
  EXPECT_FALSE(stream.isValid());
  stream.rewind();
  EXPECT_EQ(put(stream, "x"), 0);
  EXPECT_EQ(textOf(stream), "0123456789");
  FMemoryStream nothing(nullptr, 10);
  EXPECT_EQ(take(nothing, 5), "");
  EXPECT_EQ(put(nothing, "x"), 0);
}

TEST(MemoryStream, seeking_checks_nothing_but_the_end)
{
  auto stream = memoryWith("0123456789");
  EXPECT_EQ(stream->seek(1, SeekMode::end), 10);
  EXPECT_EQ(stream->seek(-1, SeekMode::end), 9);
  EXPECT_EQ(stream->seek(20, SeekMode::start), 20);
  EXPECT_EQ(take(*stream, 1), "");
  EXPECT_EQ(stream->tell(), 10);
  EXPECT_EQ(stream->seek(-30, SeekMode::current), -20);
  EXPECT_EQ(put(*stream, "x"), 0);
  EXPECT_EQ(take(*stream, 1), "");
  stream->seek(INT64_MIN, SeekMode::current);
  stream->seek(INT64_MAX, SeekMode::start);
  EXPECT_EQ(stream->seek(5, SeekMode::current), INT64_MAX);
  EXPECT_EQ(put(*stream, "x"), 0);
  EXPECT_EQ(stream->size(), 10);
  stream->seek(12, SeekMode::start);
  EXPECT_EQ(put(*stream, "x"), 1);
  EXPECT_EQ(textOf(*stream), std::string("0123456789\0\0x", 13));
}

TEST(MemoryStream, capacity_moves_in_steps_and_contents_move_with_their_stream)
{
  FMemoryStream stream;
  put(stream, std::string(4096, 'a'));
  EXPECT_EQ(stream.capacity(), 4096);
  put(stream, "b");
  EXPECT_EQ(stream.capacity(), 8192);
  stream.setSwapsBytes(true);
  FMemoryStream copy(stream);
  FMemoryStream moved(std::move(stream));
  EXPECT_EQ(textOf(moved), textOf(copy));
  FMemoryStream assigned;
  assigned = moved;
  EXPECT_TRUE(moved.swapsBytes() && assigned.swapsBytes());
  EXPECT_FALSE(assigned.resize(INT64_MAX) || assigned.isValid());
  EXPECT_EQ(assigned.data(), nullptr);
  EXPECT_EQ(stream.data(), nullptr);
  EXPECT_EQ(put(stream, "again"), 5);
  moved.seek(3, SeekMode::start);
  moved.truncateToPosition();
  moved.trimCapacity();
  EXPECT_EQ(moved.capacity(), 3);
  EXPECT_EQ(textOf(moved), "aaa");
  EXPECT_TRUE(moved.resize(0));
  EXPECT_EQ(moved.data(), nullptr);
}

TEST(BufferStream, cursor_is_the_buffers_length)
{
  FBuffer buffer(16);
  FBufferStream stream(buffer);
  EXPECT_EQ(put(stream, "0123456789"), 10);
  ASSERT_EQ(buffer.capacity(), 26u);
  EXPECT_EQ(stream.seek(4, SeekMode::start), 4);
  EXPECT_EQ(take(stream, 3), "456");
  EXPECT_EQ(buffer.used(), 7u);
  EXPECT_EQ(put(stream, "XY"), 2);
  EXPECT_EQ(stream.seek(-3, SeekMode::current), 6);
  EXPECT_EQ(take(stream, 100), std::string("6XY9") + std::string(16, '\0'));
  EXPECT_EQ(take(stream, 1), "");
  EXPECT_EQ(buffer.used(), 0u);
  EXPECT_EQ(stream.seek(20, SeekMode::end), 6);
  EXPECT_EQ(stream.seek(30, SeekMode::start), 30);
  EXPECT_GE(buffer.capacity(), 30u);
  for (int64_t offset : {INT64_MAX, INT64_MIN, INT64_C(-31), INT64_C(0x100000000)})
    EXPECT_EQ(stream.seek(offset, SeekMode::current), 30);
}

TEST(StreamProxy, windows_onto_one_source_keep_apart)
{
  auto source = memoryWith("..firstsecond..");
  FStreamProxy first(source.get(), 2, 5);
  FStreamProxy second(source.get(), 7, 6);
  EXPECT_EQ(take(first, 2), "fi");
  EXPECT_EQ(take(second, 3), "sec");
  EXPECT_EQ(take(first, 100), "rst");
  EXPECT_EQ(take(first, 1), "");
  EXPECT_EQ(first.tell(), 5);
  EXPECT_EQ(first.seek(-2, SeekMode::end), 3);
  EXPECT_EQ(put(first, "STUVW"), 2);
  EXPECT_EQ(textOf(*source), "..firSTsecond..");
  EXPECT_EQ(first.seek(-9, SeekMode::current), 0);
  EXPECT_EQ(first.seek(INT64_MAX, SeekMode::start), 5);
  EXPECT_EQ(first.seek(INT64_MIN, SeekMode::end), 0);
  second.rewind();
  EXPECT_EQ(take(second, 9), "second");

  FStreamProxy rest(source.get(), 13, 0);
  EXPECT_EQ(put(rest, "..more"), 6);
  EXPECT_EQ(rest.seek(-4, SeekMode::end), 2);
  EXPECT_EQ(take(rest, 9), "more");
  FStreamProxy nothing;
  EXPECT_EQ(nothing.tell(), -1);
  EXPECT_EQ(nothing.seek(3, SeekMode::start), -1);
  EXPECT_EQ(take(nothing, 1), "");
}

TEST(StreamCounter, measures_what_a_write_would_write)
{
  FAttributes attributes;
  attributes.setString("name", "value");
  attributes.appendInt("list", 3);
  FMemoryStream written;
  FStreamCounter counter;
  ASSERT_TRUE(attributes.write(written));
  ASSERT_TRUE(attributes.write(counter));
  EXPECT_EQ(counter.tell(), written.size());
  EXPECT_EQ(counter.seek(4, SeekMode::end), written.size() - 4);
  EXPECT_EQ(counter.seek(-1000, SeekMode::current), 0);
  EXPECT_EQ(counter.seek(INT64_MIN, SeekMode::end), 0);
  EXPECT_EQ(counter.maximum(), written.size());
  counter.seek(INT64_MAX, SeekMode::start);
  EXPECT_EQ(put(counter, "x"), 0);
  counter.rewind();
  EXPECT_EQ(counter.maximum(), 0);
}

TEST(BlockStreamReader, gives_the_sources_bytes_whatever_the_order_of_steps)
{
  std::string model;
  for (int i = 0; i < 500; ++i)
    model += static_cast<char>('A' + i % 61);
  for (unsigned seed = 0; seed < 20; ++seed) {
    auto source = memoryWith(model);
    FBlockStreamReader reader(source.get(), 1 + seed);
    EXPECT_EQ(differenceFrom(reader, model, false, seed), "");
  }
  auto source = memoryWith(model);
  source->seek(100, SeekMode::start);
  FBlockStreamReader reader(source.get());
  EXPECT_EQ(take(reader, 3), model.substr(100, 3));
  EXPECT_EQ(reader.seek(0, SeekMode::end), -1);
  EXPECT_EQ(put(reader, "x"), 0);
  EXPECT_EQ(reader.seek(-200, SeekMode::current), 103);
  FBlockStreamReader nothing(nullptr);
  EXPECT_EQ(take(nothing, 3), "");
}

TEST(BufferedStream, holds_what_was_written_whatever_the_order_of_steps)
{
  TextBufferPool pool;
  for (unsigned seed = 0; seed < 20; ++seed) {
    std::string model(100, 'x');
    auto source = memoryWith(model);
    {
      FBufferedStream stream(source.get(), pool, 16 + seed % 3);
      EXPECT_EQ(differenceFrom(stream, model, true, seed), "");
    }
    EXPECT_EQ(textOf(*source), model);
  }
}

TEST(BufferedStream, tells_once_that_a_page_could_not_be_handed_over)
{
  TextBufferPool pool;
  char room[20];
  FMemoryStream small(room, sizeof room);
  FBufferedStream stream(&small, pool, 16);
  EXPECT_EQ(put(stream, "0123456789abcdef"), 16);
  EXPECT_EQ(put(stream, "0123456789"), 10);
  EXPECT_EQ(stream.seek(0, SeekMode::end), 26);
  stream.seek(0, SeekMode::start);
  EXPECT_FALSE(stream.flush());
  EXPECT_TRUE(stream.flush());
  for (int64_t offset : {INT64_MIN, INT64_C(-1)})
    EXPECT_EQ(stream.seek(offset, SeekMode::current), 0);
  FBufferedStream nothing(nullptr, pool);
  EXPECT_EQ(put(nothing, "x"), 0);
  EXPECT_EQ(take(nothing, 1), "");
  EXPECT_FALSE(nothing.flush());
}

TEST(BufferedStream, reading_asks_the_monitor_and_seeking_moves_it)
{
  TextBufferPool pool;
  auto source = memoryWith("0123456789");
  FBufferedStream stream(source.get(), pool);
  Monitor monitor;
  monitor.questionsLeft = 1;
  stream.setProgress(&monitor);
  EXPECT_EQ(take(stream, 4), "0123");
  stream.seek(2, SeekMode::current);
  EXPECT_EQ(monitor.position, 6);
  char byte = 0;
  EXPECT_EQ(stream.read(&byte, 1), -1);
  EXPECT_EQ(stream.tell(), 6);
  stream.seek(1, SeekMode::start);
  EXPECT_EQ(monitor.position, 1);
}

TEST(TextBufferPool, gives_a_buffer_to_one_user_at_a_time_and_keeps_only_so_many)
{
  TextBufferPool pool;
  auto use = [&pool](uint8_t mark) {
    for (int i = 0; i < 2000; ++i) {
      PoolBuffer page = pool.take(4096);
      page.data()[0] = page.data()[4095] = mark;
      PoolBuffer line = pool.take(1);
      std::memset(line.data(), mark, line.capacity());
      EXPECT_EQ(page.data()[0], mark);
      EXPECT_EQ(page.data()[4095], mark);
    }
  };
  std::thread other(use, uint8_t(1));
  use(2);
  other.join();
  {
    std::vector<PoolBuffer> many;
    for (int i = 0; i < 1000; ++i)
      many.push_back(pool.take(1500));
    for (size_t bytes : {65536u, 65537u, 1u << 20})
      EXPECT_GE(many.emplace_back(pool.take(bytes)).capacity(), bytes);
  }
  EXPECT_LE(pool.bytesHeld(), 4 * TextBufferPool::keptBytes);
  size_t held = pool.bytesHeld();
  PoolBuffer again = pool.take(2048);
  EXPECT_EQ(pool.bytesHeld(), held - 2048);
}
