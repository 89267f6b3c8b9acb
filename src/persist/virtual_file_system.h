#pragma once

#include "foundation/file_type.h"
#include "persist/url.h"

#include <vector>

namespace orbi {

/// Makes a file system of a file of one type.
class FVfsHandler final : public CmClass<FVfsHandler, CmObject> {
public:
  static constexpr const char* className = "FVfsHandler";
  using Create = Ref<FFileSystem> (*)(const FNPath& path); ///< null when the file is none

  FVfsHandler(const FFileType& type, Create create) : type_(type), create_(create) {}

  const FFileType& type() const { return type_; }
  Ref<FFileSystem> createFileSystem(const FNPath& path) const { return create_(path); }

  // The list of all. Main thread.
  static void add(Ref<FVfsHandler> handler); ///< of a type that is there: instead of the former one
  static void remove(const FFileType& type);
  static const FVfsHandler* findFor(const FNPath& path); ///< by the extension, without case

private:
  static inline std::vector<Ref<FVfsHandler>> handlers_;

  FFileType type_;
  Create create_;
};

/// Walks a folder of a virtual file system by walking the one that lies beneath.
class FVFileIterator final : public CmClass<FVFileIterator, FFileIterator> {
public:
  static constexpr const char* className = "FVFileIterator";

  explicit FVFileIterator(Ref<FFileIterator> base) : base_(std::move(base)) {}
  bool next(FFileItem& item) override { return base_->next(item); }
  void rewind() override { base_->rewind(); }

private:
  Ref<FFileIterator> base_;
};

/// What lies in one place, by relative paths, whether that place is a folder or an archive. A
/// relative path is split at "/" and "\"; an absolute one is used as it stands.
class FVFileSystem final : public CmClass<FVFileSystem, FFileSystem> {
public:
  static constexpr const char* className = "FVFileSystem";
  enum class Mode : uint8_t { readOnly = 1, readWrite = 3 };

  /// A folder, or a file that a handler makes a file system of. What can't be changed is read-only
  /// whatever is asked for.
  explicit FVFileSystem(const FNPath& path, Mode mode = Mode::readWrite);
  bool isValid() const { return static_cast<bool>(base_); } ///< false: nothing can be found in it

  FFileSystem* base() const { return base_.get(); }
  Mode mode() const { return mode_; }
  FNPath absolutePath(const FNPath& path) const; ///< in the base
  Ref<FUrl> newUrl(const FNPath& path);          ///< null for what isn't there
  Ref<FFileIteratorUrlWrapper> newUrlIterator(const FNPath& folder);

  bool isReadOnly() const override { return mode_ == Mode::readOnly; }
  Ref<FStream> openStream(const FNPath& path, uint32_t mode) override;
  bool closeStream(Ref<FStream> stream) override;
  bool exists(const FNPath& path) const override;
  bool isFolder(const FNPath& path) const override;
  int64_t size(const FNPath& path) const override;
  Ref<FFileIterator> newIterator(const FNPath& folder) override;
  bool remove(const FNPath& path) override;
  bool rename(const FNPath& from, const FNPath& to) override;
  bool makeFolder(const FNPath& path) override;

private:
  bool mayChange() const { return base_ && !isReadOnly(); }

  Ref<FFileSystem> base_;
  FNPath folder_; ///< in the base; empty for an archive's root
  Mode mode_;
};

} // namespace orbi
