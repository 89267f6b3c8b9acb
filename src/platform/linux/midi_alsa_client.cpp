#ifdef ORBI_HAVE_ALSA

#include "platform/linux/midi_alsa_client.h"

#include <poll.h>
#include <unistd.h>

namespace orbi::platform {

namespace {

constexpr std::size_t poolEvents = 2000;          // the most that the sequencer grants
constexpr std::size_t inputBufferBytes = 1 << 16; // more than the longest event

} // namespace

bool AlsaLibrary::load()
{
  if (complete_)
    return true;
  if (!library_.load("libasound.so.2"))
    return false;
  complete_ = true;
#define ORBI_ALSA_FIND(name) complete_ = library_.find(name, #name) && complete_;
  ORBI_ALSA_FUNCTIONS(ORBI_ALSA_FIND)
#undef ORBI_ALSA_FIND
  return complete_;
}

bool alsaSequencerIsThere()
{
  return access("/dev/snd/seq", R_OK | W_OK) == 0;
}

std::unique_ptr<AlsaClient> AlsaClient::open(const AlsaLibrary& library, const std::string& name)
{
  // Only for this thread, so that a driver's own choice stays.
  const auto before = library.snd_lib_error_set_local(
      [](const char*, int, const char*, int, const char*, va_list) {});
  snd_seq_t* handle = nullptr;
  const int result =
      library.snd_seq_open(&handle, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK);
  library.snd_lib_error_set_local(before);
  if (result < 0)
    return nullptr;
  library.snd_seq_set_client_name(handle, name.c_str());
  library.snd_seq_set_client_pool_input(handle, poolEvents);
  library.snd_seq_set_client_pool_output(handle, poolEvents);
  library.snd_seq_set_input_buffer_size(handle, inputBufferBytes);
  return std::unique_ptr<AlsaClient>(new AlsaClient(library, handle));
}

AlsaClient::~AlsaClient()
{
  library_.snd_seq_close(handle_);
}

int AlsaClient::descriptor() const
{
  pollfd waiting{};
  return library_.snd_seq_poll_descriptors(handle_, &waiting, 1, POLLIN) == 1 ? waiting.fd : -1;
}

int AlsaClient::addPort(const std::string& name, unsigned capabilities, int queue)
{
  snd_seq_port_info_t* port = nullptr;
  if (library_.snd_seq_port_info_malloc(&port) < 0)
    return -1;
  library_.snd_seq_port_info_set_name(port, name.c_str());
  library_.snd_seq_port_info_set_capability(port, capabilities);
  library_.snd_seq_port_info_set_type(port, SND_SEQ_PORT_TYPE_MIDI_GENERIC |
                                                SND_SEQ_PORT_TYPE_APPLICATION);
  if (queue >= 0) {
    library_.snd_seq_port_info_set_timestamping(port, 1);
    library_.snd_seq_port_info_set_timestamp_real(port, 1);
    library_.snd_seq_port_info_set_timestamp_queue(port, queue);
  }
  const int result = library_.snd_seq_create_port(handle_, port);
  const int number = result < 0 ? result : library_.snd_seq_port_info_get_port(port);
  library_.snd_seq_port_info_free(port);
  return number;
}

bool AlsaClient::isWrittenTo(int port) const
{
  return isUsed(port, library_.snd_seq_port_info_get_write_use);
}

bool AlsaClient::isReadFrom(int port) const
{
  return isUsed(port, library_.snd_seq_port_info_get_read_use);
}

bool AlsaClient::isUsed(int port, UseCount count) const
{
  snd_seq_port_info_t* info = nullptr;
  if (port < 0 || library_.snd_seq_port_info_malloc(&info) < 0)
    return false;
  const bool isUsed = library_.snd_seq_get_port_info(handle_, port, info) >= 0 && count(info) > 0;
  library_.snd_seq_port_info_free(info);
  return isUsed;
}

} // namespace orbi::platform

#endif
