#include "studio/studio.h"

#include "foundation/memory_stream.h"
#include "persist/user_message.h"
#include "studio/detection.h"
#include "studio/parameter_node.h"
#include "studio/port.h"
#include "studio/port_registry.h"

#include <gmock/gmock.h>

using namespace orbi;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

namespace {

Texts* events = nullptr; ///< what the devices below went through

class Device final : public CmClass<Device, PDevice> {
public:
  static constexpr const char* className = "TestDevice";
  explicit Device(const char* name = "Synth") : CmClass(name) {}

  bool activate() override { return tell("up", onActivate) && !fails; }
  bool deactivate() override { return tell("down", onDeactivate); }
  void onStudioStarted() override { tell("started", onStarted); }
  void update(CmObject*, int32_t code) override { tell("hears " + std::to_string(code), nullptr); }

  bool fails = false;
  std::function<void()> onActivate, onDeactivate, onStarted;

private:
  bool tell(const std::string& what, const std::function<void()>& then)
  {
    events->push_back(std::string(getDisplayName().text()) + " " + what);
    if (then)
      then();
    return true;
  }
};

struct Studio : testing::Test, FUserMessage {
  Studio() { events = &told; }
  void show(std::string_view text) override { shown.emplace_back(text); }
  Device* add(const char* name, uint32_t flags = 0)
  {
    auto device = make<Device>(name);
    studio->addDevice(device.get(), flags);
    return device.get(); // the tree holds it
  }
  Texts names() const
  {
    Texts names;
    for (int32_t i = 0; i < studio->tree().root()->countChildren(); ++i)
      names.emplace_back(
          static_cast<Device*>(studio->tree().root()->childAt(i))->getDisplayName().text());
    return names;
  }
  Texts take() { return std::exchange(told, {}); }

  Texts told, shown;
  Application application;
  Ref<PPortRegistry> registry = make<PPortRegistry>();
  Ref<PStudio> studio = make<PStudio>();
};

/// Finds one device more, each time.
class Detector final : public CmClass<Detector, CmObject>,
                       public IHostedComponent,
                       public IDeviceDetection {
public:
  static constexpr const char* className = "TestDetector";
  CmResult queryInterface(const FUID& id, void** out) override
  {
    const bool isHosted = id == IHostedComponent::interfaceId;
    if (!isHosted && id != IDeviceDetection::interfaceId)
      return CmObject::queryInterface(id, out);
    retain();
    *out = isHosted ? static_cast<void*>(static_cast<IHostedComponent*>(this))
                    : static_cast<IDeviceDetection*>(this);
    return resultOk;
  }
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  CmResult initialize(FUnknown* to) override { return host = to, refuses ? resultFailed : 0; }
  CmResult terminate() override { return ++terminated, resultOk; }
  void getIdentity(DetectionIdentity& identity) override { identity = {"usb", "us", "midi"}; }
  void detect() override
  {
    castTo<PStudio>(objectBehind(host))->addDevice(make<Device>("USB").get(), 0);
  }
  FUnknown* host = nullptr;
  static inline bool refuses = false;
  static inline int terminated = 0;
};

template <class T>
FUnknown* create()
{
  return static_cast<CmObject*>(new T);
}

} // namespace

TEST_F(Studio, devices_start_in_order_and_stop_backwards_but_for_one_that_failed)
{
  EXPECT_TRUE(studio->stop());
  add("A");
  Device* broken = add("B");
  broken->fails = true;
  add("C");
  studio->start();
  studio->start();
  EXPECT_THAT(take(), ElementsAre("A up", "B up", "C up", "A started", "B started", "C started"));
  EXPECT_EQ(broken->nodeFlags(), deviceFailed);
  EXPECT_THAT(application.heard, testing::Each("Device Start"));
  broken->setNodeFlags(uint32_t{deviceFailed} | nodeSkipsNotice);
  static_cast<CmObject&>(application).changed(7);
  studio->stop();
  application.changed(8);
  EXPECT_THAT(take(), ElementsAre("A hears 7", "C hears 7", "C down", "A down"));
  broken->fails = false; // the next start tries again
  studio->start();
  studio->removeDevice(studio->findDeviceByName("a"));
  studio = nullptr;
  EXPECT_THAT(take(), ElementsAre("A up", "B up", "C up", "A started", "B started", "C started",
                                  "A down", "C down", "B down"));
}

