#include "studio/port_registry.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "foundation/messenger.h"
#include "persist/default_pool.h"
#include "persist/file_system.h"
#include "persist/object_files.h"
#include "platform/temporary_folder.h"
#include "studio/port_alias.h"
#include "studio/port_filter.h"
#include "studio/port_id.h"
#include "studio/port_order.h"

#include <functional>
#include <gmock/gmock.h>

using namespace orbi;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

template <class Base>
class Socket final : public Base, public IPortRole {
public:
  Socket(const char* device, const char* name, const char* kind = systemPortKind)
      : Base(nullptr, name), device(device), kind(kind)
  {
  }
  ~Socket() override
  {
    if (PPortRegistry* registry = PPortRegistry::instance())
      registry->unregisterPort(this);
  }
  const char* getType() const override { return type; }
  const char* getSubtype() const override { return kind; }
  std::string_view deviceName() const override { return device.view(); }
  CmResult queryInterface(const FUID& id, void** out) override
  {
    if (id != IPortRole::interfaceId || !role)
      return Base::queryInterface(id, out);
    addRef();
    *out = static_cast<IPortRole*>(this);
    return resultOk;
  }
  int32_t addRef() override { return this->retain(); }
  int32_t release() override { return this->releaseRef(); }
  const char* getRoleText() override { return role; }

  CmString device;
  const char* kind;
  const char* type = "midi";
  const char* role = nullptr;
};
using Out = Socket<PMultiOutput>;
using In = Socket<PInput>;

CmString idOf(const PPort& port)
{
  CmString id;
  port.getID(id);
  return id;
}

