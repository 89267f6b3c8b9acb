#include "host/plugin_host.h"

#include "foundation/message.h"
#include "shared/probes.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

#include <utility>

using namespace orbi;

namespace {

const std::string openingCalls = "0 0 0 0\n10 0 0 44100\n11 0 1024 0\n51 0 0 0\n";

class PluginHost : public testing::Test {
protected:
  OrbPlugin& load()
  {
    OrbPlugin* loaded = host.loadPlugin(0);
    if (!loaded)
      throw std::runtime_error("not loaded");
    probe.takeCalls();
    return *loaded;
  }
  int64_t ask(int32_t opcode, void* ptr = nullptr, int64_t value = 0)
  {
    return OrbPluginHost::callback(&probe->effect, opcode, 0, value, ptr, 0.0f);
  }

  PluginProbe probe;
  OrbPluginHost host{probeFolder / "probe_plugin"};
};

} // namespace

TEST(PluginHostSearch, the_module_of_the_programs_name_is_found_beside_it_or_named)
{
  OrbPluginHost none("/nowhere/Some Instrument");
  EXPECT_EQ(none.moduleCount(), 0);
  EXPECT_EQ(none.loadPlugin(0), nullptr);
  EXPECT_EQ(none.expectedModuleName(), "Some Instrument.so");
  OrbPluginHost extended(probeFolder / "probe_plugin.exe");
  ASSERT_EQ(extended.moduleCount(), 1);
  EXPECT_EQ(extended.moduleName(0), "probe_plugin.so");
  EXPECT_EQ(OrbPluginHost::folderOfCommand("\"C:\\Tools\\Gantry\\remove.exe\" /s"),
            "C:\\Tools\\Gantry\\");
  for (const char* odd : {"", "\"", "\"C:\\Tools", ".exe", "remove.exe", "\"remove.exe"})
    EXPECT_EQ(OrbPluginHost::folderOfCommand(odd), "") << odd;
}

TEST(PluginHostSearch, a_module_is_entered_by_any_of_three_names_and_by_no_other)
{
  for (const char* name : {"probe_plugin", "probe_second", "probe_third", "probe_without"}) {
    PluginProbe probe(name);
    OrbPluginHost host(probeFolder / name);
    ASSERT_EQ(host.moduleCount(), 1);
    bool hasEntry = std::strcmp(name, "probe_without") != 0;
    OrbPlugin* plugin = host.loadPlugin(0);
    EXPECT_EQ(plugin != nullptr, hasEntry) << name;
    EXPECT_EQ(host.openCount(), hasEntry ? 1 : 0);
    EXPECT_EQ(probe.takeCalls(), hasEntry ? openingCalls : "");
  }
}

TEST_F(PluginHost, opens_and_closes_in_order)
{
  probe->numInputs = 3;
  probe->numOutputs = 5;
  probe->numParams = 7;
  probe->wantsMidi = true;
  OrbPlugin* plugin = host.loadPlugin(0);
  ASSERT_NE(plugin, nullptr);
  EXPECT_EQ(probe.takeCalls(), openingCalls);
  EXPECT_EQ(plugin->name(), "probe_plugin");
  EXPECT_EQ(host.moduleInputs(0) * 100 + host.moduleOutputs(0) * 10 + host.moduleParams(0), 357);
  EXPECT_TRUE(plugin->receivesMidi);
  EXPECT_TRUE(plugin->isSuspended());
  plugin->suspend();
  plugin->resume();
  plugin->resume();
  plugin->suspend();
  EXPECT_EQ(probe.takeCalls(), "12 0 1 0\n12 0 0 0\n");
  EXPECT_EQ(host.loadPlugin(1), nullptr);
  EXPECT_EQ(host.loadPlugin(-1), nullptr);

  OrbPlugin* second = host.loadPlugin(0);
  EXPECT_EQ(second->openIndex, 1);
  probe.takeCalls();
  EXPECT_TRUE(host.unloadPlugin(plugin));
  EXPECT_EQ(probe.takeCalls(), "1 0 0 0\n");
  EXPECT_EQ(second->openIndex, 0);
  EXPECT_FALSE(host.unloadPlugin(plugin));
  EXPECT_FALSE(host.unloadPlugin(nullptr));
  host.unloadAll();
  EXPECT_EQ(host.openCount(), 0);
}

TEST_F(PluginHost, a_fault_on_the_way_to_an_open_plugin_leaves_nothing_open)
{
  for (ProbeFault fault : {probeThrows, probeBadAccess, probeBadArithmetic})
    for (int place : {int(ProbePlugin::inEntry), int(opOpen), int(opSetSampleRate),
                      int(opSetBlockSize), int(opCanDo)}) {
      probe->fault = fault;
      probe->faultAt = place;
      EXPECT_EQ(host.loadPlugin(0), nullptr) << fault << " at " << place;
      EXPECT_EQ(host.openCount(), 0);
      EXPECT_EQ(host.moduleCount(), 1);
    }
  probe->fault = probeNoFault;
  probe->isNull = true;
  EXPECT_EQ(host.loadPlugin(0), nullptr);
  probe->isNull = false;
  for (int* claimed : {&probe->numInputs, &probe->numOutputs})
    for (int channels : {-1, OrbPlugin::maxChannels + 1, INT32_MAX}) {
      int honest = std::exchange(*claimed, channels);
      EXPECT_EQ(host.loadPlugin(0), nullptr) << channels;
      *claimed = honest;
    }
  load(); // and the next one opens
}

