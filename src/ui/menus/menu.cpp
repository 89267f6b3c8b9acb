#include "ui/menus/menu.h"

#include "foundation/class_registry.h"
#include "foundation/messenger.h"
#include "persist/translator.h"
#include "ui/application.h"

#include <algorithm>
#include <utility>

namespace orbi {

CM_REGISTER(UMenuItem);
CM_REGISTER(UMenu);

UMenuItem::UMenuItem(std::string_view title, int32_t tag, UKeyCode key, std::string_view name)
    : title_(title), tag_(tag), key_(key), name_(name)
{
}

UMenuItem::~UMenuItem() = default;

// Entries

UMenuItem& UMenu::add(std::string_view title, int32_t tag, UKeyCode key, std::string_view name)
{
  return insert(items_.size(), make<UMenuItem>(title, tag, key, name));
}

UMenuItem& UMenu::addSeparator()
{
  return insert(items_.size(), make<UMenuItem>());
}

UMenuItem& UMenu::addMenu(Ref<UMenu> menu)
{
  auto item = make<UMenuItem>(menu->title().view());
  item->subMenu_ = std::move(menu);
  return insert(items_.size(), std::move(item));
}

UMenuItem& UMenu::insert(size_t index, Ref<UMenuItem> item)
{
  const auto place = items_.begin() + static_cast<ptrdiff_t>(std::min(index, items_.size()));
  return **items_.insert(place, std::move(item));
}

size_t UMenu::indexOf(int32_t tag) const
{
  const auto item = std::ranges::find_if(
      items_, [tag](const auto& each) { return each->tag() == tag && !each->isSeparator(); });
  return static_cast<size_t>(item - items_.begin());
}

UMenuItem* UMenu::find(int32_t tag) const
{
  const size_t index = indexOf(tag);
  return index < items_.size() ? items_[index].get() : nullptr;
}

void UMenu::translate()
{
  if (std::exchange(isTranslated_, true))
    return;
  title_.set(UTranslator::text(title_.text()));
  for (const Ref<UMenuItem>& item : items_) {
    if (item->subMenu())
      item->subMenu()->translate();
    if (!item->isSeparator())
      item->setTitle(UTranslator::text(item->title().text()));
  }
}

// Use

CmObject* UMenu::receiver() const
{
  return target_ ? target_ : UApplication::instance();
}

int32_t UMenu::tell(const char* id, UMenuItem& item) const
{
  CmObject* to = receiver();
  if (!to)
    return 0;
  FMessage message(id);
  message.setInt("Tag", item.tag());
  message.setObject("MenuItem", &item);
  return to->handleMessage(message);
}

void UMenu::prepare()
{
  const std::vector<Ref<UMenuItem>> items = items_; // a handler may change them
  for (const Ref<UMenuItem>& item : items)
    if (!item->isSeparator() && !item->subMenu())
      tell("MenuCanSelect", *item);
}

/// Posted, so that whatever chose it is over before something happens.
bool UMenu::choose(UMenuItem& item)
{
  if (item.isSeparator() || item.subMenu())
    return false;
  tell("MenuCanSelect", item);
  if (!item.isEnabled())
    return false;
  FMessenger* messenger = FMessenger::instance();
  if (!messenger || !receiver())
    return false;
  auto* message = new FMessage("MenuSelect");
  message->setInt("Tag", item.tag());
  message->setObject("MenuItem", &item, ObjectMode::shared);
  messenger->post(receiver(), message);
  return true;
}

bool UMenu::chooseByKey(const UKeyCode& key)
{
  const uint32_t id = key.id();
  const std::vector<Ref<UMenuItem>> items = items_; // a handler may change them
  for (const Ref<UMenuItem>& item : items)
    if (item->subMenu() ? item->subMenu()->chooseByKey(key)
                        : id != 0 && item->key().id() == id && choose(*item))
      return true;
  return false;
}

} // namespace orbi
