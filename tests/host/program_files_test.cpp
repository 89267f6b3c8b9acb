#include "foundation/stream_helpers.h"
#include "host/plugin_host.h"
#include "host/program_file.h"
#include "persist/file_dialog.h"
#include "platform/temporary_folder.h"
#include "shared/probes.h"

#include <gmock/gmock.h>

#include <bit>
#include <fstream>
#include <sys/resource.h>

using namespace orbi;
using testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

std::string be(int64_t word)
{
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes += static_cast<char>(word >> shift);
  return bytes;
}

std::string sized(const std::string& bytes)
{
  return be(static_cast<int64_t>(bytes.size())) + bytes;
}

/// What the probing plug-in says of itself, or somebody else.
struct Origin {
  int32_t id = 0x50726F62;
  int32_t version = 100;
};

std::string fileOf(const char* form, Origin of, int32_t count, const std::string& rest)
{
  return "CcnK" + sized(form + be(1) + be(of.id) + be(of.version) + be(count) + rest);
}

std::string nameField(std::string name)
{
  name.resize(28, '\0');
  return name;
}

std::string program(const std::string& name, std::initializer_list<float> values, Origin of = {})
{
  std::string rest = nameField(name);
  for (float value : values)
    rest += be(std::bit_cast<int32_t>(value));
  return fileOf("FxCk", of, static_cast<int32_t>(values.size()), rest);
}

std::string chunkProgram(const std::string& name, const std::string& chunk, Origin of = {})
{
  return fileOf("FPCh", of, 2, nameField(name) + sized(chunk));
}

std::string bank(const std::vector<std::string>& programs, Origin of = {})
{
  std::string all(128, '\0');
  for (const std::string& one : programs)
    all += one;
  return fileOf("FxBk", of, static_cast<int32_t>(programs.size()), all);
}

std::string chunkBank(const std::string& chunk, Origin of = {}, int32_t count = 2)
{
  return fileOf("FBCh", of, count, std::string(128, '\0') + sized(chunk));
}

class KeptDialog final : public FFileDialog {
public:
  std::optional<fs::path> ask(const FFileQuestion& question) override
  {
    asked += question.title + " | " + question.type.description.text() + " | " +
             question.type.extension.text() + " | " + std::to_string(question.mode) + "\n";
    return answer;
  }
  std::optional<fs::path> answer;
  std::string asked;
};

/// The probing plug-in with two programs of two parameters, in either form.
class ProgramFiles : public testing::Test {
protected:
  ProgramFiles() { probe->numPrograms = probe->numParams = 2; }

  OrbPlugin& load(bool withChunks)
  {
    host.unloadAll();
    probe->flags = orbHasReplacing | (withChunks ? orbProgramChunks : 0);
    OrbPlugin* loaded = host.loadPlugin(0);
    if (!loaded)
      throw std::runtime_error("not loaded");
    probe.takeCalls();
    return *loaded;
  }
  void setState()
  {
    const float values[2][2] = {{0.25f, 1.0f}, {-0.0f, 0.1f}};
    for (int i = 0; i < 2; ++i) {
      std::copy(values[i], values[i] + 2, probe->parameters[i]);
      std::strcpy(probe->names[i], i == 0 ? "First" : std::string(40, 'x').c_str());
    }
    probe->program = 1;
    probe->chunk = "opaque";
    probe->chunkBytes = 6;
  }
  std::string written(OrbPlugin& plugin, bool (OrbPlugin::*write)(FStream&), bool isWhole = true)
  {
    FMemoryStream stream;
    EXPECT_EQ((plugin.*write)(stream), isWhole);
    EXPECT_EQ(stream.tell(), stream.size());
    return textOf(stream);
  }
  /// With something behind it, which may be read on.
  int32_t read(OrbPlugin& plugin, int32_t (OrbPlugin::*read)(FStream&), const std::string& bytes,
               int64_t* end = nullptr)
  {
    auto stream = memoryWith(bytes + "behind");
    probe.takeCalls();
    const int32_t result = (plugin.*read)(*stream);
    if (end)
      *end = stream->tell();
    return result;
  }
  static int countOf(const std::string& calls, const std::string& start)
  {
    int count = 0;
    for (size_t at = 0; (at = ("\n" + calls).find("\n" + start, at)) != calls.npos; ++at)
      ++count;
    return count;
  }

  PluginProbe probe;
  OrbPluginHost host{probeFolder / "probe_plugin"};
  TemporaryFolder folder;
};

