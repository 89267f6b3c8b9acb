#pragma once

#include <jack/jack.h>

#include <atomic>
#include <string>
#include <vector>

/// A client of a JACK server with input ports "in_1" and so on, which keeps what it hears.
class JackListener {
public:
  JackListener() = default;
  JackListener(const JackListener&) = delete;
  JackListener& operator=(const JackListener&) = delete;
  ~JackListener()
  {
    silenceLibrary(); // a driver may have given the library its voice back
    if (client_)
      jack_client_close(client_);
  }

  /// False without a server. Nothing is kept before listening is set.
  bool open(const char* name, int ports)
  {
    silenceLibrary();
    client_ = jack_client_open(name, JackNoStartServer, nullptr);
    if (!client_)
      return false;
    for (int i = 1; i <= ports; ++i)
      ports_.push_back(jack_port_register(client_, ("in_" + std::to_string(i)).c_str(),
                                          JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0));
    jack_set_process_callback(client_, hearPort, this);
    return true;
  }
  /// Room for so many frames, and what comes after them isn't kept.
  bool activate(size_t frames)
  {
    samples.resize(frames * ports_.size());
    return jack_activate(client_) == 0;
  }
  bool connect(const std::string& from, size_t port = 0) const
  {
    return jack_connect(client_, from.c_str(), jack_port_name(ports_[port])) == 0;
  }
  jack_client_t* client() const { return client_; }

  std::atomic<bool> listening{false};
  std::atomic<int> heard{0};  ///< frames; those before it are in samples
  std::vector<float> samples; ///< interleaved

private:
  static void silenceLibrary()
  {
    jack_set_error_function([](const char*) {});
    jack_set_info_function([](const char*) {});
  }

  static int hearPort(jack_nframes_t frames, void* self)
  {
    auto& listener = *static_cast<JackListener*>(self);
    const int at = listener.heard;
    const size_t ports = listener.ports_.size();
    float* place = listener.samples.data() + size_t(at) * ports;
    if (!listener.listening || (size_t(at) + frames) * ports > listener.samples.size())
      return 0;
    for (size_t port = 0; port < ports; ++port) {
      auto* input = static_cast<float*>(jack_port_get_buffer(listener.ports_[port], frames));
      for (jack_nframes_t i = 0; i < frames; ++i)
        place[i * ports + port] = input[i];
    }
    listener.heard = at + static_cast<int>(frames);
    return 0;
  }

  jack_client_t* client_ = nullptr;
  std::vector<jack_port_t*> ports_;
};
