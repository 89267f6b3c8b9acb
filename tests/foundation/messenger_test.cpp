#include "foundation/messenger.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>

using namespace orbi;
using testing::ElementsAre;

namespace {

class Receiver : public CmObject {
public:
  int32_t handleMessage(FMessage& message) override
  {
    heard.push_back(message.getId());
    if (then)
      then(message);
    return 1;
  }
  std::vector<std::string> heard;
  std::function<void(FMessage&)> then;
};

/// Answers to the handler interface, which goes before its handleMessage as an object.
class InterfaceReceiver final : public Receiver {
public:
  CmResult queryInterface(const FUID& id, void** out) override
  {
    if (id != IMessageHandler::interfaceId)
      return CmObject::queryInterface(id, out);
    addRef();
    *out = static_cast<IMessageHandler*>(&handler);
    return resultOk;
  }
  struct Handler final : IMessageHandler {
    explicit Handler(InterfaceReceiver& to) : owner(to) {}
    CmResult queryInterface(const FUID& id, void** out) override
    {
      return owner.queryInterface(id, out);
    }
    int32_t addRef() override { return owner.addRef(); }
    int32_t release() override { return owner.release(); }
    int32_t handleMessage(IMessage* message) override
    {
      owner.heard.push_back(std::string("interface ") + message->messageId());
      return 2;
    }
    InterfaceReceiver& owner;
  } handler{*this};
};

class Messenger : public testing::Test {
protected:
  FMessage* text(const char* id) { return new FMessage(id); }

  FMessenger messenger;
  Receiver receiver;
  Receiver other;
};

} // namespace

TEST_F(Messenger, delivers_in_order_and_what_a_handler_posts_in_the_next_pass)
{
  receiver.then = [&](FMessage& message) {
    if (message.isMessage("Idle"))
      messenger.post(&receiver, text("Wheel"));
  };
  messenger.post(&receiver, text("Idle"));
  messenger.post(&receiver, text("Timer"));
  messenger.dispatch();
  EXPECT_THAT(receiver.heard, ElementsAre("Idle", "Timer"));
  EXPECT_TRUE(messenger.isPending(&receiver));
  messenger.dispatch();
  EXPECT_THAT(receiver.heard, ElementsAre("Idle", "Timer", "Wheel"));
  EXPECT_FALSE(messenger.isPending(nullptr));
}

TEST_F(Messenger, holds_one_of_a_kind_for_a_receiver_when_asked)
{
  for (int i = 0; i < 2; ++i) {
    messenger.post(&receiver, text("Idle"), true);
    messenger.post(&receiver, text("Timer"), false);
    messenger.post(&other, text("Idle"), true);
  }
  messenger.dispatch();
  EXPECT_THAT(receiver.heard, ElementsAre("Idle", "Timer", "Timer"));
  EXPECT_THAT(other.heard, ElementsAre("Idle"));
}

TEST_F(Messenger, drops_what_a_handler_removes_later_in_the_same_pass)
{
  receiver.then = [&](FMessage&) {
    FMessage timer("Timer");
    messenger.remove(&receiver, &timer);
    messenger.remove(&other);
  };
  for (const char* id : {"Idle", "Timer", "Wheel"}) {
    messenger.post(&receiver, text(id));
    messenger.post(&other, text(id));
  }
  other.then = [&](FMessage&) { messenger.post(&receiver, text("late")); };
  messenger.dispatch();
  EXPECT_THAT(receiver.heard, ElementsAre("Idle", "Wheel"));
  EXPECT_TRUE(other.heard.empty());
}

TEST_F(Messenger, stays_whole_when_a_dropped_message_takes_a_receiver_with_it)
{
  struct Window final : Receiver {
    ~Window() override { FMessenger::instance()->remove(this); }
  };
  // The message for `receiver` owns the window, to which the following entries go.
  auto* window = new Window;
  FMessage* owning = text("alert");
  owning->setObject("dlg", window, ObjectMode::adopted);
  messenger.post(&receiver, owning);
  messenger.post(window, text("Idle"));
  messenger.post(window, text("Timer"));
  messenger.post(&receiver, text("Wheel"));
  messenger.post(&other, text("Idle"));
  messenger.remove(&receiver);
  EXPECT_FALSE(messenger.isPending(&receiver));
  messenger.dispatch();
  EXPECT_THAT(other.heard, ElementsAre("Idle"));
}

TEST_F(Messenger, holds_no_lock_while_it_lets_go_of_what_was_removed)
{
  struct Asking final : CmObject {
    ~Asking() override
    {
      std::thread([] { FMessenger::instance()->isPending(nullptr); }).join();
    }
  };
  FMessage* owning = text("alert");
  owning->setObject("asking", new Asking, ObjectMode::adopted);
  messenger.post(&receiver, owning);
  messenger.remove(&receiver);
  EXPECT_FALSE(messenger.isPending(nullptr));
}

TEST(MessengerThatIsGone, takes_no_post_and_keeps_no_message)
{
  CmObject receiver;
  FMessenger::postTo(&receiver, new FMessage("late"));
  FMessenger messenger;
  FMessenger::postTo(&receiver, new FMessage("in time"));
  EXPECT_TRUE(messenger.isPending(&receiver));
}

TEST_F(Messenger, skips_a_pass_and_waits_while_suspended)
{
  static int wakeUps;
  wakeUps = 0;
  messenger.setWakeUp([] { ++wakeUps; });
  messenger.post(&receiver, text("Idle"));
  messenger.setSuspended(true);
  messenger.dispatch();
  messenger.setSuspended(false);
  messenger.skipNextPass();
  messenger.dispatch();
  EXPECT_TRUE(receiver.heard.empty());
  EXPECT_EQ(wakeUps, 3) << "for the post, the end of the suspension and the pass left out";
  messenger.dispatch();
  EXPECT_THAT(receiver.heard, ElementsAre("Idle"));
}

