#include "foundation/component_registry.h"
#include "foundation/ref.h"
#include "foundation/stream_helpers.h"
#include "persist/archive_folder.h"
#include "persist/persist_helpers.h"
#include "platform/temporary_folder.h"

#include <gtest/gtest.h>

using namespace orbi;
using Names = std::vector<std::string>;

namespace {

/// Files in memory, by path.
struct MemoryFiles final : FFileSystem {
  Ref<FStream> openStream(const FNPath& path, uint32_t mode) override
  {
    if ((mode & openNew) && exists(path))
      return nullptr;
    if (mode & (openCreate | openNew))
      return made[path.view()] = make<FMemoryStream>();
    auto found = made.find(path.view());
    if (found == made.end())
      return nullptr;
    return memoryWith(textOf(*found->second));
  }
  bool closeStream(Ref<FStream> stream) override { return stream && closes; }
  bool exists(const FNPath& path) const override { return made.count(path.view()) > 0; }
  bool isFolder(const FNPath&) const override { return false; }
  int64_t size(const FNPath& path) const override { return made.at(path.view())->size(); }
  Ref<FFileIterator> newIterator(const FNPath&) override { return nullptr; }
  bool remove(const FNPath& path) override { return made.erase(path.view()) > 0; }
  bool rename(const FNPath& from, const FNPath& to) override
  {
    if (!renames)
      return false;
    made[to.view()] = made.at(from.view());
    return remove(from);
  }
  bool makeFolder(const FNPath&) override { return false; }

  void put(const char* path, std::string_view text) { made[path] = memoryWith(text); }
  std::string text(const char* path) { return textOf(*made.at(path)); }

  std::map<std::string, Ref<FMemoryStream>> made;
  bool closes = true;
  bool renames = true;
};

struct Bytes : std::string {
  Bytes& word(uint64_t number, size_t width = 4)
  {
    append(reinterpret_cast<const char*>(&number), width);
    return *this;
  }
  Bytes& text(std::string_view words) { return append(words), *this; }
  Bytes& record(std::initializer_list<uint64_t> numbers, std::string_view name, size_t width = 4)
  {
    bool first = true;
    for (uint64_t number : numbers)
      word(number, std::exchange(first, false) ? 4 : width);
    return text(name).text({"", 1});
  }
};

const std::string signature = "Quillmore Resource File\r\n";

/// A version 1 archive with that directory; the data are "0123456789" at 25.
std::string archiveWith(const std::string& directory, uint32_t count)
{
  Bytes file;
  file.text(signature).text("0123456789").text(directory);
  return file.word(directory.size()).word(count).word(16).text("QRFF");
}

/// Adds a number to each byte.
struct ShiftKey final : FEncryptionKey {
  explicit ShiftKey(uint8_t by) : by(by) {}
  struct Shifted final : FStream {
    Shifted(FStream* base, uint8_t by) : base(Ref<FStream>::share(base)), by(by) {}
    using FStream::read;
    using FStream::write;
    int64_t read(void* bytes, int64_t count) override
    {
      const int64_t got = base->read(bytes, count);
      std::for_each_n(static_cast<uint8_t*>(bytes), std::max<int64_t>(got, 0),
                      [this](uint8_t& b) { b = static_cast<uint8_t>(b - by); });
      return got;
    }
    int64_t write(const void* bytes, int64_t count) override
    {
      std::string text(static_cast<const char*>(bytes), static_cast<size_t>(count));
      for (char& c : text)
        c = static_cast<char>(c + by);
      return base->write(text.data(), count);
    }
    int64_t seek(int64_t offset, SeekMode mode) override { return base->seek(offset, mode); }
    int64_t tell() override { return base->tell(); }
    void rewind() override { base->rewind(); }
    Ref<FStream> base;
    uint8_t by;
  };
  bool fits(const FKeyBlock& block) const override { return block[31] == by; }
  FKeyBlock newBlock() const override
  {
    FKeyBlock block{};
    block[31] = by;
    return block;
  }
  Ref<FStream> openStream(FStream* stream, const FKeyBlock&) const override
  {
    return make<Shifted>(stream, by);
  }
  uint8_t by;
};

/// Packs runs: a count and a character.
struct RunEngine final : FCompressionEngine {
  bool compress(FStream& plain, FStream& packed) override
  {
    char last = 0, c = 0;
    uint8_t count = 0;
    auto flush = [&] { return count == 0 || (packed.writeUint8(count) && packed.write(&last, 1)); };
    for (; plain.read(&c, 1) == 1; last = c, ++count)
      if (c != last || count == 255) {
        flush();
        count = 0;
      }
    return flush();
  }
  bool decompress(FStream& packed, FStream& plain) override
  {
    uint8_t count = 0;
    for (char c = 0; packed.readUint8(count);)
      for (packed.read(&c, 1); count > 0; --count)
        if (plain.write(&c, 1) != 1)
          return false;
    return true;
  }
};

struct Archive : testing::Test {
  Archive()
  {
    files.put("one", "hello");
    files.put("runs", std::string(300, 'x'));
  }
  ~Archive() override { FResourceArchive::setDefaultVersion(1); }

