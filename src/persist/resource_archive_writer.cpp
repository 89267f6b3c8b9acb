#include "persist/resource_archive.h"
#include "persist/stream_copy.h"
#include "persist/translator.h"
#include "persist/user_message.h"

#include <algorithm>

namespace orbi {

namespace {

constexpr const char* writeFailed = "The archive can't be written completely.";

std::string about(std::string_view name, std::string_view what)
{
  return "\"" + std::string(name) + "\" " + std::string(what);
}

/// Whether the user lets the next file go in.
bool mayAdd(FArchiveProgress* progress, const FFileArchiveNode& file)
{
  return !progress || progress->report((std::string("Adding File: ") + file.name().text()).c_str());
}

} // namespace

/// Writes the parts of one archive, in the order of the file.
class FResourceArchive::Writer {
public:
  Writer(FStream& file, const FArchiveVariant& format, FEncryptionKey* key,
         FCompressionEngine* engine)
      : file_(file), format_(format), engine_(engine), data_(Ref<FStream>::share(&file))
  {
    if (!key || format.version < 2)
      return;
    keyBlock_ = key->newBlock();
    data_ = key->openStream(&file, keyBlock_);
  }

  bool writeSignature()
  {
    return data_ && file_.writeString(FResourceArchive::signature.data(), false);
  }

  FArchiveResult addRoot() { return addRecord("", FResourceEntry::folder, {}); }
  FArchiveResult addFolder(std::string_view name)
  {
    return addRecord(name, FResourceEntry::folder, {});
  }
  FArchiveResult closeFolder() { return addRecord(archiveClosingName, FResourceEntry::file, {}); }
  FArchiveResult addFile(const FResourceEntry& entry, FStream& source);

  FArchiveResult finish();

private:
  struct Place {
    uint64_t offset = 0, size = 0, storedSize = 0;
  };

  FArchiveResult addRecord(std::string_view name, uint32_t flags, const Place& place);
  bool writeNumber(uint64_t number);
  bool copyPlain(FStream& source, Place& place);
  bool copyPacked(FStream& source, Place& place, bool& packed);

