#include "drivers/test_host.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <sys/resource.h>
#include <thread>

namespace {

struct WavFile {
  int channels = 0;
  int rate = 0;
  int bits = 0;
  bool isFloat = false;
  bool hasPeak = false;
  std::string data;
};

template <class Number>
Number number(const std::string& bytes, size_t offset)
{
  Number value{};
  if (offset + sizeof value <= bytes.size())
    std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

WavFile parseWav(const std::string& bytes)
{
  WavFile wav;
  EXPECT_EQ(number<uint32_t>(bytes, 0), 0x46464952U) << "RIFF";
  EXPECT_EQ(number<uint32_t>(bytes, 4), bytes.size() - 8);
  for (size_t at = 12; at + 8 <= bytes.size();) {
    const std::string id = bytes.substr(at, 4);
    const auto size = number<uint32_t>(bytes, at + 4);
    const size_t body = at + 8;
    if (id == "fmt ") {
      const auto tag = number<uint16_t>(bytes, body);
      wav.isFloat = (tag == 0xFFFE ? number<uint16_t>(bytes, body + 24) : tag) == 3;
      wav.channels = number<uint16_t>(bytes, body + 2);
      wav.rate = number<int32_t>(bytes, body + 4);
      wav.bits = number<uint16_t>(bytes, body + 14);
    } else if (id == "data" && body + size <= bytes.size()) {
      wav.data = bytes.substr(body, size);
    }
    wav.hasPeak |= id == "PEAK";
    at = body + size + size % 2;
  }
  return wav;
}

/// Bytes that differ for every channel, block and place.
uint8_t sampleByte(int channel, int block, size_t i)
{
  return static_cast<uint8_t>(i * 31 + block * 7 + channel * 101 + 1);
}

void fillWithBytes(TestHost& host, int frames)
{
  host.fill = [&host, frames](int block, int half) {
    for (const LoomBufferInfo& info : host.buffers)
      for (size_t i = 0; i < size_t(frames) * 4; ++i)
        static_cast<uint8_t*>(info.buffers[half])[i] = sampleByte(info.channel, block, i);
  };
}

/// Plays that many blocks on these channels and answers what the last stop said.
int32_t render(TestHost& host, const std::vector<int>& channels, int frames, int blocks)
{
  if (!host.fill)
    fillWithBytes(host, frames);
  host.stopAfter = blocks;
  EXPECT_TRUE(host.init()) << host.error();
  EXPECT_EQ(host.createBuffers(channels, frames), loomOk);
  const int32_t started = host.start();
  if (started != loomOk)
    return started;
  EXPECT_TRUE(host.waitForBlocks(blocks));
  return host.stop();
}

class FileDriver : public testing::Test {
protected:
  const Variable fast_{"LOOM_FILE_REALTIME", "0"};
  TemporaryFolder folder_;
  const std::string path_ = folder_ / "out.wav";
};

TEST_F(FileDriver, every_sample_type_reaches_the_file_bit_for_bit)
{
  struct Row {
    const char* name;
    int type;
    int bytes;
    bool big;
  };
#define ROW(name, type, bytes, big) {#name, type, bytes, big != 0},
  const Row rows[] = {LOOM_SAMPLE_FORMATS(ROW)};
#undef ROW
  const int frames = 7;
  const int blocks = 5;
  const Variable path("LOOM_FILE_PATH", path_);
  const Variable rate("LOOM_FILE_RATE", "22050");
  const Variable outputs("LOOM_FILE_OUTPUTS", "3");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Variable format("LOOM_FILE_FORMAT", row.name);
    TestHost host("file");
    ASSERT_EQ(render(host, {2, 0}, frames, blocks), loomOk) << host.error();
    EXPECT_EQ(host.sampleType(), row.type);

    const WavFile wav = parseWav(readFile(path_));
    EXPECT_EQ(wav.channels, 3);
    EXPECT_EQ(wav.rate, 22050);
    EXPECT_EQ(wav.bits, row.bytes * 8);
    EXPECT_EQ(wav.isFloat, std::string(row.name).starts_with("float"));
    EXPECT_FALSE(wav.hasPeak) << "it would carry the time of day";
    std::string expected;
    for (int frame = 0; frame < frames * blocks; ++frame)
      for (int channel = 0; channel < 3; ++channel)
        for (int byte = 0; byte < row.bytes; ++byte) {
          const size_t from = size_t(frame % frames) * row.bytes;
          const size_t i = from + (row.big ? row.bytes - 1 - byte : byte);
          expected += static_cast<char>(channel == 1 ? 0 : sampleByte(channel, frame / frames, i));
        }
    EXPECT_EQ(wav.data, expected);
  }
}

TEST_F(FileDriver, same_blocks_give_equal_files_and_the_former_file_stays_until_then)
{
  const Variable path("LOOM_FILE_PATH", path_);
  TestHost host("file");
  ASSERT_EQ(render(host, {0, 1}, 256, 700), loomOk);
  const std::string first = readFile(path_);
  EXPECT_EQ(parseWav(first).data.size(), 700U * 256 * 8);

  fillWithBytes(host, 256);
  host.fill = [&, bytes = host.fill](int block, int half) {
    bytes(block, half);
    if (block == 699) {
      EXPECT_EQ(readFile(path_).size(), first.size());
    }
  };
  host.disposeBuffers();
  ASSERT_EQ(render(host, {0, 1}, 256, 700), loomOk);
  EXPECT_EQ(readFile(path_), first);
  std::filesystem::remove(path_);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()))
      << "a file was left beside the finished one";
}

