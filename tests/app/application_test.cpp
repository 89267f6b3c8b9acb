#include "app/player_application.h"

#include "platform/driver_source.h"
#include "platform/temporary_folder.h"
#include "shared/memory_settings.h"

#include <gtest/gtest.h>

#include <utility>

namespace orbi {
namespace {

namespace fs = std::filesystem;

constexpr const char* fileDriver = "LOOM File Driver";
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
      if (known.description == fileDriver)
        drivers_.push_back(known);
    drivers_.push_back({"30-broken", "{00000000-0000-0000-0000-000000000002}", "LOOM Broken Driver",
                        true, folder_ / "none.so"});
  }

  /// Runs the program for a moment; during says what to look at while everything stands.
  void run(Options options, const char* program = "Sine")
  {
    options.headless = true;
    options.seconds = 0.02;
    std::string title = OrbiPlayerApplication::titleFor(folder_ / program);
    auto application = make<OrbiPlayerApplication>(
        title.c_str(), options,
        OrbiPlayerApplication::Surroundings{folder_ / program, drivers_, messages_});
    application->setSettings(&settings_);
    application->run();
    tempo_ = OrbPluginHost::instance() ? OrbPluginHost::instance()->timeBlock().tempo : 0.0;
    application->finishRun();
    status_ = application->exitStatus();
  }

  TemporaryFolder folder_;
  std::vector<platform::DriverRegistration> drivers_;
  MemorySettings settings_;
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
  EXPECT_EQ(settings_.texts["OrbiPlayerAudio/LOOM Driver"], fileDriver);
  EXPECT_EQ(settings_.numbers.count("OrbPlugRouting\\Sine\\LOOM File Driver/Port1"), 1u);
  EXPECT_EQ(settings_.numbers["OrbPlugRouting\\Sine\\LOOM File Driver/Port1"], 1);
  EXPECT_EQ(OrbPluginHost::instance(), nullptr);
  EXPECT_EQ(LoomDevice::instance(), nullptr);
  EXPECT_EQ(OrbiPlayerMidiInput::instance(), nullptr);
  EXPECT_EQ(OrbiPlayerAudioBridge::instance(), nullptr);
  EXPECT_EQ(OrbPlugin::current(), nullptr);
  EXPECT_EQ(UApplication::instance(), nullptr);
}

TEST_F(Application, a_stored_driver_that_is_gone_gives_way_to_the_first_of_the_list)
{
  settings_.texts["OrbiPlayerAudio/LOOM Driver"] = nullDriver;
  run({});
  EXPECT_TRUE(messages_.texts.empty());
  EXPECT_EQ(settings_.texts["OrbiPlayerAudio/LOOM Driver"], fileDriver);
}

TEST_F(Application, a_driver_for_one_run_leaves_the_stored_name)
{
  settings_.texts["OrbiPlayerAudio/LOOM Driver"] = nullDriver;
  Options options;
  options.driver = fileDriver;
  run(options);
  EXPECT_EQ(settings_.texts["OrbiPlayerAudio/LOOM Driver"], nullDriver);
}

TEST_F(Application, no_driver_that_opens_ends_the_start_with_words)
{
  drivers_.erase(drivers_.begin());
  run({});
  EXPECT_EQ(messages_.texts, std::vector<std::string>{"Audio Engine could not be started !"});
  EXPECT_TRUE(settings_.numbers.empty());
  drivers_.clear();
  run({});
  EXPECT_EQ(messages_.texts.size(), 2u);
}

TEST_F(Application, a_missing_module_is_named_as_it_was_looked_for)
{
  run({}, "Organ.bin");
  EXPECT_EQ(messages_.texts, std::vector<std::string>{"Plugin \"Organ.so\" not found!"});
  EXPECT_TRUE(settings_.texts.empty());
}

TEST_F(Application, tempo_and_signature_come_from_the_settings)
{
  run({});
  EXPECT_EQ(tempo_, 120.0);
  settings_.numbers["Orbiplayer/Tempo"] = 97;
  settings_.numbers["OrbiPlayer/Tempo"] = 55; // another group
  run({});
  EXPECT_EQ(tempo_, 97.0);
}

} // namespace
} // namespace orbi
