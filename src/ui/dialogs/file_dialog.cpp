#include "ui/dialogs/file_dialog.h"

#include "foundation/file_stream.h"
#include "persist/default_pool.h"
#include "persist/translator.h"
#include "platform/paths.h"
#include "ui/application.h"
#include "ui/dialogs/alert.h"
#include "ui/dialogs/file_selector.h"
#include "ui/views/desktop.h"
#include "ui/views/modal_session.h"

namespace orbi {

namespace {

constexpr const char* settingsGroup = "File Dialog";

using platform::FileChooserAnswer;
using platform::FileChooserQuestion;
using Outcome = FileChooserAnswer::Outcome;

FileChooserQuestion questionFor(const FFileQuestion& question, std::filesystem::path folder)
{
  FileChooserQuestion result;
  result.saves = (question.mode & openWrite) != 0;
  result.title = question.title;
  result.acceptLabel = UTranslator::text(result.saves ? "Save" : "Open");
  if (!question.type.extension.isEmpty())
    result.filters.push_back({question.type.description.text(), question.type.extension.text()});
  result.filters.push_back({UTranslator::text("All Files"), ""});
  result.folder = std::move(folder);
  return result;
}

/// Lets the program go on behind the desktop's dialog until that has an answer.
FileChooserAnswer waitForDesktop(FileChooserQuestion question, UWindow* owner)
{
  UDesktop* desktop = UDesktop::instance();
  if (!desktop)
    return {Outcome::unavailable, {}};
  question.owner = owner && owner->system() ? owner->system()->handle() : nullptr;
  std::optional<FileChooserAnswer> answer;
  const auto chooser = platform::openFileChooser(
      std::move(question), [&](const FileChooserAnswer& given) { answer = given; });
  if (!chooser)
    return {Outcome::unavailable, {}};
  const bool hadKeys = owner && owner->isActive();
  UModalSession session(*desktop);
  session.run(owner, [&] { return !answer; });
  if (!answer)
    return {};
  // A dialog that came took the keys from us.
  if (answer->outcome == Outcome::ended)
    answer->outcome = hadKeys && !owner->isActive() ? Outcome::cancelled : Outcome::unavailable;
  return *answer;
}

} // namespace

std::optional<std::filesystem::path> UFileDialog::ask(const FFileQuestion& question)
{
  const Ref<UWindow> kept = Ref<UWindow>::share(owner_); // it may close meanwhile
  FDefaultPool* pool = FDefaultPool::instance();
  FDefaults* settings = pool ? pool->getGroup(settingsGroup) : nullptr;
  const char* key = question.type.typeCode.text();
  std::filesystem::path folder = settings ? settings->getString(key) : "";
  if (folder.empty())
    folder = platform::homeFolder();
  FileChooserAnswer answer = askDesktop(question, existingFolder(folder));
  if (answer.outcome == Outcome::unavailable)
    answer = askHere(question, folder);
  if (answer.outcome == Outcome::elsewhere)
    UAlert::show(UTranslator::text("What was chosen is no file of this computer."), owner_);
  if (answer.outcome != Outcome::chosen)
    return {};
  if (settings)
    settings->setString(key, answer.file.parent_path().string().c_str());
  return answer.file;
}

/// The desktop asks before a file is overwritten, but knows the name only as it was typed.
FileChooserAnswer UFileDialog::askDesktop(const FFileQuestion& question,
                                          const std::filesystem::path& folder)
{
  UDesktop* desktop = UDesktop::instance();
  const auto owner = Ref<UWindow>::share(owner_ || !desktop ? owner_ : desktop->topWindow());
  FileChooserQuestion asked = questionFor(question, folder);
  for (;;) {
    FileChooserAnswer answer = waitForDesktop(asked, owner.get());
    if (!asked.saves || answer.outcome != Outcome::chosen)
      return answer;
    const std::filesystem::path typed = answer.file;
    answer.file = withExtension(typed, question.type.extension.text());
    std::error_code failure;
    const bool isUnasked = answer.file != typed && std::filesystem::exists(answer.file, failure);
    if (!isUnasked || UReplaceQuestion(owner.get()).ask(answer.file.filename().string()))
      return answer;
    asked.folder = answer.file.parent_path();
    asked.name = answer.file.filename().string();
  }
}

FileChooserAnswer UFileDialog::askHere(const FFileQuestion& question,
                                       const std::filesystem::path& folder)
{
  const auto selector = make<UFileSelector>(question, folder);
  if (selector->run(owner_) != UDialog::accepted)
    return {};
  return {Outcome::chosen, selector->chosen()};
}

} // namespace orbi