struct Listener final : PPortListener {
  void portChanged(PPort* port, PPortNotice notice) override
  {
    notices.push_back(notice);
    if (then)
      then(port);
  }
  std::vector<int> notices;
  std::function<void(PPort*)> then;
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
  PPortDescriptor& describe(const char* id, const char* type = "midi")
  {
    auto* descriptor = new PPortDescriptor;
    descriptor->id = id;
    descriptor->type = type;
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

  FDependencies dependencies;
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
  const struct {
    const char* device;
    const char* name;
  } names[] = {{"Synth", "In 1"},
               {"Synth", ""},
               {"", "In 1"},
               {"", ""},
               {"a|b", "c|d"},
               {"a", "b|c|d"},
               {"Klavier \xC3\xBC", "\xE9\x8D\xB5"},
               {lengthy.c_str(), "In"},
               {"In", lengthy.c_str()}};
  std::vector<PPort*> ports;
  for (auto [device, name] : names) {
    ports.push_back(&add<Out>(device, name));
    ports.push_back(&add<In>(device, name));
    ASSERT_EQ(ports.back()->portNumber(), ports[ports.size() - 2]->portNumber() + 1);
  }
  EXPECT_EQ(idOf(*ports[0]), "I|Synth|In 1");
  EXPECT_EQ(idOf(*ports[1]), "O|Synth|In 1");
  // Bars make the one port that can't be told from its neighbour: the first has the identifier.
  for (size_t i = 0; i < ports.size(); ++i) {
    EXPECT_EQ(registry->portNumberLookup(ports[i]->portNumber()), ports[i]);
    EXPECT_EQ(registry->findPort(idOf(*ports[i]).text()), ports[i / 2 == 5 ? i - 2 : i]) << i;
  }
  for (const char* id :
       {"", "I", "I|", "I|Synth", "I|Synth|", "X|Synth|In 1", "I|Synth|In 1 ", "||"})
    EXPECT_EQ(registry->findPort(id) != nullptr, std::string(id) == "I|Synth|") << id;
  EXPECT_EQ(registry->findPort(nullptr), nullptr);
  EXPECT_EQ(deviceNameInPortID("I|a|b|c"), "a|b");
  EXPECT_EQ(portNameInPortID("I|a|b|c"), "c");
  EXPECT_EQ(deviceNameInPortID("I|a"), "");

  EXPECT_FALSE(registry->registerPort(ports[0]));
  EXPECT_FALSE(registry->registerPort(nullptr));
  EXPECT_TRUE(registry->unregisterPort(ports[0]));
  EXPECT_FALSE(registry->unregisterPort(ports[0]));
  EXPECT_EQ(registry->findPort("I|Synth|In 1"), nullptr);
}

TEST_F(PortRegistry, port_is_found_under_the_names_that_it_has_now)
{
  Out& first = add("A", "x");
  Out& second = add("B", "x");
  EXPECT_EQ(registry->findPort("I|A|x"), &first);
  EXPECT_EQ(registry->findPort("I|B|x"), &second);
  first.device = "B"; // comes before the other now, which is still known by that identifier
  EXPECT_EQ(registry->findPort("I|A|x"), nullptr);
  second.setName("y");
  EXPECT_EQ(registry->findPort("I|B|x"), &first);
  second.setName("x");
  EXPECT_EQ(registry->findPort("I|B|x"), &first);
  registry->unregisterPort(&first);
  EXPECT_EQ(registry->findPort("I|B|x"), &second);
}

TEST_F(PortRegistry, alias_stands_in_until_its_port_comes_back)
{
  describe("I|Synth|Out").systemName = "hw:1";
  In& local = add<In>("Player", "MIDI");
  EXPECT_EQ(registry->findPort("I|Synth|Out"), nullptr);
  Ref<PPort> alias = Ref<PPort>::share(find("I|Synth|Out"));
  ASSERT_TRUE(alias);
  EXPECT_EQ(find("I|Synth|Out"), alias.get());
  CmString name;
  alias->getDisplayName(name);
  EXPECT_EQ(name, "Missing: hw:1");
  EXPECT_EQ(alias->getName(), "Out");
  EXPECT_TRUE(alias->isOutput() && alias->isType("midi") && alias->isSubtype("alias"));

  local.connect(alias.get());
  local.disconnect(alias.get()); // the check is posted, and finds it in use again
  local.connect(alias.get());
  messenger.dispatch();
  EXPECT_TRUE(alias->hasFlag(portIsRegistered));

  Out& real = add("Synth", "Out");
  EXPECT_TRUE(real.isConnectedTo(&local));
  EXPECT_EQ(local.countConnections(), 1);
  EXPECT_EQ(registry->countPorts(), 3);
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

  find("O|Synth|In"); // never connected: goes when the port comes
  add<In>("Synth", "In");
  messenger.dispatch();
  EXPECT_EQ(registry->countPorts(), 2);

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

TEST_F(PortRegistry, port_fits_by_any_name_or_role_but_not_across_kinds)
{
  Out& port = add("Synth", "left", "side");
  port.setUserName("Mine");
  port.type = "Audio";
  port.role = "Main";
  using Fill = std::function<void(PPortDescriptor&)>;
  const struct {
    const char* id;
    Fill fill;
    bool fits;
  } rows[] = {
      {"I|Old|left", {}, true},
      {"I|Old|Left", {}, false},
      {"O|Old|left", {}, false},
      {"left", {}, false},
      {"I|Old|left", [](PPortDescriptor& d) { d.type = "audio"; }, false},
      {"I|Old|left", [](PPortDescriptor& d) { d.subtype = "side"; }, true},
      {"I|Old|left", [](PPortDescriptor& d) { d.subtype = "extern"; }, false},
      {"I|Old|x", [](PPortDescriptor& d) { d.userName = "Mine"; }, true},
      {"I|Old|x", [](PPortDescriptor& d) { d.systemName = "left"; }, true},
      {"I|Old|x", [](PPortDescriptor& d) { d.role = "MAIN"; }, true},
      {"I|Old|x", [](PPortDescriptor& d) { d.role = "Side"; }, false},
  };
  for (const auto& row : rows) {
    descriptors.removeAll();
    PPortDescriptor& descriptor = describe(row.id, "Audio");
    if (row.fill)
      row.fill(descriptor);
    PPort* found = find(row.id);
    EXPECT_EQ(found == &port, row.fits) << &row - rows;
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
  store([](FAttributes& set) { map(set, "I|a|b", "I|c|d"); });
  EXPECT_TRUE(registry->saveSettings());
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
  EXPECT_TRUE(registry->saveSettings());
  auto* set = castTo<FAttributes>(reloaded.getGroup("Port Setup")->getObject("PortSetup"));
  auto* list = castTo<FSubList>(set->getList("Settings"));
  ASSERT_TRUE(list);
  ASSERT_EQ(list->count(), 2u);
  EXPECT_STREQ(list->at(0)->getString("ID"), "I|Synth|Out");
  EXPECT_EQ(list->at(0)->count(), 1u);
}

TEST_F(PortRegistry, damaged_settings_do_no_harm_and_an_empty_set_leaves_no_group)
{
  store([](FAttributes& set) {
    auto good = make<FAttributes>();
    good->setString("ID", "I|Synth|Out");
    good->setInt("UserName", 7);
    good->setString("Hidden", "1");
    auto other = make<FAttributes>();
    other->setInt("ID", 3);
    for (FAttributes* entry : {other.get(), good.get()})
      set.appendObject("Settings", entry, false);
    set.setString("Mappings", "none");
  });
  EXPECT_TRUE(registry->loadSettings());
  Out& port = add("Synth", "Out");
  EXPECT_TRUE(port.getUserName().isEmpty());
  EXPECT_FALSE(port.isVisible());
  registry->unregisterPort(&port);

  pool.getGroup("Port Setup")->setString("PortSetup", "broken");
  EXPECT_FALSE(registry->loadSettings());
  registry->registerPort(&port);
  EXPECT_FALSE(port.isVisible());

  registry->unregisterPort(&port);
  store([](FAttributes&) {});
  EXPECT_TRUE(registry->loadSettings());
  EXPECT_TRUE(registry->saveSettings());
  EXPECT_EQ(pool.getGroup("Port Setup", 0, false), nullptr);

  PPortDescriptor descriptor;
  PPortIDMapping mapping;
  FAttributes attributes;
  EXPECT_FALSE(descriptor.loadAttributes(attributes));
  EXPECT_FALSE(mapping.loadAttributes(attributes));
  attributes.setString("ID", "");
  attributes.setString("SourceID", "I|a|b");
  EXPECT_TRUE(descriptor.loadAttributes(attributes));
  EXPECT_FALSE(mapping.loadAttributes(attributes));
}

TEST_F(PortRegistry, notices_come_to_values_first_and_to_nobody_who_left)
{
  std::vector<int> order;
  Listener value, leaving, removed, staying, late;
  value.then = [&](PPort*) { order.push_back(1); };
  leaving.then = [&](PPort*) {
    order.push_back(2);
    registry->removeListener(&leaving);
    registry->removeListener(&removed);
    registry->addListener(&late);
  };
  PPortRegistry::addValue(&value);
  for (Listener* listener : {&leaving, &removed, &staying})
    EXPECT_TRUE(registry->addListener(listener));
  EXPECT_FALSE(registry->addListener(&staying));
  Out& port = add("Synth", "Out");
  EXPECT_THAT(order, ElementsAre(1, 2));
  port.setUserName("Piano");
  port.setUserName("Piano");
  port.setVisible(false);
  EXPECT_THAT(staying.notices, ElementsAre(100, 101, 102));
  EXPECT_THAT(late.notices, ElementsAre(101, 102));
  EXPECT_THAT(removed.notices, IsEmpty());
  EXPECT_THAT(leaving.notices, ElementsAre(100));
  PPortRegistry::removeValue(&value);
  for (Listener* listener : {&staying, &late})
    EXPECT_TRUE(registry->removeListener(listener));
}

TEST_F(PortRegistry, filters_and_orders_as_the_lists_want_it)
{
  Out& hidden = add("A", "h", "extern");
  hidden.setVisible(false);
  In& input = add<In>("A", "i", "virtual");
  Out& b = add("A", "b");
  Out& a = add("A", "a");
  Out& audio = add("A", "z", "merged");
  audio.type = "audio";
  Out& odd = add("A", "o", "unknown");
  input.setFlag(portIsExclusive);
  b.connect(&input);

  auto collect = [&](const std::function<void(PPortFilter&)>& fill) {
    PPortFilter filter;
    filter.direction = PortDirection::outputs;
    fill(filter);
    CmArray list;
    const bool hasAny = registry->collectPorts(filter, list);
    EXPECT_EQ(hasAny, !list.isEmpty());
    std::string names;
    for (CmObject* port : list)
      names += static_cast<PPort*>(port)->getName().text();
    return names;
  };
  using F = PPortFilter&;
  EXPECT_EQ(collect([](F) {}), "bazo");
  EXPECT_EQ(collect([](F f) { f.direction = PortDirection::any; }), "ibazo");
  EXPECT_EQ(collect([](F f) { f.visibility = PortVisibility::hidden; }), "h");
  EXPECT_EQ(collect([](F f) { f.connection = PortConnection::connected; }), "b");
  EXPECT_EQ(collect([](F f) { f.connection = PortConnection::notExclusive; }), "azo");
  EXPECT_EQ(collect([](F f) { f.type = "audio"; }), "z");
  EXPECT_EQ(collect([](F f) { f.addSubtype("merged"), f.addSubtype("system"); }), "baz");
  EXPECT_EQ(collect([](F f) { f.addSubtype("syst"); }), "");
  EXPECT_EQ(collect([](F f) { f.addExcludedSubtype("system"); }), "zo");
  EXPECT_EQ(collect([&](F f) { f.excludedPorts = {&a}; }), "bzo");
  EXPECT_EQ(collect([&](F f) { f.device = &a; }), "");

  std::vector<PPort*> ports = {&input, &odd, &hidden, &audio, &b, &a};
  std::stable_sort(ports.begin(), ports.end(), [](const PPort* x, const PPort* y) {
    for (auto compare : {comparePortDirections, comparePortTypes, comparePortKindsAndNames})
      if (const int order = compare(*x, *y); order != 0)
        return order < 0;
    return false;
  });
  EXPECT_THAT(ports, ElementsAre(&audio, &a, &b, &hidden, &odd, &input));
}

TEST_F(PortRegistry, callers_from_outside_get_codes_for_what_is_wrong)
{
  struct Sink final : IStringSink {
    CmResult queryInterface(const FUID&, void**) override { return resultNoInterface; }
    int32_t addRef() override { return 1; }
    int32_t release() override { return 1; }
    CmResult setText(const char* text) override { return got = text, resultOk; }
    std::string got;
  } sink;
  IPortRegistry& outside = *registry;
  Out& port = add("Synth", "Out");
  EXPECT_EQ(outside.findPortByID("I|Synth|Out"), static_cast<IPort*>(&port));
  EXPECT_EQ(outside.portAt(1), nullptr);
  EXPECT_EQ(outside.portAt(0)->getIDText(&sink), resultOk);
  EXPECT_EQ(sink.got, "I|Synth|Out");
  EXPECT_EQ(outside.portAt(0)->getIDText(nullptr), resultBadArgument);
  EXPECT_FALSE(outside.portAt(0)->isType(nullptr));
  EXPECT_EQ(outside.makePortID(&sink, "D", "P", false), resultOk);
  EXPECT_EQ(sink.got, "O|D|P");
  EXPECT_EQ(outside.makePortID(&sink, nullptr, "P", false), resultBadArgument);
  EXPECT_EQ(outside.unregisterExternalPort(nullptr), resultBadArgument);
  EXPECT_EQ(outside.unregisterExternalPort(static_cast<CmObject*>(&pool)), resultBadArgument);
  EXPECT_EQ(outside.unregisterExternalPort(outside.portAt(0)), resultOk);
  EXPECT_EQ(outside.unregisterExternalPort(static_cast<IPort*>(&port)), resultFailed);
}
