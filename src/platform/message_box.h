#pragma once

#include <string_view>

namespace orbi::platform {

/// Shows words to the user. Main thread.
class MessageBox {
public:
  virtual ~MessageBox() = default;
  virtual void show(std::string_view title, std::string_view text) = 0; ///< UTF-8
};

/// For a run without windows: one line a message on standard error, whatever the text holds.
class StandardErrorMessages final : public MessageBox {
public:
  void show(std::string_view title, std::string_view text) override;
};

} // namespace orbi::platform
