#include "foundation/startup_records.h"
#include "persist/file_types.h"
#include "persist/persist_helpers.h"
#include "persist/resource_archive.h"
#include "persist/virtual_file_system.h"
#include "platform/temporary_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace orbi;
using Names = std::vector<std::string>;

namespace {

struct FileSystem : testing::Test {
  Ref<FNFileSystem> files = make<FNFileSystem>();
  TemporaryFolder folder;

  FNPath at(const char* name) const { return folder / name; }
};

} // namespace

TEST(Path, takes_parts_from_either_separator)
{
  EXPECT_EQ(splitPath("/a\\b//c/"), (std::vector<std::string_view>{"a", "b", "c"}));
  EXPECT_TRUE(splitPath("").empty());
  FNPath path("base");
  path.append("\\pictures/knob.v2.png");
  EXPECT_EQ(path, FNPath("base/pictures/knob.v2.png"));
  EXPECT_EQ(path.name(), "knob.v2.png");
  EXPECT_EQ(path.extension(), "png");
  EXPECT_EQ(path.parent(), FNPath("base/pictures"));
  EXPECT_EQ(FNPath("/root").parent(), FNPath("/"));
  EXPECT_EQ(FNPath("name").parent(), FNPath());
  EXPECT_EQ(FNPath(".hidden").extension(), "");
}

TEST_F(FileSystem, lists_by_name_and_tells_what_each_entry_is)
{
  folder.write("b.txt", "12345");
  folder.write("a/inner", "");
  std::filesystem::create_symlink("nowhere", folder / "broken");
  std::filesystem::create_symlink("a", folder / "link");
  mkfifo((folder / "pipe").c_str(), 0600);
  struct Expected {
    const char* name;
    FFileKind kind;
    bool isLink;
    int64_t bytes;
  };
  constexpr Expected expected[] = {{"a", FFileKind::folder, false, 0},
                                   {"b.txt", FFileKind::file, false, 5},
                                   {"broken", FFileKind::other, true, 0},
                                   {"link", FFileKind::folder, true, 0},
                                   {"pipe", FFileKind::other, false, 0}};
  auto items = files->newIterator(folder.path());
  ASSERT_TRUE(items);
  FFileItem item;
  for (const Expected& e : expected) {
    ASSERT_TRUE(items->next(item));
    EXPECT_EQ(item.name, e.name);
    EXPECT_TRUE(item.kind == e.kind && item.isLink == e.isLink && item.bytes == e.bytes) << e.name;
  }
  EXPECT_FALSE(items->next(item));
  EXPECT_FALSE(files->newIterator(at("b.txt")));
}

TEST_F(FileSystem, changes_what_it_is_told_and_answers_what_it_could_not)
{
  EXPECT_EQ(FNFileSystem::instance(), files.get());
  EXPECT_TRUE(files->makeFolder(at("x/y")) && files->makeFolder(at("x/y")));
  auto stream = files->openStream(at("x/y/f"), openWrite | openCreate);
  ASSERT_TRUE(stream && stream->writeString("text", false));
  EXPECT_TRUE(files->closeStream(std::move(stream)));
  EXPECT_EQ(files->size(at("x/y/f")), 4);
  EXPECT_FALSE(files->makeFolder(at("x/y/f")));
  EXPECT_FALSE(files->remove(at("x")));
  folder.write("old", "old");
  EXPECT_TRUE(files->rename(at("x/y/f"), at("old")));
  EXPECT_EQ(contentsOf(*files, at("old")), "text");
  EXPECT_TRUE(files->remove(at("x/y")) && !files->remove(at("x/y")) && !files->exists(at("x/y")));
  EXPECT_EQ(files->size(at("x")), -1);
  EXPECT_FALSE(files->openStream(at("gone"), openRead));

  auto full = files->openStream("/dev/full", openWrite);
  ASSERT_TRUE(full);
  EXPECT_FALSE(full->writeString("text", false));
}

