#include "foundation/uid_object.h"
#include "persist/translator.h"
#include "studio/device.h"
#include "studio/device_tree.h"
#include "studio/parameter_node.h"
#include "studio/port.h"
#include "studio/port_registry.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace orbi;
using Texts = std::vector<std::string>;

namespace {

/// Writes down what it is told.
class Automation final : public CmClass<Automation, PAutomation> {
public:
  static constexpr const char* className = "TestAutomation";
  void nodeAdded(PDeviceNode* node) override { tell("added", node); }
  void nodeRemoved(PDeviceNode* node) override { tell("removed", node); }
  void setReadEnable(PDeviceNode* node, bool on) override { tell(on ? "read" : "unread", node); }
  void setWriteEnable(PDeviceNode* node, bool on) override { tell(on ? "write" : "lock", node); }
  int32_t routeParameter(PDeviceNode*, int32_t tag, CmObject*) override { return tag; }

  Texts told;
  std::function<void(PDeviceNode*)> onTold;

private:
  void tell(const char* what, PDeviceNode* node)
  {
    told.push_back(std::string(what) + " " + node->getName().text());
    if (onTold)
      onTold(node);
  }
};

class Bank final : public CmClass<Bank, PPresetBank> {
public:
  static constexpr const char* className = "TestBank";
  explicit Bank(Texts names = {}) : names_(std::move(names)) {}
  int32_t countPresets() const override { return static_cast<int32_t>(names_.size()); }
  CmString getPresetName(int32_t index) const override { return names_[size_t(index)].c_str(); }
  bool canRename(int32_t index) const override { return index == 0; }
  bool renamePreset(const char* text, int32_t index) override
  {
    names_[size_t(index)] = text;
    return true;
  }
  bool recall(int32_t index, PDeviceNode* node) override
  {
    node->setDisplayName(names_[size_t(index)].c_str());
    return true;
  }

private:
  Texts names_;
};

ParameterNode* addNode(FNode& parent, const char* name, std::vector<int32_t> tags = {})
{
  auto node = make<ParameterNode>(name, std::move(tags));
  return parent.addChild(node.get()) ? node.get() : nullptr;
}

/// root, an automation root, over a, over b, itself a root; c beside a.
struct Enables : testing::Test {
  Enables() { root->setNodeFlags(nodeIsAutomationRoot); }
  void click(PDeviceNode& node) { node.getReadEnableValue()->setInt(1); }
  std::string enabled() const
  {
    std::string names;
    for (const ParameterNode* node : {root.get(), a, b, c})
      names += node->isReadEnabled() ? node->getName().text() : "";
    return names;
  }
  Application application;
  Ref<ParameterNode> root = make<ParameterNode>("r");
  ParameterNode* a = addNode(*root, "a");
  ParameterNode* b = addNode(*a, "b");
  ParameterNode* c = addNode(*root, "c");
  Ref<Automation> automation = make<Automation>();
};

struct Counter final : CmObject {
  void update(CmObject*, int32_t) override
  {
    ++count;
    if (then)
      then();
  }
  int count = 0;
  std::function<void()> then;
};

constexpr const char* firstID = "CA1729D088FC4857937F78CC37D45B48";

} // namespace

TEST(DeviceNode, shows_the_translation_of_its_name_or_of_the_one_it_gets)
{
  UTranslator translator;
  translator.setLanguage("de");
  translator.load("<StringTable><String Key=\"Inputs\"><Deu>Quellen</Deu></String></StringTable>");
  PDeviceTree tree;
  EXPECT_STREQ(tree.root()->getName().text(), "Device Root");
  ParameterNode* node = addNode(*tree.root(), "Inputs");
  EXPECT_STREQ(node->getDisplayName().text(), "Quellen");
  EXPECT_STREQ(PDeviceNode("Inputs", "Inputs").getDisplayName().text(), "Inputs");
  node->setDisplayName("Synth");
  EXPECT_EQ(tree.root()->findByPath("SYNTH"), node);
  node->setDisplayName("Inputs");
  EXPECT_STREQ(node->getDisplayName().text(), "Quellen");
  node->getValue("deviceName")->setText("Edited");
  EXPECT_STREQ(node->getDisplayName().text(), "Edited");
}

