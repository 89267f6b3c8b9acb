#ifdef ORBI_HAVE_ALSA

#include "platform/linux/midi_alsa_departures.h"
#include "platform/linux/midi_alsa_event.h"
#include "platform/linux/midi_alsa_ports.h"
#include "platform/midi_ear.h"
#include "platform/midi_input_stream.h"

#include <gtest/gtest.h>

#include <set>

using namespace orbi::platform;

namespace {

snd_seq_event_t noteEvent(int type, int channel, int note, int velocity)
{
  snd_seq_event_t event{};
  event.type = static_cast<std::uint8_t>(type);
  event.data.note.channel = static_cast<std::uint8_t>(channel);
  event.data.note.note = static_cast<std::uint8_t>(note);
  event.data.note.velocity = static_cast<std::uint8_t>(velocity);
  return event;
}

snd_seq_event_t controlEvent(int type, int channel, unsigned param, int value)
{
  snd_seq_event_t event{};
  event.type = static_cast<std::uint8_t>(type);
  event.data.control.channel = static_cast<std::uint8_t>(channel);
  event.data.control.param = param;
  event.data.control.value = value;
  return event;
}

std::string decoded(const snd_seq_event_t& event)
{
  std::uint8_t room[mostAlsaEventBytes];
  return hex(bytesOfAlsaEvent(event, room));
}

TEST(AlsaEvents, every_event_that_is_midi_has_its_bytes)
{
  struct Case {
    snd_seq_event_t event;
    const char* bytes;
  };
  const Case cases[] = {
      {noteEvent(SND_SEQ_EVENT_NOTEON, 3, 60, 100), "93 3c 64"},
      {noteEvent(SND_SEQ_EVENT_NOTEON, 3, 60, 0), "93 3c 00"},
      {noteEvent(SND_SEQ_EVENT_NOTE, 0, 61, 1), "90 3d 01"},
      {noteEvent(SND_SEQ_EVENT_NOTEOFF, 15, 127, 64), "8f 7f 40"},
      {noteEvent(SND_SEQ_EVENT_KEYPRESS, 0, 1, 2), "a0 01 02"},
      {controlEvent(SND_SEQ_EVENT_CONTROLLER, 1, 7, 127), "b1 07 7f"},
      {controlEvent(SND_SEQ_EVENT_CONTROLLER, 1, 7, 4000), "b1 07 7f"},
      {controlEvent(SND_SEQ_EVENT_PGMCHANGE, 9, 0, 12), "c9 0c"},
      {controlEvent(SND_SEQ_EVENT_CHANPRESS, 0, 0, -5), "d0 00"},
      {controlEvent(SND_SEQ_EVENT_PITCHBEND, 0, 0, 0), "e0 00 40"},
      {controlEvent(SND_SEQ_EVENT_PITCHBEND, 2, 0, -8192), "e2 00 00"},
      {controlEvent(SND_SEQ_EVENT_PITCHBEND, 2, 0, 8191), "e2 7f 7f"},
      {controlEvent(SND_SEQ_EVENT_PITCHBEND, 2, 0, 1 << 30), "e2 7f 7f"},
      {controlEvent(SND_SEQ_EVENT_CONTROL14, 0, 1, 0x81), "b0 01 01 b0 21 01"},
      {controlEvent(SND_SEQ_EVENT_NONREGPARAM, 0, 0x82, 0x101),
       "b0 63 01 b0 62 02 b0 06 02 b0 26 01"},
      {controlEvent(SND_SEQ_EVENT_REGPARAM, 0, 0, 256), "b0 65 00 b0 64 00 b0 06 02 b0 26 00"},
      {controlEvent(SND_SEQ_EVENT_SONGPOS, 0, 0, 0x181), "f2 01 03"},
      {controlEvent(SND_SEQ_EVENT_SONGSEL, 7, 0, 3), "f3 03"},
      {controlEvent(SND_SEQ_EVENT_QFRAME, 0, 0, 0x71), "f1 71"},
      {controlEvent(SND_SEQ_EVENT_TUNE_REQUEST, 0, 0, 0), "f6"},
      {controlEvent(SND_SEQ_EVENT_CLOCK, 5, 1, 1), "f8"},
      {controlEvent(SND_SEQ_EVENT_SENSING, 0, 0, 0), "fe"},
      {controlEvent(SND_SEQ_EVENT_RESET, 0, 0, 0), "ff"},
      {controlEvent(SND_SEQ_EVENT_PORT_SUBSCRIBED, 0, 0, 0), ""},
      {controlEvent(SND_SEQ_EVENT_TEMPO, 0, 0, 0), ""},
  };
  for (const Case& one : cases)
    EXPECT_EQ(decoded(one.event), one.bytes);

  Bytes piece{0xF0, 1, 2};
  snd_seq_event_t sysex{};
  snd_seq_ev_set_sysex(&sysex, piece.size(), piece.data());
  EXPECT_EQ(decoded(sysex), "f0 01 02");
}

TEST(AlsaEvents, every_short_message_survives_the_way_there_and_back)
{
  for (int status = 0x80; status < 0x100; ++status)
    for (const std::uint32_t data : {0x0000U, 0x7F7FU, 0x4001U, 0x0140U}) {
      std::uint8_t room[3];
      const auto message = unpackMidi(std::uint32_t(status) | data << 8, room);
      snd_seq_event_t event{};
      ASSERT_EQ(alsaEventOfBytes(message, event), !message.empty()) << status;
      EXPECT_EQ(message.empty() ? "" : decoded(event), hex(message));
    }
}

/// ALSA's library where there is no sequencer: a client without a handle, and as many connections
/// of its ports as a test says.
struct Sequencer {
  static inline int listeners = 0;
  AlsaLibrary library;

