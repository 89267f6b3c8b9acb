#pragma once

#include "platform/linux/system_library.h"

#include <alsa/asoundlib.h>

#include <cstdint>
#include <memory>
#include <string>

namespace orbi::platform {

#define ORBI_ALSA_FUNCTIONS(use)                                                                   \
  use(snd_lib_error_set_local) use(snd_seq_alloc_queue) use(snd_seq_client_id)                     \
      use(snd_seq_client_info_free) use(snd_seq_client_info_get_client) use(                       \
          snd_seq_client_info_get_name) use(snd_seq_client_info_malloc)                            \
          use(snd_seq_client_info_set_client) use(snd_seq_close) use(snd_seq_connect_from) use(    \
              snd_seq_connect_to) use(snd_seq_control_queue) use(snd_seq_create_port)              \
              use(snd_seq_drain_output) use(snd_seq_drop_input) use(snd_seq_event_input) use(      \
                  snd_seq_event_output_direct) use(snd_seq_get_port_info) use(snd_seq_open)        \
                  use(snd_seq_poll_descriptors) use(snd_seq_port_info_free) use(                   \
                      snd_seq_port_info_get_capability) use(snd_seq_port_info_get_name)            \
                      use(snd_seq_port_info_get_port) use(snd_seq_port_info_get_type) use(         \
                          snd_seq_port_info_get_read_use) use(snd_seq_port_info_get_write_use)     \
                          use(snd_seq_port_info_malloc) use(snd_seq_port_info_set_capability)      \
                              use(snd_seq_port_info_set_client) use(snd_seq_port_info_set_name)    \
                                  use(snd_seq_port_info_set_port)                                  \
                                      use(snd_seq_port_info_set_timestamp_queue)                   \
                                          use(snd_seq_port_info_set_timestamp_real)                \
                                              use(snd_seq_port_info_set_timestamping)              \
                                                  use(snd_seq_port_info_set_type) use(             \
                                                      snd_seq_query_next_client)                   \
                                                      use(snd_seq_query_next_port) use(            \
                                                          snd_seq_set_client_name)                 \
                                                          use(snd_seq_set_client_pool_input) use(  \
                                                              snd_seq_set_client_pool_output)      \
                                                              use(snd_seq_set_input_buffer_size)

/// ALSA's library, whose functions keep their names as members.
struct AlsaLibrary {
  bool load(); ///< false when it isn't installed, or is too old

#define ORBI_ALSA_MEMBER(name) decltype(&::name) name = nullptr;
  ORBI_ALSA_FUNCTIONS(ORBI_ALSA_MEMBER)
#undef ORBI_ALSA_MEMBER

private:
  SystemLibrary library_;
  bool complete_ = false;
};

bool alsaSequencerIsThere(); ///< its device; asks nothing of the library

/// A client of the sequencer. One thread may read while one other writes.
class AlsaClient {
public:
  /// Null without the sequencer, or when it has no room for another client.
  static std::unique_ptr<AlsaClient> open(const AlsaLibrary& library, const std::string& name);
  ~AlsaClient();
  AlsaClient(const AlsaClient&) = delete;
  AlsaClient& operator=(const AlsaClient&) = delete;

  const AlsaLibrary& library() const { return library_; }
  snd_seq_t* handle() const { return handle_; }
  int id() const { return library_.snd_seq_client_id(handle_); }
  int descriptor() const; ///< to wait for input; -1 on failure

  /// A port whose input is stamped by `queue` unless that is negative. Its number, or less than 0.
  int addPort(const std::string& name, unsigned capabilities, int queue);

  // Whether anything is connected with our port, which
  bool isWrittenTo(int port) const; ///< may send to it
  bool isReadFrom(int port) const;  ///< hears what it sends

private:
  using UseCount = int (*)(const snd_seq_port_info_t*);
  bool isUsed(int port, UseCount count) const;

  AlsaClient(const AlsaLibrary& library, snd_seq_t* handle) : library_(library), handle_(handle) {}

  const AlsaLibrary& library_;
  snd_seq_t* const handle_;
};

} // namespace orbi::platform
