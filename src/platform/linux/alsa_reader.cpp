#ifdef ORBI_HAVE_ALSA

#include "platform/linux/alsa_reader.h"

#include <cerrno>
#include <iterator>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace orbi::platform {

AlsaReader::~AlsaReader()
{
  stop();
}

bool AlsaReader::start(const std::string& threadName)
{
  const int descriptor = client_.descriptor();
  stopDescriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (descriptor >= 0 && stopDescriptor_ >= 0)
    thread_ = ThreadHandle::start(threadName, [this, descriptor] { run(descriptor); });
  if (!thread_) {
    stop();
    return false;
  }
  thread_.id(); // from now on its priority is the caller's
  return true;
}

void AlsaReader::stop()
{
  if (thread_) {
    eventfd_write(stopDescriptor_, 1);
    thread_.join();
    thread_ = {};
  }
  if (stopDescriptor_ >= 0)
    close(std::exchange(stopDescriptor_, -1));
}

void AlsaReader::run(int descriptor)
{
  pollfd waiting[] = {{descriptor, POLLIN, 0}, {stopDescriptor_, POLLIN, 0}};
  for (;;) {
    if (poll(waiting, std::size(waiting), -1) < 0 && errno != EINTR)
      return;
    if (waiting[1].revents != 0)
      return;
    if ((waiting[0].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0)
      return; // it would come back at once for ever
    if ((waiting[0].revents & POLLIN) != 0)
      readAll();
  }
}

void AlsaReader::readAll()
{
  for (;;) {
    snd_seq_event_t* event = nullptr;
    const int result = client_.library().snd_seq_event_input(client_.handle(), &event);
    if (result == -ENOSPC)
      reader_(nullptr);
    else if (result < 0)
      return;
    else if (event != nullptr)
      reader_(event);
  }
}

} // namespace orbi::platform

#endif
