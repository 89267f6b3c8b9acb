#include "ui/dialogs/file_dialog.h"

#include "foundation/class_registry.h"
#include "foundation/file_stream.h"
#include "persist/default_pool.h"
#include "persist/translator.h"
#include "platform/paths.h"
#include "ui/application.h"
#include "ui/dialogs/alert.h"
#include "ui/views/basic/button.h"
#include "ui/views/basic/theme.h"

#include <algorithm>
#include <cctype>

namespace orbi {

CM_REGISTER_ABSTRACT(UFileSelector); // needs a question

namespace {

constexpr const char* settingsGroup = "File Dialog";
constexpr Size selectorSize{560, 420};
constexpr size_t mostEntries = 100000; ///< of a folder that are shown

bool sameLetters(std::string_view a, std::string_view b)
{
  return std::ranges::equal(a, b, [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

bool comesBefore(const UFolderEntry& a, const UFolderEntry& b)
{
  if (a.isFolder != b.isFolder)
    return a.isFolder;
  const bool before = std::ranges::lexicographical_compare(a.name, b.name, [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) <
           std::tolower(static_cast<unsigned char>(y));
  });
  return before;
}

bool hasExtension(const std::filesystem::path& path, std::string_view extension)
{
  const std::string own = path.extension().string();
  return own.size() > 1 && sameLetters(std::string_view(own).substr(1), extension);
}

bool isFolder(const std::filesystem::path& path)
{
  std::error_code failure;
  return std::filesystem::is_directory(path, failure);
}

/// The folder itself, or the nearest above it that is there.
std::filesystem::path existing(std::filesystem::path folder)
{
  while (!folder.empty() && !isFolder(folder) && folder != folder.parent_path())
    folder = folder.parent_path();
  return isFolder(folder) ? folder : std::filesystem::path("/");
}

} // namespace

bool listFolder(const std::filesystem::path& folder, std::string_view extension,
                std::vector<UFolderEntry>& entries)
{
  entries.clear();
  std::error_code failure;
  std::filesystem::directory_iterator place(folder, failure);
  if (failure)
    return false;
  const std::filesystem::directory_iterator end;
  while (place != end && entries.size() < mostEntries) {
    std::error_code unknown;
    UFolderEntry entry{place->path().filename().string(), place->is_directory(unknown)};
    const bool isWanted =
        entry.isFolder || extension.empty() || hasExtension(place->path(), extension);
    if (isWanted && !entry.name.empty() && entry.name.front() != '.')
      entries.push_back(std::move(entry));
    place.increment(failure);
    if (failure)
      break;
  }
  std::ranges::sort(entries, comesBefore);
  return true;
}

// The selector

UFileSelector::UFileSelector(const FFileQuestion& question, std::filesystem::path folder)
    : CmClass(Rect::at({}, selectorSize), question.title, dialogStyle | styleSizable),
      saves_((question.mode & openWrite) != 0), extension_(question.type.extension.text()),
      kind_(question.type.description.text())
{
  setName("File Selector");
  setLimits({360, 260}, {});
  addViews(question);
  goTo(existing(std::move(folder)));
}

void UFileSelector::addViews(const FFileQuestion& question)
{
  const UTheme& theme = UTheme::instance();
  const int32_t right = selectorSize.width - theme.margin;
  const int32_t field = theme.rowHeight + 4;
  const int32_t buttonsTop = selectorSize.height - theme.margin - theme.buttonHeight;
  const int32_t troubleTop = buttonsTop - theme.gap;
  const int32_t nameTop = troubleTop - theme.gap - field;
  auto ground = make<UGround>(bounds());
  ground->setAttach(attachAll);
  UGround& place = add(std::move(ground));

  auto up = make<UPushButton>(
      Rect{theme.margin, theme.margin, theme.margin + field + 8, theme.margin + field}, "\u2191");
  up->setTip(UTranslator::text("Folder Above"));
  up->setName("up");
  up->setAction([this] { goUp(); });
  up->setFocusable(false);
  place.add(std::move(up));
  pathEdit_ = &place.add(make<UTextEdit>(
      Rect{theme.margin + field + 8 + theme.gap, theme.margin, right, theme.margin + field}));
  pathEdit_->setName("path");
  pathEdit_->setAttach(attachLeft | attachTop | attachRight);
  pathEdit_->setEntered([this] { pathEntered(); });

  list_ = &place.add(make<UListBox>(
      Rect{theme.margin, theme.margin + field + theme.gap, right, nameTop - theme.gap}));
  list_->setName("files");
  list_->setAttach(attachAll);
  list_->setChanged([this](int32_t index) { selectionChanged(index); });
  list_->setAction([this](int32_t index) { activate(index); });

  const int32_t labelRight = theme.margin + 60;
  place
      .add(make<ULabel>(Rect{theme.margin, nameTop, labelRight, nameTop + field},
                        UTranslator::text("Name")))
      .setAttach(attachLeft | attachBottom);
  nameEdit_ = &place.add(make<UTextEdit>(Rect{labelRight, nameTop, right, nameTop + field}));
  nameEdit_->setName("name");
  nameEdit_->setAttach(attachLeft | attachRight | attachBottom);
  nameEdit_->setEntered([this] { accept(); });

  auto cancel = make<UPushButton>(Rect(), UTranslator::text("Cancel"));
  auto fine = make<UPushButton>(Rect(), UTranslator::text(saves_ ? "Save" : "Open"));
  const Size cancelSize = cancel->preferredSize();
  const Size fineSize = fine->preferredSize();
  cancel->setRect(Rect::at({right - cancelSize.width, buttonsTop}, cancelSize));
  fine->setRect(
      Rect::at({right - cancelSize.width - theme.gap - fineSize.width, buttonsTop}, fineSize));
  const int32_t textRight = fine->rect().left - theme.gap;
  trouble_ = &place.add(
      make<ULabel>(Rect{theme.margin, buttonsTop, textRight, buttonsTop + theme.buttonHeight},
                   question.type.description.view()));
  trouble_->setAttach(attachLeft | attachRight | attachBottom);
  fine->setName(defaultName);
  fine->setAction([this] { accept(); });
  cancel->setName(cancelName);
  cancel->setAction([this] { end(cancelled); });
  for (auto* button : {&fine, &cancel}) {
    (*button)->setAttach(attachRight | attachBottom);
    place.add(std::move(*button));
  }
  setFocusView(saves_ ? static_cast<UView*>(nameEdit_) : list_);
}

/// One that can't be read leaves what is shown.
void UFileSelector::goTo(std::filesystem::path folder)
{
  folder = folder.lexically_normal();
  if (!folder.has_filename()) // a slash at its end would be a place of its own
    folder = folder.parent_path();
  std::vector<UFolderEntry> entries;
  if (!listFolder(folder, extension_, entries)) {
    trouble_->setTitle(UTranslator::filled("The folder \"%s\" can't be read.", folder.string()));
    return;
  }
  folder_ = std::move(folder);
  entries_ = std::move(entries);
  std::vector<std::string> names;
  names.reserve(entries_.size());
  for (const UFolderEntry& entry : entries_)
    names.push_back(entry.isFolder ? entry.name + "/" : entry.name);
  list_->setItems(std::move(names));
  pathEdit_->setText(folder_.string());
  trouble_->setTitle(kind_);
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
  const UFolderEntry& entry = entries_[static_cast<size_t>(index)];
  if (!entry.isFolder)
    nameEdit_->setText(entry.name);
  else if (!saves())
    nameEdit_->setText("");
}

void UFileSelector::activate(int32_t index)
{
  if (index < 0)
    return;
  const UFolderEntry& entry = entries_[static_cast<size_t>(index)];
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
  if (saves() && !extension_.empty() && !hasExtension(path, extension_))
    path += "." + extension_;
  return path.lexically_normal();
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
  if (path.empty() || (!saves() && !isThere)) {
    if (!path.empty())
      trouble_->setTitle(UTranslator::filled("There is no file \"%s\".", path.filename().string()));
    return false;
  }
  if (saves() && isFolder(path)) {
    goTo(path);
    return false;
  }
  if (saves() && !isFolder(path.parent_path())) {
    trouble_->setTitle(
        UTranslator::filled("There is no folder \"%s\".", path.parent_path().string()));
    return false;
  }
  if (saves() && isThere && !mayReplace(path))
    return false;
  chosen_ = path;
  return true;
}

bool UFileSelector::mayReplace(const std::filesystem::path& path)
{
  const std::string question =
      UTranslator::text("Do you want to replace ") + path.filename().string() + "?";
  return UAlert::ask(question, {"Replace", "Cancel"}, this) == 0;
}

bool UFileSelector::keyDown(const UKeyCode& key)
{
  const bool isUp = (key.key == keyArrowUp && key.isOnly(platform::altKey)) ||
                    (key.key == keyBack && key.isOnly(0));
  if (!isUp)
    return UModalDialog::keyDown(key);
  goUp();
  return true;
}

// The service

std::optional<std::filesystem::path> UFileDialog::ask(const FFileQuestion& question)
{
  FDefaultPool* pool = FDefaultPool::instance();
  FDefaults* settings = pool ? pool->getGroup(settingsGroup) : nullptr;
  const char* key = question.type.typeCode.text();
  std::filesystem::path folder = settings ? settings->getString(key) : "";
  if (folder.empty())
    folder = platform::homeFolder();
  auto selector = make<UFileSelector>(question, std::move(folder));
  if (selector->run(owner_) != UDialog::accepted)
    return {};
  if (settings)
    settings->setString(key, selector->chosen().parent_path().string().c_str());
  return selector->chosen();
}

} // namespace orbi
