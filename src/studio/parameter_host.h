#pragma once

#include "foundation/object.h"

namespace orbi {

/// A node and its parameters as those see it who know only interfaces. Main thread. Texts hold
/// until the same question is asked again, of whichever node; they are never null.
class IParameterHost : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x50415248, 0x4F535401, 1};

  virtual const char* getClassNameText() = 0;
  virtual const char* getDeviceNameText() = 0; ///< of the device that the node belongs to
  virtual int32_t getParameterCount() = 0;
  virtual int32_t getParameterTag(int32_t index) = 0; ///< -1 for none
  virtual const char* getParameterNameText(int32_t tag) = 0;
  virtual int32_t getParameterIntValue(int32_t tag) = 0;
  virtual int32_t getParameterCount2() = 0; ///< the same once more
  virtual int32_t countChildNodes() = 0;
  virtual IParameterHost* getChildNode(int32_t index) = 0; ///< borrowed; null for none
  virtual const char* getPathText() = 0;
  /// Without a text of the node's own the value's one is given, if that is wanted.
  virtual const char* getParameterTextValue(int32_t tag, bool orOfValue) = 0;

protected:
  ~IParameterHost() = default;
};

} // namespace orbi
