// The main menu and what its entries do.
#include "app/player_application.h"

#include "foundation/message.h"
#include "persist/global_texts.h"
#include "platform/url_opener.h"
#include "ui/dialogs/alert.h"
#include "ui/dialogs/file_dialog.h"
#include "ui/views/desktop.h"
#include "ui/views/dialogs.h"

namespace orbi {

namespace {

enum MenuTag : int32_t {
  preferencesTag = 1001,
  saveProgramTag,
  loadProgramTag,
  saveBankTag,
  saveDefaultBankTag,
  loadBankTag,
  meterTag, // no entry has it
  resetMidiTag,
  homePageTag = 1010,
  usersForumTag,
  updatesTag,
  helpTag
};

constexpr uint32_t control = platform::controlKey;

struct EntryRow {
  const UGlobalText* title; ///< null: a separator
  int32_t tag;
  UKeyCode key;
  const char* name;
};

constexpr EntryRow fileEntries[] = {
    {&globalTexts::preferences, preferencesTag, {0, 0x28, control}, "preferences item"},
    {nullptr, 0, {0, 0, 0}, ""},
    {&globalTexts::saveProgram, saveProgramTag, {'S', 0xA3, control}, ""},
    {&globalTexts::loadProgram, loadProgramTag, {'O', 0x9F, control}, ""},
    {&globalTexts::saveBank, saveBankTag, {0, 0, 0}, ""},
    {&globalTexts::loadBank, loadBankTag, {0, 0, 0}, ""},
    {nullptr, 0, {0, 0, 0}, ""},
    {&globalTexts::resetMidi, resetMidiTag, {'R', 0xA2, control}, ""},
    {nullptr, 0, {0, 0, 0}, ""},
    {&globalTexts::quit, GApplication::quitTag, {'Q', 0xA1, control}, "quit item"},
};

constexpr EntryRow helpEntries[] = {
    {&globalTexts::homePage, homePageTag, {0, 0, 0}, ""},
    {&globalTexts::forum, usersForumTag, {0, 0, 0}, ""},
    {&globalTexts::updates, updatesTag, {0, 0, 0}, ""},
};

struct PageRow {
  int32_t tag;
  const char* url;
};

constexpr PageRow pages[] = {
    {homePageTag, "https://quillmore.example/"},
    {usersForumTag, "https://quillmore.example/forum"},
    {updatesTag, "https://quillmore.example/updates"},
};

/// Asks the user, and remembers the answer for what there is to say of it.
class ChosenFile final : public FFileDialog {
public:
  explicit ChosenFile(UWindow* owner) : dialog_(owner) {}
  std::optional<std::filesystem::path> ask(const FFileQuestion& question) override
  {
    return path = dialog_.ask(question);
  }
  std::optional<std::filesystem::path> path; ///< nothing: cancelled

private:
  UFileDialog dialog_;
};

/// With keys for titles: the menu bar translates them when it comes into its window.
void addEntries(UMenu& menu, std::span<const EntryRow> rows)
{
  for (const EntryRow& row : rows)
    if (row.title)
      menu.add(row.title->key(), row.tag, row.key, row.name);
    else
      menu.addSeparator();
}

} // namespace

void OrbiPlayerApplication::buildMenuBar()
{
  if (!desktop())
    return;
  auto file = make<UMenu>(globalTexts::file.key(), "File");
  addEntries(*file, fileEntries);
  file->setStyle(file->style() | UMenu::stylePlacesItems);
  fileMenu_ = file.get();
  auto help = make<UMenu>(globalTexts::help.key(), "Help");
  addEntries(*help, helpEntries);
  auto bar = make<UMenuBar>();
  bar->add(std::move(file));
  bar->add(std::move(help));
  setMenuBar(std::move(bar));
}

bool OrbiPlayerApplication::pluginAnswers(int64_t question)
{
  return plugin_ && plugin_->dispatch(opVendorSpecific, orbHostTag, question) == 1;
}

bool OrbiPlayerApplication::pluginDoes(int64_t action)
{
  return plugin_ && plugin_->dispatch(opVendorSpecific, orbHostTag, action, nullptr, 1.0f) == 1;
}

/// Entries that the plug-in asks for. The texts of the others are translated by now.
void OrbiPlayerApplication::extendMenus()
{
  if (!menuBar())
    return;
  if (fileMenu_ && pluginAnswers(orbHasDefaultBank))
    fileMenu_->insert(fileMenu_->indexOf(saveBankTag) + 1,
                      make<UMenuItem>(globalTexts::saveAsDefaultBank.text(), saveDefaultBankTag));
  UMenu* help = menuBar()->findMenu("Help");
  if (!help)
    return;
  if (pluginAnswers(orbHasHelp)) {
    help->insert(0, make<UMenuItem>(globalTexts::helpItem.text(), helpTag));
    help->insert(1, make<UMenuItem>());
  }
  if (pluginAnswers(orbHasAbout)) {
    help->addSeparator();
    const std::string& name = plugin_->name();
    help->add(UTranslator::filled(globalTexts::about.key(), name.empty() ? "OrbiPlayer" : name),
              aboutTag, {}, "about item");
  }
}

// What the entries do

int32_t OrbiPlayerApplication::handleMessage(FMessage& message)
{
  if (message.isMessage("MenuSelect")) {
    if (selectMenu(static_cast<int32_t>(message.getInt("Tag"))))
      return 1;
  }
  return GApplication::handleMessage(message);
}

/// True when the entry needs nothing more from the framework.
bool OrbiPlayerApplication::selectMenu(int32_t tag)
{
  if (!plugin_)
    return false;
  switch (tag) {
  case aboutTag:
    return pluginDoes(orbShowAbout);
  case preferencesTag:
    openPreferences();
    break;
  case saveProgramTag:
    runFileEntry(&OrbPlugin::savePlugProgramFile);
    break;
  case loadProgramTag:
    runFileEntry(&OrbPlugin::loadProgramFile);
    break;
  case saveBankTag:
    runFileEntry(&OrbPlugin::saveBankFile);
    break;
  case saveDefaultBankTag:
    return pluginDoes(orbSaveDefaultBank);
  case loadBankTag:
    runFileEntry(&OrbPlugin::loadBankFile);
    break;
  case resetMidiTag:
    if (midiInput_)
      midiInput_->resetMidi();
    break;
  case helpTag:
    return pluginDoes(orbShowHelp);
  default:
    openPage(tag);
    break;
  }
  return false;
}

void OrbiPlayerApplication::runFileEntry(int32_t (OrbPlugin::*entry)(FFileDialog&))
{
  ChosenFile file(desktop() ? desktop()->frontDocument() : nullptr);
  const int32_t result = (plugin_->*entry)(file);
  if (file.path)
    tellOutcome(*file.path, result, Teller::user);
}

bool OrbiPlayerApplication::opensDroppedFile(const std::filesystem::path& file) const
{
  return plugin_ && isFileToOpen(file);
}

// The setup dialog is described by a skin.
void OrbiPlayerApplication::openPreferences()
{
  UAlert::show(UTranslator::text("The preferences aren't there yet."));
}

void OrbiPlayerApplication::openPage(int32_t tag)
{
  for (const PageRow& page : pages)
    if (page.tag == tag && !platform::openUrl(page.url))
      show(page.url);
}

void OrbiPlayerApplication::showAbout()
{
  if (desktop())
    make<UAboutDialog>(title().view(), "ORBiPlayer " ORBI_VERSION,
                       plugin_ ? plugin_->productString() : "")
        ->run();
}

} // namespace orbi
