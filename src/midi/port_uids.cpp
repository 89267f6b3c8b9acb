#include "midi/port_uids.h"

#include "foundation/uid_object.h"
#include "persist/default_pool.h"

#include <algorithm>

namespace orbi {

namespace {

constexpr const char* keyOrder = "Port Order";
constexpr const char* keyPorts = "Ports";

std::string keyOf(const std::string& port)
{
  return "PortUID " + port;
}

} // namespace

PPortUIDs::PPortUIDs(FDefaults* settings) : settings_(settings)
{
  auto* stored = castTo<FAttributes>(settings ? settings->getObject(keyOrder) : nullptr);
  const FAttrList* list = stored ? stored->getList(keyPorts) : nullptr;
  for (uint32_t i = 0; list && i < list->count(); ++i) {
    AttributeVariant value = list->valueAt(i);
    if ((value.tag & ~tagOwned) == tagText && value.text)
      ports_.emplace_back(value.text);
    value.clear();
  }
}

PPortUIDs::~PPortUIDs()
{
  if (!settings_ || !isChanged_)
    return;
  const auto tooMany =
      static_cast<std::ptrdiff_t>(ports_.size() - std::min(ports_.size(), mostKept));
  for (auto port = ports_.begin(); port != ports_.begin() + tooMany; ++port)
    settings_->remove(keyOf(*port).c_str());
  ports_.erase(ports_.begin(), ports_.begin() + tooMany);
  auto order = make<FAttributes>();
  for (const std::string& port : ports_)
    order->appendString(keyPorts, port.c_str());
  settings_->setObject(keyOrder, order.get(), false);
}

FUID PPortUIDs::take(const std::string& port)
{
  if (ports_.empty() || ports_.back() != port) {
    std::erase(ports_, port);
    ports_.push_back(port);
    isChanged_ = true;
  }
  const std::string key = keyOf(port);
  if (auto* kept = castTo<CmUID>(settings_ ? settings_->getObject(key.c_str()) : nullptr))
    return kept->uid;
  const FUID uid = FUID::generate();
  if (settings_)
    settings_->setObject(key.c_str(), make<CmUID>(uid).detach(), true);
  return uid;
}

} // namespace orbi
