#include "file/settings.h"

#include "loom/loom.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace loom {

namespace {

constexpr FileSampleFormat formats[] = {
#define LOOM_FILE_FORMAT_ROW(name, type, bytes, big)                                               \
  {#name, type, bytes, big != 0, std::string_view(#name).starts_with("float")},
    LOOM_SAMPLE_FORMATS(LOOM_FILE_FORMAT_ROW)
#undef LOOM_FILE_FORMAT_ROW
};

struct NumberVariable {
  const char* name;
  int FileSettings::*value;
  int minimum;
  int maximum;
};

constexpr NumberVariable numbers[] = {
    {"LOOM_FILE_RATE", &FileSettings::rate, 1000, 768000},
    {"LOOM_FILE_BLOCK", &FileSettings::block, smallestBlock, largestBlock},
    {"LOOM_FILE_OUTPUTS", &FileSettings::outputs, 1, loomMaxChannels},
};

/// A variable that is set to nothing counts as not set.
std::string_view variable(const char* name)
{
  const char* value = std::getenv(name);
  return value ? value : "";
}

bool readNumber(const NumberVariable& row, FileSettings& settings, std::string& reason)
{
  const std::string_view text = variable(row.name);
  if (text.empty())
    return true;
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value < row.minimum ||
      value > row.maximum) {
    reason = std::string(row.name) + " is not a number from " + std::to_string(row.minimum) +
             " to " + std::to_string(row.maximum) + ": " + std::string(text);
    return false;
  }
  settings.*row.value = value;
  return true;
}

const FileSampleFormat* findFormat(std::string_view name)
{
  for (const FileSampleFormat& format : formats)
    if (name == format.name)
      return &format;
  return nullptr;
}

} // namespace

bool FileSettings::read(std::string& reason)
{
  for (const NumberVariable& row : numbers)
    if (!readNumber(row, *this, reason))
      return false;

  const std::string_view formatName = variable("LOOM_FILE_FORMAT");
  format = findFormat(formatName.empty() ? "float32" : formatName);
  if (!format) {
    reason = "LOOM_FILE_FORMAT is not a sample format: " + std::string(formatName);
    return false;
  }

  const std::string_view pace = variable("LOOM_FILE_REALTIME");
  if (!pace.empty() && pace != "0" && pace != "1") {
    reason = "LOOM_FILE_REALTIME is not 0 or 1: " + std::string(pace);
    return false;
  }
  realTime = pace != "0";
  path = variable("LOOM_FILE_PATH");
  return true;
}

} // namespace loom
