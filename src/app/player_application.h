#pragma once

#include "app/command_line.h"
#include "app/midi_setup.h"
#include "framework/application.h"
#include "host/block_statistics.h"
#include "host/bridge.h"
#include "host/plugin_host.h"
#include "host/song_player.h"
#include "persist/default_pool.h"
#include "persist/file_system.h"
#include "persist/object_files.h"
#include "persist/translator.h"
#include "persist/user_message.h"
#include "platform/message_box.h"
#include "ui/dialogs/alert.h"

#include <memory>

namespace orbi {

inline constexpr const char* companyName = "Quillmore"; ///< of the settings' folders

/// The one application object. Loads the plug-in that belongs to the executable, starts MIDI input
/// and audio, restores the time, and from then on only reacts. Owns the life and the order of all
/// process-wide singletons.
class OrbiPlayerApplication final : public CmClass<OrbiPlayerApplication, GApplication> {
public:
  static constexpr const char* className = "OrbiPlayerApplication";

  /// Where the process's modules, drivers and files are looked for, and where words go.
  struct Surroundings {
    std::filesystem::path executable;
    std::vector<platform::DriverRegistration> drivers;
    platform::MessageBox& messages;               ///< where there are no windows
    std::filesystem::path settings;               ///< the user's folder; empty: nothing is kept
    std::vector<std::filesystem::path> resources; ///< folders of files that come with the program
  };

  OrbiPlayerApplication(const char* title, Options options, Surroundings surroundings);
  ~OrbiPlayerApplication() override; ///< stops everything in its order

  /// "<file name of the executable without extension> Standalone"
  static std::string titleFor(const std::filesystem::path& executable);

  /// A song that is played from the first block on, and ends the run.
  void setSong(Song song) { song_ = std::move(song); }
  /// Why the song of the command line can't be played; said when the window is there.
  void setSongFault(std::string reason) { songFault_ = std::move(reason); }

  /// Stops the audio, as the destructor does, and tells what a script wants to know of the run.
  void finishRun();
  int exitStatus() const { return hasLostOutput_ ? 1 : exitStatus_; }
  bool hasLostOutput() const { return hasLostOutput_; } ///< standard output didn't take all

  bool opensDroppedFile(const std::filesystem::path& file) const override;
  int32_t handleMessage(FMessage& message) override; ///< "MenuSelect"

protected:
  void startup() override;
  void afterStartup() override;
  bool enterRunState() override;
  void beforeQuit() override;
  bool canQuit() override;
  void buildMenuBar() override;
  void showAbout() override;
  bool openFile(const std::filesystem::path& file) override;
  void givenFileOpened(bool isOpened) override;
  void idle() override;

private:
  // Construction, in this order
  void createSkinManager();
  void createStudio();

  // Start, in this order
  bool openDisplay();
  void loadDefaults();
  void loadTranslation();
  void createPluginHost();
  bool openInstrument();
  bool loadPlugin();
  bool loadPrograms();
  bool openEditor();
  void startPlaying();
  void extendMenus();
  void startMidiInput();
  void detectMidiDevices();
  void restoreMidiPort();
  std::string wantedMidiPort();
  bool startAudio();
  std::string wantedDriver();
  bool openDriver(const std::string& name);
  bool selectDriver();
  static std::string driverFailure(const std::string& name, const std::string& reason);
  bool prepareRender();
  void prepareFileDriver();
  void showFirstStart();
  void restoreTime();

  // Stop, in this order
  void stopAudio();
  void stopMidi();
  void saveMidiPort();
  void stopMidiDetection();
  void stopStudio();
  void unloadPlugin();
  void deletePluginHost();
  void saveDefaults();

  // The menu
  bool pluginAnswers(int64_t question);
  bool pluginDoes(int64_t action);
  bool selectMenu(int32_t tag);
  void runFileEntry(int32_t (OrbPlugin::*entry)(FFileDialog&));
  void openPreferences();
  void openPage(int32_t tag);

  // Programs and banks that the command line names
  bool opensBeforeSong() const;
  enum class Teller { user, script }; ///< who is told what went wrong: in a window, or a line
  bool loadProgramFile(const std::filesystem::path& path, Teller teller);
  void savePrograms();
  bool tellOutcome(const std::filesystem::path& path, int32_t result, Teller teller);
  bool tellTrouble(const std::filesystem::path& path, const std::string& reason, Teller teller);

  void show(const std::string& text);
  void printLine(const std::string& text); ///< on standard error, though there be a window
  void fail(const std::string& text);      ///< shown, and the program ends
  void endWithoutBlocks();
  void watchForEnd();
  void showProgress();
  void clearProgress();
  void finishAudio();
  void finishRender(bool complete);
  void reportRender();

  Options options_;
  Surroundings surroundings_;
  std::optional<Song> song_;
  std::string songFault_;              ///< empty: none
  std::string settingsFault_;          ///< likewise; told once, though they are saved twice
  std::string audioFailure_;           ///< words of the driver that couldn't be used
  bool programsLoaded_ = false;        ///< all that the command line names
  bool mustEnd_ = false;               ///< the run was given an end, which takes blocks to come
  std::filesystem::path renderPath_;   ///< where the driver writes
  std::filesystem::path renderTarget_; ///< what becomes of it when it is complete
  bool hasLostOutput_ = false;
  bool quitConfirmed_ = false; ///< the quit question is asked once
  bool pluginFaultShown_ = false;
  int exitStatus_ = 0;

  // The three process values that the setup edits; the time block holds what the plug-in sees
  int32_t tempo_ = 120;
  int32_t signatureNumerator_ = 4;
  int32_t signatureDenominator_ = 4;

  /// What the layers below have to say.
  class UserMessages final : public FUserMessage {
  public:
    explicit UserMessages(OrbiPlayerApplication& application) : application_(application) {}

  private:
    void show(std::string_view text) override { application_.show(std::string(text)); }
    OrbiPlayerApplication& application_;
  };

  UserMessages userMessages_{*this};
  UMessageBoxes messages_;
  FNFileSystem fileSystem_;
  FObjectFiles objectFiles_;
  FDefaultPool defaults_;
  UTranslator translator_;

  std::unique_ptr<OrbPluginHost> pluginHost_;
  OrbPlugin* plugin_ = nullptr; ///< owned by the host
  UMenu* fileMenu_ = nullptr;   ///< owned by the menu bar
  Ref<PStudio> studio_;
  std::unique_ptr<OrbiPlayerMidiSetup> midiSetup_;
  Ref<OrbiPlayerMidiInput> midiInput_;
  Ref<OrbiPlayerAudioBridge> bridge_;
  std::unique_ptr<SongPlayer> songPlayer_;
  std::unique_ptr<LoomDevice> device_;
  std::unique_ptr<BlockStatistics> statistics_;
};

} // namespace orbi
