#include "app/player_application.h"

#include "platform/driver_source.h"
#include "platform/temporary_folder.h"
#include "shared/probes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <utility>

namespace orbi {
namespace {

namespace fs = std::filesystem;

constexpr const char* brokenDriver = "LOOM Broken Driver";
constexpr const char* nullDriver = "LOOM Null Driver";

class KeptMessages final : public platform::MessageBox {
public:
  void show(std::string_view, std::string_view text) override { texts.emplace_back(text); }
  std::vector<std::string> texts;
};

/// A standalone named Sine in a folder of its own, and one run of it.
class Application : public testing::Test {
protected:
  void SetUp() override
  {
    fs::copy_file(ORBI_SINE, folder_ / "Sine.so");
    for (const auto& known :
         platform::registeredDrivers(fs::path(ORBI_DRIVER_FOLDER).parent_path()))
      if (known.description == fileDriverName)
        drivers_.push_back(known);
    drivers_.push_back({"30-broken", "{00000000-0000-0000-0000-000000000002}", brokenDriver, true,
                        folder_ / "none.so"});
  }

  /// Runs the program for a moment; during says what to look at while everything stands.
  void run(Options options, const char* program = "Sine")
  {
    options.headless = true;
    options.seconds = 0.02;
    std::string title = OrbiPlayerApplication::titleFor(folder_ / program);
    auto application = make<OrbiPlayerApplication>(
        title.c_str(), options,
        OrbiPlayerApplication::Surroundings{
            folder_ / program, drivers_, messages_, folder_ / "settings", {folder_ / ""}});
    if (options.file)
      application->setFileToOpen(*options.file);
    application->run();
    tempo_ = OrbPluginHost::instance() ? OrbPluginHost::instance()->timeBlock().tempo : 0.0;
    application->finishRun();
    status_ = application->exitStatus();
  }

  /// Looks into the settings between two runs, and keeps what it changes.
  template <class Look>
  void withSettings(Look look)
  {
    FNFileSystem fileSystem;
    FObjectFiles files({folder_ / "settings", {}}, fileSystem);
    FDefaultPool pool;
    pool.load(files);
    pool.finishLoading();
    look(pool);
    pool.save(files, false);
  }
  void setDriver(const char* name)
  {
    withSettings([&](FDefaultPool& pool) {
      pool.getGroup("OrbiPlayerAudio")->setString("LOOM Driver", name);
    });
  }
  std::string storedDriver()
  {
    std::string name;
    withSettings([&](FDefaultPool& pool) {
      name = pool.getGroup("OrbiPlayerAudio")->getString("LOOM Driver");
    });
    return name;
  }