  FArchiveResult build(const FNPath& path, Ref<FEncryptionKey> key = nullptr)
  {
    FResourceArchive archive(path, &files);
    archive.setKey(std::move(key));
    archive.addFile("a.txt", &files, "one");
    archive.addFolder("empty");
    return archive.save();
  }

  MemoryFiles files;
  ToldMessages told;
};

} // namespace

TEST_F(Archive, versions_are_written_byte_for_byte_and_read_back)
{
  const std::string data = signature + "hello";
  const std::string shifted = signature + "ifmmp";
  const std::string key = std::string(31, '\0') + '\1';
  auto directory = [](size_t width) {
    Bytes bytes;
    bytes.record({2, 0, 0}, "", width).record({1, 25, 5}, "a.txt", width);
    bytes.record({2, 0, 0}, "empty", width).record({1, 0, 0}, "..", width);
    return bytes.record({1, 0, 0}, "..", width);
  };
  auto trailer = [](size_t bytes, uint32_t size, const char* magic) {
    return Bytes().word(bytes).word(5).word(size).text(magic);
  };
  struct Case {
    uint16_t version;
    bool keyed;
    std::string expected;
  };
  const Case cases[] = {
      {1, false, data + directory(4) + trailer(79, 16, "QRFF")},
      {1, true, shifted + directory(4) + key + trailer(79, 48, "QRF2")},
      {3, false, data + directory(8) + std::string(32, '\0') + trailer(119, 48, "QRF3")},
      {3, true, shifted + directory(8) + key + trailer(119, 48, "QRF3")},
  };
  for (const Case& c : cases) {
    FResourceArchive::setDefaultVersion(c.version);
    auto shift = make<ShiftKey>(uint8_t(1));
    ASSERT_TRUE(build("out", c.keyed ? Ref<FEncryptionKey>(shift) : nullptr));
    EXPECT_EQ(files.text("out"), c.expected) << c.version << c.keyed;
    EXPECT_FALSE(files.exists("out~"));

    FResourceArchive read("out", &files);
    EXPECT_EQ(read.open(), !c.keyed);
    EXPECT_EQ(std::exchange(told.texts, {}).size(), c.keyed ? 1u : 0u);
    FEncryptionKey::install(make<ShiftKey>(uint8_t(7)));
    FEncryptionKey::install(shift);
    ASSERT_TRUE(read.open());
    EXPECT_EQ(contentsOf(read, "a.txt"), "hello");
    EXPECT_TRUE(read.isSound());
    EXPECT_EQ(namesIn(read, ""), (Names{"a.txt", "empty/"}));
    FEncryptionKey::uninstall(
        FEncryptionKey::findFor(make<ShiftKey>(uint8_t(7))->newBlock()).get());
    FEncryptionKey::uninstall(shift.get());
  }
  FUserMessage::instance()->setEnabled(false);
  FResourceArchive locked("out", &files);
  EXPECT_FALSE(locked.open());
  EXPECT_TRUE(told.texts.empty());
}

