#include "persist/resource_archive.h"

#include "foundation/buffer.h"
#include "foundation/class_registry.h"
#include "foundation/stream_proxy.h"
#include "persist/translator.h"
#include "persist/user_message.h"

#include <algorithm>
#include <cstring>

namespace orbi {

CM_REGISTER_ABSTRACT(FResourceEntry);
CM_REGISTER_ABSTRACT(FResourceArchive);

namespace {

constexpr FArchiveVariant builtInFormats[] = {
    {archiveMagic("QRFF"), 1, 1},
    {archiveMagic("QRF2"), 2, 1},
    {archiveMagic("QRF3"), 3, 1},
};

constexpr int64_t signatureBytes = FResourceArchive::signature.size();

} // namespace

struct FResourceArchive::Trailer {
  FKeyBlock keyBlock{};
  uint32_t directorySize = 0; ///< bytes
  uint32_t count = 0;         ///< of records, closing ones too
  uint32_t size = 0;          ///< of the trailer itself
  int64_t start = 0;          ///< where it begins in the file
};

/// Walks the bytes of a directory, of which there can be many.
class FResourceArchive::RecordReader {
public:
  explicit RecordReader(const FBuffer& bytes)
      : rest_(reinterpret_cast<const char*>(bytes.data()), bytes.used())
  {
  }

  bool readNumber(uint64_t& value, size_t width)
  {
    if (rest_.size() < width)
      return false;
    uint32_t narrow = 0;
    if (width == sizeof narrow)
      std::memcpy(&narrow, rest_.data(), width);
    else
      std::memcpy(&value, rest_.data(), width);
    value = width == sizeof narrow ? narrow : value;
    rest_.remove_prefix(width);
    return true;
  }

