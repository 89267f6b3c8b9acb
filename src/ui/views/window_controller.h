#pragma once

#include "foundation/array.h"
#include "ui/views/windows.h"

namespace orbi {

/// Ties a window to a form: answers the names of the form's values and decides whether the window
/// may close. It goes before neither: whoever lives on is taken off the other.
class UWindowController : public CmClass<UWindowController, CmObject>, public FController {
public:
  static constexpr const char* className = "UWindowController";

  UWindowController() = default;
  UWindowController(const UWindowController&) = delete;
  ~UWindowController() override;

  // Window and form
  void attach(UWindow& window, UBaseView* form = nullptr); ///< null: the window is the form
  void detach();
  UWindow* window() const { return window_; } ///< null when it has closed
  UBaseView* form() const { return form_; }
  /// Puts the form in a new document window of the form's style, size and title, and opens it; null
  /// when that fails.
  UWindow* openForm(Ref<UBaseView> form, Point origin);

  // Named values and objects
  void addObject(std::string_view name, CmObject* object); ///< shared; another of the name goes
  CmObject* getControllerObject() override { return this; }
  UValue* getValue(const char* name) override;
  bool hasValue(const char* name) override { return getValue(name) != nullptr; }
  CmObject* getObject(const char* name) override;
  bool getValueName(const UValue* value, CmString& name) override;

  virtual bool canClose() { return true; }
  virtual void windowClosed() {}
  int32_t handleMessage(FMessage& message) override; ///< "MsgCloseRequest"
  void update(CmObject* subject, int32_t code) override;

private:
  UWindow* window_ = nullptr;
  UBaseView* form_ = nullptr;
  CmArray entries_{CmOwnership::adopts};
};

} // namespace orbi
