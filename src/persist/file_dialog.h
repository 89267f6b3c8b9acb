#pragma once

#include "foundation/file_type.h"

#include <filesystem>
#include <optional>

namespace orbi {

/// What a file is asked for.
struct FFileQuestion {
  std::string title; ///< translated already, as is the type's description
  const FFileType& type;
  uint32_t mode; ///< openRead, or openWrite for a file that will be written
};

/// Asks the user for a file. Main thread.
class FFileDialog {
public:
  /// Nothing: cancelled.
  virtual std::optional<std::filesystem::path> ask(const FFileQuestion& question) = 0;

protected:
  ~FFileDialog() = default;
};

/// Answers with a path that is known before.
class FGivenFile final : public FFileDialog {
public:
  explicit FGivenFile(std::filesystem::path path) : path_(std::move(path)) {}
  std::optional<std::filesystem::path> ask(const FFileQuestion&) override { return path_; }

private:
  std::filesystem::path path_;
};

} // namespace orbi
