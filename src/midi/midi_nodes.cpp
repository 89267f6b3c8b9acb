#include "midi/midi_nodes.h"

#include "foundation/class_registry.h"
#include "persist/translator.h"

#include <array>

namespace orbi {

CM_REGISTER_ABSTRACT(PMidiParameterNode); // nodes belong to a device, which makes them
CM_REGISTER_ABSTRACT(PMidiChannelNode);
CM_REGISTER_ABSTRACT(PMidiPortNode);

namespace {

constexpr const char* channelLabel = "Channel ";

struct ChannelName {
  CmString plain;
  CmString shown;
};
using ChannelNames = std::array<ChannelName, PMidiChannelNode::channelCount>;

ChannelNames makeChannelNames()
{
  ChannelNames names;
  for (int channel = 0; channel < PMidiChannelNode::channelCount; ++channel) {
    ChannelName& name = names[static_cast<size_t>(channel)];
    name.plain.format("%s%d", channelLabel, channel + 1);
    name.shown.format("%s%d", UTranslator::text(channelLabel), channel + 1);
  }
  return names;
}

/// Made once for the whole program: every port has all of them, and there may be many ports.
const ChannelName& channelName(int32_t channel)
{
  static const ChannelNames names = makeChannelNames();
  return names[static_cast<size_t>(channel)];
}

bool sameType(const PPort& a, const PPort& b)
{
  return a.getType() == b.getType() || a.isType(b.getType());
}

} // namespace

PMidiChannelNode::PMidiChannelNode(int32_t channel)
    : CmClass(channelName(channel).plain.view(), channelName(channel).shown.text()),
      channel_(channel)
{
}

PMidiPortNode::PMidiPortNode(PPort& port)
    : CmClass(port.getName().view(), port.getName().text()), port_(Ref<PPort>::share(&port))
{
  for (int32_t channel = 0; channel < PMidiChannelNode::channelCount; ++channel)
    addChild(make<PMidiChannelNode>(channel).get());
}

bool PMidiPortNode::standsFor(const PPort& port) const
{
  return port_.get() == &port || (port_->getName().view() == port.getName().view() &&
                                  sameType(*port_, port) && port_->isOutput() == port.isOutput());
}

PMidiChannelNode* PMidiPortNode::channelNode(int32_t channel) const
{
  for (int32_t i = 0; i < countChildren(); ++i)
    if (auto* node = castTo<PMidiChannelNode>(childAt(i)); node && node->channel() == channel)
      return node;
  return nullptr;
}

} // namespace orbi