TEST_F(FileDriver, bad_value_fails_init_and_is_named)
{
  const std::pair<const char*, const char*> rows[] = {
      {"LOOM_FILE_RATE", "0"},           {"LOOM_FILE_RATE", "48000Hz"},
      {"LOOM_FILE_RATE", "99999999999"}, {"LOOM_FILE_BLOCK", "-1"},
      {"LOOM_FILE_BLOCK", "65537"},      {"LOOM_FILE_OUTPUTS", "129"},
      {"LOOM_FILE_FORMAT", "int12"},     {"LOOM_FILE_REALTIME", "yes"},
  };
  for (const auto& [name, value] : rows) {
    const Variable variable(name, value);
    TestHost host("file");
    EXPECT_FALSE(host.init()) << name << "=" << value;
    EXPECT_NE(host.error().find(name), std::string::npos) << host.error();
  }
}

TEST_F(FileDriver, file_that_can_not_be_made_fails_the_start_with_words)
{
  for (const std::string& bad :
       {(folder_ / "none/out.wav").string(), (folder_ / ".").string(), path_ + "/"}) {
    const Variable path("LOOM_FILE_PATH", bad);
    TestHost host("file");
    EXPECT_NE(render(host, {0, 1}, 64, 1), loomOk) << bad;
    EXPECT_NE(host.error(), "") << bad;
    EXPECT_EQ(host.blocks, 0);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(FileDriver, failed_write_is_told_at_the_end_and_leaves_no_file)
{
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{300000, before.rlim_max};
  const Variable path("LOOM_FILE_PATH", path_);
  TestHost host("file");
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  const int32_t result = render(host, {0, 1}, 256, 400);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_NE(result, loomOk);
  EXPECT_EQ(host.blocks, 400) << "the driver goes on without the file";
  EXPECT_NE(host.error().find("can't be written"), std::string::npos) << host.error();
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));

  host.disposeBuffers();
  EXPECT_EQ(render(host, {0, 1}, 256, 10), loomOk) << "the next run starts afresh";
}

TEST_F(FileDriver, block_that_outlasts_a_stop_finds_its_buffers_and_is_written)
{
  const Variable path("LOOM_FILE_PATH", path_);
  const Variable block("LOOM_FILE_BLOCK", "64");
  TestHost host("file");
  host.outlastAStop();
  EXPECT_EQ(parseWav(readFile(path_)).data,
            std::string(size_t(3 * 64 * 8), '\0') + std::string(size_t(64 * 8), '\1'));
}

TEST_F(FileDriver, full_device_is_an_error_and_stays_a_device)
{
  const Variable path("LOOM_FILE_PATH", "/dev/full");
  TestHost host("file");
  EXPECT_NE(render(host, {0, 1}, 256, 10), loomOk);
  EXPECT_NE(host.error(), "");
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST_F(FileDriver, link_to_a_file_stays_a_link)
{
  const std::string link = folder_ / "link.wav";
  std::ofstream(path_) << "old";
  std::filesystem::create_symlink(path_, link);
  const Variable path("LOOM_FILE_PATH", link);
  TestHost host("file");
  ASSERT_EQ(render(host, {0, 1}, 256, 3), loomOk) << host.error();
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(parseWav(readFile(path_)).data.size(), 3U * 256 * 8);
}

TEST(FileDriverInRealTime, never_runs_ahead_of_the_clock_and_skips_what_a_stall_has_lost)
{
  TestHost host("file");
  host.fill = [](int block, int) {
    if (block == 10)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
  };
  ASSERT_EQ(render(host, {0, 1}, 48, 40), loomOk);
  const Switch& first = host.switches.front();
  for (const Switch& seen : host.switches) {
    const uint64_t elapsed = (seen.timeStamp - first.timeStamp) * 48 / 1000000;
    EXPECT_LE(seen.position, elapsed + 48);
  }
  EXPECT_GE(host.switches[11].position - host.switches[10].position, 48U * 45);
}

} // namespace
