#include "ui/views/tool_tips.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "ui/views/basic/theme.h"
#include "ui/views/desktop.h"
#include "ui/views/graphics.h"

namespace orbi {

namespace {

constexpr int32_t widest = 320;
constexpr int32_t margin = 4;
constexpr Point belowPointer{8, 20};

/// The small window with the words.
class UTipWindow final : public CmClass<UTipWindow, UPopupWindow> {
public:
  static constexpr const char* className = "UTipWindow";

  explicit UTipWindow(const CmString& text) : CmClass(Rect(), text.view()) {}
  bool takesInput() const override { return false; }

  Size preferredSize() const override
  {
    const UTheme& theme = UTheme::instance();
    platform::Graphics& graphics = UDesktop::instance()->graphics();
    const Size line = graphics.measure(title().view(), theme.font);
    const Size text =
        line.width > widest ? graphics.measure(title().view(), theme.font, double(widest)) : line;
    return {text.width + 2 * margin, text.height + 2 * margin};
  }

  void draw(Canvas& canvas, const Rect&) override
  {
    const UTheme& theme = UTheme::instance();
    canvas.fill(bounds(), theme.tip);
    canvas.frame(bounds(), 0, 1, theme.border);
    platform::TextStyle style = theme.textStyle(theme.tipText);
    style.wraps = true;
    canvas.text(title().view(), bounds().grownBy(-margin, -margin), style);
  }
};

} // namespace

void UToolTips::pointerMoved(UWindow& window)
{
  UView* view = window.isOpen() && !window.mouseView() ? window.hoverView() : nullptr;
  if (tip_ && view == view_)
    return;
  hide();
  platform::RunLoop* loop = platform::RunLoop::instance();
  if (!view || !loop)
    return;
  window_ = &window;
  view_ = view;
  timer_ = loop->addTimer(restMilliseconds, [this] { pointerRested(); });
}

void UToolTips::hide()
{
  stopTimer();
  view_ = nullptr;
  window_ = nullptr;
  if (const Ref<UPopupWindow> tip = std::move(tip_))
    tip->closeNow();
}

void UToolTips::forget(UView& view)
{
  if (view_ && view_->isWithin(view))
    hide();
}

void UToolTips::stopTimer()
{
  if (platform::RunLoop* loop = platform::RunLoop::instance(); loop && timer_)
    loop->removeTimer(timer_);
  timer_ = 0;
}

void UToolTips::pointerRested()
{
  stopTimer();
  if (!view_ || !view_->isShown())
    return;
  const Ref<UView> kept = Ref<UView>::share(view_);
  const Point pointer = desktop_.pointer();
  const CmString text = textOf(*kept, kept->fromWindow(window_->fromScreen(pointer)));
  if (text.isEmpty() || view_ != kept.get()) // gone while it was asked
    return;
  auto tip = make<UTipWindow>(text);
  tip->placeAt({pointer.x + belowPointer.x, pointer.y + belowPointer.y}, tip->preferredSize());
  if (tip->open(window_, UWindow::Stored::ignore))
    tip_ = tip;
}

/// As the view answers, else the controller of its form, else its own tip.
CmString UToolTips::textOf(UView& view, Point where)
{
  auto place = make<UPoint>(where);
  FMessage question("GetToolTip");
  question.setObject("control", &view);
  question.setObject("where", place.get());
  UBaseView* form = view.form();
  if (view.handleMessage(question) != 0 || (form && form->tellController(question) != 0))
    return question.getString("result");
  return view.tip();
}

} // namespace orbi