TEST_F(Archive, variants_are_known_by_their_magic_and_written_first)
{
  const auto magic = archiveMagic("MINE");
  for (const FArchiveVariant& variant :
       {FArchiveVariant{magic, 1, 1}, FArchiveVariant{magic, 1, 0}, FArchiveVariant{magic, 0, 1}}) {
    FResourceArchive::addVariant(variant);
    ASSERT_TRUE(build("out"));
    EXPECT_EQ(files.text("out").ends_with("MINE"), variant.version == 1 && variant.writable);
    std::string text = files.text("out");
    files.put("in", text.replace(text.size() - 4, 4, "MINE"));
    EXPECT_EQ(FResourceArchive("in", &files).open(), variant.version == 1);
    FResourceArchive::removeVariant(magic);
    EXPECT_FALSE(FResourceArchive("in", &files).open());
  }
  FResourceArchive::setDefaultVersion(4);
  EXPECT_FALSE(build("four"));
  EXPECT_TRUE(!files.exists("four") && !files.exists("four~"));
}

TEST_F(Archive, entries_have_positions_of_their_own_and_end_where_they_end)
{
  const std::string directory = Bytes()
                                    .record({1, 25, 4}, "first")
                                    .record({2, 0, 0}, "in")
                                    .record({1, 29, 6}, "second")
                                    .record({1, 0, 0}, "..")
                                    .record({1, 26, 0}, "nothing")
                                    .record({1, 33, 1000}, "long")
                                    .record({1, 0xFFFFFFFF, 0xFFFFFFFF}, "beyond");
  files.put("q", archiveWith(directory, 7));
  FResourceArchive archive("q", &files);
  ASSERT_TRUE(archive.open()); // without a record of the root
  auto first = archive.openStream("/first", openRead);
  auto second = archive.openStream("in\\second", openRead);
  ASSERT_TRUE(first && second);
  EXPECT_EQ(archive.openEntries(), 2);
  std::string seen;
  for (auto [stream, count] : {std::pair(&first, 2), {&second, 3}, {&first, 9}, {&second, 9}})
    seen += take(**stream, count);
  EXPECT_EQ(seen, "0145623789");
  EXPECT_EQ(contentsOf(archive, "in/second"), "456789");
  EXPECT_EQ(contentsOf(archive, "nothing"), "");
  EXPECT_EQ(contentsOf(archive, "long"), "89");
  EXPECT_EQ(contentsOf(archive, "beyond"), "");
  EXPECT_FALSE(archive.isSound());
  for (const char* path : {"in", "", "second", "first/x"})
    EXPECT_EQ(contentsOf(archive, path), "(null)") << path;
  EXPECT_FALSE(archive.openStream("first", openRead | openWrite));
  archive.close();
  EXPECT_EQ(first->seek(1, SeekMode::start), 1);
  EXPECT_EQ(take(*first, 9), "123");
}

TEST_F(Archive, names_have_up_to_255_bytes)
{
  const std::string longest(255, 'n');
  for (const std::string& name : {longest, longest + "n"}) {
    const std::string directory = Bytes().record({1, 25, 1}, name).record({1, 26, 1}, "next");
    files.put("q", archiveWith(directory, 2));
    FResourceArchive archive("q", &files);
    ASSERT_TRUE(archive.open());
    const bool fits = name == longest;
    EXPECT_EQ(namesIn(archive, ""), fits ? (Names{name, "next"}) : Names()) << name.size();

    FResourceArchive written("w", &files);
    written.addFile(name, &files, "one");
    EXPECT_EQ(written.save().done, fits);
  }
  for (const char* name : {"..", ".", "two\nlines"}) {
    FResourceArchive written("w2", &files);
    written.addFile(name, &files, "one");
    const FArchiveResult result = written.save();
    EXPECT_TRUE(!result && !result.reason.empty()) << name;
  }
  EXPECT_FALSE(files.exists("w2") || files.exists("w2~"));
}

