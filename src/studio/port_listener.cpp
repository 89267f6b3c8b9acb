#include "studio/port_listener.h"

#include <algorithm>

namespace orbi {

bool PPortListeners::add(PPortListener* listener)
{
  if (!listener || std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end())
    return false;
  listeners_.push_back(listener);
  return true;
}

bool PPortListeners::remove(PPortListener* listener)
{
  auto place = std::find(listeners_.begin(), listeners_.end(), listener);
  if (!listener || place == listeners_.end())
    return false;
  if (rounds_ > 0)
    *place = nullptr;
  else
    listeners_.erase(place);
  return true;
}

void PPortListeners::tell(PPort* port, PPortNotice notice)
{
  ++rounds_;
  const size_t count = listeners_.size();
  for (size_t i = 0; i < count; ++i)
    if (PPortListener* listener = listeners_[i])
      listener->portChanged(port, notice);
  if (--rounds_ == 0)
    std::erase(listeners_, nullptr);
}

} // namespace orbi
