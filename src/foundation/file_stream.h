#pragma once

#include "foundation/stream.h"
#include "platform/file.h"

namespace orbi {

/// How a file is opened; bits that are or-ed.
enum OpenMode : uint32_t {
  openRead = 1,
  openWrite = 2,  ///< an existing file, read and written
  openCreate = 4, ///< with openWrite: made when it is missing, emptied when it is there
  openAppend = 8, ///< written at the end alone, made when it is missing
  openNew = 16,   ///< with openWrite: fails when the file is there
  /// With openWrite: the size is what seeking to the end gives, not what the folder says.
  openSizeBySeeking = 32
};

/// Stream over a file. No buffer of its own: FBufferedStream in front of it makes small steps
/// cheap.
class FFileStream final : public CmClass<FFileStream, FStream> {
public:
  static constexpr const char* className = "FFileStream";

  FFileStream() = default;
  ~FFileStream() override { close(); }

  /// Closes the former file. False leaves the cause in firstError.
  bool open(const std::filesystem::path& path, uint32_t mode);
  bool close(); ///< false when the system reports a write that failed late; closed all the same
  bool isOpen() const { return file_.isOpen(); }
  const std::filesystem::path& path() const { return path_; }
  uint32_t mode() const { return mode_; }

  /// The system's number of the first failure since opening or resetError; 0 for none.
  int32_t firstError() const { return firstError_; }
  void resetError() { firstError_ = 0; }

  using FStream::read;
  using FStream::write;
  int64_t read(void* buffer, int64_t count) override;        ///< 0 on failure as well
  int64_t write(const void* buffer, int64_t count) override; ///< all of them, or 0 on failure
  int64_t seek(int64_t offset, SeekMode mode) override;      ///< -1 on failure
  int64_t tell() override;                                   ///< -1 on failure
  void rewind() override { seek(0, SeekMode::start); }
  bool flush() override; ///< returns when the bytes are on the medium

  int64_t size();              ///< -1 on failure; keeps the position
  bool setSize(int64_t bytes); ///< keeps the position
  bool atEnd();                ///< true on failure, so that a loop ends

  /// Is asked before every transfer and told the count that was asked for.
  void setProgress(FProgressMonitor* monitor) override { monitor_ = monitor; }

private:
  bool isWritable() const { return (mode_ & (openWrite | openAppend)) != 0; }
  bool mayTransfer(int64_t count);
  bool note(bool succeeded);

  std::filesystem::path path_;
  uint32_t mode_ = 0;
  int32_t firstError_ = 0;
  platform::File file_;
  FProgressMonitor* monitor_ = nullptr;
};

} // namespace orbi
