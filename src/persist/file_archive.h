#pragma once

#include "foundation/intrusive_list.h"
#include "persist/compression.h"
#include "persist/encryption_key.h"
#include "persist/file_system.h"

#include <memory>
#include <unordered_map>

namespace orbi {

/// A file or folder in an archive's tree. A folder owns its children, however deep they go.
class FFileArchiveNode : public CmClass<FFileArchiveNode, CmILink> {
public:
  static constexpr const char* className = "FFileArchiveNode";

  explicit FFileArchiveNode(std::string_view name = {}) : name_(name) {}
  FFileArchiveNode(const FFileArchiveNode&) = delete;
  ~FFileArchiveNode() override;

  const CmString& name() const { return name_; }
  virtual bool isFolder() const = 0;
  virtual int64_t bytes() const { return 0; } ///< of a file's contents

  // The tree; everybody is borrowed
  FFileArchiveNode* parent() const { return parent_; } ///< null for the root
  FFileArchiveNode* nextSibling() const { return static_cast<FFileArchiveNode*>(next()); }
  FFileArchiveNode* firstChild() const;
  FFileArchiveNode* findChild(std::string_view name) const; ///< the first of that name
  bool addChild(Ref<FFileArchiveNode> child); ///< at the end; false unless it stands nowhere yet
  bool removeChild(FFileArchiveNode* child);
  /// The next one of the tree in the order of an archive: children before siblings. Null behind the
  /// last one below root.
  FFileArchiveNode* nextBelow(const FFileArchiveNode* root) const;

private:
  struct Children {
    CmILinkedList list{CmOwnership::adopts};
    std::unordered_map<std::string_view, FFileArchiveNode*> byName; ///< by their own names
  };

  CmString name_;
  FFileArchiveNode* parent_ = nullptr;
  std::unique_ptr<Children> children_; ///< null before the first one
};

/// Walks the children of one node, which it keeps. The tree doesn't change meanwhile.
class FFileArchiveIterator final : public CmClass<FFileArchiveIterator, FFileIterator> {
public:
  static constexpr const char* className = "FFileArchiveIterator";

  explicit FFileArchiveIterator(FFileArchiveNode* folder);
  bool next(FFileItem& item) override;
  void rewind() override { next_ = folder_->firstChild(); }

private:
  Ref<FFileArchiveNode> folder_;
  FFileArchiveNode* next_;
};

/// Many files in one. Its entries are read through the file system's operations, many at once but
/// all on one thread, since they share the file's stream. Paths start at the root, with "/" or "\"
/// between the parts; a leading one changes nothing.
class FFileArchive : public CmClass<FFileArchive, FFileSystem> {
public:
  static constexpr const char* className = "FFileArchive";

  FFileArchive(FFileSystem* base, const FNPath& path); ///< keeps a reference to the base
  ~FFileArchive() override;

  virtual bool open() = 0; ///< closes first; false leaves it closed
  void close();            ///< entries that are still open can be read on
  bool isOpen() const { return static_cast<bool>(stream_); }

  const FNPath& path() const { return path_; }
  uint16_t version() const { return version_; } ///< of the format that was read
  int32_t openEntries() const;
  FFileArchiveNode* root() const { return root_.get(); } ///< null: closed, nothing added
  FFileArchiveNode* find(const FNPath& path) const;      ///< the root for an empty path

  FEncryptionKey* key() const { return key_.get(); } ///< the one that fitted, or is to be used
  /// For what is written from then on; opening forgets one that doesn't fit.
  void setKey(Ref<FEncryptionKey> key) { key_ = std::move(key); }
  /// For compressed entries; at first the one that was registered when the archive was made.
  void setCompressionEngine(Ref<FCompressionEngine> engine) { engine_ = std::move(engine); }

  bool isReadOnly() const override { return true; }
  Ref<FStream> openStream(const FNPath& path, uint32_t mode) override; ///< of an entry, to read
  bool closeStream(Ref<FStream> stream) override { return static_cast<bool>(stream); }
  bool exists(const FNPath& path) const override { return find(path) != nullptr; }
  bool isFolder(const FNPath& path) const override;
  int64_t size(const FNPath& path) const override;
  Ref<FFileIterator> newIterator(const FNPath& folder) override;
  bool remove(const FNPath&) override { return false; }
  bool rename(const FNPath&, const FNPath&) override { return false; }
  bool makeFolder(const FNPath&) override { return false; }

protected:
  virtual Ref<FStream> openEntry(const FFileArchiveNode& file) = 0;

  Ref<FFileSystem> base_;
  FNPath path_;
  Ref<FStream> stream_; ///< the archive's file, deciphered; each open entry keeps a reference
  Ref<FFileArchiveNode> root_;
  uint16_t version_ = 0;
  Ref<FEncryptionKey> key_;
  Ref<FCompressionEngine> engine_;
};

} // namespace orbi
