#include "platform/file.h"
#include "platform/module.h"
#include "platform/paths.h"
#include "platform/temporary_folder.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace orbi::platform;

TEST(File, keeps_its_place_and_knows_sizes_beyond_32_bits)
{
  TemporaryFolder folder;
  folder.write("file", "abcdef");
  File file;
  ASSERT_TRUE(file.open(folder / "file", FileMode::update));
  EXPECT_EQ(file.seek(1, SeekFrom::start), 1);
  EXPECT_TRUE(file.resize(4));
  EXPECT_EQ(file.tell(), 1);
  char bytes[8] = {};
  EXPECT_EQ(file.read(bytes, sizeof bytes), 3);
  EXPECT_STREQ(bytes, "bcd");
  EXPECT_EQ(file.seek(std::int64_t{5} << 30, SeekFrom::start), std::int64_t{5} << 30);
  EXPECT_EQ(file.write("", 0), 0);
  EXPECT_TRUE(file.flush());
  EXPECT_TRUE(file.close());
  EXPECT_TRUE(flushFolder(folder.path()));
}

TEST(File, failure_tells_the_systems_number_and_keeps_it)
{
  TemporaryFolder folder;
  folder.write("there", "text");
  File file;
  const struct {
    std::filesystem::path path;
    FileMode mode;
    int error;
  } cases[] = {{folder / "missing", FileMode::read, ENOENT},
               {folder / "there", FileMode::createNew, EEXIST},
               {folder.path(), FileMode::read, EISDIR}};
  for (const auto& failing : cases) {
    EXPECT_FALSE(file.open(failing.path, failing.mode));
    EXPECT_EQ(file.error(), failing.error);
    EXPECT_FALSE(file.isOpen());
  }
  ASSERT_TRUE(file.open(folder / "there", FileMode::read));
  EXPECT_EQ(file.error(), 0);
  EXPECT_EQ(file.write("x", 1), -1);
  EXPECT_EQ(file.seek(-1, SeekFrom::start), -1);
  char byte = 0;
  EXPECT_EQ(file.read(&byte, 1), 1);
  EXPECT_EQ(file.error(), EINVAL);
}

TEST(File, pipe_that_nobody_writes_to_does_not_hold_up_opening)
{
  TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  File file;
  EXPECT_TRUE(file.open(folder / "pipe", FileMode::read));
  EXPECT_EQ(file.seek(0, SeekFrom::start), -1);
}

TEST(Module, gives_what_it_exports_and_says_why_it_cannot_be_loaded)
{
  TemporaryFolder folder;
  folder.write("broken.so", "no module");
  const auto small = executablePath().parent_path() / "small_module.so";
  std::string error;
  Module module = Module::load(small, error);
  ASSERT_TRUE(module) << error;
  EXPECT_EQ(module.function<int(int)>("addOne")(1), 2);
  EXPECT_EQ(module.symbol("missing"), nullptr);
  module = Module::load(folder / "broken.so", error);
  EXPECT_FALSE(module);
  EXPECT_NE(error.find("broken.so"), std::string::npos);
  EXPECT_EQ(module.symbol("addOne"), nullptr);
}

TEST(Paths, folders_follow_the_variables_unless_these_are_relative)
{
  setenv("HOME", "/home/somebody", 1);
  setenv("XDG_CONFIG_HOME", "/settings", 1);
  EXPECT_EQ(settingsFolder(), "/settings");
  setenv("XDG_CONFIG_HOME", "relative", 1);
  EXPECT_EQ(settingsFolder(), "/home/somebody/.config");
  unsetenv("XDG_CONFIG_HOME");
  unsetenv("HOME");
  EXPECT_TRUE(settingsFolder().is_absolute());
}

TEST(Paths, program_started_through_a_link_goes_by_the_name_of_the_link)
{
  EXPECT_TRUE(executablePath().is_absolute());
  EXPECT_TRUE(std::filesystem::exists(executablePath()));
  if (getenv("PRINT_EXECUTABLE") != nullptr) {
    std::ofstream(getenv("PRINT_EXECUTABLE")) << executablePath().string();
    return;
  }
  TemporaryFolder folder;
  std::filesystem::create_symlink(executablePath(), folder / "Other Name");
  std::filesystem::create_directory_symlink(folder.path(), folder / "linked");
  const std::string command = "cd '" + folder.path().string() +
                              "' && PRINT_EXECUTABLE=out './linked/Other Name' "
                              "--gtest_filter='Paths.program*' >/dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);
  std::string printed;
  std::getline(std::ifstream(folder / "out") >> std::ws, printed);
  EXPECT_EQ(printed, std::filesystem::canonical(folder.path()) / "Other Name");
}
