#pragma once

#include "foundation/object.h"

namespace orbi {

class IParameterHost;

/// The studio as those see it who know only interfaces. Main thread. Devices are handed out
/// borrowed, null for none.
class IStudio : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x53545544, 0x494F0001, 1};

  /// How long a device that is made stays: until the end of the run, or with the saved setup.
  enum class Stay { saved, transient };

  /// Index 0 leaves the name as it is; a higher one puts itself and one behind it.
  virtual IParameterHost* createDeviceByClass(const FUID& classID, int32_t index, Stay stay) = 0;
  virtual IParameterHost* createDeviceByName(const char* category, const char* name, int32_t index,
                                             Stay stay) = 0;
  /// resultBadArgument for null, for what is no device and for one that stays; 1 on failure.
  virtual CmResult removeExternalDevice(FUnknown* device) = 0;
  virtual IParameterHost* findDeviceHost(const char* path) = 0;
  /// Has the components of that name look for devices; a null sub-name, as a null name, means any.
  virtual void runDetection(const char* name, const char* subName) = 0;

protected:
  ~IStudio() = default;
};

} // namespace orbi
