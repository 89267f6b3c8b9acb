#include "studio/port_registry.h"

#include "foundation/class_registry.h"
#include "foundation/messenger.h"
#include "persist/default_pool.h"
#include "persist/file_system.h"
#include "persist/object_files.h"
#include "platform/temporary_folder.h"
#include "studio/device.h"
#include "studio/port_alias.h"
#include "studio/port_filter.h"
#include "studio/port_order.h"

#include <functional>
#include <gmock/gmock.h>

using namespace orbi;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

template <class Base>
class Socket final : public Base {
public:
  Socket(const char* deviceName, const char* name, const char* subtype)
      : Base(nullptr, name), device(deviceName), kind(subtype)
  {
  }
  const char* getType() const override { return type; }
  const char* getSubtype() const override { return kind; }
  std::string_view deviceName() const override { return device.view(); }

  CmString device;
  const char* kind;
  const char* type = "midi";
};
using Out = Socket<PMultiOutput>;
using In = Socket<PInput>;

struct Listener final : PPortListener {
  void portChanged(PPort*, PPortNotice notice) override
  {
    notices.push_back(notice);
    if (then)
      then();
  }
  std::vector<int> notices;
  std::function<void()> then;
};

/// The registry with what it leans on.
class PortRegistry : public testing::Test {
protected:
  PortRegistry() { DeferredRegistration::runAll(); }
  ~PortRegistry() override
  {
    for (PPort* port : ports_) {
      port->disconnectAll();
      if (registry)
        registry->unregisterPort(port);
      port->releaseRef();
    }
  }
  template <class Port = Out>
  Port& add(const char* device, const char* name, const char* kind = systemPortKind)
  {
    auto* port = new Port(device, name, kind);
    ports_.push_back(port);
    EXPECT_TRUE(registry->registerPort(port));
    return *port;
  }
  PPort* find(const char* id) { return registry->findPort(id, PortLookup::orSubstitute); }
  PPortDescriptor& describe(const char* id)
  {
    auto* descriptor = new PPortDescriptor;
    descriptor->id = id;
    descriptor->type = "midi";
    descriptors.add(descriptor);
    registry->setDescriptors(&descriptors);
    return *descriptor;
  }
  /// What the settings file would hold.
  void store(const std::function<void(FAttributes&)>& fill)
  {
    auto set = make<FAttributes>();
    fill(*set);
    pool.getGroup("Port Setup")->setObject("PortSetup", set.get(), false);
  }
  static void map(FAttributes& set, const char* source, const char* dest)
  {
    auto mapping = make<PPortIDMapping>();
    mapping->sourceID = source;
    mapping->destID = dest;
    set.appendObject("Mappings", mapping.detach(), true);
  }

  FMessenger messenger;
  FDefaultPool pool;
  CmArray descriptors{CmOwnership::adopts};
  Ref<PPortRegistry> registry = make<PPortRegistry>();

private:
  std::vector<PPort*> ports_;
};

} // namespace

TEST_F(PortRegistry, ports_are_found_by_number_and_identifier_whatever_their_names)
{
  const std::string lengthy(70000, 'x');
  for (const char* device : {"Synth", "", "a|b", "\xC3\xBC\xFF", lengthy.c_str()})
    for (const char* name : {"In 1", "", "c|d", lengthy.c_str()}) {
      PPort* ports[] = {&add<Out>(device, name), &add<In>(device, name)};
      EXPECT_EQ(ports[1]->portNumber(), ports[0]->portNumber() + 1);
      for (PPort* port : ports) {
        EXPECT_EQ(registry->portNumberLookup(port->portNumber()), port);
        CmString id;
        EXPECT_TRUE(port->getID(id));
        EXPECT_EQ(registry->findPort(id.text()), port);
      }
    }
  EXPECT_EQ(registry->findPort("O|Synth|In 1")->getName(), "In 1");
  Out& same = add("a", "b|c|d"); // can't be told from one that was first
  EXPECT_NE(registry->findPort("I|a|b|c|d"), &same);
  for (const char* id : {"", "I", "I|", "I|Synth", "X|Synth|In 1", "I|Synth|In 1 ", "|||"})
    EXPECT_EQ(registry->findPort(id), nullptr) << id;
  EXPECT_FALSE(registry->registerPort(&same));
  EXPECT_TRUE(registry->unregisterPort(&same));
  EXPECT_FALSE(registry->unregisterPort(&same));
}

