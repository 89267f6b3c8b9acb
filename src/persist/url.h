#pragma once

#include "persist/file_system.h"

namespace orbi {

/// Address of a file as text, such as "file:///home/me/a%20b.xml", together with the file system
/// that opens it. An address of a scheme that nobody here knows is kept and opens nothing.
class FUrl : public CmClass<FUrl, CmObject> {
public:
  static constexpr const char* className = "FUrl";

  FUrl() = default;
  explicit FUrl(std::string_view text);
  FUrl(FFileSystem* fileSystem, const FNPath& path); ///< of a file there; adds a reference

  const char* text() const { return text_.text(); } ///< percent-encoded
  std::string_view scheme() const;                  ///< without the colon, may be empty
  const FNPath& path() const { return path_; }      ///< decoded
  std::string_view name() const { return path_.name(); }

  Ref<FStream> openStream(uint32_t mode) const; ///< null for an unknown scheme as well
  bool exists() const;

  bool isEqual(const CmObject* other) const override; ///< same text, same file system
  bool read(FStream& stream) override;                ///< the text
  bool write(FStream& stream) const override;

private:
  FFileSystem* fileSystem() const;

  CmString text_;
  FNPath path_;
  Ref<FFileSystem> fileSystem_; ///< null: the native one, when the scheme is "file"
};

/// Presents a listing as addresses.
class FFileIteratorUrlWrapper final : public CmClass<FFileIteratorUrlWrapper, CmObject> {
public:
  static constexpr const char* className = "FFileIteratorUrlWrapper";

  /// The iterator walks that folder of that file system.
  FFileIteratorUrlWrapper(FFileSystem* fileSystem, const FNPath& folder,
                          Ref<FFileIterator> iterator);

  Ref<FUrl> next(); ///< null at the end
  void rewind();

private:
  Ref<FFileSystem> fileSystem_;
  FNPath folder_;
  Ref<FFileIterator> iterator_;
};

} // namespace orbi
