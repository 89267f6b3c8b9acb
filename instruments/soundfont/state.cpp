#include "soundfont/state.h"

#include <bit>
#include <cstring>

namespace soundfont {

namespace {

constexpr uint32_t magic = 0x5046534F; // "OSFP" in memory
constexpr uint32_t formatVersion = 1;
enum Kind : uint32_t { bankKind = 0, programKind = 1 };
constexpr size_t headerBytes = 16;
constexpr uint8_t highestBendRange = 127;

class Writer {
public:
  explicit Writer(Kind kind)
  {
    u32(magic);
    u32(formatVersion);
    u32(kind);
    u32(0);
  }

  void u8(size_t value) { bytes_.push_back(static_cast<uint8_t>(value)); }
  void u16(size_t value)
  {
    u8(value & 0xFF);
    u8(value >> 8);
  }
  void u32(uint32_t value)
  {
    u16(value & 0xFFFF);
    u16(value >> 16);
  }
  void f32(float value) { u32(std::bit_cast<uint32_t>(value)); }
  void text(const std::string& value)
  {
    u8(value.size());
    bytes_.insert(bytes_.end(), value.begin(), value.end());
  }
  void path(const std::string& value)
  {
    u16(value.size());
    bytes_.insert(bytes_.end(), value.begin(), value.end());
  }

  std::vector<uint8_t> finish()
  {
    const size_t payload = bytes_.size() - headerBytes;
    for (int i = 0; i < 4; ++i)
      bytes_[headerBytes - 4 + i] = static_cast<uint8_t>(payload >> (8 * i));
    return std::move(bytes_);
  }

private:
  std::vector<uint8_t> bytes_;
};

/// Every getter answers 0 once anything was wrong; ok() tells at the end.
class Reader {
public:
  Reader(const void* data, size_t bytes, Kind kind)
      : at_(static_cast<const uint8_t*>(data)), left_(data ? bytes : 0)
  {
    require(u32() == magic);
    require(u32() == formatVersion);
    require(u32() == kind);
    const uint32_t payload = u32(); // read first: left_ is what comes after it
    require(payload == left_);
  }

  uint8_t u8(uint8_t highest = 255)
  {
    if (left_ == 0)
      ok_ = false;
    if (!ok_)
      return 0;
    --left_;
    const uint8_t value = *at_++;
    require(value <= highest);
    return value;
  }
  uint16_t u16(uint16_t highest = 65535)
  {
    const unsigned low = u8();
    const unsigned value = low | static_cast<unsigned>(u8()) << 8;
    require(value <= highest);
    return static_cast<uint16_t>(value);
  }
  uint32_t u32()
  {
    const uint32_t low = u16();
    return low | static_cast<uint32_t>(u16()) << 16;
  }
  float f32(float lowest, float highest)
  {
    const float value = std::bit_cast<float>(u32());
    require(value >= lowest && value <= highest); // also turns away what is no number
    return value;
  }
  std::string text() { return characters(u8(longestName)); }
  std::string path()
  {
    const std::string value = characters(u16(longestPath));
    require(!value.empty() && value.find('\0') == std::string::npos);
    return value;
  }

  void require(bool condition) { ok_ = ok_ && condition; }
  bool ok() const { return ok_; }
  bool finished() const { return ok_ && left_ == 0; }

private:
  std::string characters(size_t size)
  {
    require(size <= left_);
    if (!ok_)
      return {};
    std::string value(reinterpret_cast<const char*>(at_), size);
    at_ += size;
    left_ -= size;
    return value;
  }