TEST_F(PluginHost, a_fault_in_any_call_counts_as_no_answer)
{
  probe->numPrograms = 1;
  probe->programName = probe->productName = "x";
  OrbPlugin& plugin = load();
  for (ProbeFault fault : {probeThrows, probeBadAccess, probeBadArithmetic}) {
    probe->fault = fault;
    std::string text = "as before";
    for (int opcode : {int(opSetProgram), int(opGetProgramName), int(opGetProductString),
                       int(opGetOutputProperties), int(opCanDo), int(opMainsChanged)}) {
      probe->faultAt = opcode;
      EXPECT_EQ(plugin.dispatch(opcode), 0) << opcode;
    }
    probe->faultAt = opSetProgram;
    plugin.setProgram(0);
    probe->faultAt = opGetOutputProperties;
    EXPECT_EQ(plugin.outputName(1), "Out 1");
    EXPECT_EQ(plugin.outputChannelCount(1), 1);
    probe->faultAt = opGetProductString;
    EXPECT_EQ(plugin.productString(), "");
  }
  probe->faultAt = opClose;
  EXPECT_TRUE(host.unloadPlugin(&plugin));
}

TEST_F(PluginHost, programs_outside_of_the_range_are_not_chosen_and_names_are_trimmed)
{
  OrbPlugin& none = load();
  none.setProgram(0);
  EXPECT_EQ(probe.takeCalls(), "");
  host.unloadAll();
  probe->numPrograms = 3;
  OrbPlugin& plugin = load();
  for (int32_t program : {-1, 0, 2, 3, INT32_MAX, INT32_MIN})
    plugin.setProgram(program);
  EXPECT_EQ(probe.takeCalls(), "2 0 0 0\n2 0 2 0\n");

  std::string name;
  EXPECT_EQ(plugin.programName(name), -1);
  const struct {
    const char* told;
    const char* name;
  } cases[] = {{" \t Warm Pad\r\n ", "Warm Pad"}, {"", ""}, {" \n", ""}, {"a", "a"}};
  for (const auto& example : cases) {
    probe->programName = example.told;
    EXPECT_EQ(plugin.programName(name), int32_t(std::strlen(example.name)));
    EXPECT_EQ(name, example.name);
  }
  std::string endless(400, 'n'); // past its buffer's 128 bytes
  probe->programName = endless.c_str();
  EXPECT_EQ(plugin.programName(name), 127);
}

TEST_F(PluginHost, outputs_are_named_and_counted_by_their_properties)
{
  const std::string labels[] = {"M",           "L R",           "Ls Rs",       "Lc Rc",
                                "Sl Sr",       "C Lfe",         "L R C",       "L R S",
                                "L R C Lfe",   "L R Fle S",     "L R C S",     "L R Ls Rs",
                                "L R C Lfe S", "L R Lfe Ls Rs", "L R C Ls Rs", "L R C Lfe Ls Rs"};
  OrbPlugin& plugin = load();
  auto channels = [&plugin](int32_t output) {
    std::string all;
    for (int32_t channel = 0; channel < plugin.outputChannelCount(output); ++channel) {
      std::string label = "unchanged";
      plugin.outputChannelLabel(output, channel, label);
      all += (channel ? " " : "") + label;
    }
    return all;
  };
  EXPECT_EQ(channels(0), "M");
  EXPECT_EQ(plugin.outputName(0), "Out 0");
  EXPECT_FALSE(plugin.outputIsStereo(0));
  probe->outputFlags[0] = orbOutputStereo;
  probe->label[0] = "Main";
  EXPECT_EQ(channels(0), "L R");
  EXPECT_EQ(plugin.outputName(0), "Main");
  EXPECT_TRUE(plugin.outputIsStereo(0));
  probe->outputFlags[0] = orbOutputArrangement;
  for (int32_t number = 0; number < 16; ++number) {
    probe->arrangement[0] = number;
    EXPECT_EQ(channels(0), labels[number]);
  }
  for (int32_t unknown : {-1, 16, INT32_MAX}) {
    probe->arrangement[0] = unknown;
    EXPECT_EQ(channels(0), "unchanged");
  }
  EXPECT_EQ(plugin.outputName(ProbePlugin::maxOutputs), "Out 256");
}