  FStream& file_;
  const FArchiveVariant& format_;
  FCompressionEngine* engine_;
  Ref<FStream> data_; ///< the file, or the file through the key
  FKeyBlock keyBlock_{};
  FMemoryStream directory_;
  uint32_t count_ = 0;
};

bool FResourceArchive::Writer::writeNumber(uint64_t number)
{
  if (format_.version >= 3)
    return directory_.writeUint64(number);
  return number <= UINT32_MAX && directory_.writeUint32(static_cast<uint32_t>(number));
}

FArchiveResult FResourceArchive::Writer::addRecord(std::string_view name, uint32_t flags,
                                                   const Place& place)
{
  const bool written = directory_.writeUint32(flags) && writeNumber(place.offset) &&
                       writeNumber(place.size) &&
                       (!(flags & FResourceEntry::compressed) || writeNumber(place.storedSize)) &&
                       directory_.writeString(std::string(name).c_str(), true);
  ++count_;
  if (!written)
    return FArchiveResult::failed(about(name, "lies beyond what this version can tell."));
  return {};
}

bool FResourceArchive::Writer::copyPlain(FStream& source, Place& place)
{
  source.rewind();
  const std::optional<int64_t> copied = copyRest(source, *data_);
  place.size = static_cast<uint64_t>(copied.value_or(0));
  return copied.has_value();
}

/// What doesn't become smaller stays plain: the flag says that the two sizes differ.
bool FResourceArchive::Writer::copyPacked(FStream& source, Place& place, bool& packed)
{
  FMemoryStream stored;
  source.rewind();
  if (!engine_->compress(source, stored))
    return false;
  place.size = static_cast<uint64_t>(std::max<int64_t>(source.tell(), 0));
  place.storedSize = static_cast<uint64_t>(stored.size());
  packed = place.storedSize < place.size;
  if (packed)
    return data_->write(stored.data(), stored.size()) == stored.size();
  place.storedSize = 0;
  return copyPlain(source, place);
}

FArchiveResult FResourceArchive::Writer::addFile(const FResourceEntry& entry, FStream& source)
{
  const std::string_view name = entry.name().view();
  if (entry.isCompressed() && !engine_) {
    FUserMessage::tell(UTranslator::text(FResourceArchive::noCompressionText));
    return FArchiveResult::failed(FResourceArchive::noCompressionText);
  }
  Place place;
  place.offset = static_cast<uint64_t>(std::max<int64_t>(data_->tell(), 0));
  bool packed = false;
  bool copied = entry.isCompressed() ? copyPacked(source, place, packed) : copyPlain(source, place);
  copied = copied && (entry.source || place.size == entry.size);
  if (!copied)
    return FArchiveResult::failed(about(name, "can't be copied into the archive."));
  return addRecord(name, FResourceEntry::file | (packed ? FResourceEntry::compressed : 0u), place);
}

FArchiveResult FResourceArchive::Writer::finish()
{
  const auto trailerSize =
      static_cast<uint32_t>(16 + (format_.version >= 2 ? keyBlock_.size() : 0));
  const bool written =
      data_->flush() && file_.seek(0, SeekMode::end) >= 0 && directory_.isValid() &&
      directory_.size() <= UINT32_MAX &&
      file_.write(directory_.data(), directory_.size()) == directory_.size() &&
      (format_.version < 2 || file_.writeArray(keyBlock_.data(), sizeof(FKeyBlock))) &&
      file_.writeUint32(static_cast<uint32_t>(directory_.size())) && file_.writeUint32(count_) &&
      file_.writeUint32(trailerSize) && file_.writeUint32(format_.magic) && file_.flush();
  return written ? FArchiveResult() : FArchiveResult::failed(writeFailed);
}

const char* archiveNameFault(std::string_view name)
{
  if (name.empty())
    return "has no name.";
  if (name == "." || name == archiveClosingName)
    return "stands for another folder.";
  if (name.find_first_of(FNPath::separators) != std::string_view::npos)
    return "holds a separator of folders.";
  if (FNPath(name).native().has_root_path())
    return "is a place of its own.";
  if (name.find_first_of(std::string_view("\n\0", 2)) != std::string_view::npos)
    return "holds the end of a line.";
  return name.size() > FResourceArchive::longestName ? "is longer than 255 bytes." : nullptr;
}

// The archive

FArchiveResult FResourceArchive::save(FArchiveProgress* progress)
{
  if (openEntries() > 0)
    return FArchiveResult::failed("Files of the archive are still open.");
  const FArchiveResult result = writeFile(path_, progress);
  if (result && !open())
    return FArchiveResult::failed("The archive can't be read back.");
  return result;
}

FArchiveResult FResourceArchive::saveAs(const FNPath& target, FArchiveProgress* progress)
{
  return target == path_ ? save(progress) : writeFile(target, progress);
}

FArchiveResult FResourceArchive::writeFile(const FNPath& target, FArchiveProgress* progress)
{
  if (!root_)
    return FArchiveResult::failed("Nothing was put into the archive.");
  const uint16_t version = defaultVersion_ >= 3 ? defaultVersion_ : key_ ? 2 : 1;
  const FArchiveVariant* format = chooseFormat(version);
  if (!format)
    return FArchiveResult::failed("No format of version " + std::to_string(version) +
                                  " can be written.");
  if (stream_ && !isSound())
    return FArchiveResult::failed(about(path_.view(), "is damaged."));
  const FNPath file = base_ ? base_->behindLinks(target) : target;
  FNPath temporary;
  Ref<FStream> stream = openBeside(file, temporary);
  if (!stream)
    return FArchiveResult::failed(about(target.view(), "can't be written."));
  FArchiveResult result = writeTo(*stream, *format, progress);
  if (!base_->closeStream(std::move(stream)) && result)
    result = FArchiveResult::failed(writeFailed);
  if (result && !replaceFile(temporary, file))
    result = FArchiveResult::failed(about(target.view(), "can't be replaced."));
  if (!result)
    base_->remove(temporary);
  return result;
}

/// Null as well where what is there may not be written: it may not be replaced either.
Ref<FStream> FResourceArchive::openBeside(const FNPath& target, FNPath& beside)
{
  constexpr int mostNames = 100; // of files that are the user's own or that others write now
  if (!base_ || (base_->mayExist(target) && !base_->openStream(target, openWrite)))
    return nullptr;
  for (int i = 0; i < mostNames; ++i) {
    beside = target.view() + "~" + (i > 0 ? std::to_string(i) : std::string());
    if (Ref<FStream> stream = base_->openStream(beside, openWrite | openNew)) {
      base_->takePermissions(target, beside);
      return stream;
    }
    if (!base_->exists(beside))
      break;
  }
  return nullptr;
}

/// A file that is open can't be replaced everywhere, so the archive's own is closed meanwhile. What
/// was changed in the tree outlives a failure.
bool FResourceArchive::replaceFile(const FNPath& temporary, const FNPath& target)
{
  const bool wasOpen = isOpen() && target == base_->behindLinks(path_);
  if (wasOpen)
    stream_ = nullptr;
  if (base_->rename(temporary, target))
    return true;
  Ref<FFileArchiveNode> tree = root_;
  if (wasOpen && open())
    root_ = std::move(tree);
  return false;
}

FArchiveResult FResourceArchive::writeNode(Writer& writer, const FFileArchiveNode& node,
                                           FArchiveProgress* progress)
{
  const std::string_view name = node.name().view();
  if (const char* fault = archiveNameFault(name))
    return FArchiveResult::failed(about(name, fault));
  if (node.isFolder())
    return writer.addFolder(name);
  if (!mayAdd(progress, node))
    return FArchiveResult::failed("Stopped.");
  Ref<FStream> source = openEntry(node);
  if (!source)
    return FArchiveResult::failed(about(name, "can't be read."));
  return writer.addFile(static_cast<const FResourceEntry&>(node), *source);
}

/// Records stand in the order of the tree; a folder's end is told by the node that comes after it.
FArchiveResult FResourceArchive::writeTo(FStream& file, const FArchiveVariant& format,
                                         FArchiveProgress* progress)
{
  file.setSwapsBytes(false);
  Writer writer(file, format, key_.get(), engine_.get());
  if (!writer.writeSignature())
    return FArchiveResult::failed(writeFailed);
  const FFileArchiveNode* root = root_.get();
  const FFileArchiveNode* open = root; // the folder whose children are being told
  FArchiveResult result = writer.addRoot();
  for (const FFileArchiveNode* node = root->nextBelow(root); node && result;
       node = node->nextBelow(root)) {
    for (; open != node->parent() && result; open = open->parent())
      result = writer.closeFolder();
    if (result)
      result = writeNode(writer, *node, progress);
    if (node->isFolder())
      open = node;
  }
  for (; open && result; open = open->parent())
    result = writer.closeFolder();
  return result ? writer.finish() : result;
}

} // namespace orbi
