#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

/// An empty folder that goes away with its test.
class TemporaryFolder {
public:
  TemporaryFolder()
  {
    std::string name = (std::filesystem::temp_directory_path() / "orbi_XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder()
  {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  /// Writes a file, its folders included.
  void write(const std::string& name, const std::string& text) const
  {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary) << text;
  }

private:
  std::filesystem::path path_;
};
