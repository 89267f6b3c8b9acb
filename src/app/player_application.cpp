#include "app/player_application.h"

#include "foundation/class_registry.h"
#include "host/song.h"
#include "platform/language.h"
#include "platform/window_system.h"
#include "ui/views/desktop.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(OrbiPlayerApplication); // needs its title and surroundings

namespace {

constexpr size_t longestProgramName = 260;
constexpr const char* midiGroup = "OrbiPlayerMidi";
constexpr const char* midiPortKey = "MIDI Port";

/// Bars of sound on a dark ground; null where there is no memory for it.
std::unique_ptr<platform::Image> drawIcon(platform::Graphics& graphics)
{
  constexpr int32_t side = 64;
  constexpr platform::Color ground{27, 32, 40, 255};
  constexpr platform::Color bar{92, 207, 190, 255};
  constexpr int32_t halves[] = {6, 16, 24, 12, 18, 8};
  auto image = graphics.makeImage({side, side});
  if (!image)
    return nullptr;
  const auto canvas = graphics.makeCanvas(*image);
  canvas->fillRounded({2, 2, side - 2, side - 2}, 14.0, ground);
  int32_t left = 10;
  for (const int32_t half : halves) {
    canvas->fillRounded({left, side / 2 - half, left + 4, side / 2 + half}, 2.0, bar);
    left += 8;
  }
  return image;
}

/// The pointer says that the program is at work, while this lives.
class WaitPointer {
public:
  explicit WaitPointer(UApplication& application) : application_(application) { show(1); }
  WaitPointer(const WaitPointer&) = delete;
  ~WaitPointer() { show(former_); }

private:
  void show(int32_t state)
  {
    if (application_.canWait())
      application_.setWaitState(state);
  }

  UApplication& application_;
  const int32_t former_ = application_.waitState();
};

class LanguageSetting final : public ULanguageSetting {
public:
  explicit LanguageSetting(FDefaultPool& settings) : settings_(settings) {}
  std::string languageCode() const override
  {
    const FDefaults* stored = settings_.getGroup(group, 0, false);
    return stored ? stored->getString(key) : "";
  }
  void setLanguageCode(std::string_view code) override
  {
    if (FDefaults* stored = settings_.getGroup(group))
      stored->setString(key, std::string(code).c_str());
  }

private:
  FDefaultPool& settings_;
};

} // namespace

std::string OrbiPlayerApplication::titleFor(const std::filesystem::path& executable)
{
  std::string name = "ORBiPlayer";
  if (std::string file = executable.stem().string(); !file.empty())
    name = file.substr(0, longestProgramName);
  return name + " Standalone";
}

// ---- construction ----

OrbiPlayerApplication::OrbiPlayerApplication(const char* title, Options options,
                                             Surroundings surroundings)
    : CmClass(title), options_(std::move(options)), surroundings_(std::move(surroundings)),
      messages_(surroundings_.messages),
      objectFiles_({surroundings_.settings, surroundings_.resources}, fileSystem_)
{
  createSkinManager();
  createStudio();
}

// The skin manager and its first provider come with the skin language.
void OrbiPlayerApplication::createSkinManager() {}

void OrbiPlayerApplication::createStudio()
{
  studio_ = make<PStudio>();
}

// ---- start ----

void OrbiPlayerApplication::startup()
{
  if (!openDisplay())
    return;
  GApplication::startup();
  if (isQuitting())
    return;
  loadDefaults();
  createPluginHost();

  if (openInstrument())
    startPlaying();
}

/// The plug-in, what it is to play with, and its editor; says what is missing.
bool OrbiPlayerApplication::openInstrument()
{
  bool loaded = false;
  {
    WaitPointer wait(*this);
    loaded = loadPlugin();
  }
  if (!loaded) {
    fail(UTranslator::filled("Plugin \"%s\" not found!", pluginHost_->expectedModuleName()));
    afterStartup();
    return false;
  }
  afterStartup();
  if (!loadPrograms()) {
    exitStatus_ = 1;
    setQuit();
    return false;
  }
  if (openEditor())
    return true;
  fail(UTranslator::text("Failed to open Plugin Editor!"));
  return false;
}

