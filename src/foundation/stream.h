#pragma once

#include "foundation/file_type.h"
#include "foundation/object.h"

#include <memory>
#include <optional>

namespace orbi {

class FBuffer;

enum class SeekMode : int32_t { start = 0, current = 1, end = 2 };

/// The four primitives of a byte stream. Offsets and counts are in bytes.
class IStream : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x53545245, 0x414D0001, 1};

  virtual int64_t read(void* buffer, int64_t count) = 0; ///< 0 at the end, -1 when cancelled
  virtual int64_t write(const void* buffer,
                        int64_t count) = 0;                ///< bytes written, -1 when cancelled
  virtual int64_t seek(int64_t offset, SeekMode mode) = 0; ///< new position
  virtual int64_t tell() = 0;

protected:
  ~IStream() = default;
};

/// Watches over a long transfer. Borrowed by the streams to which it is attached.
class FProgressMonitor {
public:
  virtual ~FProgressMonitor() = default;
  virtual bool isCancelled() = 0;
  virtual void advance(int64_t bytes) = 0;     ///< negative when the stream goes back
  virtual void setPosition(int64_t bytes) = 0; ///< from the start of the stream
};

/// Byte stream: four primitives, and a typed layer on top of them. No exceptions: every operation
/// tells failure by its result. A stream belongs to one thread at a time.
class FStream : public CmClass<FStream, CmObject>, public IStream {
public:
  static constexpr const char* className = "FStream";

  // One object, two interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  using CmObject::read;
  using CmObject::write;
  using IStream::read;
  using IStream::write;

  // Beside the primitives
  virtual void rewind() = 0;
  virtual bool flush() { return true; }
  virtual bool isValid() const { return true; } ///< no allocation failed so far
  virtual bool copyTo(FStream& target);         ///< the whole stream
  /// Reads up to and including a line feed, a NUL or size bytes. CR LF is cut off, a bare LF stays
  /// in the text. buffer takes size + 1 bytes. Returns the text's length.
  virtual int64_t readLine(char* buffer, int64_t size);
  virtual bool writeString(const char* text, bool withTerminator);
  virtual void setProgress(FProgressMonitor*) {}

  const FFileType& fileType() const { return fileType_; }
  void setFileType(const FFileType& type) { fileType_ = type; }

  // Typed layer. Failed reads leave zero. Byte order is the machine's, or the other one.
  bool swapsBytes() const { return swapBytes_ != 0; }
  void setSwapsBytes(bool swap) { swapBytes_ = swap ? 1 : 0; }

  bool readInt8(int8_t& value) { return readNumber(value); }
  bool readUint8(uint8_t& value) { return readNumber(value); }
  bool readInt16(int16_t& value) { return readNumber(value); }
  bool readUint16(uint16_t& value) { return readNumber(value); }
  bool readInt32(int32_t& value) { return readNumber(value); }
  bool readUint32(uint32_t& value) { return readNumber(value); }
  bool readInt64(int64_t& value) { return readNumber(value); }
  bool readUint64(uint64_t& value) { return readNumber(value); }
  bool readFloat(float& value) { return readNumber(value); }
  bool readDouble(double& value) { return readNumber(value); }
  bool readBool(bool& value); ///< 16-bit word, any non-zero one is true

  bool writeInt8(int8_t value) { return writeNumber(value); }
  bool writeUint8(uint8_t value) { return writeNumber(value); }
  bool writeInt16(int16_t value) { return writeNumber(value); }
  bool writeUint16(uint16_t value) { return writeNumber(value); }
  bool writeInt32(int32_t value) { return writeNumber(value); }
  bool writeUint32(uint32_t value) { return writeNumber(value); }
  bool writeInt64(int64_t value) { return writeNumber(value); }
  bool writeUint64(uint64_t value) { return writeNumber(value); }
  bool writeFloat(float value) { return writeNumber(value); }
  bool writeDouble(double value) { return writeNumber(value); }
  bool writeBool(bool value) { return writeUint16(value ? 1 : 0); }

  /// Arrays of the widths above; a count below 1 succeeds, the first failure stops.
  template <class T>
  bool readArray(T* values, int64_t count)
  {
    for (int64_t i = 0; i < count; ++i)
      if (!readNumber(values[i]))
        return false;
    return true;
  }
  template <class T>
  bool writeArray(const T* values, int64_t count)
  {
    for (int64_t i = 0; i < count; ++i)
      if (!writeNumber(values[i]))
        return false;
    return true;
  }

  /// Text: 32-bit length with the terminator, then the bytes; null is a length of 0.
  bool writeText(const char* text);
  /// The raw reader: a new[] text or null for a length below 1 or a text that is cut short. The
  /// length is believed only as far as bytes arrive.
  char* readText();
  /// Likewise, but tells a null text, true, from one that is cut short or of a negative length.
  bool readText(std::unique_ptr<char[]>& text);

  /// Appends count bytes; a count that lies costs no more memory than the stream has bytes.
  bool readBytes(FBuffer& buffer, uint32_t count);

  // Block with its 32-bit size before it
  int64_t beginBlock();         ///< writes the size's place, returns its position, -1 on failure
  bool endBlock(int64_t start); ///< fills in the size and goes back to the block's end
  std::optional<int64_t> readBlock(); ///< where the block that starts here ends

protected:
  static void swapOrder(void* bytes, size_t size);

private:
  template <class T>
  bool readNumber(T& value)
  {
    T number{};
    bool complete = read(&number, sizeof number) == static_cast<int64_t>(sizeof number);
    if (complete && swapBytes_)
      swapOrder(&number, sizeof number);
    value = complete ? number : T{};
    return complete;
  }
  template <class T>
  bool writeNumber(T value)
  {
    if (swapBytes_)
      swapOrder(&value, sizeof value);
    return write(&value, sizeof value) == static_cast<int64_t>(sizeof value);
  }

  FFileType fileType_;
  uint16_t swapBytes_ = 0;
};

} // namespace orbi
