#pragma once

#include "platform/midi_system.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

inline std::string hex(std::span<const std::uint8_t> bytes)
{
  std::string text;
  char digits[4];
  for (const std::uint8_t byte : bytes) {
    std::snprintf(digits, sizeof digits, text.empty() ? "%02x" : " %02x", byte);
    text += digits;
  }
  return text;
}

inline Bytes sysexOf(std::size_t size)
{
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<std::uint8_t>(i * 7 % 128);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

/// False when that doesn't happen for half a minute.
inline bool waitFor(const std::function<bool()>& condition)
{
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// A long message with its bytes.
struct OwnBuffer : orbi::platform::MidiBuffer {
  explicit OwnBuffer(Bytes content) : bytes(std::move(content))
  {
    data = bytes.data();
    capacity = recorded = static_cast<std::uint32_t>(bytes.size());
  }
  OwnBuffer(const OwnBuffer&) = delete;
  OwnBuffer& operator=(const OwnBuffer&) = delete;
  Bytes bytes;
};

/// Writes down what an input tells, in hexadecimal, and gives buffers back unless told otherwise.
class MidiEar final : public orbi::platform::IMidiInputHandler {
public:
  explicit MidiEar(int buffers = 0, std::size_t capacity = 8)
  {
    for (int i = 0; i < buffers; ++i)
      buffers_.emplace_back(Bytes(capacity));
  }

  /// A port, or whatever else takes buffers.
  template <typename Port>
  void listenTo(Port& port)
  {
    add_ = [&port](orbi::platform::MidiBuffer& buffer) { port.addBuffer(buffer); };
    for (OwnBuffer& buffer : buffers_)
      add_(buffer);
  }
  void keepBuffers() { add_ = nullptr; }

  std::vector<std::string> lines()
  {
    const std::lock_guard guard(mutex_);
    return lines_;
  }
  std::vector<std::uint32_t> stamps()
  {
    const std::lock_guard guard(mutex_);
    return stamps_;
  }
  Bytes longBytes() ///< of all pieces
  {
    const std::lock_guard guard(mutex_);
    return longBytes_;
  }

private:
  void shortData(std::uint32_t packed, std::uint32_t milliseconds) override
  {
    const std::uint8_t bytes[] = {std::uint8_t(packed), std::uint8_t(packed >> 8),
                                  std::uint8_t(packed >> 16), std::uint8_t(packed >> 24)};
    write(hex(bytes), milliseconds);
  }
  void longData(orbi::platform::MidiBuffer& buffer, std::uint32_t milliseconds) override
  {
    {
      const std::lock_guard guard(mutex_);
      longBytes_.insert(longBytes_.end(), buffer.data, buffer.data + buffer.recorded);
    }
    take("long", buffer, milliseconds);
  }
  void longError(orbi::platform::MidiBuffer& buffer, std::uint32_t milliseconds) override
  {
    take("error", buffer, milliseconds);
  }
  void lost() override { write("lost", 0); }
  void take(const char* what, orbi::platform::MidiBuffer& buffer, std::uint32_t milliseconds)
  {
    write(std::string(what) + " " + hex({buffer.data, buffer.recorded}), milliseconds);
    if (add_)
      add_(buffer);
  }
  void write(const std::string& line, std::uint32_t milliseconds)
  {
    const std::lock_guard guard(mutex_);
    lines_.push_back(line);
    stamps_.push_back(milliseconds);
  }

  std::list<OwnBuffer> buffers_;
  std::function<void(orbi::platform::MidiBuffer&)> add_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
  std::vector<std::uint32_t> stamps_;
  Bytes longBytes_;
};

/// Counts the buffers that are done.
class DoneCounter final : public orbi::platform::IMidiOutputHandler {
public:
  std::atomic<int> count{0};

private:
  void done(orbi::platform::MidiBuffer&) override { ++count; }
};
