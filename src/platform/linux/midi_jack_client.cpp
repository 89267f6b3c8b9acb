#ifdef ORBI_HAVE_JACK

#include "platform/linux/midi_jack_client.h"

#include "platform/clock.h"
#include "platform/midi_port_names.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

namespace orbi::platform {

namespace {

constexpr std::size_t longestPortName = 200;
constexpr int mostTries = 4;
constexpr std::uint32_t mostDoublings = 5;       // of the time after which it is tried again
constexpr std::int64_t longestPass = 20'000'000; // nanoseconds, of a server that has gone

void ignoreWords(const char*) {}

} // namespace

// ---- the library --------------------------------------------------------------------------------

bool JackLibrary::load()
{
  if (complete_)
    return true;
  if (!library_.load("libjack.so.0"))
    return false;
  complete_ = true;
#define ORBI_JACK_FIND(name) complete_ = library_.find(name, #name) && complete_;
  ORBI_JACK_FUNCTIONS(ORBI_JACK_FIND)
#undef ORBI_JACK_FIND
  return complete_;
}

void JackLibrary::silence() const
{
  jack_set_error_function(ignoreWords);
  jack_set_info_function(ignoreWords);
}

// ---- joining and leaving ------------------------------------------------------------------------

std::unique_ptr<JackClient> JackClient::join(const JackLibrary& library, const std::string& name,
                                             MidiChangeNotice& notice)
{
  std::string clientName = name;
  std::replace(clientName.begin(), clientName.end(), ':', '-'); // parts client from port
  const int room = std::max(library.jack_client_name_size() - 1, 1);
  clientName = cutUtf8(clientName, static_cast<std::size_t>(room));

  std::unique_ptr<JackClient> client(new JackClient(library, notice));
  library.silence();
  client->handle_ = library.jack_client_open(clientName.c_str(), JackNoStartServer, nullptr);
  if (client->handle_ == nullptr || !client->setUp())
    return nullptr;
  return client;
}

bool JackClient::setUp()
{
  virtualInput_ = library_.jack_port_register(handle_, "in", JACK_DEFAULT_MIDI_TYPE,
                                              JackPortIsInput | JackPortIsTerminal, 0);
  if (virtualInput_ == nullptr)
    return false;
  perFrame_ = 1e6 / std::max(library_.jack_get_sample_rate(handle_), 1U);
  setCallbacks();
  return isActive_ = library_.jack_activate(handle_) == 0;
}

void JackClient::setCallbacks()
{
  library_.jack_set_port_registration_callback(
      handle_,
      [](jack_port_id_t port, int isThere, void* self) {
        static_cast<JackClient*>(self)->portRegistered(port, isThere != 0);
      },
      this);
  library_.jack_set_port_connect_callback(
      handle_,
      [](jack_port_id_t one, jack_port_id_t other, int, void* self) {
        static_cast<JackClient*>(self)->portConnected(one, other);
      },
      this);
  library_.jack_on_shutdown(
      handle_,
      [](void* self) {
        auto& client = *static_cast<JackClient*>(self);
        client.gone_.store(true, std::memory_order_release);
        client.notice_.changed();
      },
      this);
}

JackClient::~JackClient()
{
  if (handle_ == nullptr || gone())
    return;
  usersRest_.store(true);
  waitForPass();
  library_.jack_client_close(handle_);
}

// ---- ports --------------------------------------------------------------------------------------

void JackClient::portRegistered(jack_port_id_t port, bool isThere)
{
  if (jack_port_t* place = library_.jack_port_by_id(handle_, port); place != nullptr && !isThere) {
    const std::lock_guard guard(departuresMutex_);
    ++departures_[place];
  }
  notice_.changed();
}

std::uint64_t JackClient::generation(jack_port_t* port)
{
  const std::lock_guard guard(departuresMutex_);
  const auto found = departures_.find(port);
  const std::uint64_t count = refusals_ + (found != departures_.end() ? found->second : 0U);
  return count << 32 | static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(port));
}

