#include "persist/translator.h"
#include "studio/parameter_node.h"
#include "studio/tree.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <strings.h>

using namespace orbi;
using Names = std::vector<std::string>;

namespace {

FNode* addTo(FNode& parent, const char* name, int32_t index = -1)
{
  auto node = make<FNode>(name);
  return parent.insertChild(node.get(), index) ? node.get() : nullptr;
}

/// The rule by which siblings get their names, looking at each of them every time.
std::string nameAmong(const Names& siblings, const std::string& wanted, size_t own)
{
  auto isTaken = [&](const std::string& name) {
    auto same = [&](const std::string& other) { return !strcasecmp(other.c_str(), name.c_str()); };
    auto found = std::find_if(siblings.begin(), siblings.end(), same);
    return found != siblings.end() && found != siblings.begin() + static_cast<long>(own);
  };
  std::string name = wanted;
  for (int number = 2; isTaken(name); ++number)
    name = wanted + " " + std::to_string(number);
  return name;
}

/// A file of a node in a node in a node.
std::string nestedFile(int levels)
{
  std::string text = "<Root><string name=\"IDString\" value=\"top\"/>";
  for (int i = 1; i <= levels; ++i)
    text += "<list name=\"Children\" type=\"obj\"><obj class=\"FNode\" ID=\"" + std::to_string(i) +
            "\"><string name=\"IDString\" value=\"n\"/>";
  for (int i = 0; i < levels; ++i)
    text += "</obj></list>";
  return text + "</Root>";
}

Ref<FNode> load(std::string_view file)
{
  FAttributes attributes;
  auto node = make<FNode>();
  return readXml(file, attributes).complete && node->loadAttributes(attributes) ? node : nullptr;
}

int depthOf(const FNode* node)
{
  int depth = 0;
  while ((node = node->childAt(0)))
    ++depth;
  return depth;
}

} // namespace

TEST(Node, siblings_always_have_different_names)
{
  FNode parent;
  for (const char* name : {"Pan", "pan", "Pan", "Pan 2", "Solo"})
    addTo(parent, name);
  EXPECT_EQ(namesBelow(parent), (Names{"Pan", "pan 2", "Pan 3", "Pan 2 2", "Solo"}));
  parent.childAt(2)->setName("pan"); // keeps the number that it has
  EXPECT_STREQ(parent.childAt(2)->getName().text(), "pan 3");

  // Any order of changes, few children and many
  const char* words[] = {"a", "A", "b", "a 2", "a 3", "B 02", ""};
  std::mt19937 random(7);
  FNode top;
  Names expected;
  for (int step = 0; step < 4000; ++step) {
    const size_t count = expected.size();
    const size_t place = random() % (count + 1);
    const char* word = words[random() % std::size(words)];
    if (random() % 2 && place < count) {
      top.removeChild(top.childAt(static_cast<int32_t>(place)));
      expected.erase(expected.begin() + static_cast<long>(place));
    } else if (random() % 4 == 0 && place < count) {
      top.childAt(static_cast<int32_t>(place))->setName(word);
      expected[place] = nameAmong(expected, word, place);
    } else if (count < 60) {
      addTo(top, word, static_cast<int32_t>(place));
      expected.insert(expected.begin() + static_cast<long>(place),
                      nameAmong(expected, word, count));
    }
    ASSERT_EQ(namesBelow(top), expected) << "step " << step;
  }
}

TEST(Node, names_that_are_empty_or_endless_are_taken)
{
  FNode alone("Name");
  alone.setName("");
  EXPECT_STREQ(alone.getName().text(), "Name");
  alone.setName(nullptr);
  EXPECT_STREQ(alone.getName().text(), "");

  const std::string endless(3000, 'x');
  FNode parent;
  for (int i = 0; i < 40; ++i)
    addTo(parent, i % 2 ? endless.c_str() : "");
  Names names = namesBelow(parent);
  for (std::string& name : names)
    EXPECT_LE(name.size(), name == endless ? 3000 : FNode::longestNumberedName);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}