TEST_F(PluginHost, the_callback_answers_what_is_listed_and_nothing_else)
{
  OrbPlugin& plugin = load();
  char text[64] = {};
  EXPECT_EQ(ask(hostVersion), 2400);
  EXPECT_EQ(ask(hostVendorString, text), 1);
  EXPECT_STREQ(text, "Quillmore");
  EXPECT_EQ(ask(hostProductString, text), 1);
  EXPECT_STREQ(text, "ORB SL Slave");
  EXPECT_EQ(ask(hostVendorVersion), 1000);
  EXPECT_EQ(ask(hostAutomationState), 1);
  EXPECT_EQ(ask(hostLanguage), 1);
  for (int32_t opcode : {hostVendorString, hostProductString, hostCanDo, hostChunkFile})
    EXPECT_EQ(ask(opcode), 0) << opcode; // null
  for (const char* ability :
       {"sendOrbEvents", "sendOrbMidiEvent", "receiveOrbEvents", "receiveOrbMidiEvent", ""})
    EXPECT_EQ(ask(hostCanDo, const_cast<char*>(ability)), 1) << ability;
  for (const char* other : {"SendOrbEvents", "sendOrbEvents ", "QuillmoreRewireSlaveMode"})
    EXPECT_EQ(ask(hostCanDo, const_cast<char*>(other)), 0) << other;
  EXPECT_EQ(ask(hostGetTime), reinterpret_cast<intptr_t>(&host.timeBlock()));

  EXPECT_FALSE(plugin.receivesMidi);
  ask(hostWantsMidi, nullptr, 5);
  EXPECT_TRUE(plugin.receivesMidi);
  ask(hostWantsMidi, nullptr, 0);
  EXPECT_FALSE(plugin.receivesMidi);
  OrbEffect stranger{};
  OrbPluginHost::callback(&stranger, hostWantsMidi, 0, 1, nullptr, 0.0f);
  EXPECT_FALSE(plugin.receivesMidi);

  const std::vector<int32_t> known = {1, 7, 24, 34, 38};
  for (int32_t opcode = -3; opcode < 80; ++opcode)
    if (std::find(known.begin(), known.end(), opcode) == known.end()) {
      EXPECT_EQ(ask(opcode), 0) << opcode;
    }
}

TEST_F(PluginHost, the_file_in_work_is_told_and_cut_to_its_buffer)
{
  char answer[2048];
  EXPECT_EQ(ask(hostChunkFile, answer), 0);
  for (size_t length : {size_t(10), size_t(2047), size_t(5000)}) {
    std::filesystem::path path("/" + std::string(length - 1, 'p'));
    host.chunkFilePath = &path;
    std::memset(answer, 1, sizeof answer);
    EXPECT_EQ(ask(hostChunkFile, answer), 1);
    EXPECT_EQ(std::string(answer), path.string().substr(0, 2047));
    EXPECT_EQ(answer[2047], 0);
  }
}

TEST_F(PluginHost, idle_asked_for_in_the_entry_reaches_the_plugin)
{
  FMessage idle("Idle");
  OrbPlugin& quiet = load();
  EXPECT_EQ(quiet.handleMessage(idle), 1);
  EXPECT_EQ(probe.takeCalls(), "");
  host.unloadAll();
  probe->needsIdleInEntry = true;
  OrbPlugin& plugin = load();
  EXPECT_EQ(plugin.handleMessage(idle), 1);
  EXPECT_EQ(probe.takeCalls(), "53 0 0 0\n");
  FMessage other("Other");
  EXPECT_EQ(plugin.handleMessage(other), 0);
}

TEST_F(PluginHost, time_counts_bars_from_samples_tempo_and_signature)
{
  const OrbTimeBlock& time = host.timeBlock();
  EXPECT_EQ(time.timecodeFrameRate, 30);
  host.setTimeBase(44100.0, 90.0, 3, 4);
  host.updateTime(44100.0 * 4, -1.0, -1.0, false);
  EXPECT_EQ(time.musicalPosition, 6.0);
  EXPECT_EQ(time.barStartPosition, 6.0);
  EXPECT_EQ(time.flags, 0x2E00);
  EXPECT_EQ(time.nanoSeconds, 0.0);
  host.updateTime(44100.0 * 5, 12.0, -1.0, true);
  EXPECT_EQ(time.musicalPosition, 7.5);
  EXPECT_EQ(time.barStartPosition, 6.0);
  EXPECT_EQ(time.nanoSeconds, 12.0);
  EXPECT_EQ(time.flags, 0x2F02);
  host.updateTime(0.0, -1.0, 100.0, false);
  EXPECT_EQ(time.musicalPosition, 100.0);
  EXPECT_EQ(time.barStartPosition, 99.0);

  host.setTimeBase(15999.0, 9.0, 7, 8);
  EXPECT_EQ(time.sampleRate, 44100.0);
  EXPECT_EQ(time.tempo, 90.0);
  host.updateTime(0.0, -1.0, 8.0, false);
  EXPECT_EQ(time.barStartPosition, 7.0);
  for (auto [numerator, denominator] : {std::pair{4, 0}, {0, 4}, {0, 0}}) {
    host.setTimeBase(16000.0, 10.0, numerator, denominator);
    host.updateTime(0.0, -1.0, 8.0, false);
    EXPECT_TRUE(std::isfinite(time.barStartPosition));
  }
  EXPECT_EQ(time.tempo, 10.0);
  EXPECT_EQ(time.sampleRate, 16000.0);
}
