#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orbi::platform {

/// One key of the store in which older installations kept the user's settings: values by name and
/// further keys below. What can't be read is as if it weren't there.
class OldSettingsKey {
public:
  struct Value {
    enum class Kind { text, bytes, other };
    std::string name;
    Kind kind = Kind::other;
    std::string content; ///< UTF-8 without a zero, or raw bytes
  };

  virtual ~OldSettingsKey() = default;
  virtual std::optional<std::string> defaultText() const = 0; ///< the key's own value
  virtual std::vector<Value> values() const = 0;
  virtual std::vector<std::string> subKeys() const = 0;
  virtual std::unique_ptr<OldSettingsKey> open(const std::string& subKey) const = 0; ///< or null
};

/// The key at a path of names joined by backslashes below the current user's; null where there is
/// none, and on systems that never kept settings so.
std::unique_ptr<OldSettingsKey> openOldSettings(const std::string& path);

} // namespace orbi::platform