TEST_F(PortRegistry, port_is_found_under_the_names_that_it_has_now)
{
  Out& first = add("A", "x");
  Out& second = add("B", "x");
  EXPECT_EQ(registry->findPort("I|A|x"), &first);
  EXPECT_EQ(registry->findPort("I|B|x"), &second);
  first.device = "B"; // comes before the other now, which was known by that identifier alone
  first.idChanged();
  EXPECT_EQ(registry->findPort("I|A|x"), nullptr);
  second.setName("y");
  EXPECT_EQ(registry->findPort("I|B|x"), &first);
  second.setName("x");
  EXPECT_EQ(registry->findPort("I|B|x"), &first);
  registry->unregisterPort(&first);
  EXPECT_EQ(registry->findPort("I|B|x"), &second);
}

TEST_F(PortRegistry, renamed_device_takes_its_ports_to_the_identifiers_that_they_have_now)
{
  struct Owned final : PMultiOutput {
    using PMultiOutput::PMultiOutput;
    const char* getType() const override { return "midi"; }
    const char* getSubtype() const override { return systemPortKind; }
  };
  store([](FAttributes& set) {
    auto entry = make<FAttributes>();
    entry->setString("ID", "I|Synth 2|Out");
    entry->setString("UserName", "Piano");
    set.appendObject("Settings", entry.detach(), true);
  });
  registry->loadSettings();
  describe("I|Synth 2|Out");
  In& local = add<In>("Player", "MIDI");
  local.connect(find("I|Synth 2|Out")); // an alias
  FNode root;
  std::vector<Ref<PDevice>> devices;
  std::vector<PPort*> ports;
  for (int i = 0; i < 2; ++i) {
    auto device = devices.emplace_back(make<PDevice>("Synth"));
    device->addOutput(make<Owned>(device.get(), "Out"), PDevice::Registration::registered);
    ports.push_back(device->outputAt(0));
  }
  ports[1]->setUserName("Mine");
  Listener listener;
  listener.then = [&] { EXPECT_EQ(devices[1]->getIndex(), 1) << "heard in its place"; };
  root.addChild(devices[0].get());
  registry->addListener(&listener);
  root.addChild(devices[1].get()); // as "Synth 2"
  EXPECT_THAT(listener.notices, ElementsAre(100));
  EXPECT_EQ(registry->findPort("I|Synth|Out"), ports[0]);
  EXPECT_TRUE(local.isConnectedTo(ports[1]));
  EXPECT_EQ(ports[1]->getUserName(), "Piano");
  messenger.dispatch();
  EXPECT_EQ(registry->findPort("I|Synth 2|Out"), ports[1]) << "the alias has gone";
  devices[1]->setName("Organ");
  EXPECT_EQ(registry->findPort("I|Synth 2|Out"), nullptr);
  EXPECT_EQ(registry->findPort("I|Organ|Out"), ports[1]);
  registry->removeListener(&listener);
  ports[1]->disconnectAll();
}

TEST_F(PortRegistry, alias_stands_in_until_its_port_comes_back)
{
  describe("I|Synth|Out").systemName = "hw:1";
  In& local = add<In>("Player", "MIDI");
  Ref<PPort> alias = Ref<PPort>::share(find("I|Synth|Out"));
  ASSERT_TRUE(alias);
  CmString name;
  alias->getDisplayName(name);
  EXPECT_EQ(name, "Missing: hw:1");
  EXPECT_TRUE(alias->isOutput() && alias->isType("midi") && alias->isSubtype("alias"));
  local.connect(alias.get());
  local.disconnect(alias.get()); // the check is posted, and finds it in use again
  local.connect(alias.get());
  messenger.dispatch();
  EXPECT_TRUE(alias->hasFlag(portIsRegistered));

  Out& real = add("Synth", "Out");
  EXPECT_TRUE(real.isConnectedTo(&local));
  EXPECT_EQ(local.countConnections(), 1);
  messenger.dispatch();
  EXPECT_EQ(registry->countPorts(), 2);
  EXPECT_EQ(registry->findPort("I|Synth|Out"), &real);
  EXPECT_EQ(alias->refCount(), 1);
}

