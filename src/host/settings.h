#pragma once

#include <cstdint>
#include <string>

namespace orbi {

/// Where the host keeps what it remembers: values by group and key. Given in by the application; a
/// host without one remembers nothing. Main thread.
class HostSettings {
public:
  virtual ~HostSettings() = default;
  virtual bool getInt(const std::string& group, const std::string& key, int64_t& value) const = 0;
  virtual void setInt(const std::string& group, const std::string& key, int64_t value) = 0;
  virtual bool getString(const std::string& group, const std::string& key,
                         std::string& value) const = 0;
  virtual void setString(const std::string& group, const std::string& key,
                         const std::string& value) = 0;
};

} // namespace orbi
