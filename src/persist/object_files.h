#pragma once

#include "foundation/attributes.h"
#include "foundation/text_buffer_pool.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace orbi {

class FFileSystem;
class FMemoryStream;

/// Asks the user before a file is replaced.
class FReplaceQuestion {
public:
  static constexpr const char* replaceButton = "Replace"; ///< keys of the translation
  static constexpr const char* cancelButton = "Cancel";

  bool ask(const std::string& name);                        ///< about a file of this name
  virtual bool mayReplace(const std::string& question) = 0; ///< translated already

protected:
  ~FReplaceQuestion() = default;
};

/// The user's object files: settings, layouts, key commands. They are read from the settings folder
/// and, where the user has none of their own, from the folders delivered with the program; they are
/// written to the settings folder, so that at any moment a whole file lies there, the new one or
/// the old one. Main thread.
class FObjectFiles {
public:
  struct Folders {
    std::filesystem::path settings; ///< made when it is needed; empty: nothing is kept
    std::vector<std::filesystem::path> delivered;
  };
  enum class Loaded { yes, absent, unreadable };

  /// Borrows the file system.
  FObjectFiles(Folders folders, FFileSystem& files) : folders_(std::move(folders)), files_(files) {}

  // Names have no extension.

  /// With a question, an existing file is replaced only by its leave. Answers where the file lies
  /// now; nothing when it wasn't written, and then what was there stays.
  std::optional<std::filesystem::path> save(const char* name, const char* rootTag,
                                            const CmObject& object,
                                            FReplaceQuestion* question = nullptr);
  std::optional<std::filesystem::path> saveAttributes(const char* name, const char* rootTag,
                                                      FAttributes& attributes,
                                                      FReplaceQuestion* question = nullptr);

  /// Hands the tree to the object's loadAttributes. A file that can't be read leaves the object as
  /// it was, and is kept under "_bad" when the name is saved.
  Loaded load(const char* name, const char* rootTag, CmObject& object);
  Loaded loadAttributes(const char* name, const char* rootTag, FAttributes& target);

  const std::string& error() const { return error_; } ///< of the last file that failed, one line

private:
  template <class Write>
  std::optional<std::filesystem::path> replace(const char* name, const char* rootTag,
                                               FReplaceQuestion* question, Write write);
  bool writeNew(const std::filesystem::path& path, const FMemoryStream& text);
  bool putInPlace(const std::string& name, const std::filesystem::path& written);
  std::filesystem::path pathOf(const std::string& name) const;
  std::optional<std::filesystem::path> find(const std::string& name) const;
  bool exists(const std::filesystem::path& path) const;
  bool hasLeftovers(const std::string& name) const;
  bool fail(const std::filesystem::path& path, const std::string& reason);

  Folders folders_;
  FFileSystem& files_;
  TextBufferPool pool_;
  std::map<std::string, std::filesystem::path>
      unreadable_; ///< by name: the user's file that is none
  std::string error_;
};

} // namespace orbi
