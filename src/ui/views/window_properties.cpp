#include "ui/views/window_properties.h"

#include "ui/views/window.h"

namespace orbi {

struct UWindowProperties::Row {
  std::string_view name;
  UValue& (*value)(UWindowProperties&);
  void (*apply)(UWindowProperties&);
};

const std::array<UWindowProperties::Row, 5> UWindowProperties::rows = {{
    {"window.minimize", [](UWindowProperties& own) -> UValue& { return own.minimize_; },
     [](UWindowProperties& own) {
       own.minimize_.getValue() ? own.window_.minimize() : own.window_.restore();
     }},
    {"window.maximize", [](UWindowProperties& own) -> UValue& { return own.maximize_; },
     [](UWindowProperties& own) {
       own.maximize_.getValue() ? own.window_.maximize() : own.window_.restore();
     }},
    {"window.close", [](UWindowProperties& own) -> UValue& { return own.close_; },
     [](UWindowProperties& own) {
       if (own.close_.getValue())
         own.window_.onCloseRequest();
     }},
    {"window.title", [](UWindowProperties& own) -> UValue& { return own.title_; },
     [](UWindowProperties& own) { own.window_.setTitle(own.title_.string().view()); }},
    {"window.opacity", [](UWindowProperties& own) -> UValue& { return own.opacity_; },
     [](UWindowProperties& own) {
       own.window_.setOpacity(static_cast<double>(own.opacity_.getFloat()));
     }},
}};

UWindowProperties::UWindowProperties(UWindow& window) : window_(window)
{
  int32_t tag = 0;
  for (const Row& row : rows)
    row.value(*this).setTarget(&window, tag++);
  show();
}

UValue* UWindowProperties::find(std::string_view name)
{
  for (const Row& row : rows)
    if (row.name == name)
      return &row.value(*this);
  return nullptr;
}

void UWindowProperties::apply(const CmObject* value)
{
  for (const Row& row : rows)
    if (&row.value(*this) == value) {
      row.apply(*this);
      show(); // what the window refused is taken back
      return;
    }
}

void UWindowProperties::show()
{
  minimize_.setValue(window_.isMinimized());
  maximize_.setValue(window_.isMaximized());
  close_.setValue(0);
  title_.setString(window_.title().view());
  opacity_.setFloatValue(static_cast<float>(window_.opacity()));
}

} // namespace orbi
