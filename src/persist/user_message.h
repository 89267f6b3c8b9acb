#pragma once

#include <string_view>

namespace orbi {

/// How this layer's words reach the user. The one object of the program sets itself up as the
/// instance; without one, and while it is switched off, nobody is told. Main thread.
class FUserMessage {
public:
  FUserMessage() { instance_ = this; }
  virtual ~FUserMessage();
  FUserMessage(const FUserMessage&) = delete;
  FUserMessage& operator=(const FUserMessage&) = delete;

  static FUserMessage* instance() { return instance_; }
  static void tell(std::string_view text); ///< translated already

  void setEnabled(bool enabled) { enabled_ = enabled; }
  bool isEnabled() const { return enabled_; }

protected:
  virtual void show(std::string_view text) = 0; ///< UTF-8

private:
  static inline FUserMessage* instance_ = nullptr;
  bool enabled_ = true;
};

} // namespace orbi
