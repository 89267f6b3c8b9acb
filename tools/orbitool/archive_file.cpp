#include "orbitool/archive_file.h"

#include "persist/archive_folder.h"
#include "persist/user_message.h"

#include <iomanip>

namespace orbi {

namespace {

constexpr int64_t deepestFolder = 1000; ///< far beyond what a disk can hold

/// Keeps what the archive has to say.
struct ToldMessages final : FUserMessage {
  void show(std::string_view text) override { last = text; }
  std::string last;
};

/// Goes through the entries in the order of the archive and knows how deep each lies.
class EntryWalk {
public:
  explicit EntryWalk(const FResourceArchive& archive)
      : root_(archive.root()), entry_(archive.root())
  {
  }

  const FResourceEntry* next()
  {
    const FFileArchiveNode* last = entry_;
    entry_ = entry_ ? entry_->nextBelow(root_) : nullptr;
    if (!entry_)
      return nullptr;
    for (++depth_; last != entry_->parent(); last = last->parent())
      --depth_;
    return static_cast<const FResourceEntry*>(entry_);
  }
  int64_t depth() const { return depth_; } ///< 1 directly below the root

private:
  const FFileArchiveNode* root_;
  const FFileArchiveNode* entry_;
  int64_t depth_ = 0;
};

std::string pathOf(const FFileArchiveNode& entry)
{
  std::string path = entry.name().text();
  for (const FFileArchiveNode* at = entry.parent(); at && at->parent(); at = at->parent())
    path = at->name().text() + ('/' + path);
  return entry.isFolder() ? path + '/' : path;
}

/// The count of records that the file tells before its end; -1 when it can't be read.
int64_t toldRecords(const std::filesystem::path& path)
{
  constexpr int64_t fromEnd = 12; // count, size of the trailer, magic
  FFileStream file;
  uint32_t count = 0;
  const bool isRead = file.open(path, openRead) && file.seek(-fromEnd, SeekMode::end) >= 0 &&
                      file.readUint32(count);
  return isRead ? int64_t(count) : -1;
}

/// A folder takes two records, its own and the closing one. Those of the root may be missing.
std::optional<Fault> faultOfDirectory(const FResourceArchive& archive, int64_t told)
{
  int64_t records = 0;
  EntryWalk walk(archive);
  while (const FResourceEntry* entry = walk.next()) {
    records += entry->isFolder() ? 2 : 1;
    if (walk.depth() > deepestFolder)
      return Fault{"folders lie deeper than " + std::to_string(deepestFolder) + " levels"};
  }
  if (told >= records && told <= records + 2)
    return std::nullopt;
  return Fault{"the directory tells of " + counted(told, "record", "records") + " and holds " +
               std::to_string(records)};
}

const char* faultOfEntry(FResourceArchive& archive, const FResourceEntry& entry)
{
  const std::string_view name = entry.name().view();
  if (const char* fault = archiveNameFault(name))
    return fault;
  if (entry.parent()->findChild(name) != &entry)
    return "stands twice in the archive";
  if (entry.isCompressed() && !archive.openStream(FNPath(pathOf(entry)), openRead))
    return FResourceArchive::noCompressionText;
  return nullptr;
}

std::optional<Fault> faultOf(const FArchiveResult& result)
{
  return result ? std::nullopt : std::optional(Fault{result.reason});
}

} // namespace

Ref<FResourceArchive> openArchive(const std::filesystem::path& path, Fault& fault)
{
  if (std::optional<Fault> wrong = faultOfPath(path)) {
    fault = *wrong;
    return nullptr;
  }
  ToldMessages messages;
  auto archive = make<FResourceArchive>(FNPath(path));
  if (!archive->open()) {
    fault = {messages.last.empty() ? "cut short, or no resource archive" : messages.last};
    return nullptr;
  }
  if (std::optional<Fault> wrong = faultOfDirectory(*archive, toldRecords(path))) {
    fault = *wrong;
    return nullptr;
  }
  return archive;
}

std::optional<Fault> faultOfEntries(FResourceArchive& archive)
{
  ToldMessages silenced;
  if (!archive.isSound())
    return Fault{"entries lie outside of the file or overlap"};
  EntryWalk walk(archive);
  while (const FResourceEntry* entry = walk.next())
    if (const char* reason = faultOfEntry(archive, *entry))
      return Fault{inQuotes(pathOf(*entry)) + ' ' + reason};
  return std::nullopt;
}

void listArchive(std::ostream& out, const FResourceArchive& archive)
{
  constexpr int sizeColumn = 12;
  EntryWalk walk(archive);
  while (const FResourceEntry* entry = walk.next()) {
    out << std::setw(sizeColumn);
    if (entry->isFolder())
      out << "-";
    else
      out << entry->size;
    out << "  " << readable(pathOf(*entry)) << '\n';
  }
}

void printArchive(std::ostream& out, const FResourceArchive& archive)
{
  out << "resource archive, version " << archive.version() << '\n';
  EntryWalk walk(archive);
  while (const FResourceEntry* entry = walk.next()) {
    startLine(out, walk.depth()) << (entry->isFolder() ? "folder " : "file ")
                                 << readable(entry->name().view());
    if (!entry->isFolder())
      out << ", " << entry->size << (entry->size == 1 ? " byte" : " bytes");
    if (entry->isCompressed())
      out << ", compressed to " << entry->storedSize;
    out << '\n';
  }
}

std::optional<Fault> extractTo(const std::filesystem::path& archive,
                               const std::filesystem::path& folder)
{
  Fault fault;
  Ref<FResourceArchive> source = openArchive(archive, fault);
  if (!source)
    return fault;
  if (std::optional<Fault> wrong = faultOfEntries(*source))
    return wrong;
  return faultOf(extractArchive(FNPath(archive), FNPath(folder)));
}

std::optional<Fault> createFrom(const std::filesystem::path& archive,
                                const std::filesystem::path& folder)
{
  return faultOf(createArchive(FNPath(archive), FNPath(folder)));
}

} // namespace orbi
