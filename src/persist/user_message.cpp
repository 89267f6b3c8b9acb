#include "persist/user_message.h"

namespace orbi {

FUserMessage::~FUserMessage()
{
  if (instance_ == this)
    instance_ = nullptr;
}

void FUserMessage::tell(std::string_view text)
{
  if (instance_ && instance_->enabled_)
    instance_->show(text);
}

} // namespace orbi
