#include "platform/driver_source.h"
#include "platform/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace orbi::platform;
using testing::ElementsAre;

namespace {

/// The folders in which drivers are looked for, all of them below one that is empty at first.
class DriverSource : public testing::Test {
protected:
  DriverSource()
  {
    setenv("XDG_DATA_HOME", (folder / "user").c_str(), 1);
    const std::string shared = (folder / "local").string() + ":" + (folder / "system").string();
    setenv("XDG_DATA_DIRS", shared.c_str(), 1);
  }
  void add(const std::string& file, const std::string& text = "clsid={1}\nserver=a.so\n") const
  {
    folder.write(file + ".loom", text);
  }
  std::vector<std::string> keys() const
  {
    std::vector<std::string> result;
    for (const DriverRegistration& driver : registeredDrivers(folder / "bin"))
      result.push_back(driver.key);
    return result;
  }

  TemporaryFolder folder;
};

} // namespace

TEST_F(DriverSource, without_any_folder_the_list_is_empty)
{
  EXPECT_TRUE(keys().empty());
}

TEST_F(DriverSource, folders_come_in_order_and_files_in_byte_order)
{
  add("system/loom/drivers/a");
  add("local/loom/drivers/b");
  add("user/loom/drivers/c");
  add("bin/Loom Drivers/e");
  add("bin/Loom Drivers/D");
  add("bin/Loom Drivers/\xc3\xa4");
  add("bin/Loom Drivers/f.g");
  EXPECT_THAT(keys(), ElementsAre("D", "e", "f.g", "\xc3\xa4", "c", "b", "a"));
}

TEST_F(DriverSource, key_of_an_earlier_folder_hides_the_later_one)
{
  add("bin/Loom Drivers/one", "clsid={1}\nserver=first.so");
  add("bin/Loom Drivers/off", "# switched off");
  add("system/loom/drivers/one");
  add("system/loom/drivers/off");
  const auto drivers = registeredDrivers(folder / "bin");
  ASSERT_EQ(drivers.size(), 1u);
  EXPECT_EQ(drivers[0].server, folder / "bin/Loom Drivers/first.so");
}

TEST_F(DriverSource, what_is_no_registration_is_left_out)
{
  add("bin/Loom Drivers/no class", "server=a.so");
  add("bin/Loom Drivers/no server", "clsid={1}\nserver=");
  add("bin/Loom Drivers/long", "clsid={1}\nserver=a.so\n" + std::string(70'000, '#'));
  folder.write("bin/Loom Drivers/other.txt", "clsid={1}\nserver=a.so");
  folder.write("bin/Loom Drivers/.loom", "clsid={1}\nserver=a.so");
  std::filesystem::create_directory(folder / "bin/Loom Drivers/folder.loom");
  ASSERT_EQ(mkfifo((folder / "bin/Loom Drivers/pipe.loom").c_str(), 0600), 0);
  EXPECT_TRUE(keys().empty());
}

TEST(Registration, is_read_whatever_the_line_ends_blanks_and_comments)
{
  const auto driver = parseRegistration("\xef\xbb\xbf# made by hand\r\n\r\nunknown=1\r\n"
                                        "  clsid =\t{8d5f0a52} # same as before\r\n"
                                        "description= LOOM  Driver = good \r\nserver=../x.so",
                                        "key", "/folder");
  ASSERT_TRUE(driver);
  EXPECT_EQ(driver->key, "key");
  EXPECT_EQ(driver->classId, "{8d5f0a52}");
  EXPECT_EQ(driver->description, "LOOM  Driver = good");
  EXPECT_TRUE(driver->hasDescription);
  EXPECT_EQ(driver->server, "/folder/../x.so");
}

TEST(Registration, keeps_an_absolute_server_and_knows_a_missing_description)
{
  for (const char* text :
       {"clsid=1\nserver=/opt/x.so", "clsid=1\nserver=/opt/x.so\ndescription="}) {
    const auto driver = parseRegistration(text, "key", "/folder");
    ASSERT_TRUE(driver);
    EXPECT_EQ(driver->server, "/opt/x.so");
    EXPECT_FALSE(driver->hasDescription);
  }
}

TEST(Registration, value_beyond_its_limit_counts_as_missing)
{
  const std::string fits(255, 'x');
  const auto with = [](const std::string& classId, const std::string& description) {
    return parseRegistration("clsid=" + classId + "\ndescription=" + description + "\nserver=a",
                             "k", "/");
  };
  EXPECT_TRUE(with(fits, fits)->hasDescription);
  EXPECT_FALSE(with(fits, fits + "x")->hasDescription);
  EXPECT_FALSE(with(fits + "x", fits));
}
