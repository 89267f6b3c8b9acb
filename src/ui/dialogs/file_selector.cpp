#include "ui/dialogs/file_selector.h"

#include "foundation/class_registry.h"
#include "foundation/file_stream.h"
#include "persist/translator.h"
#include "platform/paths.h"
#include "ui/dialogs/alert.h"
#include "ui/views/basic/button.h"
#include "ui/views/basic/theme.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(UFileSelector); // needs a question

namespace {

constexpr Size selectorSize{560, 420};
constexpr int mostEntries = 100000; ///< of a folder that are looked at

bool hasExtension(const std::filesystem::path& path, const char* extension)
{
  const std::string own = path.extension().string();
  return own.size() > 1 && compareTexts(own.c_str() + 1, extension, TextCompare::ignoreCase) == 0;
}

int32_t fieldHeight()
{
  return UTheme::instance().rowHeight + 4;
}

int32_t buttonsTop()
{
  const UTheme& theme = UTheme::instance();
  return selectorSize.height - theme.margin - theme.buttonHeight;
}

int32_t nameTop()
{
  return buttonsTop() - 2 * UTheme::instance().gap - fieldHeight();
}

bool isFolder(const std::filesystem::path& path)
{
  std::error_code failure;
  return std::filesystem::is_directory(path, failure);
}

} // namespace

std::filesystem::path existingFolder(std::filesystem::path folder)
{
  while (!folder.empty() && !isFolder(folder) && folder != folder.parent_path())
    folder = folder.parent_path();
  return isFolder(folder) ? folder : std::filesystem::path("/");
}

std::filesystem::path withExtension(std::filesystem::path path, const std::string& extension)
{
  if (!extension.empty() && !hasExtension(path, extension.c_str()))
    path += "." + extension;
  return path;
}

// The selector

UFileSelector::UFileSelector(const FFileQuestion& question, std::filesystem::path folder)
    : CmClass(Rect::at({}, selectorSize), question.title, dialogStyle | styleSizable),
      saves_((question.mode & openWrite) != 0), extension_(question.type.extension.text()),
      kind_(question.type.description.text())
{
  setName("File Selector");
  setLimits({360, 260}, {});
  auto ground = make<UGround>(bounds());
  ground->setAttach(attachAll);
  UGround& place = add(std::move(ground));
  addPath(place);
  addList(place);
  addName(place);
  addButtons(place);
  setFocusView(saves_ ? static_cast<UView*>(nameEdit_) : list_);
  goTo(existingFolder(std::move(folder)));
}

void UFileSelector::addPath(UView& ground)
{
  const UTheme& theme = UTheme::instance();
  const int32_t top = theme.margin;
  const int32_t bottom = top + fieldHeight();
  const int32_t pathLeft = theme.margin + fieldHeight() + 8;
  int32_t right = selectorSize.width - theme.margin;
  auto up = make<UPushButton>(Rect{theme.margin, top, pathLeft, bottom}, "\u2191");
  up->setTip(UTranslator::text("Folder Above"));
  up->setName("up");
  up->setAction([this] { goUp(); });
  up->setFocusable(false);
  ground.add(std::move(up));
  if (saves_) {
    auto button = make<UPushButton>(Rect(), UTranslator::text("New Folder"));
    const int32_t width = button->preferredSize().width;
    button->setRect({right - width, top, right, bottom});
    button->setAttach(attachRight | attachTop);
    button->setName("new folder");
    button->setAction([this] { askFolderName(); });
    button->setFocusable(false);
    ground.add(std::move(button));
    right -= width + theme.gap;
  }
  pathEdit_ = &ground.add(make<UTextEdit>(Rect{pathLeft + theme.gap, top, right, bottom}));
  pathEdit_->setName("path");
  pathEdit_->setAttach(attachLeft | attachTop | attachRight);
  pathEdit_->setEntered([this] { pathEntered(); });
}

void UFileSelector::addList(UView& ground)
{
  const UTheme& theme = UTheme::instance();
  const int32_t right = selectorSize.width - theme.margin;
  const int32_t top = theme.margin + fieldHeight() + theme.gap;
  folderEdit_ = &ground.add(make<UTextEdit>(Rect{theme.margin, top, right, top + fieldHeight()}));
  folderEdit_->setName("folder");
  folderEdit_->setAttach(attachLeft | attachTop | attachRight);
  folderEdit_->setEntered([this] { makeFolder(); });
  folderEdit_->setVisible(false);
  list_ = &ground.add(make<UListBox>(Rect{theme.margin, top, right, nameTop() - theme.gap}));
  list_->setName("files");
  list_->setAttach(attachAll);
  list_->setChanged([this](int32_t index) { selectionChanged(index); });
  list_->setAction([this](int32_t index) { activate(index); });
}