TEST(DeviceNode, comes_back_from_a_file_with_all_that_it_stores)
{
  auto top = make<PDevice>("Top", "Shown");
  auto inner = make<PDevice>("Inner");
  inner->addClassID({1, 2, 3, 4});
  inner->setNodeFlags(nodeIsAutomationRoot | 512);
  top->addChild(inner.get());
  top->addChannel(make<PDevice>("Left").get());
  FAttributes stored;
  top->storeAttributes(stored);
  Texts keys;
  for (uint32_t i = 0; i < stored.count(); ++i)
    keys.emplace_back(stored.at(i)->key().text());
  EXPECT_EQ(keys, (Texts{"DeviceNode Name", "ClassName", "IDString", "Children", "NodeFlags",
                         "NumberClassIDs", "ClassIDs"}));
  EXPECT_STREQ(stored.getList("ClassIDs")->valueAt(0).text, firstID);

  FAttributes read;
  ASSERT_TRUE(readXml(xmlOf(stored), read).complete);
  PDevice loaded;
  EXPECT_TRUE(loaded.loadAttributes(read));
  EXPECT_STREQ(loaded.getDisplayName().text(), "Shown");
  EXPECT_STREQ(loaded.nodeClass().text(), "Top");
  auto* child = castTo<PDevice>(loaded.findByPath("Inner"));
  ASSERT_TRUE(child);
  EXPECT_EQ(child->nodeFlags(), nodeIsAutomationRoot | 512u);
  EXPECT_EQ(child->countClassIDs(), 3);
  EXPECT_TRUE(child->hasClassID({1, 2, 3, 4}));
  ASSERT_EQ(loaded.countChannels(), 1);
  EXPECT_EQ(loaded.channelAt(0)->getName(), "Left");

  // Without names the children are read all the same; class ids that are missing are a failure.
  read.remove("DeviceNode Name");
  read.remove("IDString");
  PDevice nameless;
  EXPECT_FALSE(nameless.loadAttributes(read));
  EXPECT_EQ(nameless.countChildren(), 2);
  read.setString("Name", "Old");
  EXPECT_TRUE(nameless.loadAttributes(read));
  EXPECT_STREQ(nameless.getName().text(), "Old");
  read.setInt("NumberClassIDs", INT64_MAX);
  EXPECT_FALSE(nameless.loadAttributes(read));
  EXPECT_EQ(nameless.countClassIDs(), 2);
  read.remove("ClassIDs");
  read.setInt("NumberClassIDs", 1);
  read.appendString("ClassIDs", "This isn't an id, but long enough");
  EXPECT_FALSE(nameless.loadAttributes(read));
  EXPECT_EQ(nameless.countClassIDs(), 0);
}