  /// By the rules of a stream's lines: a name may end in a line feed in place of the NUL, which
  /// stays part of it unless a carriage return stands before. False without an end in time.
  bool readName(std::string_view& name)
  {
    const std::string_view window = rest_.substr(0, longestName + 1);
    const size_t end = window.find_first_of(std::string_view("\0\n", 2));
    if (end == std::string_view::npos)
      return false;
    const bool isLine = window[end] == '\n';
    const bool isCut = isLine && end > 0 && window[end - 1] == '\r';
    name = window.substr(0, isCut ? end - 1 : isLine ? end + 1 : end);
    rest_.remove_prefix(end + 1);
    return true;
  }

private:
  std::string_view rest_;
};

FResourceArchive::FResourceArchive(const FNPath& path, FFileSystem* base) : CmClass(base, path) {}

// Formats

void FResourceArchive::removeVariant(uint32_t magic)
{
  std::erase_if(variants_, [magic](const auto& variant) { return variant.magic == magic; });
}

const FArchiveVariant* FResourceArchive::findFormat(uint32_t magic)
{
  for (const FArchiveVariant& format : builtInFormats)
    if (format.magic == magic)
      return &format;
  for (const FArchiveVariant& variant : variants_)
    if (variant.magic == magic)
      return variant.version != 0 ? &variant : nullptr;
  return nullptr;
}

const FArchiveVariant* FResourceArchive::chooseFormat(uint16_t version)
{
  for (const FArchiveVariant& variant : variants_)
    if (variant.version == version && variant.writable)
      return &variant;
  for (const FArchiveVariant& format : builtInFormats)
    if (format.version == version)
      return &format;
  return nullptr;
}

// Opening

bool FResourceArchive::open()
{
  close();
  stream_ = base_ ? base_->openStream(path_, openRead) : nullptr;
  if (!stream_)
    return false;
  stream_->setSwapsBytes(false);
  Trailer trailer;
  if (readSignature() && readTrailer(trailer) && readDirectory(trailer) &&
      applyKey(trailer.keyBlock))
    return true;
  close();
  return false;
}

/// By lines: one that ends in NUL is taken for the signature, too, one in a bare line feed isn't.
bool FResourceArchive::readSignature()
{
  constexpr int64_t longestLine = 254;
  char line[longestLine + 1];
  const int64_t length = stream_->readLine(line, longestLine);
  return std::string(line, static_cast<size_t>(length)) + "\r\n" == signature;
}

bool FResourceArchive::readTrailer(Trailer& trailer)
{
  constexpr int64_t plainTrailer = 16;
  constexpr int64_t keyedTrailer = plainTrailer + static_cast<int64_t>(sizeof(FKeyBlock));
  const int64_t end = stream_->seek(0, SeekMode::end);
  if (end < signatureBytes + plainTrailer)
    return false;
  uint32_t magic = 0;
  stream_->seek(end - static_cast<int64_t>(sizeof magic), SeekMode::start);
  stream_->readUint32(magic);
  const FArchiveVariant* format = findFormat(magic);
  if (!format)
    return false;
  version_ = format->version;
  trailer.start = end - (version_ >= 2 ? keyedTrailer : plainTrailer);
  if (trailer.start < signatureBytes)
    return false;
  stream_->seek(trailer.start, SeekMode::start);
  if (version_ >= 2 && !stream_->readArray(trailer.keyBlock.data(), sizeof(FKeyBlock)))
    return false;
  return stream_->readUint32(trailer.directorySize) && stream_->readUint32(trailer.count) &&
         stream_->readUint32(trailer.size) &&
         trailer.directorySize <= trailer.start - signatureBytes;
}

/// The directory lies open; what goes through the key is the files.
bool FResourceArchive::applyKey(const FKeyBlock& block)
{
  const bool isZero = std::all_of(block.begin(), block.end(), [](uint8_t byte) { return !byte; });
  if (version_ < 2 || (version_ >= 3 && isZero)) {
    key_ = nullptr;
    return true;
  }
  if (!key_ || !key_->fits(block))
    key_ = FEncryptionKey::findFor(block);
  if (key_)
    stream_ = key_->openStream(stream_.get(), block);
  else
    FUserMessage::tell(UTranslator::text(noKeyText));
  return static_cast<bool>(stream_) && key_;
}

bool FResourceArchive::readDirectory(const Trailer& trailer)
{
  dataEnd_ = static_cast<uint64_t>(trailer.start - trailer.directorySize);
  stream_->seek(static_cast<int64_t>(dataEnd_), SeekMode::start);
  FBuffer bytes;
  if (!stream_->readBytes(bytes, trailer.directorySize))
    return false;
  RecordReader directory(bytes);
  readRecords(directory, trailer.count);
  return true;
}

/// Ends with the count or with the directory. The root's own record comes first and may be missing.
void FResourceArchive::readRecords(RecordReader& directory, uint32_t count)
{
  root_ = make<FResourceEntry>("", FResourceEntry::folder);
  FFileArchiveNode* folder = root_.get();
  for (uint32_t i = 0; i < count; ++i) {
    Ref<FResourceEntry> entry = readRecord(directory);
    if (!entry)
      return;
    FResourceEntry* added = entry.get();
    if (entry->name() == archiveClosingName) {
      folder = folder->parent() ? folder->parent() : folder;
    } else if (i > 0 || !entry->isFolder() || !entry->name().isEmpty()) {
      folder->addChild(std::move(entry));
      folder = added->isFolder() ? added : folder;
    }
  }
}

/// Null for a record that is cut short, or whose name doesn't end in time.
Ref<FResourceEntry> FResourceArchive::readRecord(RecordReader& directory) const
{
  const size_t width = version_ >= 3 ? sizeof(uint64_t) : sizeof(uint32_t);
  uint64_t flags = 0, offset = 0, size = 0, storedSize = 0;
  std::string_view name;
  if (!directory.readNumber(flags, sizeof(uint32_t)) || !directory.readNumber(offset, width) ||
      !directory.readNumber(size, width) ||
      ((flags & FResourceEntry::compressed) && !directory.readNumber(storedSize, width)) ||
      !directory.readName(name))
    return nullptr;
  auto entry = make<FResourceEntry>(name, static_cast<uint32_t>(flags));
  entry->offset = offset;
  entry->size = size;
  entry->storedSize = storedSize;
  return entry;
}

bool FResourceArchive::isSound() const
{
  struct Piece {
    uint64_t offset, bytes;
  };
  std::vector<Piece> pieces;
  for (const FFileArchiveNode* node = root_.get(); node; node = node->nextBelow(root_.get())) {
    auto* entry = static_cast<const FResourceEntry*>(node);
    const uint64_t bytes = entry->isFolder() || entry->source ? 0 : entry->bytesInArchive();
    if (bytes > dataEnd_)
      return false;
    if (bytes > 0)
      pieces.push_back({entry->offset, bytes});
  }
  std::ranges::sort(pieces, {}, &Piece::offset);
  auto end = static_cast<uint64_t>(signatureBytes);
  for (const Piece& piece : pieces) {
    if (piece.offset < end || piece.offset > dataEnd_ - piece.bytes)
      return false;
    end = piece.offset + piece.bytes;
  }
  return root_ != nullptr;
}

// Entries

Ref<FStream> FResourceArchive::openEntry(const FFileArchiveNode& file)
{
  auto& entry = static_cast<const FResourceEntry&>(file);
  if (entry.source)
    return entry.source->fileSystem->openStream(entry.source->path, openRead);
  if (!stream_)
    return nullptr;
  if (entry.isCompressed() && !engine_) {
    FUserMessage::tell(UTranslator::text(noCompressionText));
    return nullptr;
  }
  const uint64_t offset = std::min(entry.offset, dataEnd_);
  const auto bytes = static_cast<int64_t>(std::min(entry.bytesInArchive(), dataEnd_ - offset));
  // A window of no length reaches to the end of what lies behind it, which had better be nothing.
  const auto nothing = make<FMemoryStream>(nullptr, 0);
  FStream* data = bytes > 0 ? stream_.get() : nothing.get();
  Ref<FStream> window =
      make<FStreamProxy>(data, bytes > 0 ? static_cast<int64_t>(offset) : 0, bytes);
  if (!entry.isCompressed())
    return window;
  return make<FCompressionStream>(std::move(window), engine_, entry.bytes());
}

// Changing the tree

FResourceEntry* FResourceArchive::requireRoot()
{
  if (!root_)
    root_ = make<FResourceEntry>("", FResourceEntry::folder);
  return static_cast<FResourceEntry*>(root_.get());
}

FResourceEntry* FResourceArchive::addFolder(const FNPath& path)
{
  FFileArchiveNode* folder = requireRoot();
  for (std::string_view part : splitPath(path.view())) {
    FFileArchiveNode* child = folder->findChild(part);
    if (!child) {
      auto made = make<FResourceEntry>(part, FResourceEntry::folder);
      child = made.get();
      folder->addChild(std::move(made));
    }
    if (!child->isFolder())
      return nullptr;
    folder = child;
  }
  return static_cast<FResourceEntry*>(folder);
}

FResourceEntry* FResourceArchive::addFile(const FNPath& path, FFileSystem* fileSystem,
                                          const FNPath& source, bool compress)
{
  FResourceEntry* folder = fileSystem ? addFolder(path.parent()) : nullptr;
  if (!folder || path.name().empty() || folder->findChild(path.name()))
    return nullptr;
  const uint32_t flags = FResourceEntry::file | (compress ? FResourceEntry::compressed : 0u);
  auto entry = make<FResourceEntry>(path.name(), flags);
  entry->source = std::make_unique<FResourceEntry::Source>();
  entry->source->fileSystem = Ref<FFileSystem>::share(fileSystem);
  entry->source->path = source;
  FResourceEntry* added = entry.get();
  folder->addChild(std::move(entry));
  return added;
}

bool FResourceArchive::removeEntry(const FNPath& path)
{
  FFileArchiveNode* node = find(path);
  return node && node->parent() && node->parent()->removeChild(node);
}

} // namespace orbi
