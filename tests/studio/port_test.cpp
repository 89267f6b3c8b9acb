#include "studio/port.h"

#include "foundation/dependencies.h"
#include "foundation/message.h"
#include "shared/crowd.h"
#include "shared/realtime_watch.h"
#include "studio/device.h"
#include "studio/event.h"

#include <functional>
#include <gmock/gmock.h>

using namespace orbi;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Output final : public PMultiOutput {
public:
  using PMultiOutput::PMultiOutput;
};

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

/// Wants no company.
class Unwilling final : public PInput {
public:
  bool addConnection(PPort*) override { return false; }
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
  Held(uint32_t flags = 0) : Ref<Port>(make<Port>(nullptr, "port", flags)) {}
  ~Held() { this->get()->disconnectAll(); }
};

} // namespace

TEST(Port, single_input_leaves_its_output_for_a_second_one)
{
  Held<POutput> first;
  Held<POutput> second;
  Held<PInput> input;
  EXPECT_FALSE(input->isOutput());
  EXPECT_TRUE(first->connect(input.get()));
  EXPECT_FALSE(first->connect(input.get()));
  EXPECT_FALSE(input->connect(first.get()));
  EXPECT_FALSE(input->connect(nullptr));
  EXPECT_FALSE(input->connect(input.get()));
  EXPECT_THAT(connectionsOf(*input), ElementsAre(first.get()));

  EXPECT_TRUE(second->connect(input.get()));
  EXPECT_FALSE(first->isConnected());
  EXPECT_THAT(connectionsOf(*input), ElementsAre(second.get()));
  EXPECT_FALSE(first->disconnect(input.get()));
  EXPECT_TRUE(input->disconnect(second.get()));
  EXPECT_FALSE(second->isConnected());
  EXPECT_EQ(second->refCount(), 1);

  Unwilling unwilling;
  EXPECT_FALSE(first->connect(&unwilling));
  EXPECT_FALSE(first->isConnected());
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

TEST(Port, tells_dependents_of_connections_and_goes_with_a_notice_waiting)
{
  struct Dependent final : CmObject {
    void update(CmObject*, int32_t code) override { codes.push_back(code); }
    std::vector<int32_t> codes;
  } dependent;
  FDependencies dependencies;
  {
    Held<Output> output;
    Held<Input> input;
    output->addDependent(&dependent);
    output->connect(input.get());
    dependencies.flush();
    output->disconnect(input.get());
    dependencies.flush();
    output->connect(input.get());
  }
  dependencies.flush();
  EXPECT_THAT(dependent.codes, ElementsAre(portConnectionsChanged, portConnectionsChanged));
}

TEST(Port, message_walks_through_devices_and_ends_where_it_came_round)
{
  class Listening final : public PMultiInput {
  public:
    using PMultiInput::PMultiInput;
    void relayIn(FMessage& message) override
    {
      ++heard;
      PMultiInput::relayIn(message);
    }
    int heard = 0;
  };
  auto first = make<PDevice>("First");
  auto second = make<PDevice>("Second");
  for (PDevice* device : {first.get(), second.get()}) {
    device->addInput(make<Listening>(device, "in"), PDevice::Registration::none);
    device->addOutput(make<Output>(device, "out"), PDevice::Registration::none);
  }
  auto* firstIn = static_cast<Listening*>(first->inputAt(0));
  auto* secondIn = static_cast<Listening*>(second->inputAt(0));
  first->outputAt(0)->connect(secondIn);
  second->outputAt(0)->connect(firstIn);
  FMessage message("Walk");
  firstIn->relayIn(message);
  EXPECT_EQ(secondIn->heard, 1);
  EXPECT_EQ(firstIn->heard, 2); // where it came round
  secondIn->setFlag(portHasNoRelay);
  firstIn->relayIn(message);
  EXPECT_EQ(secondIn->heard, 2);
  EXPECT_EQ(firstIn->heard, 3);

  CmString text;
  EXPECT_TRUE(firstIn->getDeviceName(text));
  EXPECT_EQ(text, "First");
  first->setName("Renamed");
  EXPECT_TRUE(firstIn->hasID("O|Renamed|in"));
  EXPECT_FALSE(PPort().getDeviceName(text));
}

TEST(Port, event_reaches_inputs_in_order_and_those_behind_a_relay)
{
  Held<Output> output, relay;
  Held<Input> first, last, behind;
  first->then = [&](PEvent& event) {
    relay->send(event);
    EXPECT_THAT(last->tags, IsEmpty());
  };
  relay->connect(behind.get());
  output->connect(first.get());
  output->connect(last.get());
  sendTag(*output, 7);
  for (Input* input : {first.get(), last.get(), behind.get()})
    EXPECT_THAT(input->tags, ElementsAre(7));
}

TEST(Port, receive_may_disconnect_itself_and_drop_the_input)
{
  Held<Output> output;
  Held<Input> other;
  auto input = make<Input>();
  input->then = [&](PEvent& event) {
    output->disconnect(input.get());
    input = nullptr; // its code still runs
    output->connect(other.get());
    if (event.sourceTag < 3)
      sendTag(*output, event.sourceTag + 1); // sees the new connections already
  };
  output->connect(input.get());
  sendTag(*output, 1);
  EXPECT_THAT(other->tags, ElementsAre(2));
  sendTag(*output, 3);
  EXPECT_THAT(other->tags, ElementsAre(2, 3));
}

TEST(Port, receive_on_a_senders_thread_may_disconnect_itself)
{
  for (int round = 0; round < 200; ++round) {
    Held<Output> output;
    auto input = make<Input>();
    input->then = [&](PEvent&) { output->disconnect(input.get()); };
    output->connect(input.get());
    Crowd sender(1, [&] {
      sendTag(*output, 1);
      sendTag(*output, 2);
    });
    sender.join();
    EXPECT_THAT(input->tags, ElementsAre(1));
    output->connect(input.get()); // lets go of what was left over
    output->disconnect(input.get());
    EXPECT_EQ(input->refCount(), 1);
  }
}

TEST(Port, no_receive_runs_any_more_when_disconnect_returns)
{
  /// What it holds may go as soon as it is disconnected.
  class Consumer final : public PMultiInput {
  public:
    bool receive(PEvent&) override
    {
      late += closed.load(std::memory_order_relaxed);
      ++*held; // a plain number: whoever is late races with its deletion
      return true;
    }
    std::atomic<bool> closed{false};
    std::atomic<int> late{0};
    std::unique_ptr<std::atomic<int>> held = std::make_unique<std::atomic<int>>(0);
  };

  Held<Output> output, relay;
  Held<Input> through;
  through->then = [&](PEvent& event) { relay->send(event); };
  std::atomic<bool> done{false};
  std::atomic<int> sent{0};
  Crowd senders(2, [&] {
    while (!done) {
      sendTag(*relay, 1);
      PEvent event;
      output->send(event);
      ++sent;
    }
  });
  int late = 0;
  for (int round = 0; round < 2000; ++round) {
    auto direct = make<Consumer>();
    auto relayed = make<Consumer>();
    output->connect(direct.get());
    relayed->connect(relay.get());
    for (const int now = sent; round % 100 == 0 && sent == now;)
      std::this_thread::yield();
    for (Consumer* consumer : {direct.get(), relayed.get()}) {
      consumer->disconnectAll();
      consumer->closed = true;
      consumer->held.reset();
      late += consumer->late;
    }
    EXPECT_EQ(direct->refCount() + relayed->refCount(), 2);
  }
  done = true;
  senders.join();
  EXPECT_EQ(late, 0);
}

TEST(Port, sending_takes_no_lock_and_no_memory)
{
  Held<Output> output;
  Held<Input> input;
  input->tags.reserve(8);
  output->connect(input.get());
  PEvent event;
  const auto before = RealtimeWatch::counted();
  {
    RealtimeWatch watch;
    output->send(event);
    output->send(event);
  }
  const auto spent = RealtimeWatch::counted() - before;
  EXPECT_EQ(spent.allocations + spent.locks + spent.waits, 0);
  EXPECT_EQ(input->tags.size(), 2u);
}