TEST(DeviceNode, reads_each_form_of_its_stream)
{
  const std::string name("\3\0\0\0Me\0", 7);
  const std::string object("\7\0\0\0FNode\0", 10); // its length is one byte off
  const std::string known("\6\0\0\0FNode\0", 10);
  const std::string preset("\1\1\0\0\0", 5);
  const struct {
    std::string bytes;
    bool complete;
    int32_t preset; ///< -1: none
  } cases[] = {
      {"\2" + preset, true, 1},
      {std::string("\2\0", 2), true, -1},
      {"\1" + known + preset, true, 1},
      {"\1" + object + preset, false, -1},
      {std::string("\0", 1) + preset, true, 1},
      {std::string("\0\2", 2) + preset, false, -1},
      {"\3" + preset, false, -1},
      {"\2\1", false, -1},
      {"", false, -1},
  };
  Bank bank({"One", "Two"});
  for (const auto& form : cases) {
    ParameterNode node;
    node.bank = &bank;
    EXPECT_EQ(node.read(*streamOf(name + form.bytes)), form.complete) << form.bytes;
    EXPECT_STREQ(node.getDisplayName().text(), "Me");
    FAttributes stored;
    node.storeAttributes(stored);
    EXPECT_EQ(stored.has("Selected Preset") ? stored.getInt("Selected Preset") : -1, form.preset);
    ParameterNode without;
    EXPECT_EQ(without.read(*streamOf(name + form.bytes)), form.complete && form.preset < 0);
    FMemoryStream written;
    EXPECT_TRUE(node.write(written));
    EXPECT_EQ(textOf(written), name + "\2" + (form.preset < 0 ? std::string(1, '\0') : preset));
  }
}

TEST(DeviceNode, class_ids_and_tags_lead_to_values)
{
  ParameterNode top("top", {5});
  ParameterNode* second = (addNode(top, "first"), addNode(top, "second", {7}));
  const std::string id = firstID;
  const struct {
    std::string path;
    PDeviceNode* found;
    std::string rest;
  } cases[] = {
      {"", &top, ""},
      {"[Tag:3", &top, "[Tag:3"},
      {"[" + id + "]p5", &top, "p5"},
      {"[" + id + ",1]", second, ""},
      {"[" + id + "][" + id + ",0001][Tag:7]", second, "[Tag:7]"},
      {"[" + id + ",2]", nullptr, ""},
      {"[" + id + ",00001]", nullptr, ""},
      {"[" + id + ",-1]", nullptr, ""},
      {"[" + id + ",1", nullptr, ""},
      {"[" + id + "]" + "[nothing", nullptr, ""},
      {"[" + id, nullptr, ""},
      {"[" + id.substr(1) + "x]", nullptr, ""},
      {"[00000000000000000000000000000000]", nullptr, ""},
      {"p5", nullptr, ""},
  };
  for (const auto& step : cases) {
    CmString path(step.path);
    EXPECT_EQ(top.resolvePath(path), step.found) << step.path;
    EXPECT_EQ(std::string(path.text()), step.found ? step.rest : step.path);
  }
  EXPECT_EQ(top.getValue(("[" + id + ",1]p7").c_str()), &second->values[7]);
  EXPECT_EQ(top.getValue("[Tag:5]"), &top.values[5]);
  for (const char* name : {"[Tag:-5]", "[Tag:5", "[Tag:x]", "[Tag:99999999999]", "q5", "[", ""})
    EXPECT_EQ(top.getValue(name), nullptr) << name;

  int32_t tag = -1;
  EXPECT_TRUE(top.findParameterTag("p5", tag));
  EXPECT_EQ(tag, 5);
  EXPECT_FALSE(top.findParameterTag("p6", tag));
  FMessage question("Get Value Name");
  CmString text;
  question.setObject("String", &text);
  EXPECT_EQ(top.handleMessage(question), -1);
  question.setObject("Value", &top.values[5]);
  EXPECT_EQ(top.handleMessage(question), 1);
  EXPECT_STREQ(text.text(), "Name 5");
}

TEST(DeviceNode, tells_of_a_parameter_only_what_can_be_seen)
{
  Counter counter;
  FDependencies dependencies;
  ParameterNode node("n", {5});
  node.values[5].addDependent(&counter);
  for (auto [fraction, expected] : {std::pair(0.5, 1), std::pair(0.501, 1), std::pair(1e9, 2),
                                    std::pair(std::nan(""), 2), std::pair(-1.0, 3)}) {
    node.setParameterNormalized(5, fraction);
    dependencies.flush();
    EXPECT_EQ(counter.count, expected) << fraction;
  }
  node.setParameterNormalized(6, 1);
  node.values[5].setReadOnly(true);
  node.setParameterNormalized(5, 1);
  EXPECT_EQ(node.getParameterInt(5), 0);
}

