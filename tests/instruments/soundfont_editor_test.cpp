#include "instruments/plugin.h"
#include "shared/realtime_watch.h"
#include "shared/variable.h"
#include "shared/x_drag.h"
#include "shared/x_server.h"
#include "shared/x_user.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>

// What fontconfig keeps in its patterns is found by offsets, which the leak check can't follow.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
  return "leak:libfontconfig";
}

namespace {

namespace fs = std::filesystem;

// Where things lie at scale 1.
constexpr int presetX = 480, secondPresetY = 152, channelX = 100, secondChannelY = 127;
constexpr int gainX = 709, gainY = 95;
constexpr int lowestCX = 37, middleCX = 488, keysTop = 495, whitesTop = 575, keysBottom = 608;
constexpr xcb_rectangle_t headline{600, 20, 364, 24};
enum KeyCode { end = 9, down = 14 };

/// The user, with a closer look.
class Hand : public XUser {
public:
  xcb_window_t childOf(xcb_window_t window) const ///< 0 for none
  {
    const auto tree =
        reply(xcb_query_tree_reply(connection(), xcb_query_tree(connection(), window), nullptr));
    return tree && tree->children_len ? xcb_query_tree_children(tree.get())[0] : 0;
  }

  std::string picture(const xcb_rectangle_t& at) const
  {
    const auto image =
        reply(xcb_get_image_reply(connection(),
                                  xcb_get_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, root(),
                                                at.x, at.y, at.width, at.height, ~0u),
                                  nullptr));
    const auto* bytes = reinterpret_cast<const char*>(xcb_get_image_data(image.get()));
    return {bytes, static_cast<size_t>(xcb_get_image_data_length(image.get()))};
  }
};

/// As the host hands it on: whether a list of URIs was taken.
bool drop(xcb_window_t window, const std::string& uris, size_t part = 0)
{
  XDrag drag(uris, part);
  drag.over(window, 1, 1);
  drag.drop();
  return drag.await(drag.taken);
}

class SoundFontEditor : public testing::Test {
protected:
  void SetUp() override
  {
    if (!display_.isRunning())
      GTEST_SKIP() << "no Xvfb";
    if (!fs::exists(ORBI_SOUNDFONT_MODULE) || !Plugin(ORBI_SOUNDFONT_MODULE).loaded())
      GTEST_SKIP() << "built without FluidSynth, or no SoundFont file on this machine";
    user_.emplace();
  }

  const Variable withoutDefaultBank_{"XDG_CONFIG_HOME", "/dev/null"};
  XServer display_;
  std::optional<Hand> user_;
};