const std::vector<std::string> allForms = {
    program("Name", {0.5f, 0.75f}), chunkProgram("Name", "opaque"),
    bank({program("A", {0.5f}), program("B", {0.25f})}), chunkBank("opaque")};
constexpr bool isBank[] = {false, false, true, true};
constexpr bool isChunk[] = {false, true, false, true};
constexpr int32_t (OrbPlugin::*readers[])(FStream&) = {&OrbPlugin::readProgram,
                                                       &OrbPlugin::readBank};
constexpr bool (OrbPlugin::*writers[])(FStream&) = {&OrbPlugin::writeProgram,
                                                    &OrbPlugin::writeBank};

} // namespace

TEST_F(ProgramFiles, every_form_is_written_to_the_byte_and_brings_its_state_back)
{
  const std::string cut(27, 'x'), second = program(cut, {-0.0f, 0.1f});
  const std::string forms[] = {second, chunkProgram(cut, "opaque"),
                               bank({program("First", {0.25f, 1.0f}), second}),
                               chunkBank("opaque")};
  for (size_t form = 0; form < 4; ++form) {
    OrbPlugin& plugin = load(isChunk[form]);
    setState();
    EXPECT_EQ(written(plugin, writers[isBank[form]]), forms[form]) << form;
    EXPECT_EQ(probe->program, 1);
    std::memset(probe->parameters, 0, sizeof probe->parameters);
    std::memset(probe->names, 0, sizeof probe->names);
    int64_t end = 0;
    EXPECT_EQ(read(plugin, readers[isBank[form]], forms[form], &end), 1) << form;
    EXPECT_EQ(plugin.fileFault(), nullptr);
    EXPECT_EQ(end, int64_t(forms[form].size()));
    EXPECT_EQ(probe->program, 1);
    if (isChunk[form])
      EXPECT_EQ(std::memcmp(probe->taken, "opaque", size_t(probe->takenBytes)), 0);
    else
      EXPECT_EQ(written(plugin, writers[isBank[form]]), forms[form]) << form;
  }
}

TEST_F(ProgramFiles, a_program_is_set_between_begin_and_end_and_parameters_beyond_are_sent)
{
  OrbPlugin& plugin = load(false);
  probe->program = 1;
  const std::string unterminated(28, 'y');
  EXPECT_EQ(read(plugin, &OrbPlugin::readProgram, program(unterminated, {0.5f, 0.25f, 2.0f})), 1);
  EXPECT_EQ(probe->names[1], unterminated.substr(1));
  EXPECT_EQ(probe.takeCalls(), "76 0 0 0\n67 0 0 0\n3 0 0 0\n4 1 0 0\n= 0 0.5\n= 1 0.25\n= 2 2\n"
                               "68 0 0 0\n");
  EXPECT_EQ(std::tuple(probe->info.formatVersion, probe->info.pluginId, probe->info.pluginVersion,
                       probe->info.count),
            std::tuple(1, 0x50726F62, 100, 3));
  load(true);
  EXPECT_EQ(read(*host.openPlugin(0), &OrbPlugin::readProgram, chunkProgram("N", "xy")), 1);
  EXPECT_EQ(probe.takeCalls(), "76 0 0 0\n67 0 0 0\n3 0 0 0\n4 1 0 0\n24 1 2 0\n68 0 0 0\n");
}

