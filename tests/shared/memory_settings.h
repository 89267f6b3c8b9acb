#pragma once

#include "host/settings.h"

#include <map>

/// Settings in memory.
class MemorySettings final : public orbi::HostSettings {
public:
  bool getInt(const std::string& group, const std::string& key, int64_t& value) const override
  {
    auto found = numbers.find(group + "/" + key);
    return found != numbers.end() && (value = found->second, true);
  }
  void setInt(const std::string& group, const std::string& key, int64_t value) override
  {
    numbers[group + "/" + key] = value;
  }
  bool getString(const std::string& group, const std::string& key,
                 std::string& value) const override
  {
    auto found = texts.find(group + "/" + key);
    return found != texts.end() && (value = found->second, true);
  }
  void setString(const std::string& group, const std::string& key,
                 const std::string& value) override
  {
    texts[group + "/" + key] = value;
  }

  std::map<std::string, int64_t> numbers;
  std::map<std::string, std::string> texts;
};
