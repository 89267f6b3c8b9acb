#include "foundation/buffered_stream.h"
#include "foundation/file_stream.h"
#include "foundation/stream_helpers.h"
#include "platform/temporary_folder.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace orbi;

namespace {

std::string contents(const std::filesystem::path& path)
{
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

TEST(FileStream, mode_decides_what_becomes_of_the_file)
{
  struct Case {
    uint32_t mode;
    const char* there;    // after writing "xy" to a file with "old text"
    const char* notThere; // null where the file can't be opened
  };
  constexpr Case cases[] = {
      {openRead, "old text", nullptr},
      {openRead | openWrite, "xyd text", nullptr},
      {openWrite | openSizeBySeeking, "xyd text", nullptr},
      {openWrite | openCreate, "xy", "xy"},
      {openAppend, "old textxy", "xy"},
      {openWrite | openCreate | openNew, nullptr, "xy"},
  };
  for (const Case& c : cases) {
    TemporaryFolder folder;
    folder.write("there", "old text");
    for (bool there : {true, false}) {
      const auto path = folder / (there ? "there" : "not there");
      const char* expected = there ? c.there : c.notThere;
      FFileStream stream;
      ASSERT_EQ(stream.open(path, c.mode), expected != nullptr) << c.mode;
      EXPECT_EQ(stream.firstError(), expected ? 0 : there ? EEXIST : ENOENT);
      const bool writable = c.mode & (openWrite | openAppend);
      EXPECT_EQ(put(stream, "xy"), expected && writable ? 2 : 0);
      if (!expected)
        continue;
      EXPECT_EQ(stream.close(), true);
      EXPECT_EQ(contents(path), expected) << c.mode;
    }
  }
}

TEST(FileStream, first_error_survives_until_it_is_reset)
{
  FFileStream stream;
  ASSERT_TRUE(stream.open("/dev/full", openWrite));
  EXPECT_EQ(put(stream, "text"), 0);
  EXPECT_EQ(stream.firstError(), ENOSPC);
  EXPECT_FALSE(stream.setSize(-1));
  EXPECT_EQ(stream.firstError(), ENOSPC);
  stream.resetError();
  EXPECT_FALSE(stream.setSize(-1));
  EXPECT_EQ(stream.firstError(), EINVAL);
  stream.close();
  EXPECT_EQ(take(stream, 1), "");
  EXPECT_TRUE(stream.atEnd());
  EXPECT_EQ(stream.firstError(), EINVAL);

  TextBufferPool pool;
  ASSERT_TRUE(stream.open("/dev/full", openWrite));
  FBufferedStream buffered(&stream, pool);
  EXPECT_EQ(put(buffered, "text"), 4);
  EXPECT_FALSE(buffered.flush());
  EXPECT_EQ(stream.firstError(), ENOSPC);
}

TEST(FileStream, size_can_be_asked_and_set_without_moving)
{
  TemporaryFolder folder;
  for (uint32_t mode : {0u, uint32_t(openSizeBySeeking)}) {
    FFileStream stream;
    ASSERT_TRUE(stream.open(folder / "file", openWrite | openCreate | mode));
    put(stream, "0123456789");
    EXPECT_TRUE(stream.atEnd());
    EXPECT_EQ(stream.seek(-7, SeekMode::end), 3);
    EXPECT_EQ(stream.seek(0, static_cast<SeekMode>(3)), -1);
    EXPECT_EQ(stream.seek(0, static_cast<SeekMode>(-1)), -1);
    EXPECT_TRUE(stream.setSize(6));
    EXPECT_EQ(stream.size(), 6);
    EXPECT_FALSE(stream.atEnd());
    EXPECT_EQ(take(stream, 100), "345");
    EXPECT_TRUE(stream.atEnd());
    EXPECT_TRUE(stream.flush());
    EXPECT_EQ(stream.firstError(), 0);
  }
}

TEST(FileStream, monitor_stops_a_transfer_before_the_file_is_touched)
{
  TemporaryFolder folder;
  FFileStream stream;
  ASSERT_TRUE(stream.open(folder / "file", openWrite | openCreate));
  Monitor monitor;
  monitor.questionsLeft = 2;
  stream.setProgress(&monitor);
  EXPECT_EQ(put(stream, "0123"), 4);
  stream.seek(-2, SeekMode::current);
  EXPECT_EQ(monitor.position, 2);
  EXPECT_EQ(take(stream, 10), "23");
  EXPECT_EQ(monitor.position, 12); // what was asked for, not what came
  stream.seek(-1, SeekMode::start);
  EXPECT_EQ(monitor.position, 12);
  stream.seek(1, SeekMode::start);
  EXPECT_EQ(monitor.position, 1);
  char byte = 0;
  EXPECT_EQ(stream.read(&byte, 1), -1);
  EXPECT_EQ(put(stream, "X"), -1);
  EXPECT_EQ(stream.tell(), 1);
  EXPECT_EQ(monitor.position, 1);
  stream.close();
  EXPECT_EQ(contents(folder / "file"), "0123");
}

TEST(FileStream, page_in_front_of_a_file_changes_nothing_but_the_pace)
{
  TemporaryFolder folder;
  TextBufferPool pool;
  std::string model(1000, '.');
  folder.write("file", model);
  for (unsigned seed = 0; seed < 4; ++seed) {
    auto file = make<FFileStream>();
    ASSERT_TRUE(file->open(folder / "file", openRead | openWrite));
    auto stream = make<FBufferedStream>(file.get(), pool, 16);
    EXPECT_EQ(differenceFrom(*stream, model, true, seed), "");
    stream = nullptr;
    EXPECT_EQ(file->firstError(), 0);
    EXPECT_EQ(contents(folder / "file"), model);
  }
  auto file = make<FFileStream>();
  ASSERT_TRUE(file->open(folder / "file", openRead));
  FBufferedStream reading(file.get(), pool, 64);
  EXPECT_EQ(differenceFrom(reading, model, false, 9), "");

  auto log = make<FFileStream>();
  ASSERT_TRUE(log->open(folder / "file", openAppend));
  FBufferedStream appending(log.get(), pool, 16);
  for (int i = 0; i < 30; ++i)
    put(appending, "line\n"), model += "line\n";
  EXPECT_TRUE(appending.flush());
  EXPECT_EQ(log->firstError(), 0);
  EXPECT_EQ(contents(folder / "file"), model);
}