TEST_F(ProgramFiles, the_plugin_decides_what_it_takes_and_without_an_opinion_ids_decide)
{
  const Origin other{1, 100}, older{0x50726F62, 99}, newer{0x50726F62, 101};
  const std::vector<std::string> three(3, program("p", {}));
  struct Case {
    int64_t answer;
    std::string file;
    bool isBank, withChunks;
    int32_t result;
    bool isTaken;
    int64_t endBefore; ///< how far before the end of the file the stream stops
  };
  const Case cases[] = {
      {-1, program("p", {1, 2}), false, false, 0, false, 0},
      {0, program("p", {1, 2}, other), false, false, 0, false, 0},
      {0, program("p", {1, 2}, newer), false, false, 1, true, 0},
      {1, program("p", {1, 2}, other), false, false, 1, true, 0},
      {-1, chunkProgram("p", "xy"), false, true, 1, false, 0},
      {0, chunkProgram("p", "xy", other), false, true, 1, false, 0},
      {1, chunkProgram("p", "xy", other), false, true, 1, true, 0},
      {0, chunkProgram("p", "xy"), false, false, 0, false, 50}, // right behind its form
      {-1, bank({program("p", {1})}), true, false, 0, false, 0},
      {0, bank({program("p", {1})}, other), true, false, 0, false, 0},
      {0, bank({program("p", {1})}, newer), true, false, 0, false, 0},
      {0, bank({program("p", {1})}, older), true, false, 1, true, 0},
      {0, bank(three), true, false, 0, false, 0},
      {1, bank(three, newer), true, false, 1, true, 0},
      {1, bank({program("p", {1})}, other), true, false, 1, true, 0},
      {0, chunkBank("xy", other), true, true, 1, false, 0},
      {0, chunkBank("xy", newer), true, true, 1, false, 0},
      {0, chunkBank("xy", older), true, true, 1, true, 0},
      {0, chunkBank("xy", {}, 3), true, true, 1, false, 0},
      {1, chunkBank("xy", other, 3), true, true, 1, true, 0},
      {-1, chunkBank("xy"), true, true, 1, false, 0},
      {0, chunkBank("xy"), true, false, 0, false, 0},
      {0, chunkBank(""), true, true, 1, true, 0},
      {0, program("p", {1}), true, false, 0, false, 0},
      {0, bank({}), false, false, 0, false, 144},
  };
  for (const Case& row : cases) {
    OrbPlugin& plugin = load(row.withChunks);
    probe->beginLoadAnswer = row.answer;
    int64_t end = 0;
    const auto index = &row - cases;
    EXPECT_EQ(read(plugin, readers[row.isBank], row.file, &end), row.result) << index;
    EXPECT_EQ(plugin.fileFault() == nullptr, row.isTaken) << index;
    EXPECT_EQ(end, int64_t(row.file.size()) - row.endBefore) << index;
    const std::string calls = probe.takeCalls();
    if (!row.isTaken) {
      EXPECT_EQ(countOf(calls, "24 ") + countOf(calls, "= ") + countOf(calls, "67"), 0) << index;
    }
  }
}

TEST_F(ProgramFiles, a_bank_of_programs_may_hold_chunks_and_stops_at_what_cannot_be_read)
{
  const std::string mixed =
      bank({program("A", {0.5f}), chunkProgram("B", "inner"), program("C", {0.75f})});
  probe->numPrograms = 3;
  load(true);
  EXPECT_EQ(read(*host.openPlugin(0), &OrbPlugin::readBank, mixed), 1);
  EXPECT_EQ(probe->takenBytes, 5);
  EXPECT_STREQ(probe->names[2], "C");
  std::memset(probe->names, 0, sizeof probe->names);
  OrbPlugin& plugin = load(false);
  probe->program = 2;
  EXPECT_EQ(read(plugin, &OrbPlugin::readBank, mixed), 1);
  EXPECT_STREQ(plugin.fileFault(), "holds data that this plug-in can't take");
  EXPECT_STREQ(probe->names[0], "A");
  EXPECT_STREQ(probe->names[2], "");
  EXPECT_EQ(probe->program, 2);
}

TEST_F(ProgramFiles, files_cut_at_any_byte_end_quietly_and_are_known_before_they_are_loaded)
{
  ProgramFileFault fault;
  for (size_t form = 0; form < allForms.size(); ++form) {
    OrbPlugin& plugin = load(isChunk[form]);
    const auto reader = readers[isBank[form]];
    probe->program = 1;
    const std::string& whole = allForms[form];
    ASSERT_TRUE(parseProgramFile(whole, fault)) << fault.text();
    EXPECT_FALSE(parseProgramFile(whole, fault)->oddity);
    for (size_t bytes = 0; bytes < whole.size(); ++bytes) {
      probe.takeCalls();
      probe->takenBytes = -1;
      EXPECT_FALSE(parseProgramFile(std::string_view(whole).substr(0, bytes), fault)) << bytes;
      auto stream = memoryWith(whole.substr(0, bytes));
      const int32_t result = (plugin.*reader)(*stream);
      const std::string calls = probe.takeCalls();
      EXPECT_TRUE(plugin.fileFault()) << form << " at " << bytes;
      EXPECT_EQ(countOf(calls, "67 "), countOf(calls, "68 "));
      EXPECT_EQ(probe->takenBytes, -1);
      EXPECT_EQ(result, 0) << form << " at " << bytes;
      EXPECT_EQ(probe->program, 1);
      if (isBank[form] && result == 0 && bytes >= 8) {
        EXPECT_EQ(stream->tell(), int64_t(whole.size()));
      }
    }
  }
}

