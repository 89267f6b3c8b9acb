// Archives of many entries: opening one, finding and opening one entry, and how both grow.
#include "persist/resource_archive.h"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace orbi;

namespace {

/// An archive of so many small files, all in one folder or ten a folder; goes with its user.
class ArchiveOnDisk {
public:
  ArchiveOnDisk(int64_t entries, bool oneFolder)
      : folder_(std::filesystem::temp_directory_path() / ("orbi_bench_" + std::to_string(getpid())))
  {
    std::filesystem::create_directory(folder_);
    std::ofstream(folder_ / "source") << "contents of a small file";
    FResourceArchive archive(path());
    for (int64_t i = 0; i < entries; ++i)
      archive.addFile(name(i, oneFolder), FNFileSystem::instance(), folder_ / "source");
    if (!archive.save())
      std::abort();
  }
  ~ArchiveOnDisk() { std::filesystem::remove_all(folder_); }

  FNPath path() const { return folder_ / "bench.qrf"; }
  static std::string name(int64_t i, bool oneFolder)
  {
    return (oneFolder ? "pictures" : "folder" + std::to_string(i / 10)) + "/picture" +
           std::to_string(i) + ".png";
  }

private:
  std::filesystem::path folder_;
};

void open(benchmark::State& state)
{
  FNFileSystem files;
  ArchiveOnDisk disk(state.range(0), state.range(1) != 0);
  for (auto _ : state) {
    FResourceArchive archive(disk.path());
    if (!archive.open())
      state.SkipWithError("can't be opened");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void findAndOpenEntry(benchmark::State& state)
{
  FNFileSystem files;
  const bool oneFolder = state.range(1) != 0;
  ArchiveOnDisk disk(state.range(0), oneFolder);
  FResourceArchive archive(disk.path());
  archive.open();
  int64_t i = 0;
  char byte = 0;
  for (auto _ : state) {
    i = (i + 7919) % state.range(0);
    auto stream = archive.openStream(ArchiveOnDisk::name(i, oneFolder), openRead);
    if (!stream || stream->read(&byte, 1) != 1)
      state.SkipWithError("can't be read");
  }
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
  for (int64_t oneFolder : {1, 0})
    for (int64_t entries : {1000, 5000, 50000})
      benchmark->Args({entries, oneFolder});
  benchmark->ArgNames({"entries", "in one folder"})->Unit(benchmark::kMicrosecond);
}

BENCHMARK(open)->Apply(sizes);
BENCHMARK(findAndOpenEntry)->Apply(sizes);

} // namespace