void JackClient::portConnected(jack_port_id_t one, jack_port_id_t other)
{
  for (const jack_port_id_t id : {one, other})
    if (jack_port_t* port = library_.jack_port_by_id(handle_, id);
        port != nullptr && library_.jack_port_is_mine(handle_, port) != 0) {
      connectedAt_.store(steadyNanoseconds());
      notice_.changed();
      return;
    }
}

std::vector<std::string> JackClient::connections(jack_port_t* port) const
{
  std::vector<std::string> others;
  const char** names = library_.jack_port_get_connections(port);
  for (std::size_t i = 0; names != nullptr && names[i] != nullptr; ++i)
    others.emplace_back(names[i]);
  library_.jack_free(names);
  return others;
}

jack_port_t* JackClient::addPort(const std::string& name, unsigned long flags)
{
  ++addedPorts_;
  if (!gone() && !takesPart_ && refusedAt_ == 0)
    takePart(true);
  std::string base = name;
  std::replace(base.begin(), base.end(), ':', '-');
  base = cutUtf8(base, longestPortName);
  std::string unique = base;
  for (int number = 2; number < 10; ++number) {
    if (gone() || !takesPart_)
      break;
    jack_port_t* port =
        library_.jack_port_register(handle_, unique.c_str(), JACK_DEFAULT_MIDI_TYPE, flags, 0);
    if (port != nullptr)
      return port;
    unique = base + " " + std::to_string(number);
  }
  --addedPorts_;
  return nullptr;
}

void JackClient::removePort(jack_port_t* port)
{
  --addedPorts_;
  std::erase_if(waiting_, [port](const Connection& waiting) { return waiting.own == port; });
  if (gone())
    return;
  library_.jack_port_unregister(handle_, port);
  if (addedPorts_ == 0)
    notice_.changed(); // for settle
}

bool JackClient::connect(jack_port_t* own, const std::string& foreign)
{
  const Connection wanted{own, foreign};
  if (makeConnection(wanted))
    return true;
  if (gone() || !isThere(foreign))
    return false;
  waiting_.push_back(wanted);
  return true;
}

void JackClient::connectWaiting()
{
  if (gone() || waiting_.empty())
    return;
  library_.silence();
  for (Connection& waiting : waiting_)
    ++waiting.tries;
  std::erase_if(waiting_, [this](const Connection& waiting) {
    return !isThere(waiting.foreign) || makeConnection(waiting);
  });
}

bool JackClient::isThere(const std::string& foreign) const
{
  return library_.jack_port_by_name(handle_, foreign.c_str()) != nullptr;
}

bool JackClient::makeConnection(const Connection& connection) const
{
  const char* own = library_.jack_port_name(connection.own);
  const char* foreign = connection.foreign.c_str();
  const bool isInput = (library_.jack_port_flags(connection.own) & JackPortIsInput) != 0;
  const int result = isInput ? library_.jack_connect(handle_, foreign, own)
                             : library_.jack_connect(handle_, own, foreign);
  return result == 0 || result == EEXIST;
}

// ---- cycles -------------------------------------------------------------------------------------

bool JackClient::mustTakePart() const
{
  return addedPorts_ > 0 || library_.jack_port_connected(virtualInput_) > 0;
}

/// Nanoseconds for which the refusal holds still.
std::int64_t JackClient::refusedFor() const
{
  const std::int64_t until = refusedAt_ + (refusalTime << std::min(refusals_, mostDoublings));
  return refusedAt_ == 0 ? 0 : std::max<std::int64_t>(until - steadyNanoseconds(), 0);
}

