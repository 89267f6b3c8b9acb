#pragma once

#include "studio/device_node.h"
#include "studio/port.h"

namespace orbi {

/// Node for a port of a MIDI device, or for a channel of one.
class PMidiParameterNode : public CmClass<PMidiParameterNode, PDeviceNode> {
public:
  static constexpr const char* className = "PMidiParameterNode";

protected:
  using CmClass::CmClass;
};

/// One MIDI channel.
class PMidiChannelNode final : public CmClass<PMidiChannelNode, PMidiParameterNode> {
public:
  static constexpr const char* className = "PMidiChannelNode";
  static constexpr int32_t channelCount = 16;

  explicit PMidiChannelNode(int32_t channel); ///< 0 to 15

  int32_t channel() const { return channel_; }

private:
  int32_t channel_;
};

/// One port, with a child for each channel.
class PMidiPortNode final : public CmClass<PMidiPortNode, PMidiParameterNode> {
public:
  static constexpr const char* className = "PMidiPortNode";

  explicit PMidiPortNode(PPort& port);

  PPort* port() const { return port_.get(); }
  /// This port, or one that was made anew for the same thing: of the same name, type and direction.
  bool standsFor(const PPort& port) const;
  PMidiChannelNode* channelNode(int32_t channel) const; ///< null outside of 0 to 15

private:
  Ref<PPort> port_;
};

} // namespace orbi
