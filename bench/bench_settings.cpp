// The user's settings: loading and saving a file of so many groups with ten values each. 200 groups
// are to take less than 3 ms each way. The folder lies in memory where the system has such a one,
// so that the time of synchronising with a disk isn't counted.
#include "foundation/class_registry.h"
#include "persist/default_pool.h"
#include "persist/file_system.h"
#include "persist/object_files.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

using namespace orbi;

namespace {

namespace fs = std::filesystem;

/// A settings folder of its own; goes with its user.
class SettingsOnDisk {
public:
  SettingsOnDisk() { DeferredRegistration::runAll(); }
  ~SettingsOnDisk() { fs::remove_all(folder_); }

  FObjectFiles& files() { return files_; }

  static void fill(FDefaultPool& pool, int64_t groups)
  {
    for (int64_t i = 0; i < groups; ++i) {
      FDefaults* group = pool.getGroup(("OrbPlugRouting\\Plug-in " + std::to_string(i)).c_str());
      for (int64_t k = 0; k < 4; ++k)
        group->setInt(("Port" + std::to_string(k)).c_str(), i * k);
      for (int64_t k = 0; k < 3; ++k) {
        const std::string number = std::to_string(k);
        group->setFloat(("Level" + number).c_str(), 1.0 / static_cast<double>(i + k + 1));
        group->setString(("Name" + number).c_str(), ("Name & more of " + number).c_str());
      }
    }
  }

private:
  static fs::path parent()
  {
    const fs::path memory = "/dev/shm";
    return access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path();
  }

  fs::path folder_ = parent() / ("orbi_bench_settings_" + std::to_string(getpid()));
  FNFileSystem fileSystem_;
  FObjectFiles files_{{folder_, {}}, fileSystem_};
};

void load(benchmark::State& state)
{
  SettingsOnDisk disk;
  {
    FDefaultPool pool;
    pool.finishLoading();
    SettingsOnDisk::fill(pool, state.range(0));
    pool.save(disk.files(), false);
  }
  for (auto _ : state) {
    FDefaultPool pool;
    pool.load(disk.files());
    if (pool.groupCount() != static_cast<uint32_t>(state.range(0)))
      state.SkipWithError("not everything was read");
  }
}

void save(benchmark::State& state)
{
  SettingsOnDisk disk;
  FDefaultPool pool;
  pool.finishLoading();
  SettingsOnDisk::fill(pool, state.range(0));
  FDefaults* changing = pool.getGroup("OrbiPlayer");
  int64_t count = 0;
  for (auto _ : state) {
    changing->setInt("Changed", ++count); // what is the same already isn't written again
    if (!disk.files().save(FDefaultPool::fileName, FDefaultPool::fileName, pool))
      state.SkipWithError("can't be written");
  }
}

BENCHMARK(load)->ArgName("groups")->Arg(200)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(save)->ArgName("groups")->Arg(200)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);

} // namespace