  const uint8_t* at_;
  size_t left_;
  bool ok_ = true;
};

void writeParameters(Writer& out, const ParameterValues& values)
{
  out.u16(values.size());
  for (float value : values)
    out.f32(value);
}

void readParameters(Reader& in, ParameterValues& values)
{
  in.require(in.u16() == values.size());
  for (float& value : values)
    value = in.f32(0.0f, 1.0f);
}

void writeChannel(Writer& out, const ChannelState& channel)
{
  out.u16(channel.bank);
  out.u16(channel.nextBank);
  out.u8(channel.program);
  out.u8(channel.pressure);
  out.u8(channel.bendRange);
  out.u8(channel.numberIsNonRegistered);
  out.u16(channel.bend);
  for (uint8_t value : channel.controllers)
    out.u8(value);
  for (float value : channel.generators)
    out.f32(value);
}

/// How far messages can move each generator, in steps of widestData: data entry goes that far, and
/// FluidSynth takes it once, twice or four times. Those with 0 can't be reached.
constexpr float widestData = 8192.0f;
constexpr std::array<uint8_t, generatorCount> generatorScales{
    1, 1, 1, 1, 1, 2, 2, 2, 2, 1, // sample offsets, modulation of pitch, filter
    2, 2, 1, 1, 0, 1, 1, 1, 0, 0, // modulation of filter and volume, sends, pan
    0, 2, 4, 2, 4, 2, 2, 2, 2, 1, // oscillators, modulation envelope
    2, 1, 1, 2, 2, 2, 2, 1, 2, 1, // volume envelope
    1, 0, 0, 0, 0, 1, 0, 1, 1, 0, // key, velocity, attenuation
    1, 1, 1, 0, 0, 0, 1, 0, 0, 1, // tuning
    0, 2, 1, 0};

void readChannel(Reader& in, ChannelState& channel)
{
  channel.bank = in.u16(highestBank);
  channel.nextBank = in.u16(highestBank);
  channel.program = in.u8(127);
  channel.pressure = in.u8(127);
  channel.bendRange = in.u8(highestBendRange);
  channel.numberIsNonRegistered = in.u8(1) != 0;
  channel.bend = in.u16(16383);
  for (uint8_t& value : channel.controllers)
    value = in.u8(127);
  for (size_t i = 0; i < generatorCount; ++i) {
    const float widest = generatorScales[i] * widestData;
    channel.generators[i] = in.f32(-widest, widest);
  }
}

void readNames(Reader& in, std::map<uint8_t, std::string>& names)
{
  const unsigned count = in.u8(programCount);
  for (unsigned i = 0; i < count && in.ok(); ++i) {
    const uint8_t slot = in.u8(programCount - 1);
    in.require(names.emplace(slot, in.text()).second);
  }
}

} // namespace

std::vector<uint8_t> writeBank(const Bank& bank)
{
  Writer out(bankKind);
  writeParameters(out, bank.parameters);
  for (const ChannelState& channel : bank.channels)
    writeChannel(out, channel);
  out.u8(bank.names.size());
  for (const auto& [slot, name] : bank.names) {
    out.u8(slot);
    out.text(name);
  }
  if (!bank.font.empty() && bank.font.size() <= longestPath)
    out.path(bank.font);
  return out.finish();
}

std::vector<uint8_t> writeProgram(const Program& program)
{
  Writer out(programKind);
  writeParameters(out, program.parameters);
  out.u8(program.program);
  if (program.bank != 0)
    out.u16(program.bank);
  return out.finish();
}

std::optional<Bank> readBank(const void* data, size_t bytes)
{
  Reader in(data, bytes, bankKind);
  Bank bank{};
  readParameters(in, bank.parameters);
  for (ChannelState& channel : bank.channels)
    readChannel(in, channel);
  readNames(in, bank.names);
  if (!in.finished())
    bank.font = in.path();
  if (!in.finished())
    return std::nullopt;
  return bank;
}

std::optional<Program> readProgram(const void* data, size_t bytes)
{
  Reader in(data, bytes, programKind);
  Program program{};
  readParameters(in, program.parameters);
  program.program = in.u8(programCount - 1);
  if (!in.finished())
    program.bank = in.u16(highestBank);
  if (!in.finished())
    return std::nullopt;
  return program;
}

} // namespace soundfont
