#pragma once

#include "foundation/uid.h"

#include <string>
#include <vector>

namespace orbi {

class FDefaults;

/// The UIDs under which the ports of a device are known across runs, in the device's settings.
/// Other programs' ports come under ever new names, so only those are kept that came last. Main
/// thread.
class PPortUIDs {
public:
  static constexpr size_t mostKept = 1000;

  explicit PPortUIDs(FDefaults* settings); ///< null: nothing is kept
  PPortUIDs(const PPortUIDs&) = delete;
  ~PPortUIDs(); ///< writes down what came

  FUID take(const std::string& port); ///< of a port that comes: the stored one, or a new one

private:
  FDefaults* const settings_;
  std::vector<std::string> ports_; ///< in the order in which they came
  bool isChanged_ = false;
};

} // namespace orbi
