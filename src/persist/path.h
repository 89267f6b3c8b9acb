#pragma once

#include "foundation/string.h"

#include <filesystem>
#include <string>
#include <vector>

namespace orbi {

/// Path of a file or folder in some file system, as UTF-8 text. What a file system makes of the
/// text is its own affair: the native one takes it as the operating system does.
class FNPath final : public CmClass<FNPath, CmObject> {
public:
  static constexpr const char* className = "FNPath";
  static constexpr std::string_view separators = "/\\"; ///< of the paths given to append

  FNPath() = default;
  FNPath(const char* text) : text_(text ? text : "") {}
  FNPath(std::string_view text) : text_(text) {}
  FNPath(const std::string& text) : text_(text) {}
  FNPath(const CmString& text) : text_(text.view()) {}
  FNPath(const std::filesystem::path& native);

  const char* text() const { return text_.c_str(); }
  const std::string& view() const { return text_; }
  bool isEmpty() const { return text_.empty(); }
  std::filesystem::path native() const;
  bool isAbsolute() const; ///< by the rules of the operating system

  std::string_view name() const;      ///< the last part
  std::string_view extension() const; ///< of the name, without the dot
  FNPath parent() const;              ///< empty for a path of one part

  void appendPart(std::string_view part); ///< behind a "/" where one is missing
  /// Part by part; the relative path is split at both separators, empty parts are left out.
  void append(std::string_view relative);

  bool isEqual(const CmObject* other) const override; ///< same text
  int compare(const CmObject* other) const override;
  bool operator==(const FNPath& other) const { return text_ == other.text_; }

private:
  std::string text_;
};

/// The parts of a path between its separators, without empty ones; they lie in the given text.
std::vector<std::string_view> splitPath(std::string_view path);

} // namespace orbi
