#include "persist/default_pool.h"

#include "foundation/class_registry.h"
#include "persist/file_system.h"
#include "persist/object_files.h"
#include "platform/temporary_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

namespace orbi {
namespace {

namespace fs = std::filesystem;

/// The real files, until power goes away after so many changes; then nothing reaches the disk.
class FailingFiles final : public CmClass<FailingFiles, FFileSystem> {
public:
  static constexpr const char* className = "FailingFiles";

  class Stream final : public CmClass<Stream, FStream> {
  public:
    static constexpr const char* className = "FailingStream";
    Stream(FailingFiles& owner, Ref<FStream> base) : owner_(owner), base_(std::move(base)) {}
    using FStream::read;
    using FStream::write;
    int64_t read(void* buffer, int64_t count) override { return base_->read(buffer, count); }
    int64_t write(const void* buffer, int64_t count) override
    {
      if (owner_.works())
        return base_->write(buffer, count);
      base_->write(buffer, count / 2); // cut in the middle
      return 0;
    }
    int64_t seek(int64_t offset, SeekMode mode) override { return base_->seek(offset, mode); }
    int64_t tell() override { return base_->tell(); }
    void rewind() override { base_->rewind(); }
    bool flush() override { return owner_.works() && base_->flush(); }
    FailingFiles& owner_;
    Ref<FStream> base_;
  };

  bool works() { return changesLeft-- > 0; }
  Ref<FStream> openStream(const FNPath& path, uint32_t mode) override
  {
    if (isLocked || ((mode & openWrite) && !works()))
      return nullptr;
    Ref<FStream> base = files.openStream(path, mode);
    return base ? Ref<FStream>(make<Stream>(*this, std::move(base))) : nullptr;
  }
  bool closeStream(Ref<FStream>) override { return changesLeft > 0; }
  bool exists(const FNPath& path) const override { return !isLocked && files.exists(path); }
  bool mayExist(const FNPath& path) const override { return isLocked || files.exists(path); }
  bool isFolder(const FNPath& path) const override { return files.isFolder(path); }
  int64_t size(const FNPath& path) const override { return files.size(path); }
  Ref<FFileIterator> newIterator(const FNPath& path) override { return files.newIterator(path); }
  bool remove(const FNPath& path) override { return works() && files.remove(path); }
  bool rename(const FNPath& a, const FNPath& b) override { return works() && files.rename(a, b); }
  bool makeFolder(const FNPath& path) override { return works() && files.makeFolder(path); }

  FNFileSystem files;
  int changesLeft = 0;
  bool isLocked = false; ///< nothing can be found out
};

class Saver final : public CmClass<Saver, CmObject> {
public:
  static constexpr const char* className = "Saver";
  bool storeAttributes(FAttributes& attributes) const override
  {
    return stores && attributes.setInt("State", state);
  }
  bool loadAttributes(const FAttributes& attributes) override
  {
    return attributes.getInt("State", state);
  }
  bool stores = true;
  int64_t state = 7;
};

class Settings : public testing::Test {
protected:
  FObjectFiles files() { return {{folder_ / "user", {folder_ / "delivered"}}, fileSystem_}; }
  void save(int64_t value)
  {
    FDefaultPool pool;
    pool.finishLoading();
    pool.getGroup("Group")->setInt("Value", value);
    FObjectFiles to = files();
    EXPECT_TRUE(pool.save(to, false));
  }
  int64_t load()
  {
    FDefaultPool pool;
    FObjectFiles from = files();
    pool.load(from);
    return pool.getGroup("Group")->getInt("Value");
  }
  std::string read(const char* name)
  {
    std::stringstream text;
    text << std::ifstream(folder_ / "user" / name).rdbuf();
    return text.str();
  }
  void write(const fs::path& path, const std::string& text)
  {
    fs::create_directories((folder_ / path).parent_path());
    std::ofstream(folder_ / path) << text;
  }
  size_t fileCount() { return size_t(std::distance(fs::directory_iterator(folder_ / "user"), {})); }