TEST_F(PortRegistry, alias_is_alive_when_its_message_comes_and_outlives_no_registry)
{
  PPortDescriptor& descriptor = describe("O|Synth|In");
  Out& local = add("Player", "MIDI");
  PPort* alias = find("O|Synth|In");
  local.connect(alias);
  local.disconnectAll();
  EXPECT_TRUE(registry->unregisterPort(alias)); // only the message holds it now
  messenger.dispatch();
  EXPECT_EQ(registry->countPorts(), 1);

  local.connect(registry->createAliasPort(&descriptor));
  local.disconnectAll();
  local.connect(registry->createAliasPort(&descriptor)); // connected to its end
  registry = nullptr;
  EXPECT_FALSE(messenger.isPending(nullptr));
  EXPECT_FALSE(local.isConnected());
  EXPECT_FALSE(local.hasFlag(portIsRegistered));
  messenger.dispatch();
}

TEST_F(PortRegistry, missing_port_is_replaced_by_what_is_mapped_or_fits_best)
{
  Out& busy = add("Other", "Out");
  Out& free = add("Third", "Out");
  Out& late = add("Fourth", "Out");
  In& sink = add<In>("Player", "MIDI");
  describe("I|Gone|Out");
  EXPECT_EQ(find("I|Gone|Out"), &busy);
  busy.connect(&sink);
  EXPECT_EQ(find("I|Gone|Out"), &free);

  store([](FAttributes& set) {
    map(set, "I|Gone|Out", "I|Fourth|Out");
    map(set, "I|Gone|Out", "I|Other|Out");
  });
  EXPECT_TRUE(registry->loadSettings());
  EXPECT_EQ(find("I|Gone|Out"), &late);
  EXPECT_EQ(registry->findPort("I|Gone|Out"), nullptr);
  registry->unregisterPort(&late); // the second mapping isn't looked at
  EXPECT_EQ(find("I|Gone|Out"), &free);
  EXPECT_EQ(find("I|Unknown|Out"), nullptr);
}

TEST_F(PortRegistry, port_fits_by_any_name_but_not_across_kinds)
{
  Out& port = add("Synth", "left", "side");
  port.setUserName("Mine");
  const struct {
    const char* id;
    CmString PPortDescriptor::*field;
    const char* value;
    bool fits;
  } rows[] = {
      {"I|Old|left", &PPortDescriptor::subtype, "side", true},
      {"I|Old|left", &PPortDescriptor::subtype, "extern", false},
      {"I|Old|left", &PPortDescriptor::type, "audio", false},
      {"left", &PPortDescriptor::role, "", false},
      {"I|Old|x", &PPortDescriptor::userName, "Mine", true},
      {"I|Old|x", &PPortDescriptor::systemName, "left", true},
  };
  for (const auto& row : rows) {
    descriptors.removeAll();
    describe(row.id).*row.field = row.value;
    PPort* found = find(row.id);
    EXPECT_EQ(found == &port, row.fits) << &row - rows;
    EXPECT_EQ(find(row.id), found) << "an alias is made once";
    if (found != &port)
      registry->unregisterPort(found); // the alias
  }
}

