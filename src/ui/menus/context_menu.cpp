// Menus that the right button opens, and the one that every line of text has.
#include "foundation/message.h"
#include "ui/menus/menu_window.h"
#include "ui/views/basic/text_edit.h"
#include "ui/views/point.h"

namespace orbi {

namespace {

/// Of the value that a control shows; 0 for none.
int32_t tagOf(UView& view)
{
  const auto* control = castTo<UControl>(&view);
  return control && control->value() ? control->value()->getTag() : 0;
}

} // namespace

/// What lies there is asked to fill it, from the deepest view to the window.
bool UWindow::popupMenu(UView* view, Point where)
{
  const Ref<UWindow> kept = Ref<UWindow>::share(this);
  auto menu = make<UMenu>();
  const auto deepest = Ref<UView>::share(view ? view : this);
  for (auto asked = deepest; asked; asked = Ref<UView>::share(asked->parent())) {
    auto place = make<UPoint>(asked->fromWindow(where));
    FMessage message("ContextMenu");
    message.setObject("ContextMenu", menu.get());
    message.setObject("Where", place.get());
    message.setObject("Window", this);
    message.setObject("BaseView", deepest->form());
    message.setInt("Tag", tagOf(*deepest));
    asked->handleMessage(message);
  }
  menu->translate();
  return isOpen() && UMenuWindow::showAt(std::move(menu), this, toScreen(where));
}

// Text

namespace {

struct EditRow {
  const char* title;
  void (*run)(UTextEdit& edit);
  bool changes; ///< the text
  bool needsSelection;
};

constexpr EditRow editRows[] = {
    {"Cut", [](UTextEdit& edit) { edit.cut(); }, true, true},
    {"Copy", [](UTextEdit& edit) { edit.copy(); }, false, true},
    {"Paste", [](UTextEdit& edit) { edit.paste(); }, true, false},
    {UMenuItem::separatorTitle.data(), nullptr, false, false},
    {"Select All", [](UTextEdit& edit) { edit.selectAll(); }, false, false},
};

} // namespace

int32_t UTextEdit::handleMenu(FMessage& message)
{
  if (message.isMessage("ContextMenu")) {
    auto* menu = castTo<UMenu>(message.getObject("ContextMenu"));
    if (!menu || !menu->items().empty())
      return 0;
    if (UWindow* owner = window(); owner && isFocusable())
      owner->setFocusView(this);
    menu->setTarget(this);
    menu->keepTarget();
    for (const EditRow& row : editRows)
      menu->add(row.title, static_cast<int32_t>(&row - editRows));
    return 1;
  }
  const auto tag = static_cast<size_t>(message.getInt("Tag"));
  if (tag >= std::size(editRows) || !editRows[tag].run)
    return 0;
  const EditRow& row = editRows[tag];
  if (message.isMessage("MenuSelect")) {
    row.run(*this);
    return 1;
  }
  if (auto* item = castTo<UMenuItem>(message.getObject("MenuItem")))
    item->setEnabled((canEdit() || !row.changes) && (hasSelection() || !row.needsSelection));
  return 1;
}

} // namespace orbi
