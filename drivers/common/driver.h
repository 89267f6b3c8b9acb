#pragma once

#include "common/host_link.h"
#include "loom/loom.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace loom {

using ClassId = std::array<uint8_t, 16>; ///< in the memory order of a GUID

/// One output that the host asked for.
struct Output {
  int channel;
  uint8_t* halves[2]; ///< frames() samples each, room for 4 bytes a sample
};

/// How many frames a block may have.
struct BufferSizes {
  int minimum;
  int maximum;
  int preferred;
  int granularity; ///< 0 when there is only one size
};

/// What all of our drivers have in common: the table of functions, the reference count, the words
/// for an error, the buffers' two halves. A driver overrides the operations below; they are called
/// on the host's main thread, in an order that has been checked, and may throw: the table turns an
/// exception into loomNoMemory.
class Driver {
public:
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;

  LoomDriver* face() { return &face_; } ///< what the host gets

protected:
  explicit Driver(const ClassId& id);
  virtual ~Driver() = default;

  // The device
  virtual const char* name() const = 0;
  virtual bool init() = 0; ///< false with error() set; only once
  virtual int outputCount() const = 0;
  virtual int outputLatency() const = 0; ///< frames
  virtual BufferSizes bufferSizes() const = 0;
  virtual double sampleRate() const = 0;
  virtual bool canSampleRate(double rate) { return rate == sampleRate(); }
  virtual int32_t setSampleRate(double rate); ///< never called while there are buffers
  virtual int32_t sampleType() const = 0;     ///< LoomSampleType of every output
  virtual void nameOutput(int channel, std::span<char, loomNameBytes> name) const;

  // Buffers and running
  virtual int32_t openBuffers() { return loomOk; } ///< outputs() and frames() are set
  virtual void closeBuffers() {} ///< nothing runs; also after a failed openBuffers
  virtual int32_t start() = 0;   ///< there are buffers
  /// 0 when nothing runs; loomBadMode when a block doesn't come back, after which all stays as it
  /// is for the next stop; another error tells of what was played, and nothing runs either.
  virtual int32_t stop() = 0;

  // For those who override
  /// Keeps the words for getErrorMessage, cut to its length, and answers code.
  int32_t fail(int32_t code, const char* format, ...) __attribute__((format(printf, 3, 4)));
  const std::vector<Output>& outputs() const { return outputs_; }
  int frames() const { return frames_; }
  bool hasBuffers() const { return frames_ > 0; }
  HostLink& host() { return host_; }

private:
  friend struct DriverCalls;

  /// The object as the host sees it: the table first.
  struct Face : LoomDriver {
    Driver& driver;
  };

  int32_t createBuffers(std::span<LoomBufferInfo> infos, int frames,
                        const LoomCallbacks* callbacks);
  void allocateHalves(std::span<LoomBufferInfo> infos, int frames);
  int32_t tryOpenBuffers();
  int32_t disposeBuffers();
  void freeBuffers();
  bool accepts(std::span<const LoomBufferInfo> infos) const;
  int32_t describe(LoomChannelInfo& info) const;

  Face face_;
  const ClassId id_;
  std::atomic<uint32_t> references_{1};
  bool initialised_ = false;
  char error_[loomErrorBytes] = {};
  std::vector<Output> outputs_;
  std::unique_ptr<uint8_t[]> memory_; ///< all halves
  int frames_ = 0;
  HostLink host_;
};

/// Copies text into a field of fixed length, cut when it must be, the rest of the field cleared.
void copyText(std::span<char> field, const char* text);

/// The body of a module's LoomCreateDriver.
template <class D>
int32_t createDriver(const uint8_t* classId, void** driver)
{
  if (!driver)
    return loomBadParameter;
  *driver = nullptr;
  if (!classId || !std::equal(D::classId.begin(), D::classId.end(), classId))
    return loomNotPresent;
  try {
    *driver = (new D)->face();
  } catch (...) {
    return loomNoMemory;
  }
  return loomOk;
}

} // namespace loom
