#include "studio/port.h"

#include "foundation/message.h"
#include "shared/crowd.h"
#include "shared/realtime_watch.h"
#include "studio/device.h"
#include "studio/event.h"
#include "studio/port_id.h"

#include <functional>
#include <gmock/gmock.h>

using namespace orbi;
using testing::ElementsAre;

namespace {

using Output = PMultiOutput;

class Input final : public PMultiInput {
public:
  using PMultiInput::PMultiInput;
  bool receive(PEvent& event) override
  {
    tags.push_back(event.sourceTag);
    if (then)
      then(event);
    return true;
  }
  std::vector<uint64_t> tags;
  std::function<void(PEvent&)> then;
};

std::vector<PPort*> connectionsOf(const PPort& port)
{
  std::vector<PPort*> ports;
  for (int32_t i = 0; i < port.countConnections(); ++i)
    ports.push_back(port.connectionAt(i));
  return ports;
}

void sendTag(POutput& output, uint64_t tag)
{
  PEvent event;
  event.sourceTag = tag;
  output.send(event);
}

/// Ports in a circle of references, undone at the end of the test.
template <class Port>
struct Held : Ref<Port> {
  Held() : Ref<Port>(make<Port>()) {}
  Held(uint32_t flags) : Ref<Port>(make<Port>(nullptr, "port", flags)) {}
  ~Held() { this->get()->disconnectAll(); }
};

} // namespace

TEST(PortID, names_may_hold_bars_and_are_what_the_outer_ones_part)
{
  const struct {
    std::string_view id, device, port;
    bool isWellFormed;
  } cases[] = {{"I|Device|Port", "Device", "Port", true},
               {"O|a|b|c", "a|b", "c", true},
               {"O||", "", "", true},
               {"I|Port", "", "Port", true},
               {"X|Device|Port", "Device", "Port", false},
               {"|", "", "", false},
               {"", "", "", false}};
  for (const auto& each : cases) {
    EXPECT_EQ(isPortID(each.id), each.isWellFormed) << each.id;
    EXPECT_EQ(deviceNameInPortID(each.id), each.device) << each.id;
    EXPECT_EQ(portNameInPortID(each.id), each.port) << each.id;
  }
}

TEST(Port, single_input_leaves_its_output_for_a_second_one)
{
  Held<POutput> first, second;
  Held<PInput> input;
  EXPECT_TRUE(first->connect(input.get()));
  for (PPort* other : {static_cast<PPort*>(first.get()), static_cast<PPort*>(input.get())})
    EXPECT_FALSE(input->connect(other));
  EXPECT_THAT(connectionsOf(*input), ElementsAre(first.get()));

  EXPECT_TRUE(second->connect(input.get()));
  EXPECT_FALSE(first->isConnected());
  EXPECT_FALSE(first->disconnect(input.get()));
  EXPECT_TRUE(input->disconnect(second.get()));
  EXPECT_FALSE(second->isConnected());
  EXPECT_EQ(second->refCount(), 1);
}

TEST(Port, exclusive_port_and_others_drive_each_other_out)
{
  Held<Output> output;
  Held<Input> a, b, other, alone{portIsExclusive};
  for (Input* input : {a.get(), b.get(), alone.get()})
    EXPECT_TRUE(output->connect(input));
  EXPECT_THAT(connectionsOf(*output), ElementsAre(alone.get()));
  EXPECT_TRUE(output->isHeldExclusively());
  EXPECT_TRUE(output->connect(other.get()));
  EXPECT_THAT(connectionsOf(*output), ElementsAre(other.get()));
  EXPECT_FALSE(a->isConnected() || b->isConnected() || alone->isConnected());
}

TEST(Port, message_that_comes_round_through_devices_ends_there)
{
  struct Listening final : PMultiInput {
    using PMultiInput::PMultiInput;
    void relayIn(FMessage& message) override
    {
      ++heard;
      PMultiInput::relayIn(message);
    }
    int heard = 0;
  };
  PDevice device("Circle");
  auto input = make<Listening>(&device, "in");
  device.addInput(input, PDevice::Registration::none);
  device.addOutput(make<PMultiOutput>(&device, "out"), PDevice::Registration::none);
  device.outputAt(0)->connect(input.get());
  FMessage message("Walk");
  input->relayIn(message);
  EXPECT_EQ(input->heard, 2);
  input->setFlag(portHasNoRelay);
  input->relayIn(message);
  EXPECT_EQ(input->heard, 3);
}

TEST(Port, receive_may_disconnect_itself_and_drop_the_input)
{
  for (int round = 0; round < 100; ++round) {
    Held<Output> output;
    Held<Input> other;
    auto input = make<Input>();
    input->then = [&](PEvent&) {
      output->disconnect(input.get());
      input = nullptr; // its code still runs
      output->connect(other.get());
      sendTag(*output, 2); // goes by the new connections already
    };
    output->connect(input.get());
    Crowd(1, [&] { sendTag(*output, 1); }).join();
    sendTag(*output, 3);
    EXPECT_THAT(other->tags, ElementsAre(2, 3));
  }
}

TEST(Port, no_receive_runs_any_more_when_disconnect_returns)
{
  struct Consumer final : PMultiInput {
    bool receive(PEvent&) override { return ++*held > 0; }
    std::unique_ptr<std::atomic<int>> held = std::make_unique<std::atomic<int>>(0);
  };
  struct Relay final : PMultiInput {
    bool receive(PEvent& event) override { return to->send(event), true; }
    POutput* to = nullptr;
  };
  Held<Output> output, relay;
  Held<Relay> through;
  through->to = relay.get();
  output->connect(through.get());
  std::atomic<bool> done{false};
  std::atomic<int> sent{0};
  Crowd senders(2, [&] {
    for (PEvent event; !done; ++sent) {
      relay->send(event);
      output->send(event);
    }
  });
  for (int round = 0; round < 1000; ++round) {
    auto direct = make<Consumer>();
    auto relayed = make<Consumer>();
    output->connect(direct.get());
    relayed->connect(relay.get());
    for (const int now = sent; round % 100 == 0 && sent == now;)
      std::this_thread::yield();
    for (Consumer* consumer : {direct.get(), relayed.get()}) {
      consumer->disconnectAll();
      consumer->held = nullptr; // whoever is late falls over it
      EXPECT_EQ(consumer->refCount(), 1);
    }
  }
  done = true;
}

TEST(Port, event_reaches_inputs_in_order_without_lock_or_memory)
{
  Held<Output> output;
  Held<Input> first, last;
  for (Input* input : {first.get(), last.get()}) {
    input->tags.reserve(8);
    output->connect(input);
  }
  first->then = [&](PEvent& event) {
    EXPECT_TRUE(last->tags.empty());
    output->disconnect(first.get());
    event.sourceTag = 2; // the sender's own, handed on as it is
  };
  sendTag(*output, 1);
  EXPECT_THAT(first->tags, ElementsAre(1));
  PEvent event;
  const auto before = RealtimeWatch::counted();
  {
    RealtimeWatch watch;
    output->send(event);
  }
  const auto spent = RealtimeWatch::counted() - before;
  EXPECT_EQ(spent.allocations + spent.locks + spent.waits, 0);
  EXPECT_THAT(last->tags, ElementsAre(2, 0));
}
