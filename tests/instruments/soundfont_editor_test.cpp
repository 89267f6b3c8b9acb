#include "instruments/plugin.h"
#include "instruments/x_display.h"
#include "shared/realtime_watch.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>

namespace {

namespace fs = std::filesystem;

// Where things lie at scale 1.
constexpr int presetX = 480, secondPresetY = 152, channelX = 100, secondChannelY = 127;
constexpr int gainX = 709, gainY = 95;
constexpr int lowestCX = 37, middleCX = 488, keysTop = 495, whitesTop = 575, keysBottom = 608;
enum KeyCode { end = 9, down = 14 };
constexpr int32_t hostTag = 0x73744341, wheelTag = 0x57686565;

class SoundFontEditor : public testing::Test {
protected:
  void SetUp() override
  {
    if (!display_.runs())
      GTEST_SKIP() << "no Xvfb";
    if (!fs::exists(ORBI_SOUNDFONT_MODULE) || !Plugin(ORBI_SOUNDFONT_MODULE).loaded())
      GTEST_SKIP() << "built without FluidSynth, or no SoundFont file on this machine";
    user_.emplace();
  }

  XDisplay display_;
  std::optional<XUser> user_;
};

/// The instrument with its editor in a window of ours.
struct Shown : Plugin {
  explicit Shown(XUser& by) : Plugin(ORBI_SOUNDFONT_MODULE), user(by)
  {
    const OrbRect* rect = nullptr;
    call(opEditorGetRect, 0, 0, &rect);
    parent = user.makeWindow(rect->right - rect->left, rect->bottom - rect->top);
    open();
  }
  void open()
  {
    call(opEditorOpen, 0, 0, reinterpret_cast<void*>(uintptr_t{parent}));
    window = user.childOf(parent);
  }
  /// Plays on, idles, and answers whether it came true within a while.
  template <class Condition>
  bool becomes(Condition condition)
  {
    const auto last = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (; !condition(); std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
      play(64);
      call(opEditorIdle);
      if (std::chrono::steady_clock::now() > last)
        return false;
    }
    return true;
  }
  bool sounds()
  {
    const Sound sound = play(2400);
    return std::max(peakOf(sound[0]), peakOf(sound[1])) > 1e-3f;
  }
  bool isLit(int x) { return user.pixel(parent, x, whitesTop) >> 16 < 0xB0; }