void OrbiPlayerApplication::startPlaying()
{
  WaitPointer wait(*this);
  extendMenus();
  startMidiInput();
  if (startAudio()) {
    showFirstStart();
    restoreTime();
  } else {
    fail(options_.render ? driverFailure(fileDriverName, audioFailure_)
                         : UTranslator::text("Audio Engine could not be started !"));
  }
}

bool OrbiPlayerApplication::openDisplay()
{
  if (!options_.hasWindow())
    return true;
  std::string reason;
  auto system = platform::openWindowSystem(surroundings_.executable.stem().string(), reason);
  if (!system) {
    if (!reason.ends_with('.'))
      reason += '.';
    defaults_.load(objectFiles_); // for the language; nothing is kept of this run
    loadTranslation();
    fail(reason + ' ' + UTranslator::text("--headless plays without a window."));
    return false;
  }
  setSingleWindow(true);
  setWindowSystem(std::move(system));
  setIcon(drawIcon(desktop()->graphics()));
  return true;
}

// Comes twice: from the framework's own start, before there is a host, and when the plug-in is
// there.
void OrbiPlayerApplication::afterStartup()
{
  if (pluginHost_)
    GApplication::afterStartup();
}

/// Without a settings file everything starts as it ships, or as an older installation left it.
void OrbiPlayerApplication::loadDefaults()
{
  defaults_.load(objectFiles_);
  if (defaults_.groupCount() == 0)
    defaults_.importOldSettings(
        platform::openOldSettings(FDefaultPool::oldSettingsPath(companyName, title().text(), 0)),
        0);
  defaults_.finishLoading();
  loadTranslation();
}

void OrbiPlayerApplication::loadTranslation()
{
  Ref<FStream> file;
  for (const std::filesystem::path& folder : surroundings_.resources)
    if (!file)
      file = fileSystem_.openStream(FNPath(folder / UTranslator::fileName), openRead);
  LanguageSetting setting(defaults_);
  translator_.start(&setting, platform::systemLanguage(), file.get());
}

void OrbiPlayerApplication::createPluginHost()
{
  pluginHost_ = std::make_unique<OrbPluginHost>(surroundings_.executable);
}

bool OrbiPlayerApplication::loadPlugin()
{
  plugin_ = pluginHost_->loadPlugin(0);
  OrbPlugin::setCurrent(plugin_);
  return plugin_ != nullptr;
}

// Without a window system there is no editor to open, and nothing fails.
bool OrbiPlayerApplication::openEditor()
{
  return !desktop() || pluginHost_->openEditor(*plugin_);
}

void OrbiPlayerApplication::startMidiInput()
{
  midiInput_ = make<OrbiPlayerMidiInput>();
  detectMidiDevices();
  restoreMidiPort();
}

/// The port that the user wants in this run, by name; empty for none.
std::string OrbiPlayerApplication::wantedMidiPort()
{
  if (options_.midiPort)
    return *options_.midiPort;
  const FDefaults* stored = defaults_.getGroup(midiGroup, 0, false);
  return stored ? stored->getString(midiPortKey) : "";
}

/// A render plays by itself.
void OrbiPlayerApplication::detectMidiDevices()
{
  if (options_.render)
    return;
  midiSetup_ = std::make_unique<OrbiPlayerMidiSetup>(*studio_);
  midiSetup_->start(platform::makeMidiSystems(surroundings_.executable.stem().string()));
}

void OrbiPlayerApplication::restoreMidiPort()
{
  if (midiSetup_)
    midiSetup_->setWantedPort(midiInput_->port(), wantedMidiPort());
}

// The dialog of the first start is the preferences'; without one the mark isn't written either.
void OrbiPlayerApplication::showFirstStart() {}

void OrbiPlayerApplication::restoreTime()
{
  if (!pluginHost_ || !bridge_ || !device_)
    return;
  const FDefaults* group = defaults_.getGroup("Orbiplayer", 0, false);
  auto restore = [group](const char* key, int32_t& value) {
    int64_t stored = value;
    if (group && group->getInt(key, stored) && stored >= INT32_MIN && stored <= INT32_MAX)
      value = static_cast<int32_t>(stored);
  };
  restore("Tempo", tempo_);
  restore("SigNumerator", signatureNumerator_);
  restore("SigDenominator", signatureDenominator_);
  pluginHost_->setTimeBase(device_->sampleRate(), tempo_, signatureNumerator_,
                           signatureDenominator_);
}