  Sequencer()
  {
    EXPECT_TRUE(library.load());
    library.snd_seq_open = [](snd_seq_t**, const char*, int, int) { return 0; };
    library.snd_seq_set_client_name = [](snd_seq_t*, const char*) { return 0; };
    library.snd_seq_set_client_pool_input = [](snd_seq_t*, std::size_t) { return 0; };
    library.snd_seq_set_client_pool_output = [](snd_seq_t*, std::size_t) { return 0; };
    library.snd_seq_set_input_buffer_size = [](snd_seq_t*, std::size_t) { return 0; };
    library.snd_seq_get_port_info = [](snd_seq_t*, int, snd_seq_port_info_t*) { return 0; };
    library.snd_seq_port_info_get_read_use = [](const snd_seq_port_info_t*) { return listeners; };
    library.snd_seq_close = [](snd_seq_t*) { return 0; };
  }
};

TEST(AlsaPorts, output_whose_connection_somebody_took_away_is_lost_but_never_the_programs_own)
{
  const Sequencer sequencer;
  DoneCounter done;
  auto client = AlsaClient::open(sequencer.library, "Tester");
  ASSERT_NE(client, nullptr);
  AlsaOutput own({client.get(), 0, nullptr, [] {}}, false, done);
  auto other = AlsaClient::open(sequencer.library, "Tester");
  const AlsaClient* borrowed = other.get();
  AlsaOutput connected({borrowed, 0, std::move(other), [] {}}, false, done);
  for (const int listeners : {1, 0, 1}) {
    Sequencer::listeners = listeners;
    EXPECT_EQ(connected.isLost(), listeners == 0);
    EXPECT_FALSE(own.isLost()) << "whoever likes may come back";
  }
}

TEST(AlsaPorts, port_is_another_one_after_it_went_and_under_another_number)
{
  AlsaDepartures departures;
  std::set<std::uint64_t> generations;
  const auto isAnother = [&](int client, int port) {
    return generations.insert(departures.generation(client, port)).second;
  };
  const auto leaves = [&](int type, std::uint8_t client, std::uint8_t port) {
    snd_seq_event_t event{};
    event.type = static_cast<std::uint8_t>(type);
    event.data.addr = {client, port};
    departures.note(&event);
  };
  EXPECT_TRUE(isAnother(128, 0));
  EXPECT_TRUE(isAnother(129, 0)) << "of a program that came back";
  EXPECT_TRUE(isAnother(129, 1));
  EXPECT_TRUE(isAnother(191, 253));
  leaves(SND_SEQ_EVENT_PORT_EXIT, 129, 0);
  EXPECT_TRUE(isAnother(129, 0));
  EXPECT_FALSE(isAnother(129, 1) || isAnother(128, 0));
  leaves(SND_SEQ_EVENT_CLIENT_EXIT, 129, 0);
  EXPECT_TRUE(isAnother(129, 0));
  EXPECT_TRUE(isAnother(129, 1));
  departures.note(nullptr); // any may have gone
  EXPECT_TRUE(isAnother(128, 0));
}

} // namespace

#endif
