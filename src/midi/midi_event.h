#pragma once

#include "midi/event_pool.h"
#include "studio/event.h"

#include "foundation/array.h"
#include "foundation/buffer.h"

namespace orbi {

/// One channel or system message in four bytes. Allocated from the event pool.
class PMidiEvent : public CmClass<PMidiEvent, PEvent> {
public:
  static constexpr const char* className = "PMidiEvent";
  ORBI_POOLED(PMidiEvent)

  PMidiEvent() { flags = eventMidi; }
  PMidiEvent(uint8_t statusByte, uint8_t first, uint8_t second)
      : status(statusByte), data1(first), data2(second)
  {
    flags = eventMidi;
  }
  PMidiEvent(const PMidiEvent& other);

  uint8_t getStatus() const { return status < 0xF0 ? status & 0xF0 : status; } ///< without channel
  void setStatus(int32_t value); ///< below 240 the channel stays
  uint8_t getChannel() const { return status & 15; }
  void setChannel(int32_t channel); ///< only below 240
  uint8_t getData1() const { return data1; }
  void setData1(uint8_t value) { data1 = value; }
  uint8_t getData2() const { return data2; }
  void setData2(uint8_t value) { data2 = value; }
  uint8_t getData3() const { return data3; }

  uint8_t status = 0; ///< with the channel's nibble
  uint8_t data1 = 0;
  uint8_t data2 = 0;
  uint8_t data3 = 0; ///< a note's release velocity

protected:
  CmObject* data_ = nullptr; ///< what a subclass holds
};

/// A chain of events that travel as one.
class PMidiStringBase : public CmClass<PMidiStringBase, PMidiEvent> {
public:
  static constexpr const char* className = "PMidiStringBase";

  virtual uint32_t count() const = 0;
  virtual CmObject* itemAt(int32_t index) const = 0; ///< null outside

protected:
  PMidiStringBase() = default;
  PMidiStringBase(const PMidiStringBase&) = default;
};

/// Bytes of a system exclusive message.
class PSysexChunk final : public CmClass<PSysexChunk, CmObject> {
public:
  static constexpr const char* className = "PSysexChunk";

  bool append(uint8_t byte) { return bytes_.append(byte); }
  bool append(const void* bytes, uint32_t count) { return bytes_.append(bytes, count); }
  uint32_t getSize() const { return bytes_.used(); }
  uint8_t getByte(uint32_t index) const { return index < getSize() ? bytes_.data()[index] : 0; }
  const uint8_t* getData() const { return bytes_.data(); }
  bool isComplete() const { return getSize() > 0 && bytes_.data()[getSize() - 1] == 0xF7; }

  // Stream: the size twice in 32 bits, then the bytes. Attributes: "ChunkSize0" and "Chunk0";
  // several numbered blocks with a "ChunkCounter" are read, too.
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

private:
  FBuffer bytes_{32};
};

/// System exclusive message. Copies share the bytes, so they aren't changed once it was sent.
class PSysexEvent final : public CmClass<PSysexEvent, PMidiEvent> {
public:
  static constexpr const char* className = "PSysexEvent";
  ORBI_POOLED(PSysexEvent)

  PSysexEvent() : CmClass(uint8_t(0xF0), uint8_t(0), uint8_t(0)) {}
  PSysexEvent(const PSysexEvent& other);
  ~PSysexEvent() override;

  bool append(uint8_t byte);
  bool append(const void* bytes, uint32_t count); ///< false when there is no memory for a chunk
  uint32_t getSize() const { return chunk() ? chunk()->getSize() : 0; }
  uint8_t getByte(uint32_t index) const { return chunk() ? chunk()->getByte(index) : 0; }
  const uint8_t* getData() const; ///< never null
  bool isComplete() const { return chunk() && chunk()->isComplete(); }
  PSysexChunk* chunk() const { return static_cast<PSysexChunk*>(data_); } ///< null before a byte

private:
  bool require();
};

/// Chain of events, and the bytes that go with it.
class PMidiString final : public CmClass<PMidiString, PMidiStringBase> {
public:
  static constexpr const char* className = "PMidiString";
  ORBI_POOLED(PMidiString)

  PMidiString();
  PMidiString(const PMidiString& other); ///< clones each child
  ~PMidiString() override;

  bool addEvent(PEvent* event); ///< takes over the reference
  uint32_t count() const override;
  CmObject* itemAt(int32_t index) const override;

  bool append(uint8_t byte);
  bool append(const void* bytes, uint32_t count);
  uint32_t getSize() const { return bytes_ ? bytes_->getSize() : 0; }
  uint8_t getByte(uint32_t index) const { return bytes_ ? bytes_->getByte(index) : 0; }
  const uint8_t* getData() const; ///< never null
  bool isComplete() const { return bytes_ && bytes_->isComplete(); }

private:
  CmArray* children() const { return static_cast<CmArray*>(data_); }
  bool require();

  Ref<PSysexChunk> bytes_;
};

/// Meta event of a Standard MIDI File; never sent.
class PSmfEvent final : public CmClass<PSmfEvent, PEvent> {
public:
  static constexpr const char* className = "PSmfEvent";

  PSmfEvent() = default;
  PSmfEvent(const PSmfEvent& other);

  bool setData(const void* bytes, uint32_t count); ///< false keeps the former block
  const uint8_t* data() const { return block_.data(); }
  uint32_t dataSize() const { return block_.used(); }

  uint16_t metaType = 0x2F; ///< end of track
  uint32_t deltaField = 0;

private:
  FBuffer block_;
};

/// A note with a ramp from one percentage to another.
class PCrescendo final : public CmClass<PCrescendo, PMidiEvent> {
public:
  static constexpr const char* className = "PCrescendo";
  ORBI_POOLED(PCrescendo)

  PCrescendo() = default;

  int32_t startValue = 100;
  int32_t endValue = 100;
  double rampTime = 0.0; ///< in the caller's unit
  double rampLength = 0.0;
};

} // namespace orbi