  TemporaryFolder folder_;
  FNFileSystem fileSystem_;
};

TEST_F(Settings, groups_go_by_name_and_version_and_not_at_all_after_the_end)
{
  FDefaultPool pool;
  FDefaults* group = pool.getGroup("X", 1);
  group->setString("Text", "old");
  EXPECT_EQ(pool.getGroup("X", 1), group);
  EXPECT_EQ(pool.getGroup("x", 1, false), nullptr);
  EXPECT_TRUE(pool.getGroup("X", 2)->isEmpty()); // another schema
  EXPECT_STREQ(pool.getGroup("X", 1)->getString("Text"), "");
  EXPECT_EQ(pool.getGroup("", 0), nullptr);
  pool.removeGroup("X", 7);
  EXPECT_EQ(pool.groupCount(), 1u);
  pool.removeGroup("X", 1);
  EXPECT_EQ(pool.groupCount(), 0u);

  int64_t value = 5;
  FDefaults* values = pool.getGroup("Values");
  EXPECT_FALSE(values->getInt("Missing", value));
  EXPECT_EQ(value, 5);
  values->setFloat("Float", 0.5);
  EXPECT_EQ(values->getFloat("Float"), 0.5);
  EXPECT_TRUE(values->remove("Float"));
  EXPECT_TRUE(values->isEmpty());
  pool.closePool();
  EXPECT_EQ(pool.getGroup("Values"), nullptr);
}

TEST_F(Settings, the_file_holds_what_has_values_and_what_savers_gave)
{
  Saver saver;
  FObjectFiles to = files();
  static int loaded = 0;
  static int saved = 0;
  FDefaultPool::addLoadCallback([] { ++loaded; });
  FDefaultPool::addSaveCallback([] { ++saved; });
  {
    FDefaultPool pool;
    EXPECT_FALSE(pool.save(to, true)); // not loaded yet
    EXPECT_EQ(saved, 0);
    pool.finishLoading();
    pool.addAutoSaver(&saver);
    pool.getGroup("Zebra", 3)->setString("Name", "a<b");
    pool.getGroup("Empty");
    pool.getGroup("Aunt\\Niece")->setInt("Number", -4);
    EXPECT_TRUE(pool.save(to, true));
  }
  std::string text = read("Defaults.xml");
  for (size_t at; (at = text.find(" ID=\"")) != std::string::npos;)
    text.erase(at, text.find('"', at + 5) + 1 - at);
  EXPECT_EQ(text, "<Defaults>\r\n"
                  "   <list name=\"Entries\" type=\"obj\">\r\n"
                  "      <obj class=\"FDefaults\">\r\n"
                  "         <string name=\"Group\" value=\"Aunt\\Niece\"/>\r\n"
                  "         <member name=\"Values\">\r\n"
                  "            <int name=\"Number\" value=\"-4\"/>\r\n"
                  "         </member>\r\n"
                  "      </obj>\r\n"
                  "      <obj class=\"FDefaults\">\r\n"
                  "         <string name=\"Group\" value=\"Zebra\"/>\r\n"
                  "         <member name=\"Values\">\r\n"
                  "            <string name=\"Name\" value=\"a&lt;b\"/>\r\n"
                  "         </member>\r\n"
                  "         <int name=\"Version\" value=\"3\"/>\r\n"
                  "      </obj>\r\n"
                  "   </list>\r\n"
                  "   <member name=\"AutoSavers\">\r\n"
                  "      <member name=\"Saver\">\r\n"
                  "         <int name=\"State\" value=\"7\"/>\r\n"
                  "      </member>\r\n"
                  "   </member>\r\n"
                  "</Defaults>\r\n");

  saver.state = 0;
  FDefaultPool pool;
  pool.addAutoSaver(&saver);
  pool.load(to);
  pool.finishLoading();
  EXPECT_EQ(saver.state, 7);
  EXPECT_STREQ(pool.getGroup("Zebra", 3)->getString("Name"), "a<b");
  saver.stores = false;
  EXPECT_TRUE(pool.save(to, true));
  EXPECT_EQ(read("Defaults.xml").find("Saver\""), std::string::npos);
  EXPECT_EQ(loaded, 2);
  EXPECT_EQ(saved, 2);
}

TEST_F(Settings, a_save_that_is_cut_off_anywhere_leaves_the_old_or_the_new)
{
  bool complete = false;
  for (int changes = 0; !complete; ++changes) {
    SCOPED_TRACE(changes);
    fs::remove_all(folder_ / "user");
    save(1);
    FailingFiles failing;
    failing.changesLeft = changes;
    FObjectFiles to({folder_ / "user", {}}, failing);
    FAttributes tree;
    FDefaultPool pool;
    pool.finishLoading();
    pool.getGroup("Group")->setInt("Value", 2);
    bool saved = to.save(FDefaultPool::fileName, FDefaultPool::fileName, pool).has_value();
    complete = failing.changesLeft > 0;
    EXPECT_EQ(load(), saved ? 2 : 1);
    save(3); // the next run finds its way, whatever was left
    EXPECT_EQ(load(), 3);
    EXPECT_EQ(fileCount(), 1u);
    ASSERT_LT(changes, 20);
  }
}

TEST_F(Settings, are_looked_for_in_their_order)
{
  auto textOf = [this](int64_t value) {
    save(value);
    std::string text = read("Defaults.xml");
    fs::remove(folder_ / "user" / "Defaults.xml");
    return text;
  };
  EXPECT_EQ(load(), 0);
  write("delivered/Defaults.xml", textOf(1));
  EXPECT_EQ(load(), 1);
  write("user/Defaults_old.xml", textOf(2));
  EXPECT_EQ(load(), 2);
  save(3);
  EXPECT_EQ(load(), 3);
  EXPECT_EQ(fileCount(), 1u);

  // What a save left that was cut off goes with the next one, also when nothing has changed.
  for (const char* leftover : {"user/Defaults_old.xml", "user/Defaults_new.xml"}) {
    write(leftover, "<Defaults>");
    save(3);
    EXPECT_EQ(load(), 3);
    EXPECT_EQ(fileCount(), 1u) << leftover;
  }
}

TEST_F(Settings, a_file_that_cannot_be_read_is_kept_and_named_with_its_line)
{
  for (const char* name : {"Defaults.xml", "Defaults_old.xml"}) {
    fs::remove_all(folder_ / "user");
    write(fs::path("user") / name, "<Defaults>\n<int name=\"a\" value=\"1\"/>\n</Wrong>");
    FObjectFiles from = files();
    FDefaultPool pool;
    EXPECT_EQ(from.load("Defaults", "Defaults", pool), FObjectFiles::Loaded::unreadable);
    EXPECT_EQ(from.error(), (folder_ / "user" / name).string() + ": line 3: Xml data malformed!");
    pool.finishLoading();
    EXPECT_TRUE(pool.save(from, false));
    EXPECT_NE(read("Defaults_bad.xml").find("</Wrong>"), std::string::npos) << name;
    EXPECT_EQ(read("Defaults.xml"), "<Defaults>\r\n</Defaults>\r\n");
    EXPECT_EQ(fileCount(), 2u);
  }
}

TEST_F(Settings, nothing_is_replaced_without_leave_nor_by_what_could_not_be_read)
{
  struct Answer final : FReplaceQuestion {
    bool mayReplace(const std::string& question) override
    {
      asked = question;
      return yes;
    }
    std::string asked;
    bool yes = false;
  } answer;
  FObjectFiles to = files();
  FAttributes tree;
  tree.setInt("Value", 1);
  EXPECT_TRUE(to.saveAttributes("Layouts", "Layouts", tree, &answer));
  EXPECT_EQ(answer.asked, ""); // there was none
  tree.setInt("Value", 2);
  EXPECT_FALSE(to.saveAttributes("Layouts", "Layouts", tree, &answer));
  EXPECT_EQ(answer.asked, "Do you want to replace Layouts?");
  FAttributes back;
  EXPECT_EQ(to.loadAttributes("Layouts", "Layouts", back), FObjectFiles::Loaded::yes);
  EXPECT_EQ(back.getInt("Value"), 1);
  answer.yes = true;
  EXPECT_TRUE(to.saveAttributes("Layouts", "Layouts", tree, &answer));
  EXPECT_EQ(to.loadAttributes("Layouts", "Layouts", back), FObjectFiles::Loaded::yes);
  EXPECT_EQ(back.getInt("Value"), 2);

  FObjectFiles nowhere({folder_ / "user" / "Layouts.xml" / "below", {}}, fileSystem_);
  EXPECT_FALSE(nowhere.saveAttributes("A", "A", back));
  EXPECT_FALSE(FObjectFiles({{}, {}}, fileSystem_).saveAttributes("A", "A", back));
  EXPECT_EQ(fileCount(), 1u);
}

TEST_F(Settings, what_is_too_long_for_a_file_takes_nothing_else_with_it)
{
  std::string folder = "/home";
  for (int i = 0; i < 120; ++i)
    folder += "\xE9\x9F\xB3"; // each byte is escaped
  FDefaultPool pool;
  pool.finishLoading();
  FDefaults* group = pool.getGroup("Group");
  group->setString("Folder", folder.c_str());
  group->setInt(folder.c_str(), 1);
  group->setInt("Value", 4);
  auto paths = make<FStringList>();
  for (const std::string& path : {std::string("/a"), folder, std::string("/b")})
    paths->append(path.c_str(), true);
  group->setObject("Paths", paths.detach(), true);
  FObjectFiles to = files();
  EXPECT_TRUE(pool.save(to, false));
  EXPECT_EQ(to.error(), (folder_ / "user" / "Defaults.xml").string() +
                            ": \"Paths\" is too long and was left out");
  FDefaultPool back;
  back.load(to);
  EXPECT_EQ(back.getGroup("Group")->getInt("Value"), 4);
  EXPECT_STREQ(back.getGroup("Group")->getString("Folder"), "");
  auto* list = castTo<FStringList>(back.getGroup("Group")->getObject("Paths"));
  ASSERT_TRUE(list && list->count() == 3);
  EXPECT_STREQ(list->valueAt(1).text, "");
  EXPECT_STREQ(list->valueAt(2).text, "/b");
  group->setString("Folder", folder.substr(0, 5 + 102 * 3).c_str()); // fits
  group->remove(folder.c_str());
  group->remove("Paths");
  EXPECT_TRUE(pool.save(to, false));
  EXPECT_EQ(to.error(), "");
}

TEST_F(Settings, whole_copy_serves_beside_a_file_that_cannot_be_read)
{
  save(5);
  const std::string good = read("Defaults.xml");
  fs::remove(folder_ / "user" / "Defaults.xml");
  write("user/Defaults_old.xml", good);
  write("user/Defaults.xml", "<Defaults>");
  FObjectFiles from = files();
  FDefaultPool pool;
  EXPECT_EQ(from.load("Defaults", "Defaults", pool), FObjectFiles::Loaded::yes);
  EXPECT_EQ(pool.getGroup("Group")->getInt("Value"), 5);
  pool.finishLoading();
  EXPECT_TRUE(pool.save(from, false));
  EXPECT_EQ(load(), 5);
  EXPECT_EQ(read("Defaults_bad.xml"), "<Defaults>");
  EXPECT_EQ(fileCount(), 2u);

  write("user/Defaults.xml", "<A");
  write("user/Defaults_old.xml", "<B"); // neither is lost
  FObjectFiles none = files();
  EXPECT_EQ(none.load("Defaults", "Defaults", pool), FObjectFiles::Loaded::unreadable);
  EXPECT_TRUE(pool.save(none, false));
  EXPECT_EQ(read("Defaults_bad.xml"), "<A");
  EXPECT_EQ(read("Defaults_old_bad.xml"), "<B");
  EXPECT_EQ(load(), 5);
}

TEST_F(Settings, what_cannot_be_looked_at_is_not_taken_for_missing)
{
  save(6);
  FailingFiles system;
  system.isLocked = true;
  system.changesLeft = 100;
  FObjectFiles files({folder_ / "user", {}}, system);
  FDefaultPool pool;
  EXPECT_EQ(files.load("Defaults", "Defaults", pool), FObjectFiles::Loaded::unreadable);
  pool.finishLoading();
  system.isLocked = false;
  EXPECT_TRUE(pool.save(files, false));
  EXPECT_NE(read("Defaults_bad.xml").find("\"6\""), std::string::npos);
}

TEST_F(Settings, links_and_permissions_outlive_a_save)
{
  save(1);
  fs::create_directory(folder_ / "dot");
  fs::rename(folder_ / "user" / "Defaults.xml", folder_ / "dot" / "D.xml");
  fs::create_symlink("../dot/D.xml", folder_ / "user" / "Defaults.xml");
  const auto own = fs::perms::owner_read | fs::perms::owner_write;
  fs::permissions(folder_ / "dot" / "D.xml", own);
  save(2);
  EXPECT_EQ(load(), 2);
  EXPECT_TRUE(fs::is_symlink(folder_ / "user" / "Defaults.xml"));
  EXPECT_EQ(fs::status(folder_ / "dot" / "D.xml").permissions(), own);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "dot"), {}), 1);
  fs::rename(folder_ / "dot" / "D.xml", folder_ / "dot" / "D_old.xml"); // cut off
  EXPECT_EQ(load(), 2);

  fs::remove(folder_ / "user" / "Defaults.xml");
  fs::create_symlink("Defaults.xml", folder_ / "user" / "Defaults.xml"); // leads nowhere
  FObjectFiles from = files();
  FDefaultPool pool;
  EXPECT_EQ(from.load("Defaults", "Defaults", pool), FObjectFiles::Loaded::unreadable);
  pool.finishLoading();
  EXPECT_TRUE(pool.save(from, false));
  EXPECT_TRUE(fs::is_symlink(folder_ / "user" / "Defaults_bad.xml"));
}