void UFileSelector::addName(UView& ground)
{
  const UTheme& theme = UTheme::instance();
  const int32_t top = nameTop();
  const int32_t bottom = top + fieldHeight();
  const int32_t labelRight = theme.margin + 60;
  int32_t right = selectorSize.width - theme.margin;
  ground.add(make<ULabel>(Rect{theme.margin, top, labelRight, bottom}, UTranslator::text("Name")))
      .setAttach(attachLeft | attachBottom);
  auto all = make<UCheckBox>(Rect(), UTranslator::text("All Files"), &showsAll_);
  const int32_t allLeft = right - all->preferredSize().width;
  all->setRect({allLeft, top, right, bottom});
  all->setAttach(attachRight | attachBottom);
  all->setName("all");
  all->setAction([this] { goTo(folder_); });
  if (!extension_.empty())
    right = allLeft - theme.gap;
  nameEdit_ = &ground.add(make<UTextEdit>(Rect{labelRight, top, right, bottom}));
  nameEdit_->setName("name");
  nameEdit_->setAttach(attachLeft | attachRight | attachBottom);
  nameEdit_->setEntered([this] { accept(); });
  if (!extension_.empty())
    ground.add(std::move(all));
}

void UFileSelector::addButtons(UView& ground)
{
  const UTheme& theme = UTheme::instance();
  const int32_t right = selectorSize.width - theme.margin;
  const int32_t top = buttonsTop();
  auto cancel = make<UPushButton>(Rect(), UTranslator::text("Cancel"));
  auto fine = make<UPushButton>(Rect(), UTranslator::text(saves_ ? "Save" : "Open"));
  const Size cancelSize = cancel->preferredSize();
  const Size fineSize = fine->preferredSize();
  cancel->setRect(Rect::at({right - cancelSize.width, top}, cancelSize));
  fine->setRect(Rect::at({right - cancelSize.width - theme.gap - fineSize.width, top}, fineSize));
  trouble_ = &ground.add(make<ULabel>(
      Rect{theme.margin, top, fine->rect().left - theme.gap, top + theme.buttonHeight}));
  trouble_->setName("trouble");
  trouble_->setAttach(attachLeft | attachRight | attachBottom);
  fine->setName(defaultName);
  fine->setAction([this] { accept(); });
  cancel->setName(cancelName);
  cancel->setAction([this] { end(cancelled); });
  for (auto* button : {&fine, &cancel}) {
    (*button)->setAttach(attachRight | attachBottom);
    ground.add(std::move(*button));
  }
}

/// Folders first, both in the order of a reader.
bool UFileSelector::comesBefore(const Entry& a, const Entry& b)
{
  if (a.isFolder != b.isFolder)
    return a.isFolder;
  const int order = compareTexts(a.name.c_str(), b.name.c_str(), TextCompare::ignoreCase);
  return order != 0 ? order < 0 : a.name < b.name;
}

/// What is to be shown of it, without what is hidden. False when it can't be read.
bool UFileSelector::listFolder(const std::filesystem::path& folder,
                               std::vector<Entry>& entries) const
{
  std::error_code failure;
  std::filesystem::directory_iterator place(folder, failure);
  if (failure)
    return false;
  const std::filesystem::directory_iterator end;
  for (int i = 0; i < mostEntries && !failure && place != end; ++i, place.increment(failure)) {
    std::error_code unknown;
    Entry entry{place->path().filename().string(), place->is_directory(unknown)};
    const bool isWanted = entry.isFolder || showsAll() || extension_.empty() ||
                          hasExtension(place->path(), extension_.c_str());
    if (isWanted && !entry.name.empty() && entry.name.front() != '.')
      entries.push_back(std::move(entry));
  }
  std::ranges::sort(entries, comesBefore);
  return true;
}

/// One that can't be read leaves what is shown.
void UFileSelector::goTo(std::filesystem::path folder)
{
  folder = folder.lexically_normal();
  if (!folder.has_filename()) // a slash at its end would be a place of its own
    folder = folder.parent_path();
  std::vector<Entry> entries;
  if (!listFolder(folder, entries)) {
    trouble_->setTitle(UTranslator::filled("The folder \"%s\" can't be read.", folder.string()));
    return;
  }
  showFolderEdit(false);
  folder_ = std::move(folder);
  entries_ = std::move(entries);
  std::vector<std::string> names;
  names.reserve(entries_.size());
  for (const Entry& entry : entries_)
    names.push_back(entry.isFolder ? entry.name + "/" : entry.name);
  list_->setItems(std::move(names));
  pathEdit_->setText(folder_.string());
  trouble_->setTitle(showsAll() ? UTranslator::text("All Files") : kind_);
}