TEST(Node, a_node_stands_in_one_place)
{
  auto parent = make<FNode>("parent");
  auto child = make<FNode>("child");
  EXPECT_FALSE(parent->addChild(nullptr));
  EXPECT_FALSE(parent->addChild(parent.get()));
  EXPECT_TRUE(parent->addChild(child.get()));
  EXPECT_TRUE(parent->addChild(child.get()));
  EXPECT_EQ(parent->countChildren(), 1);
  EXPECT_EQ(child->refCount(), 2);
  EXPECT_FALSE(child->addChild(parent.get())); // a ring
  EXPECT_FALSE(parent->insertChild(make<FNode>().get(), 2));

  FNode other;
  EXPECT_TRUE(other.addChild(child.get()));
  EXPECT_EQ(child->getParent(), &other);
  EXPECT_EQ(parent->countChildren(), 0);
  addTo(*parent, "second");
  other.addChild(parent.get());
  EXPECT_EQ(parent->getIndex(), 1);
  other.removeAllChildren();
  EXPECT_EQ(parent->getParent(), nullptr);
  EXPECT_EQ(parent->getIndex(), -1);
}

TEST(Node, paths_lead_from_above_to_the_node)
{
  UTranslator translator;
  translator.setLanguage("de");
  translator.load("<StringTable><String Key=\"Inputs\"><Deu>Quellen</Deu></String></StringTable>");
  FTree tree(make<FNode>("Root"), "Title");
  FNode& root = *tree.root();
  FNode* inputs = addTo(root, "Inputs");
  FNode* first = addTo(*inputs, "First");
  CmString path;
  first->getPath(path);
  EXPECT_STREQ(path.text(), "Inputs\\First");
  EXPECT_EQ(root.findByPath(path.view()), first);
  first->getPath(path, inputs);
  EXPECT_STREQ(path.text(), "First");
  EXPECT_EQ(root.findByPath("Quellen\\First"), first);
  EXPECT_EQ(root.findByPath("inputs"), nullptr);
  EXPECT_EQ(root.findByPath("Inputs\\\\First"), nullptr);
  EXPECT_EQ(root.findByPath("Inputs\\"), nullptr);
  EXPECT_EQ(root.findByPath("Inputs\\", FNode::EmptyPath::givesSelf), inputs);
  EXPECT_EQ(root.findByPath("", FNode::EmptyPath::givesSelf), &root);
}

TEST(Node, deep_trees_neither_load_nor_go_by_the_stack)
{
  auto loaded = load(nestedFile(100000));
  ASSERT_TRUE(loaded);
  EXPECT_GE(depthOf(loaded.get()), 500);
  auto top = make<FNode>("top");
  for (int i = 0; i < 100000; ++i) {
    auto above = make<FNode>("above");
    above->addChild(top.get());
    top = above;
  }
  EXPECT_EQ(depthOf(top.get()), 100000);
  top = nullptr;
}

TEST(Node, a_tree_loads_whatever_refers_to_whatever)
{
  const std::string node = "<obj class=\"FNode\" ID=\"";
  const std::string name = "<string name=\"IDString\" value=\"";
  const std::string list = "<list name=\"Children\" type=\"obj\">";
  // The first holds itself and its parent, the second the first, twice, what is no node and
  // nothing.
  auto top =
      load("<Root>" + list + node + "1\">" + name + "a\"/>" + list + node + "2\">" + name +
           "b\"/>" + list + "<item value=\"1\"/></list></obj><item value=\"1\"/></list></obj>" +
           node + "3\">" + name + "c\"/>" + list +
           "<item value=\"1\"/><item value=\"1\"/><obj class=\"CmString\" ID=\"7\"></obj>"
           "<item value=\"99\"/></list></obj></list></Root>");
  ASSERT_TRUE(top);
  EXPECT_EQ(namesBelow(*top), (Names{"a", "c"}));
  EXPECT_EQ(namesBelow(*top->childAt(0)), (Names{"b"}));
  EXPECT_EQ(namesBelow(*top->childAt(0)->childAt(0)), (Names{}));
  EXPECT_EQ(namesBelow(*top->childAt(1)), (Names{}));

  // Living nodes stay where they are.
  FAttributes attributes;
  top->storeAttributes(attributes);
  FNode copy;
  EXPECT_TRUE(copy.loadAttributes(attributes));
  EXPECT_EQ(namesBelow(copy), (Names{"a", "c"}));
  EXPECT_EQ(namesBelow(*copy.childAt(0)), (Names{"b"}));
  EXPECT_EQ(top->countChildren(), 2);
  EXPECT_EQ(top->childAt(0)->getParent(), top.get());
}
