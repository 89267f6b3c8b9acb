#include "midi/mme_midi_device.h"
#include "persist/default_pool.h"
#include "platform/midi_input_stream.h"
#include "platform/midi_loopback.h"
#include "studio/port_registry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

using namespace orbi;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t sysexBegin = 0xF0;
constexpr std::uint8_t sysexEnd = 0xF7;
constexpr std::uint8_t firstRealTime = 0xF8;
constexpr std::uint8_t activeSensing = 0xFE;

void require(bool condition)
{
  if (!condition)
    std::abort();
}

bool isData(std::uint8_t byte)
{
  return byte < 0x80;
}

// ---- the reader of bytes ------------------------------------------------------------------------

/// Takes an input apart: how many buffers and their sizes, then steps.
class Script {
public:
  Script(const std::uint8_t* bytes, std::size_t count) : bytes_(bytes), count_(count) {}

  bool atEnd() const { return place_ >= count_; }
  std::uint8_t byte() { return atEnd() ? std::uint8_t(0) : bytes_[place_++]; }
  /// A copy of exactly the size, so that a step beyond the end shows.
  Bytes piece(std::size_t count)
  {
    const std::size_t from = place_;
    place_ = std::min(place_ + count, count_);
    return {bytes_ + from, bytes_ + place_};
  }

private:
  const std::uint8_t* bytes_;
  const std::size_t count_;
  std::size_t place_ = 0;
};

/// Owns the buffers, and looks at each call. Keeps a log, by which two runs are compared.
class Ear final : public platform::IMidiInputHandler {
public:
  explicit Ear(Script& script)
  {
    for (int count = script.byte() % 6; count > 0; --count) {
      auto owned = std::make_unique<Buffer>();
      owned->bytes.resize(1 + script.byte() % 20);
      owned->buffer.data = owned->bytes.data();
      owned->buffer.capacity = static_cast<std::uint32_t>(owned->bytes.size());
      buffers_.push_back(std::move(owned));
    }
  }

  void addAll()
  {
    for (const auto& owned : buffers_)
      add(*owned);
  }
  void keepBuffers(bool keeps) { keeps_ = keeps; }
  void reset()
  {
    isResetting_ = true;
    stream.reset();
    isResetting_ = false;
    isOpen_ = false;
    for (const auto& owned :
         buffers_) // all are back, but for those that were given again meanwhile
      require(!owned->isAway || !keeps_);
  }

  platform::MidiInputStream stream{*this};
  Bytes log;

private:
  struct Buffer {
    platform::MidiBuffer buffer;
    Bytes bytes;
    bool isAway = false; ///< the stream has it
  };

  void add(Buffer& owned)
  {
    if (owned.isAway)
      return;
    owned.isAway = true;
    owned.buffer.recorded = 0;
    stream.addBuffer(owned.buffer);
  }

  void lost() override {}
  void shortData(std::uint32_t packed, std::uint32_t milliseconds) override
  {
    const auto status = static_cast<std::uint8_t>(packed);
    std::uint8_t bytes[3];
    const auto message = platform::unpackMidi(packed, bytes);
    require(!message.empty() && message[0] == status && packed >> 24 == 0);
    require(message.size() == 1 + std::size_t(platform::midiDataBytes(status)));
    for (std::size_t i = 1; i < 3; ++i) // data bytes are such, and what isn't used is 0
      require(i < message.size() ? isData(std::uint8_t(packed >> 8 * i))
                                 : std::uint8_t(packed >> 8 * i) == 0);
    write('s', {message.data(), message.size()}, milliseconds);
  }

  void longData(platform::MidiBuffer& buffer, std::uint32_t milliseconds) override
  {
    Buffer& owned = take(buffer);
    const std::span<const std::uint8_t> piece{buffer.data, buffer.recorded};
    if (!piece.empty()) {
      isOpen_ = !checkPiece(piece);
      require(!isOpen_ || isResetting_ || piece.size() == buffer.capacity);
    } else {
      require(isResetting_);
    }
    write('l', piece, milliseconds);
    giveAgain(owned);
  }

  void longError(platform::MidiBuffer& buffer, std::uint32_t milliseconds) override
  {
    Buffer& owned = take(buffer);
    const std::span<const std::uint8_t> piece{buffer.data, buffer.recorded};
    require(!isResetting_ && (piece.empty() || !checkPiece(piece)));
    isOpen_ = false;
    write('e', piece, milliseconds);
    giveAgain(owned);
  }

  /// The first piece of a message begins it, no other does. Whether it ends it.
  bool checkPiece(std::span<const std::uint8_t> piece) const
  {
    const bool begins = piece.front() == sysexBegin;
    const bool ends = piece.back() == sysexEnd;
    require(begins == !isOpen_);
    for (std::size_t i = begins ? 1 : 0; i + (ends ? 1 : 0) < piece.size(); ++i)
      require(isData(piece[i]));
    return ends;
  }