TEST_F(Archive, compression_needs_an_engine_to_read_and_to_write)
{
  FResourceArchive writer("q", &files);
  writer.addFile("runs", &files, "runs", true);
  writer.addFile("text", &files, "one", true);
  EXPECT_EQ(writer.save().reason, FResourceArchive::noCompressionText);
  EXPECT_EQ(std::exchange(told.texts, {}), Names{FResourceArchive::noCompressionText});
  writer.setCompressionEngine(make<RunEngine>());
  ASSERT_TRUE(writer.save());
  EXPECT_EQ(contentsOf(writer, "runs"), std::string(300, 'x'));
  auto* runs = static_cast<FResourceEntry*>(writer.find("runs"));
  EXPECT_TRUE(runs->isCompressed() && runs->size == 300 && runs->storedSize == 4);
  EXPECT_FALSE(static_cast<FResourceEntry*>(writer.find("text"))->isCompressed());

  FResourceArchive reader("q", &files);
  ASSERT_TRUE(reader.open());
  EXPECT_EQ(contentsOf(reader, "runs"), "(null)");
  EXPECT_EQ(contentsOf(reader, "text"), "hello");
  EXPECT_EQ(told.texts, Names{FResourceArchive::noCompressionText});

  const FComponent component({1, 2, 3, 4}, FCompressionEngine::category, "Runs",
                             []() -> FUnknown* { return static_cast<CmObject*>(new RunEngine); });
  FResourceArchive equipped("q", &files);
  ASSERT_TRUE(equipped.open());
  EXPECT_EQ(contentsOf(equipped, "runs"), std::string(300, 'x'));

  runs->size = 299; // a size that lies gives no more bytes, and a stream that says so
  auto stream = writer.openStream("runs", openRead);
  EXPECT_EQ(contentsOf(stream.get()), std::string(299, 'x'));
  EXPECT_FALSE(stream->isValid());
}

TEST_F(Archive, saving_replaces_the_archive_only_when_all_is_written)
{
  ASSERT_TRUE(build("q"));
  FResourceArchive archive("q", &files);
  ASSERT_TRUE(archive.open());
  EXPECT_FALSE(archive.addFile("a.txt", &files, "one"));
  archive.addFile("empty/b", &files, "one");
  {
    auto open = archive.openStream("a.txt", openRead);
    EXPECT_FALSE(archive.save());
  }
  const std::string before = files.text("q");
  struct Stop final : FArchiveProgress {
    bool report(const char* text) override { return seen.emplace_back(text), seen.size() < 2; }
    Names seen;
  } stop;
  EXPECT_FALSE(archive.save(&stop));
  EXPECT_EQ(stop.seen, (Names{"Adding File: a.txt", "Adding File: b"}));
  for (bool* works : {&files.closes, &files.renames}) {
    *works = false;
    EXPECT_FALSE(archive.save());
    *works = true;
    EXPECT_EQ(contentsOf(archive, "a.txt") + contentsOf(archive, "empty/b"), "hellohello");
  }
  EXPECT_TRUE(files.text("q") == before && !files.exists("q~"));
  files.put("other~", "a file of the user's own");
  ASSERT_TRUE(archive.saveAs("other"));
  EXPECT_EQ(files.text("other~"), "a file of the user's own");
  EXPECT_TRUE(files.exists("other") && !files.exists("other~1"));
  EXPECT_EQ(files.text("q"), before);
  ASSERT_TRUE(archive.removeEntry("a.txt") && archive.save());
  EXPECT_EQ(namesIn(archive, ""), Names{"empty/"});
  EXPECT_EQ(contentsOf(archive, "empty/b"), "hello");
}