/// A key of the store of older installations, in memory.
struct OldKey final : platform::OldSettingsKey {
  std::optional<std::string> defaultText() const override { return text; }
  std::vector<Value> values() const override { return contents; }
  std::vector<std::string> subKeys() const override
  {
    std::vector<std::string> names;
    for (const auto& below : keys)
      names.push_back(below.first);
    return names;
  }
  std::unique_ptr<OldSettingsKey> open(const std::string& name) const override
  {
    auto found = keys.find(name);
    return found == keys.end() ? nullptr : std::make_unique<OldKey>(found->second);
  }
  std::optional<std::string> text;
  std::vector<Value> contents;
  std::map<std::string, OldKey> keys;
};

template <class Number>
std::string tagged(int32_t tag, Number number)
{
  std::string bytes(reinterpret_cast<const char*>(&tag), sizeof tag);
  return bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

TEST_F(Settings, older_ones_are_taken_over_when_their_form_is_the_one_asked_for)
{
  EXPECT_EQ(FDefaultPool::oldSettingsPath("C", "P", 0), "Software\\C\\P\\Defaults");
  EXPECT_EQ(FDefaultPool::oldSettingsPath("C", "P", 2), "Software\\C\\P\\Defaults(2)");
  using Kind = platform::OldSettingsKey::Value::Kind;
  CmString text("kept");
  OldKey root;
  root.text = "2";
  OldKey& group = root.keys["Group"];
  group.text = "3"; // its version
  group.contents = {{"Text", Kind::text, "words"},
                    {"Int", Kind::bytes, tagged(0, int32_t(-9))},
                    {"Double", Kind::bytes, tagged(2, 0.25)},
                    {"String", Kind::bytes, tagged(3, int32_t(3)) + std::string("ab\0", 3)},
                    {"Cut", Kind::bytes, std::string("\0\0", 2)},
                    {"Unknown", Kind::bytes, tagged(9, 1)},
                    {"Object", Kind::bytes, tagged(1, int32_t(100))},
                    {"Number", Kind::other, "1"}};
  group.keys["Below"].contents = {{"Text", Kind::text, "deep"}};
  root.keys["Nothing"].contents = {{"Number", Kind::other, "1"}};
  root.keys["AutoSavers"].contents = {{"CmString", Kind::bytes, std::string("\3\0\0\0ab\0", 7)}};

  FDefaultPool other;
  other.importOldSettings(std::make_unique<OldKey>(root), 1);
  EXPECT_EQ(other.groupCount(), 0u);
  FDefaultPool pool;
  pool.addAutoSaver(&text);
  pool.importOldSettings(std::make_unique<OldKey>(root), 2);
  pool.finishLoading();
  EXPECT_EQ(pool.groupCount(), 2u);
  FDefaults* taken = pool.getGroup("Group", 3, false);
  ASSERT_TRUE(taken);
  EXPECT_STREQ(taken->getString("Text"), "words");
  EXPECT_EQ(taken->getInt("Int"), -9);
  EXPECT_EQ(taken->getFloat("Double"), 0.25);
  EXPECT_STREQ(taken->getString("String"), "ab");
  for (const char* key : {"Cut", "Unknown", "Object", "Number"})
    EXPECT_FALSE(taken->has(key)) << key;
  EXPECT_STREQ(pool.getGroup("Group\\Below")->getString("Text"), "deep");
  EXPECT_EQ(text.view(), "ab");
}

} // namespace
} // namespace orbi