void UFileSelector::pathEntered()
{
  const std::filesystem::path typed(pathEdit_->text());
  const std::filesystem::path whole = typed.is_absolute() ? typed : folder_ / typed;
  if (isFolder(whole)) {
    goTo(whole);
  } else {
    nameEdit_->setText(whole.string());
    accept();
  }
}

void UFileSelector::selectionChanged(int32_t index)
{
  if (index < 0)
    return;
  const Entry& entry = entries_[static_cast<size_t>(index)];
  if (!entry.isFolder)
    nameEdit_->setText(entry.name);
  else if (!saves_)
    nameEdit_->setText("");
}

void UFileSelector::activate(int32_t index)
{
  if (index < 0)
    return;
  const Entry& entry = entries_[static_cast<size_t>(index)];
  if (entry.isFolder) {
    goTo(folder_ / entry.name);
    return;
  }
  nameEdit_->setText(entry.name);
  accept();
}

/// With the extension, when a new file's name has none.
std::filesystem::path UFileSelector::typedPath() const
{
  std::filesystem::path path(nameEdit_->text());
  if (path.empty())
    return path;
  if (!path.is_absolute())
    path = folder_ / path;
  return (saves_ ? withExtension(path, extension_) : path).lexically_normal();
}

void UFileSelector::accept()
{
  const std::filesystem::path typed = folder_ / nameEdit_->text();
  if (!nameEdit_->text().empty() && isFolder(typed)) {
    nameEdit_->setText("");
    goTo(typed);
    return;
  }
  if (nameEdit_->text().empty() && list_->selected() >= 0) {
    activate(list_->selected());
    return;
  }
  end(accepted);
}

bool UFileSelector::canEnd(int32_t result)
{
  if (result != accepted)
    return true;
  const std::filesystem::path path = typedPath();
  std::error_code failure;
  const bool isThere = std::filesystem::exists(path, failure);
  if (path.empty() || (!saves_ && !isThere)) {
    if (!path.empty())
      trouble_->setTitle(UTranslator::filled("There is no file \"%s\".", path.filename().string()));
    return false;
  }
  if (saves_ && isFolder(path)) {
    goTo(path);
    return false;
  }
  if (saves_ && !isFolder(path.parent_path())) {
    trouble_->setTitle(
        UTranslator::filled("There is no folder \"%s\".", path.parent_path().string()));
    return false;
  }
  if (saves_ && isThere && !UReplaceQuestion(this).ask(path.filename().string()))
    return false;
  chosen_ = path;
  return true;
}

// New folder

void UFileSelector::askFolderName()
{
  folderEdit_->setText(UTranslator::text("New Folder"));
  showFolderEdit(true);
  setFocusView(folderEdit_);
  folderEdit_->selectAll();
}

void UFileSelector::showFolderEdit(bool shows)
{
  if (folderEdit_->isVisible() == shows)
    return;
  if (!shows && focusView() == folderEdit_)
    setFocusView(nameEdit_);
  Rect place = list_->rect();
  const int32_t row = fieldHeight() + UTheme::instance().gap;
  place.top += shows ? row : -row;
  list_->setRect(place);
  folderEdit_->setVisible(shows);
}

/// One that is there already will do.
void UFileSelector::makeFolder()
{
  const std::filesystem::path wanted = folder_ / folderEdit_->text();
  std::error_code failure;
  std::filesystem::create_directory(wanted, failure);
  if (failure)
    trouble_->setTitle(
        UTranslator::filled("The folder \"%s\" can't be made.", folderEdit_->text()));
  else
    goTo(wanted);
}

bool UFileSelector::keyDown(const UKeyCode& key)
{
  const bool isUp = (key.key == keyArrowUp && key.isOnly(platform::altKey)) ||
                    (key.key == keyBack && key.isOnly(0));
  if (isUp)
    goUp();
  else if (key.key == keyHome && key.isOnly(platform::altKey))
    goTo(existingFolder(platform::homeFolder()));
  else if (key.key == keyEscape && key.isOnly(0) && folderEdit_->isVisible())
    showFolderEdit(false);
  else
    return UModalDialog::keyDown(key);
  return true;
}

} // namespace orbi
