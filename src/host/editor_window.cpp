#include "host/editor_window.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "framework/application.h"
#include "host/plugin.h"
#include "host/plugin_host.h"
#include "ui/application.h"
#include "ui/dialogs/alert.h"
#include "ui/views/basic/theme.h"
#include "ui/views/desktop.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(OrbPlugEditorWind); // needs a plug-in

namespace {

constexpr int32_t mostPixels = 8192; // of an editor's width and height
constexpr int64_t editorIdleMilliseconds = 50;
constexpr int32_t step = 20; // from one editor's place to the next one's

/// Plug-ins know Ctrl and the fourth key by each other's bits.
uint32_t pluginModifiers(uint32_t modifiers)
{
  constexpr uint32_t control = platform::controlKey;
  constexpr uint32_t fourth = platform::superKey;
  const uint32_t kept = modifiers & (platform::shiftKey | platform::altKey);
  return kept | (modifiers & control ? fourth : 0) | (modifiers & fourth ? control : 0);
}

/// As one signed byte where it fits in one.
int32_t pluginCharacter(char32_t character)
{
  return character <= 0xFF ? static_cast<int8_t>(character) : static_cast<int32_t>(character);
}

} // namespace

// The host's part

bool OrbPluginHost::openEditor(OrbPlugin& plugin)
{
  if (plugin.editorWindow) {
    plugin.editorWindow->bringToFront();
    return true;
  }
  OrbRect rect{};
  if (!plugin.editorRect(rect))
    return false;
  const Size size{std::clamp(rect.right - rect.left, 0, mostPixels),
                  std::clamp(rect.bottom - rect.top, 0, mostPixels)};
  const int32_t index = std::max(plugin.openIndex, 0);
  std::string title = plugin.productString();
  if (title.empty())
    title = moduleName(plugin.openIndex);
  auto* application = castTo<GApplication>(UApplication::instance());
  auto window =
      make<OrbPlugEditorWind>(plugin, Point{index * step + step, index * step + 50}, size, title);
  plugin.editorWindow = window.get();
  if (application && application->isSingleWindow() && application->menuBar())
    window->setMenuBar(Ref<UView>::share(application->menuBar()));
  UDesktop* desktop = UDesktop::instance();
  if (desktop && !desktop->frame())
    desktop->setFrame(window.get());
  if (!window->open(nullptr, UWindow::Stored::ignore)) {
    if (desktop && desktop->frame() == window.get())
      desktop->setFrame(nullptr);
    plugin.editorWindow = nullptr;
    return false;
  }
  if (application) {
    application->addIdle(window.get());
    application->wantIdleEvery(editorIdleMilliseconds);
    application->waitForPaint(*window);
  }
  return true;
}

void OrbPluginHost::closeEditor(OrbPlugin& plugin)
{
  const auto window = Ref<OrbPlugEditorWind>::share(plugin.editorWindow);
  if (!window)
    return;
  plugin.dispatch(opEditorClose);
  plugin.editorWindow = nullptr;
  window->releasePlugin();
  window->closeNow();
}

// The window

OrbPlugEditorWind::OrbPlugEditorWind(OrbPlugin& plugin, Point origin, Size editor,
                                     std::string_view title)
    : CmClass(Rect::at(origin, editor), title, editorStyle), plugin_(&plugin), editor_(editor)
{
  setName("Plugin Editor");
  if (const UDesktop* desktop = UDesktop::instance())
    setRect(Rect::at(origin, desktop->toUnitsOutward(Rect::at({}, editor)).size()));
}

OrbPlugEditorWind::~OrbPlugEditorWind()
{
  if (UApplication* application = UApplication::instance())
    application->removeIdle(this);
}

bool OrbPlugEditorWind::open(UWindow* owner, Stored)
{
  return UDocWindow::open(owner, Stored::ignore);
}

void OrbPlugEditorWind::made()
{
  UDocWindow::made();
  const UDesktop* desktop = UDesktop::instance();
  if (!plugin_ || !desktop)
    return;
  setLimits(place().size(), place().size()); // however small the desktop is
  const Point corner = desktop->toPixels(contentRect()).origin();
  child_ = system()->makeChild(Rect::at(corner, editor_), "Plugin Editor");
  plugin_->editorChild = child_ ? child_->handle() : nullptr;
  plugin_->dispatch(opEditorOpen, 0, 0, plugin_->editorChild);
}

/// The editor's pixels in the units of a new scale, below a bar of another height.
void OrbPlugEditorWind::scaleChanged()
{
  const UDesktop* desktop = UDesktop::instance();
  if (!desktop)
    return;
  const int32_t bars = place().height() - contentRect().height();
  Size size = desktop->toUnitsOutward(Rect::at({}, editor_)).size();
  size.height += bars;
  setLimits(size, size);
  setRect(Rect::at(place().origin(), size));
  UDocWindow::scaleChanged();
  if (child_)
    child_->setBounds(Rect::at(desktop->toPixels(contentRect()).origin(), editor_));
}

/// One that the program opens, as the plug-in holds one bank and one song plays; else the plug-in
/// may want them.
bool OrbPlugEditorWind::takesFiles(std::span<const std::filesystem::path> files) const
{
  const auto* application = castTo<GApplication>(UApplication::instance());
  return application && files.size() == 1 && application->opensDroppedFile(files.front());
}

bool OrbPlugEditorWind::filesDropped(const std::vector<std::filesystem::path>& files, Point)
{
  auto* application = castTo<GApplication>(UApplication::instance());
  if (!takesFiles(files))
    return false;
  application->openDroppedFile(files.front());
  return true;
}

void OrbPlugEditorWind::releasePlugin()
{
  if (plugin_)
    plugin_->editorChild = nullptr;
  child_.reset();
  plugin_ = nullptr;
}

/// What the child doesn't cover, should the plug-in have made it smaller.
void OrbPlugEditorWind::draw(Canvas& canvas, const Rect&)
{
  canvas.fill(bounds(), UTheme::instance().window);
}

void OrbPlugEditorWind::idle()
{
  if (plugin_)
    plugin_->dispatch(opEditorIdle);
}

bool OrbPlugEditorWind::keyDown(const UKeyCode& key)
{
  return plugin_ &&
         plugin_->dispatch(opEditorKeyDown, pluginCharacter(key.character), key.key, nullptr,
                           static_cast<float>(pluginModifiers(key.modifiers))) > 0;
}

int32_t OrbPlugEditorWind::handleMessage(FMessage& message)
{
  const bool isWheel = message.isMessage("Wheel") && message.getInt("Axis") == 0;
  if (!isWheel || !plugin_)
    return UDocWindow::handleMessage(message);
  const uint32_t faults = plugin_->faultCount();
  plugin_->dispatch(opVendorSpecific, orbHostTag, orbWheel, nullptr,
                    static_cast<float>(message.getInt("Distance")));
  return plugin_->faultCount() == faults ? 1 : UDocWindow::handleMessage(message);
}

// Closing

bool OrbPlugEditorWind::canClose()
{
  if (OrbPluginHost::hybridMode && !isMinimized()) {
    minimize();
    return false;
  }
  return UDocWindow::canClose() && UAlert::askToQuit(title().view(), this);
}

void OrbPlugEditorWind::closed()
{
  if (plugin_ && plugin_->editorWindow == this) {
    plugin_->dispatch(opEditorClose);
    plugin_->editorWindow = nullptr;
  }
  releasePlugin();
  UApplication* application = UApplication::instance();
  if (application)
    application->removeIdle(this);
  UDocWindow::closed();
  if (application)
    application->setQuit();
}

} // namespace orbi