TEST_F(Studio, devices_that_come_and_go_while_others_are_called_are_called_once_each)
{
  Device* first = add("First");
  Device* gone = add("Gone");
  add("Last");
  first->onActivate = [&] {
    studio->removeDevice(gone);
    add("Early");
    studio->start();
    studio->stop();
  };
  first->onStarted = [&] { add("Late"); };
  studio->start();
  EXPECT_THAT(take(), ElementsAre("First up", "Last up", "Early up", "First started", "Late up",
                                  "Late started", "Last started", "Early started"));
  auto fickle = make<Device>("Fickle");
  fickle->onActivate = [&] { studio->removeDevice(fickle.get()); };
  EXPECT_FALSE(studio->addDevice(fickle.get(), 0));
  EXPECT_THAT(take(), ElementsAre("Fickle up", "Fickle down"));
  first->onDeactivate = [&] { add("Too late"), studio->removeDevice(first), studio->stop(); };
  first->onActivate = first->onStarted = nullptr;
  studio->removeDevice(studio->findDeviceByName("Late"));
  studio->stop();
  EXPECT_THAT(take(), ElementsAre("Late down", "Early down", "Last down", "First down"));
  EXPECT_THAT(names(), ElementsAre("Last", "Early", "Too late"));
}

TEST_F(Studio, a_display_name_that_is_taken_gets_a_number_behind_it)
{
  Device* device = add("Synth");
  add("SYNTH");
  add("Synth");
  EXPECT_FALSE(studio->addDevice(device, 0));
  EXPECT_FALSE(studio->addDevice(nullptr, 0));
  auto indexed = make<Device>("Organ");
  studio->addDeviceIndexed(indexed.get(), 2, PStudio::Stay::saved);
  EXPECT_EQ(indexed->nodeFlags(), deviceIsStudios | deviceIsSaved);
  EXPECT_EQ(indexed->getName(), "Organ 3");
  EXPECT_FALSE(studio->addDeviceIndexed(indexed.get(), 2, PStudio::Stay::saved));
  EXPECT_THAT(names(), ElementsAre("Synth", "SYNTH 2", "Synth 3", "Organ 3"));
  EXPECT_EQ(studio->findDeviceByPath("Organ 3"), indexed.get());
  EXPECT_EQ(studio->findDeviceByPath(nullptr), nullptr);
  EXPECT_EQ(indexed->getStudio(), studio.get());
}

TEST_F(Studio, a_device_that_stays_is_removed_by_nobody_and_the_user_hears_why)
{
  const std::string longName = std::string(241, 'x') + "é";
  Device* device = add(longName.c_str(), deviceStays);
  EXPECT_FALSE(studio->removeDevice(device));
  EXPECT_THAT(shown, ElementsAre(testing::StartsWith("This device \"xxx")));
  EXPECT_EQ(shown[0].size(), 254u) << "a character isn't cut in two";
  auto* host = static_cast<IParameterHost*>(device);
  EXPECT_EQ(studio->removeExternalDevice(host), resultBadArgument);
  EXPECT_EQ(studio->removeExternalDevice(nullptr), resultBadArgument);
  device->setNodeFlags(0);
  EXPECT_EQ(studio->removeExternalDevice(host), resultOk);
  EXPECT_EQ(shown.size(), 1u);
}