TEST_F(Archive, file_that_is_cut_or_lies_is_refused_or_read_as_far_as_it_goes)
{
  ASSERT_TRUE(build("q"));
  const std::string whole = files.text("q");
  for (size_t length = 0; length < whole.size(); ++length) {
    files.put("cut", whole.substr(0, length));
    EXPECT_FALSE(FResourceArchive("cut", &files).open()) << length;
  }
  files.put("bare", "Quillmore Resource File\n" + whole.substr(25));
  EXPECT_FALSE(FResourceArchive("bare", &files).open());
  const std::string directory =
      Bytes().record({1, 25, 1}, "a").record({2, 0, 0}, "b").record({1, 26, 1}, "c");
  for (size_t length = 0; length <= directory.size(); ++length) {
    files.put("short", archiveWith(directory.substr(0, length), 0xFFFFFFFF));
    FResourceArchive archive("short", &files);
    ASSERT_TRUE(archive.open());
    const Names all{"a", "b/"};
    EXPECT_EQ(namesIn(archive, ""),
              Names(all.begin(), all.begin() + (length >= 28 ? 2 : length / 14)));
    EXPECT_EQ(archive.exists("b/c"), length == directory.size());
  }
  for (uint32_t size : {100u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    std::string lying = archiveWith(directory, 3);
    std::memcpy(&lying[lying.size() - 16], &size, 4);
    files.put("lying", lying);
    EXPECT_FALSE(FResourceArchive("lying", &files).open()) << size;
  }
}

TEST_F(Archive, folders_may_be_as_deep_as_they_are_many)
{
  constexpr uint32_t depth = 100000;
  Bytes directory;
  for (uint32_t i = 0; i < depth; ++i)
    directory.record({2, 0, 0}, "d");
  files.put("deep", archiveWith(directory, depth));
  FResourceArchive archive("deep", &files);
  ASSERT_TRUE(archive.open());
  const FFileArchiveNode* node = archive.root();
  uint32_t count = 0;
  while ((node = node->nextBelow(archive.root())))
    ++count;
  EXPECT_EQ(count, depth);
  EXPECT_TRUE(archive.saveAs("again"));
  archive.close();
}

TEST(ArchiveFolder, comes_back_from_an_archive_as_it_was)
{
  auto files = make<FNFileSystem>();
  TemporaryFolder folder;
  folder.write("in/skin.xml", "<skin/>");
  folder.write("in/pictures/back\"ground.png", std::string(200000, 'p'));
  folder.write("in/nothing", "");
  std::filesystem::create_directories(folder / "in/empty");
  const FNPath archive = folder / "in/skin.qrf"; // within the folder itself
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(createArchive(archive, folder / "in"));
    const FArchiveResult result = extractArchive(archive, folder / "out");
    ASSERT_TRUE(result) << result.reason;
    EXPECT_EQ(namesIn(*files, folder / "out"),
              (Names{"empty/", "nothing", "pictures/", "skin.xml"}));
    EXPECT_EQ(files->size(folder / "out/pictures/back\"ground.png"), 200000);
    EXPECT_EQ(contentsOf(*files, folder / "out/skin.xml"), "<skin/>");
  }
  std::filesystem::create_directory_symlink("..", folder / "in/circle");
  const auto time = std::filesystem::last_write_time(archive.native());
  EXPECT_NE(createArchive(archive, folder / "in").reason.find("circle"), std::string::npos);
  EXPECT_EQ(std::filesystem::last_write_time(archive.native()), time);
  EXPECT_FALSE(createArchive(archive, folder / "in/skin.xml"));
}

TEST(ArchiveFolder, is_not_left_by_any_name)
{
  auto files = make<FNFileSystem>();
  TemporaryFolder folder;
  const Bytes good = Bytes().record({1, 25, 2}, "good");
  struct Case {
    Bytes directory;
    const char* reason;
  };
  const Case cases[] = {
      {Bytes(good).record({1, 27, 2}, "/tmp/orbi_escaped"), "separator"},
      {Bytes(good).record({1, 27, 2}, "../escaped"), "separator"},
      {Bytes(good).record({1, 27, 2}, "a\\b"), "separator"},
      {Bytes(good).record({2, 0, 0}, ".").record({1, 27, 2}, "x"), "another folder"},
      {Bytes(good).record({1, 27, 2}, ""), "no name"},
      {Bytes(good).record({2, 0, 0}, "x").record({1, 0, 0}, "..").record({1, 27, 2}, "x"), "twice"},
      {Bytes(good).record({1, 25, 2}, "same bytes").record({1, 25, 9}, "once more"), "damaged"},
      {Bytes(good).record({1, 25, 2000}, "long"), "damaged"},
      {Bytes(good).record({5, 27, 2, 1}, "packed"), "compressed"},
  };
  for (const Case& c : cases) {
    folder.write("q.qrf", archiveWith(c.directory, 9));
    const FArchiveResult result = extractArchive(folder / "q.qrf", folder / "out/deep");
    EXPECT_FALSE(result);
    EXPECT_NE(result.reason.find(c.reason), std::string::npos) << result.reason;
    EXPECT_EQ(files->exists(folder / "out"), std::string(c.reason) == "compressed");
  }
  EXPECT_FALSE(extractArchive(folder / "gone", folder / "out"));
}
