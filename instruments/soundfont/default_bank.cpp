#include "soundfont/default_bank.h"

#include "soundfont/finder.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace soundfont {

namespace {

namespace fs = std::filesystem;

constexpr uintmax_t longestBank = 65536; // bytes; the largest is half as long

/// A relative path in the variable doesn't count.
std::string settingsFolder()
{
  if (const char* named = std::getenv("XDG_CONFIG_HOME"); named && *named == '/')
    return named;
  const char* home = std::getenv("HOME");
  return home && *home == '/' ? std::string(home) + "/.config" : std::string();
}

bool writeAll(int file, const std::vector<uint8_t>& bytes)
{
  for (size_t at = 0; at < bytes.size();) {
    const ssize_t written = write(file, bytes.data() + at, bytes.size() - at);
    if (written <= 0)
      return false;
    at += static_cast<size_t>(written);
  }
  return fsync(file) == 0;
}

} // namespace

std::string defaultBankPath()
{
  const std::string folder = settingsFolder();
  if (folder.empty())
    return {};
  const std::string name = fs::path(moduleStem()).filename().string();
  return folder + "/Quillmore/" + (name.empty() ? "SoundFont" : name) + "/default.bank";
}

std::vector<uint8_t> readDefaultBank()
{
  const std::string path = defaultBankPath();
  std::error_code error;
  if (path.empty() || !fs::is_regular_file(path, error) || fs::file_size(path, error) > longestBank)
    return {};
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

bool saveDefaultBank(const std::vector<uint8_t>& chunk)
{
  const std::string path = defaultBankPath();
  if (path.empty())
    return false;
  std::error_code error;
  fs::create_directories(fs::path(path).parent_path(), error);
  std::string beside = path + ".XXXXXX";
  const int file = mkstemp(beside.data());
  if (file < 0)
    return false;
  const bool written = writeAll(file, chunk);
  if (close(file) == 0 && written && std::rename(beside.c_str(), path.c_str()) == 0)
    return true;
  unlink(beside.c_str());
  return false;
}

} // namespace soundfont