TEST_F(Studio, the_ports_of_a_removed_device_that_others_hold_come_back_with_it)
{
  auto device = Ref<Device>::share(add("Synth"));
  auto peer = make<PMultiInput>();
  device->addOutput(make<PMultiOutput>(device.get(), "Out"), PDevice::Registration::registered);
  device->addOutput(make<PMultiOutput>(device.get(), "Own"), PDevice::Registration::none);
  device->outputAt(0)->connect(peer.get());
  studio->removeDevice(device.get());
  EXPECT_FALSE(peer->isConnected());
  EXPECT_EQ(registry->countPorts(), 0);
  studio->addDevice(device.get(), 0);
  EXPECT_EQ(registry->countPorts(), 1);
}

TEST_F(Studio, a_device_comes_from_its_component_and_takes_its_setup_item_away)
{
  constexpr FUID id{1, 2, 3, 4};
  const FComponent one(id, "Device Class", "Single", create<Device>, FComponent::Count::one);
  const FComponent other({1, 2, 3, 5}, "Device Class", "Text", create<CmString>);
  for (const char* name : {"Drums", "Single"})
    studio->setupItems().add(new PStudioSetupItem("Device Class", name));
  studio->start();
  EXPECT_EQ(studio->createDeviceByClass(other.id(), 0, PStudio::Stay::saved), nullptr);
  EXPECT_EQ(studio->createDeviceByName("Device Class", "None", 0, PStudio::Stay::saved), nullptr);
  auto* host = studio->createDeviceByName("Device Class", "Single", 0, PStudio::Stay::transient);
  ASSERT_TRUE(host);
  EXPECT_EQ(studio->createDeviceByClass(id, 1, PStudio::Stay::saved), nullptr);
  EXPECT_THAT(shown, ElementsAre("The Studio can only have one \"Synth\"!"));
  auto again = make<Device>();
  again->addClassID(id);
  studio->addDevice(again.get(), deviceTakesSetupItem);
  EXPECT_EQ(studio->setupItems().count(), 1u);
}

TEST_F(Studio, detection_runs_from_the_queue_and_when_ports_come_but_not_after_the_stop)
{
  const FComponent component({1, 0, 0, 0}, IDeviceDetection::category, "Test", create<Detector>);
  const FComponent wrong({2, 0, 0, 0}, IDeviceDetection::category, "Wrong", create<CmString>);
  const FComponent none({3, 0, 0, 0}, IDeviceDetection::category, "None",
                        []() -> FUnknown* { return nullptr; });
  studio->start();
  EXPECT_THAT(names(), IsEmpty());
  application.runPasses();
  EXPECT_EQ(names().size(), 1u);
  registry->notifyPortChange(make<PMultiOutput>().get(), noticePortSet);
  application.runPasses();
  EXPECT_EQ(names().size(), 2u);
  for (auto [name, subName] : {std::pair("usb", "other"), std::pair("USB", "midi")})
    studio->runDetection(name, subName);
  EXPECT_EQ(names().size(), 2u);
  studio->runDetection("usb", "midi");
  EXPECT_EQ(names().size(), 3u);
  EXPECT_EQ(Detector::terminated, 5);
  Detector::refuses = true;
  studio->runDetection(nullptr, nullptr);
  EXPECT_EQ(Detector::terminated, 5);
  registry->notifyPortChange(make<PMultiOutput>().get(), noticePortSet);
  studio->stop();
  Detector::refuses = false;
  application.runPasses();
  EXPECT_EQ(names().size(), 3u);
}

TEST(StudioSetup, comes_back_from_a_stream_as_far_as_that_reaches)
{
  PStudioSetup setup, back;
  for (const char* name : {"First", "Second"})
    setup.items().add(new PStudioSetupItem("Device Class", name));
  FMemoryStream stream;
  setup.write(stream);
  stream.resize(stream.size() - 3);
  stream.rewind();
  EXPECT_FALSE(back.read(stream));
  ASSERT_EQ(back.items().count(), 1u);
  EXPECT_EQ(static_cast<PStudioSetupItem*>(back.items().at(0))->name, "First");
}
