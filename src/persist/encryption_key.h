#pragma once

#include "foundation/ref.h"
#include "foundation/stream.h"

#include <array>
#include <vector>

namespace orbi {

/// What a keyed archive holds instead of its key. All zero: the archive isn't keyed.
using FKeyBlock = std::array<uint8_t, 32>;

/// Knows one key and the cipher that goes with it. The application installs its keys at the start.
class FEncryptionKey : public CmClass<FEncryptionKey, CmObject> {
public:
  static constexpr const char* className = "FEncryptionKey";

  virtual bool fits(const FKeyBlock& block) const = 0;
  virtual FKeyBlock newBlock() const = 0; ///< for an archive that is written, not all zero
  /// The stream through the cipher, for reading and writing; each byte keeps its position. It keeps
  /// a reference to the given one.
  virtual Ref<FStream> openStream(FStream* enciphered, const FKeyBlock& block) const = 0;

  // The installed ones. Main thread.
  static void install(Ref<FEncryptionKey> key) { installed_.push_back(std::move(key)); }
  static void uninstall(const FEncryptionKey* key);
  static Ref<FEncryptionKey> findFor(const FKeyBlock& block); ///< the first that fits

private:
  static inline std::vector<Ref<FEncryptionKey>> installed_;
};

} // namespace orbi
