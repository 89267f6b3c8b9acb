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

  /// With a question, an existing file is replaced only by its leave; one that may not be written
  /// isn't, and a link leads to the file that is. Answers where the file lies now; nothing when it
  /// wasn't written, and then what was there stays. A text that is too long for such a file is left
  /// out, and error() says so.
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

  /// Of the last file that failed, one line; of a save that left nothing out it is empty.
  const std::string& error() const { return error_; }

private:
  struct Unreadable {
    bool file = false;
    bool old = false; ///< what a save left that was cut off
  };

  template <class Write>
  std::optional<std::filesystem::path> replace(const char* name, const char* rootTag,
                                               FReplaceQuestion* question, Write write);
  Loaded loadOwn(const char* name, const char* rootTag, FAttributes& target);
  bool read(const std::filesystem::path& path, const char* rootTag, FAttributes& target);
  bool mayReplace(const std::string& name);
  bool writeNew(const std::filesystem::path& path, const FMemoryStream& text);
  bool putInPlace(const std::string& name, const std::filesystem::path& written);
  bool keepAs(const std::filesystem::path& path, const std::filesystem::path& kept);
  std::filesystem::path pathOf(const std::string& name, const char* suffix = "") const;
  bool exists(const std::filesystem::path& path) const;
  bool hasLeftovers(const std::string& name) const;
  bool fail(const std::filesystem::path& path, const std::string& reason);

  Folders folders_;
  FFileSystem& files_;
  TextBufferPool pool_;
  std::map<std::string, Unreadable> unreadable_; ///< by name: of the user's own
  std::string error_;
};

} // namespace orbi
