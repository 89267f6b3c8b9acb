#pragma once

#include "platform/linux/system_library.h"

#include <jack/jack.h>
#include <jack/midiport.h>

namespace orbi::platform {

// What a JACK library must have for us, whoever made it.
#define ORBI_JACK_FUNCTIONS(use)                                                                   \
  use(jack_activate) use(jack_client_close) use(jack_client_name_size) use(jack_client_open)       \
      use(jack_connect) use(jack_deactivate) use(jack_free) use(jack_get_client_name)              \
          use(jack_get_cycle_times) use(jack_get_ports) use(jack_get_sample_rate)                  \
              use(jack_get_time) use(jack_midi_clear_buffer) use(jack_midi_event_get)              \
                  use(jack_midi_event_reserve) use(jack_midi_get_event_count)                      \
                      use(jack_midi_max_event_size) use(jack_on_shutdown) use(jack_port_by_id)     \
                          use(jack_port_by_name) use(jack_port_connected) use(jack_port_flags)     \
                              use(jack_port_get_aliases) use(jack_port_get_buffer)                 \
                                  use(jack_port_get_connections) use(jack_port_is_mine)            \
                                      use(jack_port_name) use(jack_port_name_size)                 \
                                          use(jack_port_register) use(jack_port_unregister)        \
                                              use(jack_set_error_function)                         \
                                                  use(jack_set_info_function)                      \
                                                      use(jack_set_port_connect_callback)          \
                                                          use(jack_set_port_registration_callback) \
                                                              use(jack_set_process_callback)

/// JACK's client library, whose functions keep their names as members.
struct JackLibrary {
  bool load();          ///< false when it isn't installed, or is too old
  void silence() const; ///< it prints by default, and others in this process give it its voice back

#define ORBI_JACK_MEMBER(name) decltype(&::name) name = nullptr;
  ORBI_JACK_FUNCTIONS(ORBI_JACK_MEMBER)
#undef ORBI_JACK_MEMBER

private:
  SystemLibrary library_;
  bool complete_ = false;
};

} // namespace orbi::platform
