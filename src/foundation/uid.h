#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orbi {

/// A 128-bit id, 16 bytes in the memory order of the platform's GUID: a little-endian 32-bit
/// number, two little-endian 16-bit numbers, then eight bytes in order. A default one is all zero.
class FUID {
public:
  constexpr FUID() = default;
  constexpr FUID(uint32_t a, uint32_t b, uint32_t c, uint32_t d)
      : bytes_{byteOf(a, 0),  byteOf(a, 8),  byteOf(a, 16), byteOf(a, 24),
               byteOf(b, 16), byteOf(b, 24), byteOf(b, 0),  byteOf(b, 8),
               byteOf(c, 24), byteOf(c, 16), byteOf(c, 8),  byteOf(c, 0),
               byteOf(d, 24), byteOf(d, 16), byteOf(d, 8),  byteOf(d, 0)}
  {
  }

  static FUID generate(); ///< a new one, which nobody else has

  constexpr const uint8_t* bytes() const { return bytes_.data(); }
  constexpr bool operator==(const FUID&) const = default;
  constexpr bool isZero() const { return *this == FUID{}; }

  /// The four numbers from which the same id can be made.
  std::array<uint32_t, 4> words() const;

  // Plain form: 32 upper-case digits, the first three fields printed as numbers
  std::string toPlainText() const;
  bool fromPlainText(std::string_view text); ///< false and unchanged unless 32 characters long

  // Byte form: two digits a byte in memory order
  std::string toByteText() const;
  bool fromByteText(std::string_view text); ///< lenient: always true, an empty text changes nothing

  // Short form: 26 digits of five bits, lowest bit first
  std::string toShortText() const;
  bool fromShortText(std::string_view text); ///< false and unchanged unless 26 characters long

  /// Registry form, "{8d5f0a52-3f1e-4a8c-9b0e-6a3f0c1d2e4f}", either case. False leaves it
  /// unchanged.
  bool fromRegistryText(std::string_view text);

  /// Source form for the debugger. Styles 0 INLINE_UID, 1 DECLARE_UID, 2 FUID, else
  /// DECLARE_CLASS_IID. A null target sends the text with a line end to the debug output; a target
  /// takes at least 100 bytes.
  void printSource(char* target, int style) const;

private:
  static constexpr uint8_t byteOf(uint32_t word, int shift)
  {
    return static_cast<uint8_t>(word >> shift);
  }

  std::array<uint8_t, 16> bytes_{};
};

static_assert(sizeof(FUID) == 16);

} // namespace orbi
