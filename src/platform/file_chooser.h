#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace orbi::platform {

/// What the desktop's file dialog is asked for. Texts are shown as they are.
struct FileChooserQuestion {
  struct Filter {
    std::string name;
    std::string extension; ///< without the dot, found in any case; empty for all files
  };

  bool saves = false;
  std::string title;
  std::string acceptLabel;     ///< of the button that chooses
  std::vector<Filter> filters; ///< the first one is chosen at the beginning
  std::filesystem::path folder;
  std::string name;      ///< of a file to save; empty for no proposal
  void* owner = nullptr; ///< native window that it belongs to; null for none
};

struct FileChooserAnswer {
  enum class Outcome {
    chosen,
    cancelled,
    elsewhere,  ///< what was chosen is no file of this computer
    ended,      ///< without a word of the user: closed by its frame, or it never came
    unavailable ///< there was no dialog
  };
  Outcome outcome = Outcome::cancelled;
  std::filesystem::path file; ///< when one was chosen
};

/// A file dialog of the desktop's own that is open, or about to be. Its end takes the dialog away.
class FileChooser {
public:
  using Answered = std::function<void(const FileChooserAnswer&)>;
  virtual ~FileChooser() = default;
};

/// Asks the desktop without waiting for it. The answer comes once, out of the run loop, which must
/// be there; it doesn't end the chooser. Null where the desktop has no such dialogs. Main thread.
std::unique_ptr<FileChooser> openFileChooser(FileChooserQuestion question,
                                             FileChooser::Answered answered);

} // namespace orbi::platform