/// A song that can't be played is told as a FILE is, but what was to be saved is saved.
bool OrbiPlayerApplication::enterRunState()
{
  if (!CmClass::enterRunState())
    return false;
  if (!songFault_.empty()) {
    exitStatus_ = 1;
    tellTrouble(*options_.song, songFault_, Teller::user);
  }
  return true;
}

bool OrbiPlayerApplication::openFile(const std::filesystem::path& file)
{
  if (isProgramFile(file))
    return loadProgramFile(file, Teller::user);
  if (!songPlayer_)
    return false;
  std::string reason;
  std::optional<Song> song = readSong(file, reason);
  if (!song)
    return tellTrouble(file, reason, Teller::user);
  songPlayer_->play(std::move(*song));
  return true;
}

// ---- running ----

bool OrbiPlayerApplication::canQuit()
{
  if (quitConfirmed_ || !plugin_ || !plugin_->editorWindow)
    return true;
  quitConfirmed_ = UAlert::askToQuit(title().view());
  return quitConfirmed_;
}

void OrbiPlayerApplication::idle()
{
  GApplication::idle();
  if (plugin_ && plugin_->hasFaulted() && !pluginFaultShown_) {
    pluginFaultShown_ = true;
    show(UTranslator::filled("Plugin \"%s\" failed while it played and was switched off.",
                             plugin_->name()));
    exitStatus_ = 1;
    if (options_.render)
      setQuit();
  }
  if (mustEnd_ && device_ && !device_->isRunning() && !isQuitting())
    endWithoutBlocks();
  watchForEnd();
  if (options_.render)
    showProgress();
  if (songPlayer_ && songPlayer_->isOver())
    setQuit();
}

/// What was asked for at the start is complete with it.
void OrbiPlayerApplication::givenFileOpened(bool isOpened)
{
  programsLoaded_ = programsLoaded_ || isOpened;
  if (!isOpened)
    exitStatus_ = 1;
}

void OrbiPlayerApplication::beforeQuit()
{
  GApplication::beforeQuit();
  saveDefaults();
}

// ---- stop ----

OrbiPlayerApplication::~OrbiPlayerApplication()
{
  stopAudio();
  stopMidi();
  stopStudio();
  unloadPlugin();
  deletePluginHost();
  saveDefaults();
  defaults_.closePool();
}

void OrbiPlayerApplication::stopMidi()
{
  if (midiInput_)
    saveMidiPort();
  stopMidiDetection();
  midiInput_ = nullptr;
}

/// A port for this run only leaves the stored one as it is.
void OrbiPlayerApplication::saveMidiPort()
{
  if (!midiSetup_ || options_.midiPort)
    return;
  if (FDefaults* stored = defaults_.getGroup(midiGroup))
    stored->setString(midiPortKey, midiSetup_->connectedPort().c_str());
}

void OrbiPlayerApplication::stopMidiDetection()
{
  if (midiSetup_)
    midiSetup_->stop();
  midiSetup_ = nullptr;
}

void OrbiPlayerApplication::stopStudio()
{
  if (studio_)
    studio_->stop();
  studio_ = nullptr;
}

void OrbiPlayerApplication::unloadPlugin()
{
  if (plugin_ && pluginHost_)
    pluginHost_->unloadPlugin(plugin_);
  plugin_ = nullptr;
}

void OrbiPlayerApplication::deletePluginHost()
{
  if (pluginHost_)
    pluginHost_->unloadAll();
  pluginHost_ = nullptr;
}

void OrbiPlayerApplication::saveDefaults()
{
  if (!defaults_.save(objectFiles_, true) || objectFiles_.error() == settingsFault_)
    return;
  settingsFault_ = objectFiles_.error();
  if (!settingsFault_.empty())
    printLine(settingsFault_);
}

// ---- words ----

void OrbiPlayerApplication::printLine(const std::string& text)
{
  clearProgress();
  surroundings_.messages.show(title().view(), text);
}

void OrbiPlayerApplication::show(const std::string& text)
{
  clearProgress();
  messages_.show(title().view(), text);
}

void OrbiPlayerApplication::fail(const std::string& text)
{
  show(text);
  exitStatus_ = 1;
  setQuit();
}

} // namespace orbi
