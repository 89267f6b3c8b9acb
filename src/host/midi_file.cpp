#include "host/midi_file.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace orbi {

namespace {

constexpr uint32_t longestTrack = 0x0FFFFFFF; // pulses; the most that one delta time can tell
constexpr size_t mostTracks = 4096;
constexpr size_t eventsAPiece = 2000; // libsmf's time grows with the square of a track's length
constexpr uint64_t mostWork = 1'000'000'000; // events times tempo steps: the cost of timing them

using Track = std::vector<uint8_t>; // tidied

struct TempoStep {
  uint32_t pulse;
  uint32_t microseconds; // a quarter note
};

struct Totals {
  size_t events = 0;
  std::vector<TempoStep> tempo;
};

/// Walks over bytes; every getter answers 0 once anything was wrong.
class Cursor {
public:
  explicit Cursor(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  bool atEnd() const { return at_ >= bytes_.size(); }
  bool ok() const { return ok_; }
  uint8_t peek() const { return atEnd() ? 0 : bytes_[at_]; }

  uint8_t u8()
  {
    const auto taken = take(1);
    return taken.empty() ? 0 : taken[0];
  }

  uint32_t bigEndian(size_t width)
  {
    uint32_t value = 0;
    for (uint8_t byte : take(width))
      value = value << 8 | byte;
    return value;
  }

  /// A number of at most four bytes, seven bits each.
  uint32_t variableLength()
  {
    uint32_t value = 0;
    for (int i = 0; i < 4 && ok_; ++i) {
      const uint8_t byte = u8();
      value = value << 7 | (byte & 0x7F);
      if (!(byte & 0x80))
        return value;
    }
    ok_ = false;
    return 0;
  }

  std::span<const uint8_t> take(size_t count)
  {
    if (!ok_ || count > bytes_.size() - at_) {
      ok_ = false;
      return {};
    }
    const auto taken = bytes_.subspan(at_, count);
    at_ += count;
    return taken;
  }

  size_t left() const { return bytes_.size() - at_; }

private:
  std::span<const uint8_t> bytes_;
  size_t at_ = 0;
  bool ok_ = true;
};

void putBigEndian(std::vector<uint8_t>& out, uint32_t value, int width)
{
  while (width-- > 0)
    out.push_back(static_cast<uint8_t>(value >> (8 * width)));
}

void putVariableLength(std::vector<uint8_t>& out, uint32_t value)
{
  for (int shift = 21; shift > 0; shift -= 7)
    if (value >> shift)
      out.push_back(static_cast<uint8_t>((value >> shift & 0x7F) | 0x80));
  out.push_back(value & 0x7F);
}

/// Reads one track's events and writes the ones that sound.
class TrackTidier {
public:
  TrackTidier(std::span<const uint8_t> bytes, Totals& totals) : in_(bytes), totals_(totals) {}

  std::string run(std::vector<Track>& tracks)
  {
    while (!ended_ && !in_.atEnd()) {
      const uint32_t delta = in_.variableLength();
      if (delta > longestTrack - pulse_)
        return "has a track that never ends";
      pulse_ += delta;
      if (std::string wrong = event(); !wrong.empty())
        return wrong;
      if (!in_.ok())
        return "has an event that is cut off by its track's end";
      if (totals_.events > mostMidiFileEvents || totals_.tempo.size() > mostTempoSteps)
        return "has more events than can be played";
    }
    finishPiece(pulse_);
    std::move(pieces_.begin(), pieces_.end(), std::back_inserter(tracks));
    return {};
  }

private:
  std::string event()
  {
    const uint8_t first = in_.peek();
    if (first == 0xFF)
      return meta();
    if (first == 0xF0 || first == 0xF7)
      return sysex();
    if (first > 0xF0)
      return "has a status byte that no MIDI file may hold";
    if (first & 0x80)
      running_ = in_.u8();
    if (running_ == 0 && in_.ok())
      return "has data without a status byte";
    return channelMessage();
  }

  std::string channelMessage()
  {
    const int kind = running_ & 0xF0;
    const auto data = in_.take(kind == 0xC0 || kind == 0xD0 ? 1 : 2);
    if (std::any_of(data.begin(), data.end(), [](uint8_t byte) { return byte & 0x80; }))
      return "has a message with a data byte above 127";
    if (data.empty())
      return {}; // the caller sees that the track is cut off
    startEvent();
    out_.push_back(running_);
    out_.insert(out_.end(), data.begin(), data.end());
    return {};
  }

  std::string meta()
  {
    in_.u8();
    const uint8_t kind = in_.u8();
    const uint32_t length = in_.variableLength();
    const auto data = in_.take(length);
    if (!in_.ok())
      return {};
    ended_ = kind == 0x2F;
    if (kind != 0x51)
      return {};
    const uint32_t tempo = data.size() == 3 ? uint32_t{data[0]} << 16 | data[1] << 8 | data[2] : 0;
    if (tempo == 0)
      return "has a tempo that is none";
    totals_.tempo.push_back({pulse_, tempo});
    return {};
  }