TEST_F(ProgramFiles, sizes_and_counts_that_lie_cost_nothing_and_are_named)
{
  auto lie = [](std::string file, size_t place, int64_t word) {
    return file.replace(place, 4, be(word));
  };
  const struct {
    std::string file;
    const char* reason;
    bool isRead; ///< all of what is there can be
  } cases[] = {
      {lie(chunkProgram("N", "xy"), 56, INT32_MAX), "2147483645 of 2147483647", false},
      {lie(chunkBank("xy"), 156, INT32_MAX), "2147483645 of 2147483647", false},
      {lie(chunkBank("xy"), 156, -5), "-5 bytes", true},
      {lie(allForms[0], 24, INT32_MAX), "is cut short", false},
      {lie(allForms[0], 24, -1), "-1 items", true},
      {lie(chunkBank("xy"), 24, -1), "-1 items", true},
      {lie(allForms[2], 24, INT32_MAX), "is cut short", false},
      {lie(allForms[2], 4, 100000), "tells of 100000 bytes", true},
      {lie(allForms[2], 164, 0), "holds something else", false},
      {lie(allForms[2], 160, 7), "tells of 7 bytes instead of 52", true},
      {lie(allForms[0], 4, 0), "tells of 0 bytes instead of 56", true},
      {lie(allForms[0], 12, 2), "unknown version 2", true},
      {allForms[0] + "more", "behind", true},
      {"CcnK" + be(4) + "what", "is cut short", false},
      {std::string(60, 'x'), "neither", false},
  };
  rusage before{}, after{};
  getrusage(RUSAGE_SELF, &before);
  const std::pair<std::string, const char*> starts[] = {
      {"junk", "neither"}, {chunkBank("xy"), "is larger than 2047 MiB"}};
  for (const auto& [start, reason] : starts) {
    folder.write("large", start);
    fs::resize_file(folder / "large", int64_t(3) << 30);
    ProgramFileFault fault;
    EXPECT_FALSE(readProgramFile(folder / "large", fault));
    EXPECT_THAT(fault.reason, HasSubstr(reason));
  }
  for (const auto& row : cases) {
    ProgramFileFault fault;
    const auto parsed = parseProgramFile(row.file, fault);
    EXPECT_EQ(parsed.has_value(), row.isRead) << row.reason;
    folder.write("file", row.file);
    ProgramFileFault ignored;
    EXPECT_TRUE(readProgramFile(folder / "file", ignored) || !row.isRead) << ignored.text();
    EXPECT_THAT(parsed && parsed->oddity ? parsed->oddity->text() : fault.text(),
                HasSubstr(row.reason));
    for (bool withChunks : {false, true})
      for (auto reader : readers) {
        load(withChunks);
        probe->beginLoadAnswer = 1;
        read(*host.openPlugin(0), reader, row.file);
      }
  }
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 64 * 1024) << "KiB";
}

TEST_F(ProgramFiles, faults_of_the_plugin_end_in_no_chunk_and_no_new_file)
{
  FGivenFile given(folder / "kept.fxb");
  folder.write("kept.fxb", "former");
  OrbPlugin& plugin = load(true);
  setState();
  const std::string empty = chunkBank("");
  auto savesNothing = [&](bool isWhole) {
    EXPECT_EQ(written(plugin, &OrbPlugin::writeBank, isWhole), empty);
    if (isWhole)
      return;
    EXPECT_EQ(plugin.saveBankFile(given), 0);
    EXPECT_TRUE(plugin.fileFault());
    std::ifstream file(folder / "kept.fxb");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "former");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
  };
  probe->faultAt = opGetChunk;
  for (ProbeFault fault : {probeThrows, probeBadAccess}) {
    probe->fault = fault;
    savesNothing(false);
  }
  probe->faultAt = 1000;
  for (int64_t bytes : {int64_t(0), int64_t(-1)}) {
    probe->chunkBytes = bytes;
    savesNothing(true);
  }
  probe->chunkBytes = INT64_C(1) << 32;
  savesNothing(false);
  probe->chunkBytes = 100; // and its bytes aren't there
  probe->chunk = reinterpret_cast<const void*>(uintptr_t(64));
  savesNothing(false);
  probe->chunk = nullptr;
  savesNothing(true);

  probe->faultAt = opSetChunk;
  EXPECT_EQ(read(plugin, &OrbPlugin::readBank, chunkBank("xy")), 1);
  EXPECT_STREQ(plugin.fileFault(), "the plug-in failed");
  EXPECT_EQ(read(plugin, &OrbPlugin::readProgram, chunkProgram("N", "xy")), 1);
  EXPECT_EQ(countOf(probe.takeCalls(), "68 "), 1);
  OrbPlugin& other = load(false);
  probe->faultAt = ProbePlugin::inParameter;
  EXPECT_EQ(read(other, &OrbPlugin::readProgram, program("N", {1, 2})), 1);
  EXPECT_STREQ(other.fileFault(), "the plug-in failed");
  EXPECT_FALSE(other.writeProgram(*memoryWith("")));
}