TEST_F(Enables, a_click_goes_to_the_automation_root_and_from_there_to_all)
{
  application.onMessage = [&](FMessage& message) {
    if (message.isMessage("CreateAutomation"))
      message.getObject<PDeviceNode>("DeviceNode")->setAutomation(automation.get());
  };
  click(*a);
  EXPECT_EQ(enabled(), "rabc");
  EXPECT_EQ(automation->told, (Texts{"read a"}));
  a->getReadEnableValue()->setInt(0);
  EXPECT_EQ(enabled(), "");

  application.onMessage = nullptr;
  a->setAutomation(nullptr);
  click(*c);
  EXPECT_EQ(application.heard, (Texts{"CreateAutomation", "CreateAutomation"}));
  EXPECT_EQ(enabled(), "");
}

TEST_F(Enables, an_owner_leaves_out_what_is_a_root_itself)
{
  b->setNodeFlags(nodeIsAutomationRoot);
  root->setReadEnable(true, PDeviceNode::EnabledBy::owner);
  EXPECT_EQ(enabled(), "rac");
  b->setReadEnable(true, PDeviceNode::EnabledBy::owner);
  root->setWriteEnable(true, PDeviceNode::EnabledBy::user);
  root->setAutomation(automation.get());
  root->setAutomation(nullptr);
  EXPECT_EQ(enabled(), "b");
  EXPECT_TRUE(b->isWriteEnabled());
  EXPECT_FALSE(a->isWriteEnabled());
}

TEST_F(Enables, nodes_may_go_while_they_are_told)
{
  root->setAutomation(automation.get());
  addNode(*b, "d");
  root->removeChild(c);
  EXPECT_EQ(automation->told, (Texts{"added d", "removed c"}));
  automation->onTold = [&](PDeviceNode* node) {
    auto* parent = static_cast<PDeviceNode*>(node->getParent());
    if (parent && automation->told.back() == "removed d")
      parent->FNode::removeChild(node);
    else
      node->removeAllChildren();
  };
  a->setAutomation(automation.get());
  root->setReadEnable(true, PDeviceNode::EnabledBy::user);
  EXPECT_EQ(root->countChildren(), 0);
  root->setFreezeLock(true);
  root->setFreezeLock(true);
  EXPECT_EQ(application.heard, (Texts{"SetFreezeLock"}));
}

TEST(DeviceNode, a_chosen_preset_is_recalled_and_may_go)
{
  FDependencies dependencies;
  auto bank = make<Bank>(Texts{"One"});
  bank->addChild(make<Bank>(Texts{"Two", "Three"}).get());
  ParameterNode node("n");
  EXPECT_EQ(node.getValue("preset"), nullptr);
  node.bank = bank.get();
  UValue* choice = node.getValue("preset");
  ASSERT_TRUE(choice && node.hasValue("HasPresetValue"));
  choice->setInt(2);
  dependencies.flush();
  EXPECT_STREQ(node.getDisplayName().text(), "Three");
  Counter counter;
  choice->addDependent(&counter);
  CmString text;
  choice->setText("0"); // renames a preset that can be, and selects none
  choice->getString(text);
  EXPECT_EQ(text, "Three");
  choice->setValue(1);
  choice->setText("0");
  choice->getString(text);
  EXPECT_EQ(text, "0");
  dependencies.flush();
  EXPECT_EQ(counter.count, 1);
  bank = nullptr;
  dependencies.flush();
  choice->getString(text);
  EXPECT_TRUE(text.isEmpty());
  EXPECT_EQ(counter.count, 2);
  dependencies.removeDependent(nullptr, &counter);
}