  /// 0xF0 begins a message, 0xF7 goes on with one that isn't complete, or else escapes something
  /// that no instrument takes.
  std::string sysex()
  {
    const bool begins = in_.u8() == 0xF0;
    const auto data = in_.take(in_.variableLength());
    if (!in_.ok())
      return {};
    if (begins)
      pending_.assign(1, 0xF0);
    else if (pending_.empty())
      return {};
    pending_.insert(pending_.end(), data.begin(), data.end());
    if (pending_.back() != 0xF7)
      return {};
    if (std::any_of(pending_.begin() + 1, pending_.end() - 1,
                    [](auto byte) { return byte & 0x80; }))
      return "has a SysEx with a data byte above 127";
    startEvent();
    out_.push_back(0xF0);
    putVariableLength(out_, static_cast<uint32_t>(pending_.size() - 1));
    out_.insert(out_.end(), pending_.begin() + 1, pending_.end());
    pending_.clear();
    return {};
  }

  void finishPiece(uint32_t end)
  {
    putVariableLength(out_, end - written_);
    out_.insert(out_.end(), {0xFF, 0x2F, 0x00});
    pieces_.push_back(std::exchange(out_, {}));
    written_ = 0;
    eventsInPiece_ = 0;
  }

  void startEvent()
  {
    if (eventsInPiece_++ == eventsAPiece) {
      finishPiece(written_);
      eventsInPiece_ = 1;
    }
    putVariableLength(out_, pulse_ - written_);
    written_ = pulse_;
    ++totals_.events;
  }

  Cursor in_;
  Totals& totals_;
  std::vector<Track> pieces_;
  Track out_; // the piece in work
  size_t eventsInPiece_ = 0;
  std::vector<uint8_t> pending_; // SysEx so far
  uint32_t pulse_ = 0;
  uint32_t written_ = 0; // pulse of the last event in out_
  uint8_t running_ = 0;
  bool ended_ = false;
};

struct Header {
  uint32_t tracks;
  uint32_t pulses; // a quarter note
};

std::string readHeader(Cursor& in, Header& header)
{
  const auto name = in.take(4);
  if (name.empty() || std::memcmp(name.data(), "MThd", 4) != 0)
    return "is no MIDI file";
  const uint32_t length = in.bigEndian(4);
  Cursor body(in.take(length));
  if (!in.ok())
    return "is cut off in its header";
  const uint32_t format = body.bigEndian(2);
  header.tracks = body.bigEndian(2);
  header.pulses = body.bigEndian(2);
  if (!body.ok())
    return "has a header that is too short";
  if (format == 2)
    return "is of format 2, whose patterns don't make one song";
  if (format > 2)
    return "is of a format that is unknown";
  if (header.tracks == 0 || header.tracks > mostTracks || (format == 0 && header.tracks != 1))
    return "has an impossible number of tracks";
  if (header.pulses & 0x8000)
    return "counts its time in film frames, which is not supported";
  if (header.pulses == 0)
    return "has no time base";
  return {};
}

std::string readTracks(Cursor& in, const Header& header, std::vector<Track>& tracks, Totals& totals)
{
  for (uint32_t found = 0; found < header.tracks;) {
    if (in.atEnd())
      return "is cut off: " + std::to_string(header.tracks - found) + " of its tracks are missing";
    const auto name = in.take(4);
    const uint32_t length = in.bigEndian(4);
    if (!in.ok())
      return "is cut off between two tracks";
    if (length > in.left())
      return "is cut off, or lies about a track's length";
    const auto bytes = in.take(length);
    if (std::memcmp(name.data(), "MTrk", 4) != 0)
      continue; // chunks of other kinds may stand anywhere
    ++found;
    if (std::string wrong = TrackTidier(bytes, totals).run(tracks); !wrong.empty())
      return wrong;
  }
  return {};
}

Track tempoTrack(std::vector<TempoStep>& tempo)
{
  std::stable_sort(tempo.begin(), tempo.end(),
                   [](const TempoStep& a, const TempoStep& b) { return a.pulse < b.pulse; });
  Track out;
  uint32_t now = 0;
  for (const TempoStep& step : tempo) {
    putVariableLength(out, step.pulse - now);
    out.insert(out.end(), {0xFF, 0x51, 0x03});
    putBigEndian(out, step.microseconds, 3);
    now = step.pulse;
  }
  out.insert(out.end(), {0x00, 0xFF, 0x2F, 0x00});
  return out;
}

void putTrack(std::vector<uint8_t>& out, const Track& track)
{
  out.insert(out.end(), {'M', 'T', 'r', 'k'});
  putBigEndian(out, static_cast<uint32_t>(track.size()), 4);
  out.insert(out.end(), track.begin(), track.end());
}

} // namespace

std::string tidyMidiFile(std::span<const uint8_t> file, std::vector<uint8_t>& tidy)
{
  if (file.size() > largestMidiFile)
    return "is larger than any song";
  Cursor in(file);
  Header header{};
  std::vector<Track> tracks;
  Totals totals;
  if (std::string wrong = readHeader(in, header); !wrong.empty())
    return wrong;
  if (std::string wrong = readTracks(in, header, tracks, totals); !wrong.empty())
    return wrong;
  if (uint64_t{totals.events + tracks.size()} * totals.tempo.size() > mostWork)
    return "has more tempo changes than can be followed";

  tidy = {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 1};
  putBigEndian(tidy, static_cast<uint32_t>(tracks.size() + 1), 2);
  putBigEndian(tidy, header.pulses, 2);
  putTrack(tidy, tempoTrack(totals.tempo));
  for (const Track& track : tracks)
    putTrack(tidy, track);
  return {};
}

} // namespace orbi
