#pragma once

#include "foundation/memory_stream.h"
#include "foundation/ref.h"

namespace orbi {

/// Packs and unpacks the contents of single files. None ships with the program.
class FCompressionEngine : public CmClass<FCompressionEngine, CmObject> {
public:
  static constexpr const char* className = "FCompressionEngine";
  static constexpr const char* category = "Compression Engine"; ///< among the components

  // From where the source stands to its end; false when the source is damaged or the target full.
  virtual bool compress(FStream& plain, FStream& packed) = 0;
  virtual bool decompress(FStream& packed, FStream& plain) = 0;

  /// A new one of the first kind among the components that can be made; null when there is none.
  /// Main thread.
  static Ref<FCompressionEngine> registered();
};

/// Unpacks another stream, at the first access and as a whole, and is then read like a file.
class FCompressionStream final : public CmClass<FCompressionStream, FStream> {
public:
  static constexpr const char* className = "FCompressionStream";

  /// Keeps references to both. Never gives more than plainBytes, however much comes out.
  FCompressionStream(Ref<FStream> packed, Ref<FCompressionEngine> engine, int64_t plainBytes);

  using FStream::read;
  using FStream::write;
  int64_t read(void* buffer, int64_t count) override;
  int64_t write(const void*, int64_t) override { return 0; }
  int64_t seek(int64_t offset, SeekMode mode) override;
  int64_t tell() override { return plain_.tell(); }
  void rewind() override { plain_.rewind(); }
  bool isValid() const override { return !damaged_ && plain_.isValid(); }

private:
  void unpack();

  Ref<FStream> packed_; ///< stays after unpacking, as what this stream keeps open
  Ref<FCompressionEngine> engine_;
  int64_t plainBytes_;
  FMemoryStream plain_;
  bool unpacked_ = false;
  bool damaged_ = false;
};

} // namespace orbi
