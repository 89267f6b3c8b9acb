#pragma once

#include "foundation/file_stream.h"
#include "foundation/ref.h"
#include "persist/path.h"

namespace orbi {

enum class FFileKind : uint8_t {
  file,
  folder,
  other ///< neither can be read as a file nor listed: a pipe, a device, a link that leads nowhere
};

/// What a listing tells about one entry of a folder.
struct FFileItem {
  CmString name;
  FFileKind kind = FFileKind::file;
  bool isLink = false; ///< kind and size are those of what it leads to
  int64_t bytes = 0;   ///< of a file
};

/// Walks the entries of one folder, without "." and "..".
class FFileIterator : public CmClass<FFileIterator, CmObject> {
public:
  static constexpr const char* className = "FFileIterator";

  virtual bool next(FFileItem& item) = 0; ///< false at the end, the item stays as it was
  virtual void rewind() = 0;
};

/// Files and folders by path: those of the operating system, of an archive, or of a folder among
/// them. Main thread. Failure is null, false or -1; nothing else changes then.
class FFileSystem : public CmClass<FFileSystem, CmObject> {
public:
  static constexpr const char* className = "FFileSystem";

  virtual bool isReadOnly() const { return false; } ///< whatever changes something will fail

  // Streams
  virtual Ref<FStream> openStream(const FNPath& path, uint32_t mode) = 0; ///< bits of OpenMode
  /// False when bytes that were written got lost. A stream whose last reference is just released
  /// is closed as well, but nobody hears of a failure.
  virtual bool closeStream(Ref<FStream> stream) = 0;

  // What there is
  virtual bool exists(const FNPath& path) const = 0;
  /// True as well when it can't be found out, as in a folder that may not be looked into.
  virtual bool mayExist(const FNPath& path) const { return exists(path); }
  virtual bool isFolder(const FNPath& path) const = 0;
  virtual int64_t size(const FNPath& path) const = 0; ///< bytes of a file
  virtual Ref<FFileIterator> newIterator(const FNPath& folder) = 0;
  virtual FNPath behindLinks(const FNPath& path) const { return path; } ///< maybe nothing is there

  // Changes
  virtual bool remove(const FNPath& path) = 0; ///< a file or an empty folder
  /// Takes the place of a file that has the new name.
  virtual bool rename(const FNPath& from, const FNPath& to) = 0;
  virtual bool makeFolder(const FNPath& path) = 0; ///< true when it is there afterwards
  virtual void takePermissions(const FNPath& /*from*/, const FNPath& /*to*/) {} ///< where it can
};

/// The files of the operating system.
class FNFileSystem final : public CmClass<FNFileSystem, FFileSystem> {
public:
  static constexpr const char* className = "FNFileSystem";

  FNFileSystem();
  ~FNFileSystem() override;
  FNFileSystem(const FNFileSystem&) = delete;

  static FNFileSystem* instance() { return instance_; }

  Ref<FStream> openStream(const FNPath& path, uint32_t mode) override; ///< an FFileStream
  bool closeStream(Ref<FStream> stream) override;
  bool exists(const FNPath& path) const override;
  bool mayExist(const FNPath& path) const override;
  bool isFolder(const FNPath& path) const override;
  int64_t size(const FNPath& path) const override;
  Ref<FFileIterator> newIterator(const FNPath& folder) override; ///< in the order of names
  FNPath behindLinks(const FNPath& path) const override;
  bool remove(const FNPath& path) override;
  bool rename(const FNPath& from, const FNPath& to) override;
  bool makeFolder(const FNPath& path) override; ///< with the folders above it
  void takePermissions(const FNPath& from, const FNPath& to) override;

private:
  static inline FNFileSystem* instance_ = nullptr;
};

} // namespace orbi
