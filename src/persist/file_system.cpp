#include "persist/file_system.h"

#include "foundation/class_registry.h"
#include "persist/whole_file.h"

#include <algorithm>
#include <vector>

namespace orbi {

namespace fs = std::filesystem;

CM_REGISTER_ABSTRACT(FFileIterator);
CM_REGISTER_ABSTRACT(FFileSystem);
CM_REGISTER_ABSTRACT(FNFileSystem);

namespace {

FFileItem itemOf(const fs::directory_entry& entry)
{
  std::error_code failure;
  FFileItem item;
  item.name.set(FNPath(entry.path().filename()).view());
  item.isLink = entry.is_symlink(failure);
  if (entry.is_directory(failure)) {
    item.kind = FFileKind::folder;
  } else if (entry.is_regular_file(failure)) {
    const auto bytes = entry.file_size(failure);
    item.bytes = failure ? 0 : static_cast<int64_t>(bytes);
  } else {
    item.kind = FFileKind::other;
  }
  return item;
}

/// A folder's entries as they were when it was made.
class NativeIterator final : public FFileIterator {
public:
  static Ref<FFileIterator> open(const fs::path& folder)
  {
    std::error_code failure;
    fs::directory_iterator entry(folder, failure);
    auto iterator = make<NativeIterator>();
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure))
      iterator->items_.push_back(itemOf(*entry));
    if (failure)
      return nullptr; // half a folder would pass for a whole one
    std::sort(iterator->items_.begin(), iterator->items_.end(),
              [](const auto& a, const auto& b) { return a.name.view() < b.name.view(); });
    return iterator;
  }

  bool next(FFileItem& item) override
  {
    if (next_ >= items_.size())
      return false;
    item = items_[next_++];
    return true;
  }
  void rewind() override { next_ = 0; }

private:
  std::vector<FFileItem> items_;
  size_t next_ = 0;
};

} // namespace

FNFileSystem::FNFileSystem()
{
  instance_ = this;
}

FNFileSystem::~FNFileSystem()
{
  if (instance_ == this)
    instance_ = nullptr;
}

Ref<FStream> FNFileSystem::openStream(const FNPath& path, uint32_t mode)
{
  auto stream = make<FFileStream>();
  return stream->open(path.native(), mode) ? Ref<FStream>(std::move(stream)) : nullptr;
}

bool FNFileSystem::closeStream(Ref<FStream> stream)
{
  auto* file = castTo<FFileStream>(stream.get());
  return file && file->close();
}

bool FNFileSystem::exists(const FNPath& path) const
{
  std::error_code failure;
  return fs::exists(path.native(), failure);
}

bool FNFileSystem::mayExist(const FNPath& path) const
{
  std::error_code failure;
  return fs::status(path.native(), failure).type() != fs::file_type::not_found;
}

bool FNFileSystem::isFolder(const FNPath& path) const
{
  std::error_code failure;
  return fs::is_directory(path.native(), failure);
}

int64_t FNFileSystem::size(const FNPath& path) const
{
  std::error_code failure;
  const auto bytes = fs::file_size(path.native(), failure);
  return failure ? -1 : static_cast<int64_t>(bytes);
}

Ref<FFileIterator> FNFileSystem::newIterator(const FNPath& folder)
{
  return NativeIterator::open(folder.native());
}

FNPath FNFileSystem::behindLinks(const FNPath& path) const
{
  return orbi::behindLinks(path.native());
}

bool FNFileSystem::remove(const FNPath& path)
{
  std::error_code failure;
  return fs::remove(path.native(), failure);
}

bool FNFileSystem::rename(const FNPath& from, const FNPath& to)
{
  std::error_code failure;
  fs::rename(from.native(), to.native(), failure);
  return !failure;
}

bool FNFileSystem::makeFolder(const FNPath& path)
{
  std::error_code failure;
  fs::create_directories(path.native(), failure);
  return isFolder(path);
}

void FNFileSystem::takePermissions(const FNPath& from, const FNPath& to)
{
  std::error_code failure;
  const fs::file_status there = fs::status(from.native(), failure);
  if (fs::exists(there))
    fs::permissions(to.native(), there.permissions(), failure);
}

} // namespace orbi
