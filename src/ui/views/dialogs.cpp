#include "ui/views/dialogs.h"

#include "foundation/class_registry.h"
#include "persist/translator.h"
#include "platform/clock.h"
#include "ui/application.h"
#include "ui/views/basic/button.h"
#include "ui/views/basic/theme.h"
#include "ui/views/graphics.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(UProgressDialog);
CM_REGISTER(UAboutDialog);

namespace {

constexpr int32_t dialogWidth = 360;
constexpr int32_t barHeight = 14;
/// Redrawing more often than this would only hold the work up.
constexpr int64_t stepNanoseconds = 30'000'000;

UView& addGround(UWindow& window)
{
  auto ground = make<UGround>(window.bounds());
  ground->setAttach(attachAll);
  return window.add(Ref<UView>(std::move(ground)));
}

/// At the right bottom.
UPushButton& addButton(UDialog& dialog, UView& ground, const char* title, int32_t result)
{
  const UTheme& theme = UTheme::instance();
  auto button = make<UPushButton>(Rect(), UTranslator::text(title));
  const Size size = button->preferredSize();
  const Size room = ground.size();
  button->setRect(Rect::at(
      {room.width - theme.margin - size.width, room.height - theme.margin - size.height}, size));
  button->setAttach(attachRight | attachBottom);
  button->setAction([&dialog, result] { dialog.end(result); });
  return ground.add(std::move(button));
}

} // namespace

// Progress

UProgressDialog::UProgressDialog(std::string_view title, bool canCancel)
    : CmClass(Rect{0, 0, dialogWidth, 0}, title), canCancel_(canCancel)
{
  const UTheme& theme = UTheme::instance();
  const int32_t inner = dialogWidth - theme.margin;
  const int32_t barTop = theme.margin + theme.rowHeight + theme.gap;
  const int32_t barBottom = barTop + barHeight;
  const int32_t below = canCancel ? theme.gap + theme.buttonHeight : 0;
  setRect({0, 0, dialogWidth, barBottom + below + theme.margin});
  UView& ground = addGround(*this);
  text_ = &ground.add(
      make<ULabel>(Rect{theme.margin, theme.margin, inner, theme.margin + theme.rowHeight}));
  ground.add(make<UProgressBar>(Rect{theme.margin, barTop, inner, barBottom}, &progress_));
  if (canCancel)
    addButton(*this, ground, "Cancel", cancelled).setName(cancelName);
}

bool UProgressDialog::begin(UWindow* owner)
{
  centerIn(owner);
  return open(owner, Stored::ignore);
}

void UProgressDialog::setText(std::string_view text)
{
  text_->setTitle(text);
}

bool UProgressDialog::step(double share)
{
  progress_.setFloatValue(static_cast<float>(std::clamp(share, 0.0, 1.0)));
  UApplication* application = UApplication::instance();
  const int64_t now = platform::steadyNanoseconds();
  if (!application || (now - shownAt_ < stepNanoseconds && share < 1.0))
    return !hasEnded();
  shownAt_ = now;
  application->handlePending();
  const platform::RunLoop* loop = platform::RunLoop::instance();
  return !hasEnded() && !application->isQuitting() && !(loop && loop->quitRequested());
}

// About

UAboutDialog::UAboutDialog(std::string_view name, std::string_view version, std::string_view text)
    : CmClass(Rect{0, 0, dialogWidth, 0}, name)
{
  const UTheme& theme = UTheme::instance();
  const int32_t inner = dialogWidth - theme.margin;
  const int32_t versionTop = theme.margin + theme.rowHeight;
  const int32_t textTop = versionTop + theme.rowHeight + theme.gap;
  const int32_t textHeight =
      std::max(UGraphics::measure(text, theme.font, inner - theme.margin).height, theme.rowHeight);
  const int32_t buttonTop = textTop + textHeight + theme.gap;
  setRect({0, 0, dialogWidth, buttonTop + theme.buttonHeight + theme.margin});
  UView& ground = addGround(*this);
  ground.add(make<ULabel>(Rect{theme.margin, theme.margin, inner, versionTop}, name)).setBold(true);
  ground.add(
      make<ULabel>(Rect{theme.margin, versionTop, inner, versionTop + theme.rowHeight}, version));
  ground.add(make<ULabel>(Rect{theme.margin, textTop, inner, textTop + textHeight}, text))
      .setWraps(true);
  addButton(*this, ground, "OK", accepted).setName(defaultName);
}

} // namespace orbi