  XUser& user;
  xcb_window_t parent = 0;
  xcb_window_t window = 0;
};

long countOf(const char* folder)
{
  return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

/// The system's SoundFont with the samples upside down, so that it sounds and is told apart.
struct OtherFont {
  OtherFont()
  {
    std::ifstream in("/usr/share/sounds/sf2/TimGM6mb.sf2", std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    const size_t samples = bytes.find("smpl") + 8;
    for (size_t i = samples; i < bytes.size() * 9 / 10; ++i)
      bytes[i] = static_cast<char>(~bytes[i]);
    std::ofstream(path, std::ios::binary) << bytes;
  }
  ~OtherFont() { fs::remove(path); }
  static std::string uri()
  {
    return "file:///tmp/orbi%20other" + std::to_string(getpid()) + ".sf2";
  }
  const std::string path = "/tmp/orbi other" + std::to_string(getpid()) + ".sf2";
};

Plugin::Sound chord(Plugin& plugin)
{
  plugin.send({{0x90, 60, 100}, {0x91, 64, 90}, {0x99, 38, 110}});
  return plugin.play(12000);
}

TEST_F(SoundFontEditor, has_no_rectangle_without_a_display_and_grows_with_its_scale)
{
  const auto widthOf = [](Plugin& plugin) {
    const OrbRect* rect = nullptr;
    plugin.call(opEditorGetRect, 0, 0, &rect);
    return rect ? rect->right - rect->left : 0;
  };
  Plugin plugin(ORBI_SOUNDFONT_MODULE);
  const int width = widthOf(plugin);
  EXPECT_GT(width, 600);
  const std::string resources = "Xcursor.size:\t24\nXft.dpi:\t144\n";
  xcb_change_property(user_->connection(), XCB_PROP_MODE_REPLACE, user_->root(),
                      XCB_ATOM_RESOURCE_MANAGER, XCB_ATOM_STRING, 8,
                      static_cast<uint32_t>(resources.size()), resources.data());
  user_->sync();
  EXPECT_EQ(widthOf(plugin), width * 3 / 2);
  const Variable scale("GDK_SCALE", "2");
  EXPECT_EQ(widthOf(plugin), width * 2);
  const Variable nowhere("DISPLAY", ":4711");
  EXPECT_EQ(widthOf(plugin), 0);
}

TEST_F(SoundFontEditor, opens_and_closes_many_times_and_leaves_nothing_behind)
{
  Shown plugin(*user_);
  plugin.call(opEditorClose);
  const long files = countOf("/proc/self/fd"), threads = countOf("/proc/self/task");
  for (int i = 0; i < 20; ++i) {
    plugin.open();
    EXPECT_NE(plugin.window, 0u);
    plugin.user.click(plugin.window, presetX, secondPresetY);
    plugin.call(opEditorIdle);
    plugin.call(opEditorClose);
    EXPECT_EQ(countOf("/proc/self/fd"), files);
    EXPECT_EQ(countOf("/proc/self/task"), threads);
  }
  plugin.call(opEditorClose);
  plugin.call(opEditorOpen, 0, 0, reinterpret_cast<void*>(uintptr_t{0xDEAD})); // no such window
  EXPECT_EQ(plugin.call(opEditorKeyDown, 0, down), 0);
}

TEST_F(SoundFontEditor, mouse_keys_and_wheel_choose_presets_on_the_chosen_channel)
{
  Shown plugin(*user_);
  plugin.on();
  const auto programIs = [&](int program) {
    return plugin.becomes([&] { return plugin.call(opGetProgram) == program; });
  };
  user_->click(plugin.window, presetX, secondPresetY);
  EXPECT_TRUE(programIs(1));
  EXPECT_EQ(plugin.call(opEditorKeyDown, 0, down), 1);
  EXPECT_TRUE(programIs(2));
  constexpr float control = 8;
  EXPECT_EQ(plugin.call(opEditorKeyDown, 0, down, nullptr, control), 0);
  EXPECT_EQ(plugin.call(opEditorKeyDown, ' '), 0);
  for (const char letter : {'v', 'i', 'b'})
    EXPECT_EQ(plugin.call(opEditorKeyDown, letter, letter + 0x50), 1);
  EXPECT_TRUE(programIs(11));
  plugin.call(opEditorKeyDown, 0, end);
  EXPECT_TRUE(programIs(127));
  EXPECT_EQ(plugin.call(opEditorKeyDown, 0, down), 1);

  user_->pointer(plugin.window, XCB_MOTION_NOTIFY, presetX, secondPresetY);
  user_->click(plugin.window, channelX, secondChannelY);
  const auto before = plugin.chunk(0);
  user_->click(plugin.window, presetX, secondPresetY);
  EXPECT_TRUE(plugin.becomes([&] { return plugin.chunk(0) != before; }));
  EXPECT_EQ(plugin.call(opGetProgram), 127); // of the first channel
  EXPECT_EQ(plugin.call(opVendorSpecific, hostTag, wheelTag, nullptr, -120), 1);
  EXPECT_EQ(plugin.call(opVendorSpecific, hostTag, 0x3F41626F), 0);
}

TEST_F(SoundFontEditor, keyboard_plays_louder_further_down_and_what_midi_plays_is_lit)
{
  Shown plugin(*user_);
  plugin.on();
  ASSERT_TRUE(
      plugin.becomes([&] { return user_->pixel(plugin.parent, middleCX, whitesTop) != 0; }));
  float peaks[2] = {};
  for (int i : {0, 1}) {
    user_->pointer(plugin.window, XCB_BUTTON_PRESS, lowestCX, i ? keysBottom : keysTop);
    ASSERT_TRUE(plugin.becomes([&] { return plugin.isLit(lowestCX); }));
    peaks[i] = peakOf(plugin.play(9600)[0]);
    user_->pointer(plugin.window, XCB_MOTION_NOTIFY, middleCX, keysBottom); // sliding on
    EXPECT_TRUE(plugin.becomes([&] { return plugin.isLit(middleCX) && !plugin.isLit(lowestCX); }));
    user_->pointer(plugin.window, XCB_BUTTON_RELEASE, middleCX, keysBottom);
    EXPECT_TRUE(plugin.becomes([&] { return !plugin.isLit(middleCX); }));
    plugin.play(96000);
    EXPECT_FALSE(plugin.sounds());
  }
  EXPECT_GT(peaks[1], 1.5f * peaks[0]);
  plugin.send({{0x90, 60, 90}});
  EXPECT_TRUE(plugin.becomes([&] { return plugin.isLit(middleCX); }));
  plugin.send({{0xB0, 123, 0}});
  EXPECT_TRUE(plugin.becomes([&] { return !plugin.isLit(middleCX); }));

  user_->pointer(plugin.window, XCB_BUTTON_PRESS, middleCX, keysBottom);
  ASSERT_TRUE(plugin.becomes([&] { return plugin.isLit(middleCX); }));
  plugin.call(opEditorClose); // with the key still held
  plugin.play(96000);
  EXPECT_FALSE(plugin.sounds());
}

TEST_F(SoundFontEditor, knobs_are_the_instruments_parameters)
{
  Shown plugin(*user_);
  const float preset = plugin.get(0);
  user_->pointer(plugin.window, XCB_BUTTON_PRESS, gainX, gainY);
  user_->pointer(plugin.window, XCB_MOTION_NOTIFY, gainX, gainY - 2000);
  user_->pointer(plugin.window, XCB_BUTTON_RELEASE, gainX, gainY - 2000);
  EXPECT_TRUE(plugin.becomes([&] { return plugin.get(0) == 1.0f; }));
  user_->pointer(plugin.window, XCB_BUTTON_PRESS, gainX, gainY, 5); // the wheel, towards the user
  EXPECT_TRUE(plugin.becomes([&] { return plugin.get(0) < 1.0f && plugin.get(0) > 0.9f; }));
  user_->click(plugin.window, gainX, gainY);
  user_->click(plugin.window, gainX, gainY, 100);
  EXPECT_TRUE(plugin.becomes([&] { return plugin.get(0) == preset; }));
}

TEST_F(SoundFontEditor, outlives_the_hosts_window_and_the_display)
{
  Shown first(*user_), second(*user_);
  for (Shown* plugin : {&first, &second})
    plugin->on();
  xcb_destroy_window(user_->connection(), first.parent);
  user_->sync();
  second.send({{0x90, 60, 90}});
  display_.end();
  for (Shown* plugin : {&first, &second}) {
    for (int i = 0; i < 50; ++i) {
      plugin->send({{0x90, 60, 90}});
      plugin->play(256);
      plugin->call(opEditorIdle);
      plugin->call(opEditorKeyDown, 0, down);
      plugin->call(opVendorSpecific, hostTag, wheelTag, nullptr, 120);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(plugin->sounds());
    plugin->call(opEditorClose);
    plugin->open();
  }
}

TEST_F(SoundFontEditor,
       dropped_soundfont_plays_on_is_part_of_the_bank_and_a_bad_one_changes_nothing)
{
  const OtherFont font;
  Shown plugin(*user_);
  plugin.on();
  const auto without = plugin.chunk(0);
  EXPECT_FALSE(user_->drop(plugin.window, "http://example.org/a.sf2\r\n"));
  EXPECT_TRUE(user_->drop(plugin.window, "file:///proc/self/status\r\n"));
  const uint32_t quiet = user_->pixel(plugin.parent, 900, 30);
  plugin.becomes([&] { return user_->pixel(plugin.parent, 900, 30) != quiet; }); // it says so
  EXPECT_EQ(plugin.chunk(0), without);

  plugin.send({{0x90, 60, 100}, {0xC1, 48, 0}, {0xB1, 7, 90}});
  const long allocations = RealtimeWatch::counted().allocations;
  ASSERT_TRUE(plugin.becomes([&] { // refused while the bad one is still looked at
    user_->drop(plugin.window, OtherFont::uri() + "\r\n");
    plugin.play(256);
    return plugin.chunk(0).size() > without.size();
  }));
  plugin.play(4800);
  EXPECT_EQ(RealtimeWatch::counted().allocations, allocations);
  const auto bank = plugin.chunk(0);
  plugin.off();
  plugin.on();
  const auto expected = chord(plugin);

  Plugin other(ORBI_SOUNDFONT_MODULE), fresh(ORBI_SOUNDFONT_MODULE);
  ASSERT_EQ(other.setChunk(0, bank), 1);
  EXPECT_EQ(other.chunk(0), bank);
  other.on();
  EXPECT_EQ(chord(other), expected);
  fs::remove(font.path);
  ASSERT_EQ(fresh.setChunk(0, bank), 1); // the file is gone: all but the SoundFont comes back
  EXPECT_EQ(fresh.chunk(0).size(), without.size());
  fresh.on();
  EXPECT_NE(chord(fresh), expected);
  for (size_t bytes = without.size() + 1; bytes < bank.size(); ++bytes)
    ASSERT_EQ(fresh.setChunk(0, {bank.begin(), bank.begin() + static_cast<long>(bytes)}), 0);
  EXPECT_EQ(other.setChunk(0, without), 1); // back to the default
  EXPECT_EQ(other.chunk(0), without);
}

} // namespace
