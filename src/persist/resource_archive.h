#pragma once

#include "persist/file_archive.h"

#include <array>
#include <bit>

namespace orbi {

/// A file or folder of a resource archive.
class FResourceEntry final : public CmClass<FResourceEntry, FFileArchiveNode> {
public:
  static constexpr const char* className = "FResourceEntry";
  enum Flag : uint32_t { file = 1, folder = 2, compressed = 4 };

  /// Where an entry's contents come from when they don't stand in the archive yet.
  struct Source {
    Ref<FFileSystem> fileSystem;
    FNPath path;
  };

  FResourceEntry(std::string_view name, uint32_t flags) : CmClass(name), flags(flags) {}

  bool isFolder() const override { return (flags & folder) != 0; }
  int64_t bytes() const override { return static_cast<int64_t>(size); }
  bool isCompressed() const { return (flags & compressed) != 0; }
  uint64_t bytesInArchive() const { return isCompressed() ? storedSize : size; }

  uint32_t flags;
  uint64_t offset = 0; ///< from the start of the archive's file
  uint64_t size = 0;
  uint64_t storedSize = 0; ///< with the flag compressed alone
  std::unique_ptr<Source> source;
};

/// Another format of the same build, known by the last four bytes of the file.
struct FArchiveVariant {
  uint32_t magic;   ///< the four bytes, in the machine's order
  uint16_t version; ///< from 2 a key block, from 3 64-bit numbers; 0 can't be read
  uint8_t writable; ///< not 0: the writer takes it for its version
};

/// The four bytes as they stand in the file.
constexpr uint32_t archiveMagic(const char (&bytes)[5])
{
  return std::bit_cast<uint32_t>(std::array<char, 4>{bytes[0], bytes[1], bytes[2], bytes[3]});
}

inline constexpr std::string_view archiveClosingName = ".."; ///< of the record that ends a folder

/// Hears of each file that is put into an archive.
class FArchiveProgress {
public:
  virtual ~FArchiveProgress() = default;
  virtual bool report(const char* text) = 0; ///< "Adding File: " and its name; false stops
};

/// How an operation on archives ended.
struct FArchiveResult {
  bool done = true;
  std::string reason = {}; ///< for the user, when it isn't done
  explicit operator bool() const { return done; }
  static FArchiveResult failed(std::string reason) { return {false, std::move(reason)}; }
};

/// The archive in which a skin lies with all its pictures: signature, the files one after the
/// other, a directory of the tree, and a trailer that tells where the directory begins.
class FResourceArchive final : public CmClass<FResourceArchive, FFileArchive> {
public:
  static constexpr const char* className = "FResourceArchive";
  static constexpr std::string_view signature = "Quillmore Resource File\r\n";
  static constexpr size_t longestName = 255; ///< bytes
  static constexpr const char* noCompressionText =
      "Resource File Error: Compression not supported!";
  static constexpr const char* noKeyText = "The archive is locked and none of the keys fits!";

  /// Closed and empty. Takes the native file system unless another one is given.
  explicit FResourceArchive(const FNPath& path, FFileSystem* base = FNFileSystem::instance());

  bool open() override;

  /// Whether everything that the directory tells lies within the file, no byte of it twice.
  bool isSound() const;

  // What is to be written next. The tree of an open archive can be changed as well.
  FResourceEntry* addFolder(const FNPath& path); ///< with those above it; null where a file stands
  /// Null when the name is taken. The source is read when the archive is written.
  FResourceEntry* addFile(const FNPath& path, FFileSystem* fileSystem, const FNPath& source,
                          bool compress = false);
  bool removeEntry(const FNPath& path); ///< with all that is in it

  /// Into the archive's own file, which is opened again, or into another one. The new file is made
  /// under the name with a "~" behind it, and a number where that is taken; what had the name stays
  /// whole until the new one is. A link leads to the file that is replaced.
  FArchiveResult save(FArchiveProgress* progress = nullptr);
  FArchiveResult saveAs(const FNPath& target, FArchiveProgress* progress = nullptr);

  // Formats, for the whole program
  static void setDefaultVersion(uint16_t version) { defaultVersion_ = version; }
  static uint16_t defaultVersion() { return defaultVersion_; }
  static void addVariant(const FArchiveVariant& variant) { variants_.push_back(variant); }
  static void removeVariant(uint32_t magic);
  static const FArchiveVariant* findFormat(uint32_t magic);     ///< for reading; or null
  static const FArchiveVariant* chooseFormat(uint16_t version); ///< for writing; or null

protected:
  Ref<FStream> openEntry(const FFileArchiveNode& file) override;

private:
  struct Trailer;
  class RecordReader;
  class Writer;

  bool readSignature();
  bool readTrailer(Trailer& trailer);
  bool applyKey(const FKeyBlock& block);
  bool readDirectory(const Trailer& trailer);
  void readRecords(RecordReader& directory, uint32_t count);
  Ref<FResourceEntry> readRecord(RecordReader& directory) const;
  FResourceEntry* requireRoot();
  FArchiveResult writeFile(const FNPath& target, FArchiveProgress* progress);
  Ref<FStream> openBeside(const FNPath& target, FNPath& beside);
  bool replaceFile(const FNPath& temporary, const FNPath& target);
  FArchiveResult writeNode(Writer& writer, const FFileArchiveNode& node,
                           FArchiveProgress* progress);
  FArchiveResult writeTo(FStream& file, const FArchiveVariant& format, FArchiveProgress* progress);

  static inline uint16_t defaultVersion_ = 1;
  static inline std::vector<FArchiveVariant> variants_;

  uint64_t dataEnd_ = 0; ///< where the directory begins
};

/// Why a name can't stand in a folder of an archive, or be made a file of; null when it can.
const char* archiveNameFault(std::string_view name);

} // namespace orbi