/// The instrument with its editor in a window of ours.
struct Shown : Plugin {
  explicit Shown(Hand& by) : Plugin(ORBI_SOUNDFONT_MODULE), user(by)
  {
    const OrbRect* rect = nullptr;
    call(opEditorGetRect, 0, 0, &rect);
    parent = user.makeWindow(user.root(), rect->right - rect->left, rect->bottom - rect->top, 0);
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
  bool isLit(int x) { return user.pixelAt(x, whitesTop) >> 16 < 0xB0; }

  Hand& user;
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
    plugin.user.click(presetX, secondPresetY);
    plugin.call(opEditorIdle);
    plugin.call(opEditorClose);
    EXPECT_EQ(countOf("/proc/self/fd"), files);
    EXPECT_TRUE(plugin.becomes([&] { return countOf("/proc/self/task") == threads; }));
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
  user_->click(presetX, secondPresetY);
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

  user_->moveTo(presetX, secondPresetY);
  user_->click(channelX, secondChannelY);
  const auto before = plugin.chunk(0);
  user_->click(presetX, secondPresetY);
  EXPECT_TRUE(plugin.becomes([&] { return plugin.chunk(0) != before; }));
  EXPECT_EQ(plugin.call(opGetProgram), 127); // of the first channel
  EXPECT_EQ(plugin.call(opVendorSpecific, orbHostTag, orbWheel, nullptr, -1), 1);
  EXPECT_EQ(plugin.call(opVendorSpecific, orbHostTag, orbHasAbout), 0);
}

TEST_F(SoundFontEditor, keyboard_plays_louder_further_down_and_what_midi_plays_is_lit)
{
  Shown plugin(*user_);
  plugin.on();
  ASSERT_TRUE(plugin.becomes([&] { return !plugin.isLit(middleCX); })); // drawn
  float peaks[2] = {};
  for (int i : {0, 1}) {
    user_->moveTo(lowestCX, i ? keysBottom : keysTop);
    user_->press(1);
    ASSERT_TRUE(plugin.becomes([&] { return plugin.isLit(lowestCX); }));
    peaks[i] = peakOf(plugin.play(9600)[0]);
    user_->moveTo(middleCX, keysBottom); // sliding on
    EXPECT_TRUE(plugin.becomes([&] { return plugin.isLit(middleCX) && !plugin.isLit(lowestCX); }));
    user_->release(1);
    EXPECT_TRUE(plugin.becomes([&] { return !plugin.isLit(middleCX); }));
    plugin.play(96000);
    EXPECT_FALSE(plugin.sounds());
  }
  EXPECT_GT(peaks[1], 1.5f * peaks[0]);
  plugin.send({{0x90, 60, 90}});
  EXPECT_TRUE(plugin.becomes([&] { return plugin.isLit(middleCX); }));
  plugin.send({{0xB0, 123, 0}});
  EXPECT_TRUE(plugin.becomes([&] { return !plugin.isLit(middleCX); }));

  user_->moveTo(middleCX, keysBottom);
  user_->press(1);
  ASSERT_TRUE(plugin.becomes([&] { return plugin.isLit(middleCX); }));
  plugin.call(opEditorClose); // with the key still held
  plugin.play(96000);
  EXPECT_FALSE(plugin.sounds());
}

TEST_F(SoundFontEditor, knobs_are_the_instruments_parameters)
{
  Shown plugin(*user_);
  const float preset = plugin.get(0);
  user_->moveTo(gainX, gainY);
  user_->press(1);
  user_->moveTo(gainX, 0);
  user_->release(1);
  EXPECT_TRUE(plugin.becomes([&] { return plugin.get(0) > preset + 0.4f; }));
  const float high = plugin.get(0);
  user_->click(gainX, gainY, 5); // the wheel, towards the user
  EXPECT_TRUE(plugin.becomes([&] { return plugin.get(0) < high && plugin.get(0) > preset; }));
  user_->click(gainX, gainY);
  user_->click(gainX, gainY);
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
  display_.kill();
  for (Shown* plugin : {&first, &second}) {
    for (int i = 0; i < 50; ++i) {
      plugin->send({{0x90, 60, 90}});
      plugin->play(256);
      plugin->call(opEditorIdle);
      plugin->call(opEditorKeyDown, 0, down);
      plugin->call(opVendorSpecific, orbHostTag, orbWheel, nullptr, 1);
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
  ASSERT_TRUE(plugin.becomes([&] { return !plugin.isLit(middleCX); })); // drawn
  const std::string standing = user_->picture(headline);
  EXPECT_FALSE(drop(plugin.window, "http://x/a.sf2\r\nfile://elsewhere/a.sf2\r\n"));
  const auto isStanding = [&] { return user_->picture(headline) == standing; };
  {
    XDrag program("file:///a.sf2");
    program.over(plugin.window, 1, 1);
    EXPECT_TRUE(plugin.becomes([&] { return !isStanding(); })); // it invites
  }
  EXPECT_TRUE(plugin.becomes(isStanding)); // the program is gone with what it dragged
  EXPECT_TRUE(drop(plugin.window, "file:///proc/self/status\r\n"));
  EXPECT_TRUE(plugin.becomes([&] { return !isStanding(); })); // it says so
  EXPECT_EQ(plugin.chunk(0), without);

  plugin.send({{0x90, 60, 100}, {0xC1, 48, 0}, {0xB1, 7, 90}});
  const long allocations = RealtimeWatch::counted().allocations;
  ASSERT_TRUE(plugin.becomes([&] { // refused while the bad one is still looked at
    drop(plugin.window, OtherFont::uri() + "\r\n");
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

  EXPECT_EQ(plugin.setChunk(0, without), 1); // back to the default, which loads while it plays
  EXPECT_EQ(plugin.chunk(0), without);
  while (plugin.chunk(0).size() == without.size()) { // while the driver stands still
    EXPECT_TRUE(drop(plugin.window, OtherFont::uri() + "\r\nfile:///other", 7));
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  plugin.setChunk(0, bank);
  EXPECT_EQ(chord(plugin), expected);

  { // closed while it loads
    Plugin hurried(ORBI_SOUNDFONT_MODULE);
    hurried.on();
    EXPECT_EQ(hurried.setChunk(0, bank), 1);
  }
  EXPECT_EQ(plugin.setChunk(0, without), 1);
  EXPECT_EQ(plugin.setChunk(0, bank), 1); // the newest counts
  EXPECT_EQ(plugin.chunk(0), bank);
  EXPECT_TRUE(plugin.becomes([&] {
    plugin.off();
    EXPECT_EQ(plugin.setChunk(0, bank), 1);
    plugin.on();
    return chord(plugin) == expected;
  }));
  ASSERT_TRUE(plugin.becomes(isStanding));

  fs::remove(font.path);
  ASSERT_EQ(fresh.setChunk(0, bank), 1); // the file is gone: all but the SoundFont comes back
  EXPECT_EQ(fresh.chunk(0), bank);       // and it stays the bank's
  fresh.on();
  EXPECT_NE(chord(fresh), expected);
  plugin.off();
  EXPECT_EQ(plugin.setChunk(0, without), 1);
  plugin.on();
  EXPECT_EQ(plugin.setChunk(0, bank), 1);
  EXPECT_TRUE(plugin.becomes([&] { return !isStanding(); }));
  EXPECT_EQ(plugin.chunk(0), bank);
  EXPECT_EQ(plugin.setChunk(0, without), 1);
  EXPECT_TRUE(plugin.becomes(isStanding));
  for (size_t bytes = without.size() + 1; bytes < bank.size(); ++bytes)
    ASSERT_EQ(fresh.setChunk(0, {bank.begin(), bank.begin() + static_cast<long>(bytes)}), 0);
}

} // namespace
