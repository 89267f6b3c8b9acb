#pragma once

#include <string>

namespace loom {

constexpr int smallestBlock = 1;
constexpr int largestBlock = 65536;

/// A sample type as far as the file is concerned.
struct FileSampleFormat {
  const char* name;
  int type;  ///< LoomSampleType
  int bytes; ///< of one sample as the host packs it
  bool bigEndian;
  bool isFloat;
};

/// What the environment says about the file; the host sets it before init.
struct FileSettings {
  int rate = 48000;
  int block = 256;
  int outputs = 2;
  const FileSampleFormat* format = nullptr;
  std::string path; ///< empty: writes nowhere
  bool realTime = true;

  /// False with a reason that names the variable.
  bool read(std::string& reason);
};

} // namespace loom
