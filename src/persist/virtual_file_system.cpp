#include "persist/virtual_file_system.h"

#include "foundation/class_registry.h"
#include "foundation/startup_records.h"
#include "persist/file_types.h"
#include "persist/resource_archive.h"

namespace orbi {

CM_REGISTER_ABSTRACT(FVfsHandler);
CM_REGISTER_ABSTRACT(FVFileIterator);
CM_REGISTER_ABSTRACT(FVFileSystem);

namespace {

Ref<FFileSystem> openResourceArchive(const FNPath& path)
{
  auto archive = make<FResourceArchive>(path);
  return archive->open() ? Ref<FFileSystem>(std::move(archive)) : nullptr;
}

bool registerResourceArchive()
{
  FVfsHandler::add(make<FVfsHandler>(resourceFileType(), openResourceArchive));
  return true;
}

const FPreInitializer initializer(registerResourceArchive, "FResourceArchive", 0);

} // namespace

// Handlers

void FVfsHandler::add(Ref<FVfsHandler> handler)
{
  remove(handler->type());
  handlers_.push_back(std::move(handler));
}

void FVfsHandler::remove(const FFileType& type)
{
  std::erase_if(handlers_, [&](const auto& handler) { return handler->type_.isEqual(&type); });
}

const FVfsHandler* FVfsHandler::findFor(const FNPath& path)
{
  const CmString extension(path.extension());
  for (const auto& handler : handlers_)
    if (handler->type_.extension.compare(extension.text(), TextCompare::ignoreCase) == 0)
      return handler.get();
  return nullptr;
}

// File system

FVFileSystem::FVFileSystem(const FNPath& path, Mode mode) : mode_(mode)
{
  FNFileSystem* native = FNFileSystem::instance();
  if (native && native->isFolder(path)) {
    base_ = Ref<FFileSystem>::share(native);
    folder_ = path;
  } else if (const FVfsHandler* handler = FVfsHandler::findFor(path)) {
    base_ = handler->createFileSystem(path);
  }
  if (base_ && base_->isReadOnly())
    mode_ = Mode::readOnly;
}

FNPath FVFileSystem::absolutePath(const FNPath& path) const
{
  if (path.isAbsolute())
    return path;
  FNPath absolute = folder_;
  absolute.append(path.view());
  return absolute;
}

Ref<FUrl> FVFileSystem::newUrl(const FNPath& path)
{
  return exists(path) ? make<FUrl>(base_.get(), absolutePath(path)) : nullptr;
}

Ref<FFileIteratorUrlWrapper> FVFileSystem::newUrlIterator(const FNPath& folder)
{
  Ref<FFileIterator> iterator = newIterator(folder);
  if (!iterator)
    return nullptr;
  return make<FFileIteratorUrlWrapper>(base_.get(), absolutePath(folder), std::move(iterator));
}

Ref<FStream> FVFileSystem::openStream(const FNPath& path, uint32_t mode)
{
  const bool writes = (mode & (openWrite | openAppend)) != 0;
  return base_ && (!writes || mayChange()) ? base_->openStream(absolutePath(path), mode) : nullptr;
}

bool FVFileSystem::closeStream(Ref<FStream> stream)
{
  return base_ && base_->closeStream(std::move(stream));
}

bool FVFileSystem::exists(const FNPath& path) const
{
  return base_ && base_->exists(absolutePath(path));
}

bool FVFileSystem::isFolder(const FNPath& path) const
{
  return base_ && base_->isFolder(absolutePath(path));
}

int64_t FVFileSystem::size(const FNPath& path) const
{
  return base_ ? base_->size(absolutePath(path)) : -1;
}

Ref<FFileIterator> FVFileSystem::newIterator(const FNPath& folder)
{
  Ref<FFileIterator> iterator = base_ ? base_->newIterator(absolutePath(folder)) : nullptr;
  if (!iterator)
    return nullptr;
  return make<FVFileIterator>(std::move(iterator));
}

bool FVFileSystem::remove(const FNPath& path)
{
  return mayChange() && base_->remove(absolutePath(path));
}

bool FVFileSystem::rename(const FNPath& from, const FNPath& to)
{
  return mayChange() && base_->rename(absolutePath(from), absolutePath(to));
}

bool FVFileSystem::makeFolder(const FNPath& path)
{
  return mayChange() && base_->makeFolder(absolutePath(path));
}

} // namespace orbi