TEST_F(FileSystem, addresses_find_what_their_text_names)
{
  folder.write("a b%ü", "here");
  const FUrl url(files.get(), at("a b%ü"));
  EXPECT_EQ(std::string(url.text()), "file://" + folder.path().string() + "/a%20b%25%C3%BC");
  const FUrl again{std::string_view(url.text())};
  EXPECT_EQ(again.path(), url.path());
  EXPECT_EQ(contentsOf(again.openStream(openRead).get()), "here");
  EXPECT_TRUE(again.isEqual(&url) && again.exists());

  FMemoryStream stream;
  url.write(stream);
  stream.rewind();
  FUrl loaded;
  EXPECT_TRUE(loaded.read(stream));
  EXPECT_TRUE(loaded.exists());

  auto skin = make<FResourceArchive>(at("skin.qrf"));
  EXPECT_FALSE(FUrl(skin.get(), "x").isEqual(make<FUrl>(files.get(), FNPath("x")).get()));
  EXPECT_EQ(FUrl("file://localhost/x%2").path(), FNPath("/x%2"));
  EXPECT_EQ(FUrl("http://host/x").scheme(), "http");
  EXPECT_FALSE(FUrl("http://" + folder.path().string()).exists());
}

TEST_F(FileSystem, virtual_one_stands_on_a_folder_or_on_an_archive_alike)
{
  folder.write("skin/skin.xml", "<skin/>");
  folder.write("skin/pictures/knob.png", "knob");
  FResourceArchive archive(at("Skin.QRF"));
  archive.addFile("skin.xml", files.get(), at("skin/skin.xml"));
  archive.addFile("pictures/knob.png", files.get(), at("skin/pictures/knob.png"));
  ASSERT_TRUE(archive.save());

  FPreInitializer::runAll(); // archives announce themselves
  for (const char* base : {"skin", "Skin.QRF"}) {
    FVFileSystem skin(at(base));
    ASSERT_TRUE(skin.isValid()) << base;
    EXPECT_EQ(contentsOf(skin, "skin.xml"), "<skin/>");
    EXPECT_EQ(contentsOf(skin, "pictures\\knob.png"), "knob");
    EXPECT_EQ(contentsOf(skin, "pictures/knob.png"), "knob");
    EXPECT_TRUE(skin.isFolder("pictures") && !skin.exists("gone"));
    EXPECT_EQ(skin.size("skin.xml"), 7);
    EXPECT_EQ(namesIn(skin, "pictures"), (Names{"knob.png"}));
    auto urls = skin.newUrlIterator("pictures");
    ASSERT_TRUE(urls);
    EXPECT_EQ(contentsOf(urls->next()->openStream(openRead).get()), "knob");
    EXPECT_FALSE(urls->next());
    EXPECT_EQ(contentsOf(skin.newUrl("skin.xml")->openStream(openRead).get()), "<skin/>");
    EXPECT_FALSE(skin.newUrl("gone"));
  }
  EXPECT_EQ(FVFileSystem(at("Skin.QRF")).mode(), FVFileSystem::Mode::readOnly);
  EXPECT_FALSE(FVFileSystem(at("skin/skin.xml")).isValid());
}

TEST_F(FileSystem, virtual_one_changes_nothing_where_it_only_reads)
{
  folder.write("f", "text");
  FVFileSystem reads(folder.path(), FVFileSystem::Mode::readOnly);
  EXPECT_FALSE(reads.openStream("f", openWrite) || reads.remove("f") || reads.rename("f", "g") ||
               reads.makeFolder("new"));
  FVFileSystem writes(folder.path());
  EXPECT_TRUE(writes.makeFolder("new") && writes.rename("f", "new/g"));
  EXPECT_EQ(contentsOf(reads, at("new/g")), "text"); // an absolute path is used as it stands
  EXPECT_TRUE(writes.remove("new/g"));
}