TEST_F(PortRegistry, settings_of_system_ports_live_through_removal_and_files)
{
  TemporaryFolder folder;
  FNFileSystem fileSystem;
  FObjectFiles files({folder / "user", {}}, fileSystem);
  Out& named = add("Synth", "Out");
  named.setUserName("Piano");
  named.setVisible(false);
  add("Synth", "Plain");
  add("Synth", "Virtual", "virtual").setUserName("forgotten");
  registry->unregisterPort(&named);
  for (int i = 0; i < 1001; ++i) // of programs that came once
    registry->unregisterPort(&add("Program", std::to_string(i).c_str()));
  store([](FAttributes& set) { map(set, "I|a|b", "I|c|d"); });
  EXPECT_TRUE(registry->saveSettings());
  auto* set = castTo<FAttributes>(pool.getGroup("Port Setup")->getObject("PortSetup"));
  EXPECT_EQ(set->getList("Settings")->count(), 1001u) << "the latest thousand, and the named one";
  pool.finishLoading();
  EXPECT_TRUE(pool.save(files, false));

  registry = make<PPortRegistry>();
  FDefaultPool reloaded;
  reloaded.load(files);
  EXPECT_TRUE(registry->loadSettings());
  Out& again = add("Synth", "Out");
  EXPECT_EQ(again.getUserName(), "Piano");
  EXPECT_FALSE(again.isVisible());
  EXPECT_TRUE(add("Synth", "Virtual", "virtual").getUserName().isEmpty());

  again.setUserName("Out"); // the system's own name is no name of the user's
  again.setVisible(true);
  registry->unregisterPort(&again);
  again.setUserName("Mine");
  registry->registerPort(&again);
  EXPECT_TRUE(again.getUserName().isEmpty());
  EXPECT_TRUE(again.isVisible());
}

TEST_F(PortRegistry, damaged_settings_do_no_harm_and_an_empty_set_leaves_no_group)
{
  store([](FAttributes& set) {
    for (const char* id : {"", "I|Synth|Out"}) {
      auto entry = make<FAttributes>();
      entry->setInt(*id ? "UserName" : "ID", 7);
      entry->setString(*id ? "ID" : "Hidden", id);
      set.appendObject("Settings", entry.get(), false);
    }
    set.setString("Mappings", "none");
  });
  EXPECT_TRUE(registry->loadSettings());
  EXPECT_TRUE(add("Synth", "Out").getUserName().isEmpty());

  pool.getGroup("Port Setup")->setString("PortSetup", "broken");
  EXPECT_FALSE(registry->loadSettings());
  registry = make<PPortRegistry>();
  EXPECT_TRUE(registry->saveSettings());
  EXPECT_EQ(pool.getGroup("Port Setup", 0, false), nullptr);
}

TEST_F(PortRegistry, notices_come_to_values_first_and_to_nobody_who_left)
{
  Listener value, leaving, removed, staying;
  leaving.then = [&] {
    EXPECT_THAT(value.notices, ElementsAre(100));
    for (Listener* listener : {&leaving, &removed})
      registry->removeListener(listener);
  };
  PPortRegistry::addValue(&value);
  for (Listener* listener : {&leaving, &removed, &staying})
    EXPECT_TRUE(registry->addListener(listener));
  Out& port = add("Synth", "Out");
  for (int i = 0; i < 2; ++i)
    port.setUserName("Piano");
  port.setVisible(false);
  EXPECT_THAT(staying.notices, ElementsAre(100, 101, 102));
  EXPECT_THAT(removed.notices, IsEmpty());
  EXPECT_THAT(leaving.notices, ElementsAre(100));
  PPortRegistry::removeValue(&value);
  registry->removeListener(&staying);
}

TEST_F(PortRegistry, filters_by_words_and_orders_by_kinds)
{
  In& input = add<In>("A", "i", "virtual");
  Out& b = add("A", "b");
  Out& a = add("A", "a");
  Out& merged = add("A", "z", "merged");
  input.setFlag(portIsExclusive);
  b.connect(&input);

  PPortFilter filter;
  auto collect = [&] {
    CmArray list;
    EXPECT_EQ(registry->collectPorts(filter, list), true);
    return std::vector<CmObject*>(list.begin(), list.end());
  };
  filter.connection = PortConnection::notExclusive;
  EXPECT_THAT(collect(), ElementsAre(&input, &a, &merged));
  filter.addSubtype("syst");
  filter.addSubtype("virtual");
  filter.addSubtype("merged");
  EXPECT_THAT(collect(), ElementsAre(&input, &merged));
  filter.addExcludedSubtype("merged");
  EXPECT_THAT(collect(), ElementsAre(&input));

  EXPECT_LT(comparePortKindsAndNames(merged, a), 0);
  EXPECT_LT(comparePortKindsAndNames(a, b), 0);
  EXPECT_LT(comparePortDirections(b, input), 0);
}
