#include "ui/dialogs/alert.h"

#include "foundation/class_registry.h"
#include "persist/translator.h"
#include "ui/application.h"
#include "ui/views/basic/button.h"
#include "ui/views/basic/label.h"
#include "ui/views/basic/theme.h"
#include "ui/views/desktop.h"
#include "ui/views/graphics.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(UAlert); // needs its words

namespace {

constexpr int32_t textWidth = 340;
constexpr int32_t mostTextHeight = 480; ///< what is longer is cut

std::string titleOfProgram()
{
  const UApplication* application = UApplication::instance();
  return application ? application->title().text() : "";
}

} // namespace

UAlert::UAlert(std::string_view text, const std::vector<const char*>& buttons)
    : CmClass(Rect(), titleOfProgram())
{
  const UTheme& theme = UTheme::instance();
  const Size words = UGraphics::measure(text, theme.font, textWidth);
  std::vector<Ref<UPushButton>> views;
  int32_t buttonsWidth = 0;
  for (size_t i = 0; i < buttons.size(); ++i) {
    auto button = make<UPushButton>(Rect(), UTranslator::text(buttons[i]));
    button->setName(i == 0 ? defaultName : i + 1 == buttons.size() ? cancelName : "");
    button->setAction([this, i] { end(static_cast<int32_t>(i) + 1); });
    buttonsWidth += button->preferredSize().width + (i > 0 ? theme.gap : 0);
    views.push_back(std::move(button));
  }
  const int32_t margin = 2 * theme.margin;
  const int32_t width = std::max({words.width, buttonsWidth, 220}) + 2 * margin;
  const int32_t textBottom = margin + std::clamp(words.height, theme.rowHeight, mostTextHeight);
  const int32_t buttonTop = textBottom + margin;
  setRect({0, 0, width, buttonTop + theme.buttonHeight + theme.margin});

  auto ground = make<UGround>(bounds());
  ground->setAttach(attachAll);
  ground->add(make<ULabel>(Rect{margin, margin, width - margin, textBottom}, text)).setWraps(true);
  int32_t right = width - theme.margin;
  for (auto button = views.rbegin(); button != views.rend(); ++button) {
    const Size size = (*button)->preferredSize();
    (*button)->setRect(Rect::at({right - size.width, buttonTop}, size));
    right -= size.width + theme.gap;
  }
  for (Ref<UPushButton>& button : views) // in the order of reading, for Tab
    ground->add(std::move(button));
  add(std::move(ground));
}

int32_t UAlert::ask(std::string_view text, const std::vector<const char*>& buttons, UWindow* owner)
{
  const auto last = static_cast<int32_t>(buttons.size()) - 1;
  if (!UDesktop::instance())
    return last;
  const int32_t result = make<UAlert>(text, buttons)->run(owner);
  return result == cancelled ? last : result - 1;
}

void UAlert::show(std::string_view text, UWindow* owner)
{
  if (UDesktop::instance())
    ask(text, {"OK"}, owner);
  else
    platform::StandardErrorMessages().show(titleOfProgram(), text);
}

bool UAlert::askToQuit(std::string_view title, UWindow* owner)
{
  return ask(UTranslator::filled("Do you want to quit %s?", title), {"Quit", "Cancel"}, owner) == 0;
}

bool UReplaceQuestion::mayReplace(const std::string& question)
{
  return UAlert::ask(question, {replaceButton, cancelButton}, owner_) == 0;
}

void UMessageBoxes::show(std::string_view title, std::string_view text)
{
  UDesktop* desktop = UDesktop::instance();
  const UApplication* application = UApplication::instance();
  if (desktop && !desktop->system().isLost() && application && !application->isQuitting())
    UAlert::show(text);
  else
    without_.show(title, text);
}

} // namespace orbi
