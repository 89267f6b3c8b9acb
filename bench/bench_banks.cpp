// A bank of 128 programs with 500 parameters each as a file: saving and loading are to take less
// than 20 ms each, apart from the plug-in. The file lies in the system's temporary folder, so
// that a save waits for the medium as any other does; how long that takes alone is "replace".
#include "foundation/ref.h"
#include "host/plugin.h"
#include "host/program_file.h"
#include "persist/file_dialog.h"
#include "persist/whole_file.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <filesystem>
#include <unistd.h>

using namespace orbi;

namespace {

namespace fs = std::filesystem;

constexpr int32_t programs = 128;
constexpr int32_t parameters = 500;

OrbEffect effect;
int32_t current = 0;
float values[programs][parameters];

int64_t dispatch(OrbEffect*, int32_t opcode, int32_t, int64_t value, void* ptr, float)
{
  if (opcode == opSetProgram)
    current = static_cast<int32_t>(value);
  if (opcode == opGetProgramName)
    std::strcpy(static_cast<char*>(ptr), "Program");
  return opcode == opGetProgram ? current : 0;
}

OrbEffect* enter(OrbHostCallback)
{
  effect.dispatcher = dispatch;
  effect.setParameter = [](OrbEffect*, int32_t index, float value) {
    values[current][index] = value;
  };
  effect.getParameter = [](OrbEffect*, int32_t index) { return values[current][index]; };
  effect.numPrograms = programs;
  effect.numParams = parameters;
  return &effect;
}

/// The file and who saves and loads it; the file goes with its user.
class BankOnDisk {
public:
  BankOnDisk() { plugin->enter(enter, nullptr); }
  ~BankOnDisk() { fs::remove(path); }

  fs::path path = fs::temp_directory_path() / ("orbi_bench_" + std::to_string(getpid()) + ".fxb");
  FGivenFile given{path};
  Ref<OrbPlugin> plugin = make<OrbPlugin>("bench", 0);
};

void save(benchmark::State& state)
{
  BankOnDisk bank;
  for (auto _ : state)
    if (bank.plugin->saveBankFile(bank.given) != 1)
      state.SkipWithError("can't be written");
}

/// The part of it that is the system's: as many bytes, in one piece.
void replace(benchmark::State& state)
{
  BankOnDisk bank;
  bank.plugin->saveBankFile(bank.given);
  const std::string bytes(fs::file_size(bank.path), 'x');
  for (auto _ : state) {
    FFileReplacement file;
    const bool isOpen = file.open(bank.path);
    file.stream().write(bytes.data(), static_cast<int64_t>(bytes.size()));
    if (!isOpen || !file.finish())
      state.SkipWithError("can't be written");
  }
}

void load(benchmark::State& state)
{
  BankOnDisk bank;
  bank.plugin->saveBankFile(bank.given);
  for (auto _ : state)
    if (bank.plugin->loadBankFile(bank.given) != 1 || bank.plugin->fileFault())
      state.SkipWithError("not everything was read");
}

/// What the command line does before.
void check(benchmark::State& state)
{
  BankOnDisk bank;
  bank.plugin->saveBankFile(bank.given);
  for (auto _ : state) {
    ProgramFileFault fault;
    const auto bytes = readProgramFile(bank.path, fault);
    if (!bytes || !parseProgramFile(*bytes, fault))
      state.SkipWithError("it isn't whole");
  }
}

BENCHMARK(save)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(replace)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(load)->Unit(benchmark::kMillisecond);
BENCHMARK(check)->Unit(benchmark::kMillisecond);

} // namespace
