#include "foundation/memory_stream.h"
#include "persist/resource_archive.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

using namespace orbi;

namespace {

void require(bool condition)
{
  if (!condition)
    std::abort();
}

/// Reads the input under one name and keeps what is written under any other.
class InputFiles final : public FFileSystem {
public:
  InputFiles(const std::uint8_t* bytes, std::size_t count)
  {
    input_->write(bytes, static_cast<std::int64_t>(count));
  }

  Ref<FStream> openStream(const FNPath& path, uint32_t mode) override
  {
    if (mode & openWrite)
      return written_ = make<FMemoryStream>();
    Ref<FMemoryStream> stream = make<FMemoryStream>(path == "input" ? *input_ : *written_);
    stream->rewind();
    return stream;
  }
  bool closeStream(Ref<FStream>) override { return true; }
  bool exists(const FNPath&) const override { return true; }
  bool isFolder(const FNPath&) const override { return false; }
  int64_t size(const FNPath&) const override { return -1; }
  Ref<FFileIterator> newIterator(const FNPath&) override { return nullptr; }
  bool remove(const FNPath&) override { return true; }
  bool rename(const FNPath&, const FNPath&) override { return true; }
  bool makeFolder(const FNPath&) override { return false; }

private:
  Ref<FMemoryStream> input_ = make<FMemoryStream>();
  Ref<FMemoryStream> written_ = make<FMemoryStream>();
};

/// Fits everything and enciphers nothing, so that keyed archives are read as well.
class OpenKey final : public FEncryptionKey {
public:
  bool fits(const FKeyBlock&) const override { return true; }
  FKeyBlock newBlock() const override { return {1}; }
  Ref<FStream> openStream(FStream* stream, const FKeyBlock&) const override
  {
    return Ref<FStream>::share(stream);
  }
};

/// Doubles every byte, so that sizes that lie show.
class Doubling final : public FCompressionEngine {
public:
  bool compress(FStream& plain, FStream& packed) override
  {
    char byte = 0;
    while (plain.read(&byte, 1) == 1)
      packed.write(&byte, 1);
    return true;
  }
  bool decompress(FStream& packed, FStream& plain) override
  {
    for (char byte = 0; packed.read(&byte, 1) == 1;)
      if (plain.write(&byte, 1) != 1 || plain.write(&byte, 1) != 1)
        return false;
    return true;
  }
};

/// An entry gives no more than the archive holds, and the same from its start again.
std::int64_t readEntry(FStream& stream, std::size_t count)
{
  char bytes[256];
  std::int64_t total = 0;
  for (std::int64_t got = 0; (got = stream.read(bytes, sizeof bytes)) > 0;)
    total += got;
  require(total <= static_cast<std::int64_t>(2 * count));
  require(stream.seek(INT64_MIN, SeekMode::end) == 0 && stream.seek(-1, SeekMode::end) >= 0);
  require(stream.seek(INT64_MIN, SeekMode::current) == 0);
  require(stream.read(bytes, 1) == (total > 0 ? 1 : 0));
  return total;
}

/// The names and contents of all, in order.
std::string contents(FResourceArchive& archive, std::size_t count, int limit)
{
  std::string all;
  for (auto* node = archive.root(); node && limit-- > 0; node = node->nextBelow(archive.root())) {
    all += node->name().text();
    all += node->isFolder() ? '/' : ' ';
    if (node->isFolder() || archiveNameFault(node->name().view()) || node->parent()->parent())
      continue;
    if (auto stream = archive.openStream(node->name().text(), openRead))
      all += std::to_string(readEntry(*stream, count));
  }
  return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
  auto files = make<InputFiles>(bytes, count);
  FResourceArchive archive("input", files.get());
  archive.setKey(make<OpenKey>());
  archive.setCompressionEngine(make<Doubling>());
  if (!archive.open())
    return 0;
  // What can be written again says the same.
  const std::string before = contents(archive, count, 100);
  if (archive.isSound() && archive.saveAs("written")) {
    FResourceArchive again("written", files.get());
    again.setKey(make<OpenKey>());
    again.setCompressionEngine(make<Doubling>());
    require(again.open() && again.isSound());
    require(contents(again, 2 * count, 100) == before);
  }
  return 0;
}
