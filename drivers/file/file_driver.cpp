#include "common/threaded_driver.h"
#include "file/settings.h"
#include "file/sound_file.h"

#include <string>
#include <vector>

namespace loom {

namespace {

/// Plays into a sound file or into nothing, in real time or as fast as the host can.
class FileDriver final : public ThreadedDriver {
public:
  static constexpr ClassId classId = {0xdb, 0x4d, 0x0a, 0x06, 0x60, 0xf2, 0xa4, 0x42,
                                      0xaf, 0xb7, 0xe9, 0xa2, 0xf8, 0xbe, 0x62, 0x58};

  FileDriver() : ThreadedDriver(classId) {}

private:
  // The device
  const char* name() const override { return "LOOM File Driver"; }
  bool init() override;
  int outputCount() const override { return settings_.outputs; }
  int outputLatency() const override { return settings_.block; }
  BufferSizes bufferSizes() const override;
  double sampleRate() const override { return settings_.rate; }
  int32_t sampleType() const override { return settings_.format->type; }

  // Running
  int32_t beforeRun() override;
  int32_t afterRun() override;
  void run() override;
  void write(int half);
  uint64_t nanoseconds(uint64_t count) const { return nanosecondsOf(count, settings_.rate); }

  FileSettings settings_;
  SoundFileLibrary library_;
  SoundFile file_; // the driver's thread only, while it runs
  std::vector<uint8_t> interleaved_;
};

bool FileDriver::init()
{
  std::string reason;
  if (!settings_.read(reason) || (!settings_.path.empty() && !library_.load(reason))) {
    fail(loomNotPresent, "%s", reason.c_str());
    return false;
  }
  return true;
}

BufferSizes FileDriver::bufferSizes() const
{
  return {smallestBlock, largestBlock, settings_.block, 1};
}

int32_t FileDriver::beforeRun()
{
  if (settings_.path.empty())
    return loomOk;
  // What nobody asked for stays silent.
  interleaved_.assign(size_t(frames()) * settings_.outputs * settings_.format->bytes, 0);
  const SoundFileFormat format{settings_.rate, settings_.outputs, settings_.format->bytes,
                               settings_.format->isFloat};
  std::string reason;
  if (!file_.create(library_, settings_.path, format, reason))
    return fail(loomNotPresent, "%s", reason.c_str());
  return loomOk;
}

int32_t FileDriver::afterRun()
{
  std::string reason;
  if (!file_.finish(reason))
    return fail(loomNotPresent, "%s", reason.c_str());
  return loomOk;
}

void FileDriver::run()
{
  const uint64_t begin = steadyNow();
  const uint64_t block = frames();
  uint64_t position = 0;
  for (int half = 0; !stopping(); half ^= 1) {
    const uint64_t now = steadyNow();
    host().bufferSwitch(half, position, now);
    write(half);
    position += block;
    if (!settings_.realTime)
      continue;
    const uint64_t due = begin + nanoseconds(position);
    const uint64_t late = steadyNow();
    // Two halves bridge a block; who comes later than that has missed blocks.
    if (late > due + nanoseconds(2 * block))
      position += (late - due) / nanoseconds(block) * block;
    else
      sleepUntil(due);
  }
}

void FileDriver::write(int half)
{
  if (interleaved_.empty())
    return;
  const bool isPlainStereo = settings_.format->bytes == 4 && !settings_.format->bigEndian &&
                             settings_.outputs == 2 && outputs().size() == 2 &&
                             outputs()[0].channel == 0 && outputs()[1].channel == 1;
  if (isPlainStereo) {
    interleaveStereo(outputs()[0].halves[half], outputs()[1].halves[half], interleaved_);
    file_.write(interleaved_);
    return;
  }
  for (const Output& output : outputs())
    interleave(output.halves[half], interleaved_, *settings_.format,
               {output.channel, settings_.outputs});
  file_.write(interleaved_);
}

} // namespace

} // namespace loom

extern "C" LOOM_EXPORT int32_t LoomCreateDriver(const uint8_t classId[16], void** driver)
{
  return loom::createDriver<loom::FileDriver>(classId, driver);
}