TEST(DeviceNode, asking_for_the_names_of_presets_moves_no_choice)
{
  Bank bank({"One", "Two", "Three"});
  PPresetChoiceValue choice(nullptr, &bank, 500);
  CmString text;
  choice.getStringForValue(1, text);
  EXPECT_EQ(text, "Two");
  choice.getStringForNormalized(1, text);
  EXPECT_EQ(text, "Three");
  choice.getStringForNormalized(std::nanf(""), text);
  EXPECT_EQ(text, "");
  EXPECT_EQ(choice.getInt(), 500);
}

TEST(DeviceNode, a_node_may_go_while_its_values_are_told_and_leaves_the_queue)
{
  static int wakes = 0;
  FDependencies dependencies;
  dependencies.setWakeUp([] { ++wakes; });
  using Action = void (*)(PDeviceNode&);
  for (Action action : {Action([](PDeviceNode& node) { node.setParameterInt(5, 1); }),
                        Action([](PDeviceNode& node) { node.setParameterNormalized(5, 1); }),
                        Action([](PDeviceNode& node) { node.setAutomation(nullptr); })}) {
    auto node = make<ParameterNode>("n", std::vector<int32_t>{5});
    Counter killer, other;
    node->setWriteEnable(true, PDeviceNode::EnabledBy::user);
    killer.then = [&] { node = nullptr; };
    node->values[5].setTarget(&killer, 5);
    node->getWriteEnableValue()->addDependent(&killer);
    static_cast<UValue*>(node->getWriteEnableValue())->setImmediate(true);
    node->addDependent(&other);
    node->deferChanged(7);
    dependencies.removeDependent(nullptr, &other); // the notice stays
    action(*node);
    EXPECT_FALSE(node);
    dependencies.removeDependent(nullptr, &killer);
  }
  EXPECT_EQ(wakes, 3) << "the queue was empty each time";
}

TEST(Device, connects_its_first_port_of_the_other_direction)
{
  FDependencies dependencies;
  PPortRegistry registry;
  auto device = make<PDevice>("Device");
  auto owned = make<PMultiInput>(device.get(), "In");
  PInput* input = owned.get();
  EXPECT_TRUE(device->addInput(owned, PDevice::Registration::registered));
  EXPECT_FALSE(device->addInput(owned, PDevice::Registration::registered));
  owned = nullptr;
  auto other = make<POutput>(nullptr, "Out");
  auto wrong = make<PInput>(nullptr, "In");
  PDeviceNode noPort;
  EXPECT_EQ(device->connectPort(static_cast<CmObject*>(other.get())), resultOk);
  EXPECT_TRUE(device->isPortConnected(static_cast<CmObject*>(other.get())));
  EXPECT_EQ(device->connectPort(static_cast<CmObject*>(wrong.get())), resultFailed);
  EXPECT_EQ(device->connectPort(static_cast<CmObject*>(&noPort)), resultBadArgument);
  EXPECT_EQ(device->connectPort(nullptr), resultOk);
  EXPECT_FALSE(other->isConnected());
  EXPECT_EQ(device->getPortByName("Device", "In", PDevice::PortSide::input), input);
  EXPECT_EQ(device->getPortByName("Other", "In", PDevice::PortSide::input), nullptr);
  EXPECT_EQ(device->countInputs("midi"), 0);

  static int told = 0;
  struct Fickle final : PMultiOutput {
    using PMultiOutput::PMultiOutput;
    void deactivate() override
    {
      ++told;
      static_cast<PDevice*>(owner())->removeOutput(this);
    }
  };
  for (int i = 0; i < 3; ++i)
    device->addOutput(make<Fickle>(device.get()), PDevice::Registration::registered);
  device->deactivate();
  EXPECT_EQ(told, 3);
  EXPECT_EQ(device->countOutputs(), 0);

  input->connect(other.get());
  device = nullptr;
  EXPECT_FALSE(other->isConnected());
  EXPECT_EQ(registry.countPorts(), 0);
}
