#include "persist/archive_folder.h"

#include "persist/stream_copy.h"

#include <filesystem>

namespace orbi {

namespace {

FArchiveResult failedAt(const FNPath& path, const char* what)
{
  return FArchiveResult::failed("\"" + path.view() + "\" " + what);
}

// Creating

/// A folder on the disk and the place of its contents in the archive.
struct Task {
  FNPath source;
  FNPath inArchive;
};

class FolderCollector {
public:
  FolderCollector(FResourceArchive& archive, FNFileSystem& files)
      : archive_(archive), files_(files), temporary_(archive.path().view() + "~")
  {
  }

  FArchiveResult collect(const FNPath& folder)
  {
    archive_.addFolder({});
    tasks_.push_back({folder, {}});
    FArchiveResult result;
    while (!tasks_.empty() && result) {
      const Task task = std::move(tasks_.back());
      tasks_.pop_back();
      result = collectItems(task);
    }
    return result;
  }

private:
  FArchiveResult collectItems(const Task& folder)
  {
    Ref<FFileIterator> items = files_.newIterator(folder.source);
    if (!items)
      return failedAt(folder.source, "can't be listed.");
    FArchiveResult result;
    for (FFileItem item; result && items->next(item);)
      result = add(folder, item);
    return result;
  }

  FArchiveResult add(const Task& folder, const FFileItem& item)
  {
    Task task = folder;
    task.source.appendPart(item.name.view());
    task.inArchive.appendPart(item.name.view());
    if (isArchive(task.source))
      return {};
    if (const char* fault = archiveNameFault(item.name.view()))
      return failedAt(task.source, fault);
    if (item.kind == FFileKind::other)
      return failedAt(task.source, "is neither a file nor a folder.");
    if (item.kind == FFileKind::file) {
      archive_.addFile(task.inArchive, &files_, task.source);
      return {};
    }
    if (item.isLink) // it may lead in a circle
      return failedAt(task.source, "is a link to a folder.");
    archive_.addFolder(task.inArchive);
    tasks_.push_back(std::move(task));
    return {};
  }

  /// The archive may be made within the folder that it's made of.
  bool isArchive(const FNPath& path) const
  {
    std::error_code failure;
    const auto native = path.native();
    return std::filesystem::equivalent(native, archive_.path().native(), failure) ||
           std::filesystem::equivalent(native, temporary_.native(), failure);
  }

  FResourceArchive& archive_;
  FNFileSystem& files_;
  FNPath temporary_;
  std::vector<Task> tasks_;
};

// Extracting

FNPath pathOf(const FFileArchiveNode& node)
{
  std::vector<std::string_view> names;
  for (const FFileArchiveNode* at = &node; at->parent(); at = at->parent())
    names.push_back(at->name().view());
  FNPath path;
  for (auto name = names.rbegin(); name != names.rend(); ++name)
    path.appendPart(*name);
  return path;
}

FArchiveResult checkNames(const FFileArchiveNode& root)
{
  for (const FFileArchiveNode* node = root.nextBelow(&root); node; node = node->nextBelow(&root)) {
    if (const char* fault = archiveNameFault(node->name().view()))
      return failedAt(node->name().view(), fault);
    if (node->parent()->findChild(node->name().view()) != node)
      return failedAt(pathOf(*node), "stands twice in the archive.");
  }
  return {};
}

FArchiveResult extractFile(FFileArchive& archive, FNFileSystem& files, const FNPath& name,
                           const FNPath& target)
{
  Ref<FStream> source = archive.openStream(name, openRead);
  if (!source)
    return failedAt(name, "can't be read. Is it compressed?");
  Ref<FStream> file = files.openStream(target, openWrite | openCreate);
  if (!file)
    return failedAt(target, "can't be written.");
  const bool copied = copyRest(*source, *file) == archive.size(name);
  if (!files.closeStream(std::move(file)) || !copied)
    return failedAt(target, "can't be written completely.");
  return {};
}

FArchiveResult extractNode(FFileArchive& archive, FNFileSystem& files, const FNPath& folder,
                           const FFileArchiveNode& node)
{
  const FNPath name = pathOf(node);
  FNPath target = folder;
  target.append(name.view());
  if (!node.isFolder())
    return extractFile(archive, files, name, target);
  return files.makeFolder(target) ? FArchiveResult() : failedAt(target, "can't be made.");
}

} // namespace

FArchiveResult createArchive(const FNPath& archive, const FNPath& folder,
                             FArchiveProgress* progress)
{
  FNFileSystem* files = FNFileSystem::instance();
  if (!files || !files->isFolder(folder))
    return failedAt(folder, "is no folder.");
  FResourceArchive made(archive, files);
  const FArchiveResult result = FolderCollector(made, *files).collect(folder);
  return result ? made.save(progress) : result;
}

FArchiveResult extractArchive(const FNPath& archive, const FNPath& folder)
{
  FNFileSystem* files = FNFileSystem::instance();
  FResourceArchive source(archive, files);
  if (!source.open())
    return failedAt(archive, "can't be opened as an archive.");
  if (!source.isSound())
    return failedAt(archive, "is damaged.");
  FArchiveResult result = checkNames(*source.root());
  if (result && !files->makeFolder(folder))
    return failedAt(folder, "can't be made.");
  for (const FFileArchiveNode* node = source.root()->nextBelow(source.root()); node && result;
       node = node->nextBelow(source.root()))
    result = extractNode(source, *files, folder, *node);
  return result;
}

} // namespace orbi