TEST_F(Messenger, prefers_the_handler_interface_of_a_receiver)
{
  InterfaceReceiver both;
  FMessage message("Idle");
  EXPECT_EQ(FMessenger::deliver(&both, message), 2);
  EXPECT_THAT(both.heard, ElementsAre("interface Idle"));
  EXPECT_EQ(both.refCount(), 1);
  EXPECT_EQ(FMessenger::deliver(&receiver, message), 1);
  EXPECT_EQ(FMessenger::deliver(nullptr, message), -1);
}

TEST_F(Messenger, posts_what_its_own_interface_is_given)
{
  void* found = nullptr;
  ASSERT_EQ(messenger.queryInterface(IMessenger::interfaceId, &found), resultOk);
  auto* face = static_cast<IMessenger*>(found);
  face->postInterface(&receiver, text("Idle"));
  face->postInterface(&receiver, new NMessage("Timer"));
  face->postInterface(&receiver, nullptr);
  EXPECT_EQ(objectBehind(face), &messenger);
  face->release();
  messenger.dispatch();
  EXPECT_THAT(receiver.heard, ElementsAre("Idle", "Timer"));
}

TEST_F(Messenger, reaches_receivers_by_name_until_they_are_unbound)
{
  messenger.registerName("player", &receiver);
  messenger.postToName("player", text("Idle"));
  messenger.postToName("nobody", text("Idle"));
  messenger.dispatch();
  messenger.postToName("player", text("Timer"));
  messenger.unregisterName("player");
  messenger.postToName("player", text("Wheel"));
  messenger.dispatch();
  EXPECT_THAT(receiver.heard, ElementsAre("Idle"));

  messenger.registerName("player", &receiver);
  messenger.postToName("player", text("Timer"));
  messenger.registerName("player", &other);
  messenger.postToName("player", text("Wheel"));
  messenger.dispatch();
  EXPECT_THAT(receiver.heard, ElementsAre("Idle"));
  EXPECT_THAT(other.heard, ElementsAre("Wheel"));
}

TEST_F(Messenger, reaches_each_member_of_a_group)
{
  EXPECT_FALSE(messenger.addToGroup(1, &receiver));
  int32_t first = messenger.newGroup();
  int32_t second = messenger.newGroup();
  EXPECT_EQ(first, 1);
  EXPECT_TRUE(messenger.addToGroup(first, &receiver) && messenger.addToGroup(first, &other));
  FMessage now("now");
  messenger.sendToGroup(first, now);
  EXPECT_THAT(other.heard, ElementsAre("now"));
  messenger.postToGroup(first, text("later"));
  messenger.postToGroup(second, text("to nobody"));
  messenger.dispatch();
  EXPECT_THAT(receiver.heard, ElementsAre("now", "later"));
  EXPECT_TRUE(messenger.removeGroup(first));
  EXPECT_FALSE(messenger.removeGroup(first) || messenger.addToGroup(first, &other));
  EXPECT_TRUE(messenger.addToGroup(second, &other));
}

TEST_F(Messenger, takes_posts_and_removals_from_threads_during_passes)
{
  constexpr int perThread = 2000;
  struct Counting final : CmObject {
    int32_t handleMessage(FMessage& message) override
    {
      auto thread = static_cast<size_t>(message.getInt("Tag"));
      inOrder = inOrder && message.getInt("number") == next[thread]++;
      FMessenger::instance()->postToName("sink", new FMessage("Idle"));
      return 1;
    }
    int64_t next[2] = {0, 0};
    bool inOrder = true;
  } counting;
  auto sending = [&](int thread) {
    for (int i = 0; i < perThread; ++i) {
      FMessage* message = text("Idle");
      message->setInt("Tag", thread);
      message->setInt("number", i);
      messenger.post(&counting, message);
      if (i % 100 == 0) { // binding anew removes what waits, while a handler posts to the name
        messenger.registerName("sink", &receiver);
        messenger.unregisterName("sink");
      }
    }
  };
  std::thread first(sending, 0), second(sending, 1);
  while (counting.next[0] + counting.next[1] < 2 * perThread)
    messenger.dispatch();
  first.join();
  second.join();
  EXPECT_TRUE(counting.inOrder);
  EXPECT_FALSE(messenger.isPending(&counting));
}

TEST(ReceiverIds, start_with_the_smallest_free_one)
{
  FReceiver a;
  uint32_t freed = 0;
  {
    FReceiver b;
    freed = b.id();
    FReceiver copy(b);
    EXPECT_NE(copy.id(), freed);
    EXPECT_LT(b.compare(&copy), 0);
  }
  EXPECT_EQ(FReceiver().id(), freed);
}

TEST(Message, carries_arguments_and_copies_them)
{
  FMessage message("Interpret");
  EXPECT_EQ(message.getInt("Tag"), 0);
  EXPECT_EQ(message.getString("Command"), nullptr);
  auto object = make<CmString>("kept");
  message.setInt("Tag", -5);
  message.setFloat("level", 0.25);
  message.setString("Command", "Save");
  message.setObject("Action", object.get());
  EXPECT_EQ(message.getObject("Action"), object.get());
  auto* adopted = new CmString("given away");
  message.setObject("Adopted", adopted, ObjectMode::adopted);
  message.setObject("Adopted", adopted, ObjectMode::adopted); // the object that is there already
  EXPECT_EQ(message.getObject<CmString>("Adopted")->view(), "given away");

  FMessage assigned;
  assigned = message;
  assigned.setInt("Tag", 6);
  EXPECT_EQ(message.getInt("Tag"), -5) << "arguments are copied";
}