  TemporaryFolder folder_;
  std::vector<platform::DriverRegistration> drivers_;
  KeptMessages messages_;
  double tempo_ = 0.0;
  int status_ = 0;
};

TEST(ApplicationTitle, carries_the_name_of_the_executable_without_its_extension)
{
  EXPECT_EQ(OrbiPlayerApplication::titleFor("/opt/Grand Piano"), "Grand Piano Standalone");
  EXPECT_EQ(OrbiPlayerApplication::titleFor("/opt/Piano.exe"), "Piano Standalone");
  EXPECT_EQ(OrbiPlayerApplication::titleFor("/"), "ORBiPlayer Standalone");
}

TEST_F(Application, everything_is_taken_down_and_the_driver_and_routing_are_kept)
{
  run({});
  EXPECT_TRUE(messages_.texts.empty());
  EXPECT_EQ(storedDriver(), fileDriverName);
  withSettings([](FDefaultPool& pool) {
    int64_t place = -1;
    EXPECT_TRUE(pool.getGroup("OrbPlugRouting\\Sine\\LOOM File Driver")->getInt("Port1", place));
    EXPECT_EQ(place, 1);
    EXPECT_EQ(pool.getGroup("OrbiPlayer", 0, false), nullptr); // without a window no first start
  });
  EXPECT_EQ(OrbPluginHost::instance(), nullptr);
  EXPECT_EQ(LoomDevice::instance(), nullptr);
  EXPECT_EQ(OrbiPlayerMidiInput::instance(), nullptr);
  EXPECT_EQ(OrbiPlayerAudioBridge::instance(), nullptr);
  EXPECT_EQ(OrbPlugin::current(), nullptr);
  EXPECT_EQ(UApplication::instance(), nullptr);
}

TEST_F(Application, a_stored_driver_that_is_gone_gives_way_to_the_first_of_the_list)
{
  setDriver(nullDriver);
  run({});
  EXPECT_TRUE(messages_.texts.empty());
  EXPECT_EQ(storedDriver(), fileDriverName);
}

TEST_F(Application, a_driver_for_one_run_leaves_the_stored_name)
{
  setDriver(nullDriver);
  Options options;
  options.driver = fileDriverName;
  run(options);
  EXPECT_EQ(storedDriver(), nullDriver);
  EXPECT_TRUE(messages_.texts.empty());
}

TEST_F(Application, a_line_tells_what_took_the_place_of_the_driver_that_was_named)
{
  setDriver(brokenDriver);
  run({});
  EXPECT_TRUE(messages_.texts.empty()) << "nobody named it for this run";

  // The one can't be made, the other doesn't open.
  DriverProbe probe;
  drivers_.push_back(DriverProbe::registration(0));
  probe->failing = ProbeDriver::atInit;
  for (const auto& [wanted, reason] :
       {std::pair(brokenDriver, "none.so"), {"Probe 0", "step 1 fails"}}) {
    setDriver(nullDriver);
    messages_.texts.clear();
    Options options;
    options.driver = wanted;
    run(options);
    EXPECT_EQ(storedDriver(), nullDriver) << wanted;
    ASSERT_EQ(messages_.texts.size(), 1u) << wanted;
    const std::string& line = messages_.texts[0];
    EXPECT_TRUE(line.starts_with(std::string(wanted) + ": "));
    EXPECT_TRUE(line.ends_with("; LOOM File Driver plays instead")) << line;
    EXPECT_NE(line.find(reason), std::string::npos) << line;
    EXPECT_EQ(status_, 0);
  }
}

TEST_F(Application, no_driver_that_opens_ends_the_start_with_words)
{
  drivers_.erase(drivers_.begin());
  run({});
  EXPECT_EQ(messages_.texts, std::vector<std::string>{"Audio Engine could not be started !"});
  EXPECT_EQ(storedDriver(), "");
  drivers_.clear();
  run({});
  EXPECT_EQ(messages_.texts.size(), 2u);
}

TEST_F(Application, a_missing_module_is_named_as_it_was_looked_for)
{
  run({}, "Organ.bin");
  EXPECT_EQ(messages_.texts, std::vector<std::string>{"Plugin \"Organ.so\" not found!"});
  withSettings([](FDefaultPool& pool) { EXPECT_EQ(pool.groupCount(), 0u); });
}

TEST_F(Application, tempo_and_signature_come_from_the_settings)
{
  run({});
  EXPECT_EQ(tempo_, 120.0);
  withSettings([](FDefaultPool& pool) {
    pool.getGroup("Orbiplayer")->setInt("Tempo", 97);
    pool.getGroup("OrbiPlayer")->setInt("Tempo", 55); // another group
  });
  run({});
  EXPECT_EQ(tempo_, 97.0);
}

TEST_F(Application, words_come_in_the_language_that_was_chosen)
{
  std::ofstream(folder_ / "translation.xml")
      << "<LanguageTable><language key=\"de\">Deutsch</language></LanguageTable><StringTable>"
         "<String Key=\"Plugin \\\"%s\\\" not found!\"><Deu>%s fehlt</Deu></String>"
         "<String Key=\"is cut short, %s of %s bytes are missing\">"
         "<Deu>%s von %s Bytes fehlen</Deu></String></StringTable>";
  withSettings([](FDefaultPool& pool) { pool.getGroup("General")->setString("Language", "de"); });
  run({}, "Organ");
  Options options;
  options.file = folder_ / "cut.fxb";
  folder_.write("cut.fxb", "CcnK\1");
  run(options);
  EXPECT_EQ(messages_.texts,
            (std::vector<std::string>{"Organ.so fehlt",
                                      options.file->string() + ": 3 von 4 Bytes fehlen"}));
}

TEST_F(Application, settings_that_cannot_be_read_are_kept_beside_the_new_ones)
{
  fs::path settings = folder_ / "settings";
  fs::create_directory(settings);
  std::ofstream(settings / "Defaults.xml") << "<Defaults><oops";
  run({});
  EXPECT_TRUE(messages_.texts.empty());
  EXPECT_EQ(storedDriver(), fileDriverName);
  EXPECT_EQ(fs::file_size(settings / "Defaults_bad.xml"), 15u);
  EXPECT_EQ(std::distance(fs::directory_iterator(settings), {}), 2);
}

} // namespace
} // namespace orbi