std::int64_t JackClient::settle()
{
  if (gone())
    return 0;
  if (const std::int64_t refused = refusedFor(); refused > 0)
    return refused;
  const bool wasRefused = std::exchange(refusedAt_, 0) != 0;
  refusals_ += wasRefused; // ports that couldn't be opened are others now, which may
  const bool isQuiet = steadyNanoseconds() - connectedAt_.load() >= quietTime;
  const bool must = mustTakePart();
  if (takesPart_ != must || !isActive_) {
    if (!isQuiet)
      return quietTime;
    takePart(must);
  }
  if (refusedAt_ != 0)
    return refusedFor();
  const bool mustConnect = std::ranges::any_of(
      waiting_, [](const Connection& waiting) { return waiting.tries < mostTries; });
  // The process thread notices some cycles later what was connected, or isn't any more.
  return mustConnect || !isQuiet ? quietTime : 0;
}

void JackClient::takePart(bool takesPart)
{
  library_.silence();
  const std::vector<std::string> others = connections(virtualInput_);
  usersRest_.store(true);
  waitForPass();
  isActive_ = activate(takesPart);
  if (!isActive_) {
    refusedAt_ = steadyNanoseconds();
    isActive_ = takesPart && activate(false);
  }
  if (!takesPart_)
    for (std::size_t place = 0; place < usedPlaces_.load(); ++place)
      if (JackCycleUser* user = users_[place].load())
        user->cyclesEnd();
  for (const std::string& other : others)
    if (!gone())
      connect(virtualInput_, other);
}

/// A server that is busy gives up waiting for its own next cycle, so it is asked more than once.
bool JackClient::activate(bool takesPart)
{
  int tries = mostTries;
  while (!activateOnce(takesPart) && !gone() && --tries > 0) {}
  return tries > 0 && !gone();
}

bool JackClient::activateOnce(bool takesPart)
{
  library_.jack_deactivate(handle_); // its process thread is no more after this
  passes_.store(0);
  const JackProcessCallback callback = [](jack_nframes_t frames, void* self) {
    static_cast<JackClient*>(self)->process(frames);
    return 0;
  };
  library_.jack_set_process_callback(handle_, takesPart ? callback : nullptr, this);
  takesPart_ = takesPart;
  usersRest_.store(!takesPart);
  return library_.jack_activate(handle_) == 0;
}

bool JackClient::attach(JackCycleUser& user)
{
  for (std::size_t place = 0; place < users_.size(); ++place) {
    if (users_[place].load() != nullptr)
      continue;
    users_[place].store(&user);
    usedPlaces_.store(std::max(usedPlaces_.load(), place + 1));
    return true;
  }
  return false;
}

void JackClient::detach(JackCycleUser& user)
{
  const auto place = std::find_if(users_.begin(), users_.end(),
                                  [&user](const auto& one) { return one.load() == &user; });
  if (place == users_.end())
    return;
  place->store(nullptr);
  waitForPass();
}

/// After this the process thread has seen what was stored before. One whose server has gone may
/// have ended in the midst of a pass.
void JackClient::waitForPass() const
{
  const std::uint32_t pass = passes_.load();
  const std::int64_t limit = steadyNanoseconds() + longestPass;
  while (pass % 2 != 0 && passes_.load() == pass && !(gone() && steadyNanoseconds() > limit))
    std::this_thread::sleep_for(std::chrono::microseconds(50));
}

JackCycle JackClient::cycle(jack_nframes_t frames) const
{
  jack_nframes_t frame = 0;
  jack_time_t begin = 0;
  jack_time_t next = 0;
  float period = 0;
  if (library_.jack_get_cycle_times(handle_, &frame, &begin, &next, &period) != 0)
    begin = library_.jack_get_time();
  return {frames, begin, perFrame_};
}

void JackClient::process(jack_nframes_t frames)
{
  passes_.fetch_add(1);
  if (const std::size_t places = usersRest_.load() ? 0 : usedPlaces_.load(); places > 0) {
    const JackCycle now = cycle(frames);
    for (std::size_t place = 0; place < places; ++place)
      if (JackCycleUser* user = users_[place].load())
        user->process(now);
  }
  passes_.fetch_add(1);
}

} // namespace orbi::platform

#endif