  Buffer& take(platform::MidiBuffer& buffer)
  {
    const auto found = std::ranges::find_if(
        buffers_, [&](const auto& owned) { return &owned->buffer == &buffer; });
    require(found != buffers_.end() && (*found)->isAway);
    require(buffer.recorded <= buffer.capacity);
    (*found)->isAway = false;
    return **found;
  }
  void giveAgain(Buffer& owned)
  {
    if (!keeps_)
      add(owned);
  }
  void write(char what, std::span<const std::uint8_t> bytes, std::uint32_t milliseconds)
  {
    log.push_back(static_cast<std::uint8_t>(what));
    log.push_back(static_cast<std::uint8_t>(milliseconds));
    log.insert(log.end(), bytes.begin(), bytes.end());
  }

  std::vector<std::unique_ptr<Buffer>> buffers_;
  bool keeps_ = false;
  bool isOpen_ = false; ///< pieces of a message came, and neither its end nor its loss
  bool isResetting_ = false;
};

/// The log, and all bytes that were fed.
struct Run {
  Bytes log;
  Bytes fed;
};

Run runScript(Script script, std::size_t most)
{
  Ear ear(script);
  Bytes fed;
  ear.addAll();
  for (std::uint32_t now = 0; !script.atEnd(); ++now) {
    const std::uint8_t step = script.byte();
    if (step < 0xE0) {
      const Bytes bytes = script.piece(1 + step % 64);
      for (std::size_t at = 0; at < bytes.size(); at += most)
        ear.stream.feed({bytes.data() + at, std::min(most, bytes.size() - at)}, now);
      fed.insert(fed.end(), bytes.begin(), bytes.end());
    } else if (step < 0xE8) {
      ear.addAll();
    } else if (step < 0xF0) {
      ear.reset();
    } else if (step < 0xF8) {
      ear.stream.breakOff(now);
    } else {
      ear.keepBuffers(step & 1);
    }
  }
  ear.reset();
  return {ear.log, fed};
}

// ---- through a socket ---------------------------------------------------------------------------

/// What arrives at a consumer that an input of the system plays.
class Listener final : public IMidiListener {
public:
  void midiReceived(int32_t, PEvent& event, PMidiInput&) override
  {
    require(event.isMidi());
    if (const auto* sysex = castTo<PSysexEvent>(&event)) {
      messages.emplace_back(sysex->getData(), sysex->getData() + sysex->getSize());
      return;
    }
    const auto& midi = static_cast<PMidiEvent&>(event);
    require(!isData(midi.status) && midi.status != sysexBegin && midi.status != sysexEnd);
    require(midi.status != activeSensing && isData(midi.data1) && isData(midi.data2));
  }
  std::vector<Bytes> messages; ///< system exclusive
};

/// The complete messages of a stream: a beginning, data, the end, with real time between them.
std::vector<Bytes> messagesIn(const Bytes& bytes)
{
  std::vector<Bytes> messages;
  Bytes message;
  for (const std::uint8_t byte : bytes) {
    if (byte >= firstRealTime)
      continue;
    if (byte == sysexBegin)
      message = {byte};
    else if (!message.empty() && (isData(byte) || byte == sysexEnd))
      message.push_back(byte);
    else
      message.clear();
    if (byte == sysexEnd && !message.empty())
      messages.push_back(std::exchange(message, {}));
  }
  return messages;
}

/// Stays for all inputs; each finds its port newly opened.
class Studio {
public:
  Studio()
  {
    auto owned = std::make_unique<platform::MidiLoopback>();
    loop_ = owned.get();
    loop_->plug("port");
    device_ = make<PMmeMidiDevice>(std::move(owned));
    device_->outputAt(0)->activate(); // and not the device, whose scheduler has nothing to do
    input_->setListener(&listener_);
  }
  ~Studio() { input_->disconnectAll(); }

  std::vector<Bytes> play(const Bytes& bytes, std::size_t most)
  {
    device_->outputAt(0)->connect(input_.get());
    for (std::size_t at = 0; at < bytes.size(); at += most)
      require(loop_->play("port", {bytes.data() + at, std::min(most, bytes.size() - at)}));
    input_->disconnectAll();
    return std::exchange(listener_.messages, {});
  }

private:
  FDefaultPool pool_;
  PPortRegistry registry_;
  platform::MidiLoopback* loop_ = nullptr;
  Ref<PMmeMidiDevice> device_;
  Listener listener_;
  Ref<PMidiInput> input_ = make<PMidiInput>(nullptr, "consumer", "test");
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
  // Whatever pieces bytes come in, the calls are the same.
  const Run run = runScript({bytes, count}, 64);
  require(run.log == runScript({bytes, count}, 1).log);

  static Studio studio;
  require(studio.play(run.fed, 1 + count % 7) == messagesIn(run.fed));
  return 0;
}