TEST_F(ProgramFiles, a_plugin_that_failed_in_a_block_or_claims_too_much_keeps_the_old_file)
{
  FGivenFile given(folder / "kept.fxb");
  auto keeps = [&](OrbPlugin& plugin, const char* reason) {
    folder.write("kept.fxb", "former");
    EXPECT_EQ(plugin.saveBankFile(given), 0);
    EXPECT_STREQ(plugin.fileFault(), reason);
    EXPECT_EQ(fs::file_size(folder / "kept.fxb"), 6u);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
  };
  for (int ProbePlugin::*count : {&ProbePlugin::numPrograms, &ProbePlugin::numParams}) {
    probe.operator->()->*count = INT32_MAX;
    keeps(load(false), "the plug-in tells of too many programs or parameters");
    EXPECT_EQ(countOf(probe.takeCalls(), "? "), 0);
    probe.operator->()->*count = -1;
    EXPECT_EQ(load(false).saveBankFile(given), count == &ProbePlugin::numParams);
    probe.operator->()->*count = 2;
  }
  probe->numPrograms = 100000;
  probe->numParams = 1000000;
  keeps(load(false), "the plug-in has more programs than such a file can hold");
  probe->numPrograms = probe->numParams = 2;

  OrbPlugin& plugin = load(true);
  setState();
  probe->faultAt = ProbePlugin::inProcess;
  probe->fault = probeThrows;
  float* outputs[2] = {};
  EXPECT_FALSE(plugin.processReplacing(nullptr, outputs, 0));
  probe.takeCalls();
  keeps(plugin, "the plug-in failed");
  EXPECT_EQ(plugin.loadBankFile(given), 0);
  EXPECT_STREQ(plugin.fileFault(), "the plug-in failed");
  EXPECT_EQ(read(plugin, &OrbPlugin::readProgram, allForms[1]), 0);
  EXPECT_EQ(probe.takeCalls(), "");
}

TEST_F(ProgramFiles, dialogs_name_the_file_and_its_path_is_known_while_it_is_in_work)
{
  OrbPlugin& plugin = load(true);
  setState();
  KeptDialog dialog;
  int32_t (OrbPlugin::*const operations[])(FFileDialog&) = {
      &OrbPlugin::savePlugProgramFile, &OrbPlugin::loadProgramFile, &OrbPlugin::saveBankFile,
      &OrbPlugin::loadBankFile};
  for (auto operation : operations)
    EXPECT_EQ((plugin.*operation)(dialog), 0);
  EXPECT_EQ(dialog.asked, "Save probe_plugin Program | Effect Program | fxp | 2\n"
                          "Open Effect Program | Effect Program | fxp | 1\n"
                          "Save probe_plugin Bank | Effect Bank | fxb | 2\n"
                          "Open Effect Bank | Effect Bank | fxb | 1\n");
  EXPECT_EQ(probe.takeCalls(), "");
  for (const fs::path& path : {folder / "none/x", folder.path()}) {
    dialog.answer = path;
    for (auto operation : operations)
      EXPECT_EQ((plugin.*operation)(dialog), -1);
  }
  EXPECT_EQ(probe.takeCalls(), "");
  fs::create_symlink("real.fxb", folder / "link.fxb");
  for (const char* name : {"link.fxb", "new.fxp"}) {
    dialog.answer = folder / name;
    for (auto operation : operations) {
      probe->fileInWork[0] = 0;
      EXPECT_EQ((plugin.*operation)(dialog), 1);
      EXPECT_EQ(probe->fileInWork, *dialog.answer);
      EXPECT_EQ(OrbPluginHost::callback(nullptr, hostChunkFile, 0, 0, probe->fileInWork, 0), 0);
    }
  }
  EXPECT_TRUE(fs::is_symlink(folder / "link.fxb"));
  EXPECT_TRUE(fs::is_regular_file(folder / "real.fxb"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 3) << "something is left";
  probe->effect.numPrograms = 0;
  dialog.asked.clear();
  EXPECT_EQ(plugin.saveBankFile(dialog), 0);
  EXPECT_EQ(dialog.asked, "");
}
