#include "object_file_helpers.h"

#include "foundation/number_text.h"
#include "foundation/stream_counter.h"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace orbi {

CM_REGISTER(Node);

namespace {

std::string withCrLf(std::string_view text)
{
  std::string lines;
  for (char c : text)
    lines += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return lines;
}

Ref<FXmlInstance> instance(int64_t id, const char* className, int64_t number = 0)
{
  auto attributes = make<FAttributes>();
  if (number != 0)
    attributes->setInt("number", number);
  return make<FXmlInstance>(id, className, std::move(attributes));
}

/// Every kind of value that a file can hold.
Ref<FAttributes> fullTree()
{
  auto tree = make<FAttributes>();
  tree->setInt("low", INT64_MIN);
  tree->setDouble("tenth", 0.1);
  tree->setString("text", "a<b>&\"c\" 5$\r\n\xAD\xC0\x80'");
  auto inner = make<FAttributes>();
  inner->setInt("n&n", 1);
  tree->setObject("member", inner.get(), ObjectMode::shared);
  tree->appendInt("ints", 1);
  tree->appendInt("ints", -2);
  tree->appendDouble("floats", 1e300);
  tree->appendString("texts", "");
  tree->appendString("texts", "^");
  tree->appendObject("objects", instance(77, "Unknown", 5).detach(), true);
  tree->appendObject("objects", make<FXmlReference>(99).detach(), true);
  tree->appendObject("subs", make<FAttributes>().detach(), true);
  tree->setObject("no items", make<FIntList>().detach(), ObjectMode::adopted);
  std::string bytes(33, '\xAB');
  tree->setBinary("bytes", bytes.data(), 33, true);
  Ref<FXmlInstance> shared = instance(88, "Unknown");
  tree->setObject("one", shared.get(), ObjectMode::shared);
  tree->setObject("two", shared.get(), ObjectMode::shared);
  tree->require("secret").setNoExport();
  return tree;
}

const char* fullText = R"(<Root>
   <int name="low" value="-9223372036854775808"/>
   <float name="tenth" value="0.1000000000000000055511151231257827021181583404541"/>
   <string name="text" value="a&lt;b&gt;&amp;&quot;c&quot; 5&dollar;&cr;&nl;&#xad;&iquest;&#x80;'"/>
   <member name="member">
      <int name="n&amp;n" value="1"/>
   </member>
   <list name="ints" type="int">
      <item value="1"/>
      <item value="-2"/>
   </list>
   <list name="floats" type="float">
      <item value="1.0000000000000000525047602552044202487044685811082e+300"/>
   </list>
   <list name="texts" type="string">
      <item value=""/>
      <item value="&circ;"/>
   </list>
   <list name="objects" type="obj">
      <obj class="Unknown" ID="77">
         <int name="number" value="5"/>
      </obj>
      <item value="99"/>
   </list>
   <list name="subs" type="list">
      <item>
      </item>
   </list>
   <bin name="bytes">
		ABABABABABABABABABABABABABABABABABABABABABABABABABABABABABABABAB
		AB
   </bin>
   <obj class="Unknown" name="one" ID="88">
   </obj>
   <obj name="two" ID="88"/>
</Root>
)";

TEST(XmlObjectFile, holds_every_kind_of_value_in_its_exact_form)
{
  EXPECT_EQ(xmlOf(*fullTree()), withCrLf(fullText));
}

TEST(XmlObjectFile, comes_back_as_it_was_but_for_the_character_that_shares_its_name)
{
  FAttributes tree;
  ASSERT_TRUE(readXml(withCrLf(fullText), tree).complete);
  EXPECT_EQ(xmlOf(tree), withCrLf(fullText));
  EXPECT_STREQ(tree.getString("text"), "a<b>&\"c\" 5$\r\n\xAD\xBF\x80'");
  EXPECT_EQ(tree.getDouble("tenth"), 0.1);
  EXPECT_EQ(tree.getBinarySize("bytes"), 33);
  // Asked for, an object of an unknown class is gone.
  EXPECT_EQ(tree.getObject("two"), nullptr);
  EXPECT_EQ(xmlOf(tree).find("Unknown\" name"), xmlOf(tree).rfind("Unknown"));
}

TEST(XmlObjectFile, gives_one_object_to_all_who_share_it)
{
  auto node = make<Node>(1);
  node->next = make<Node>(2);
  FAttributes tree, loaded;
  tree.setObject("a", node.get(), ObjectMode::shared);
  tree.setObject("b", node.get(), ObjectMode::shared);
  tree.setObject("c", node->next.get(), ObjectMode::shared);
  ASSERT_TRUE(readXml(xmlOf(tree), loaded).complete);
  Node* a = loaded.getObject<Node>("a");
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->number, 1);
  EXPECT_EQ(a, loaded.getObject("b"));
  EXPECT_EQ(a->next.get(), loaded.getObject("c"));
}

TEST(XmlObjectFile, puts_objects_from_depth_eight_on_at_its_end)
{
  FAttributes tree;
  FAttributes* deepest = &tree;
  for (int depth = 2; depth <= 8; ++depth) {
    auto inner = make<FAttributes>();
    deepest->setObject("m", inner.get(), ObjectMode::shared);
    deepest = inner.get();
  }
  deepest->setObject("deep", instance(5, "Deep", 1).get(), ObjectMode::shared);
  std::string text = xmlOf(tree);
  EXPECT_NE(text.find(withCrLf("\n                        <obj name=\"deep\" ID=\"5\"/>\n")),
            text.npos);
  EXPECT_TRUE(
      text.ends_with(withCrLf("\n   </member>\n\n   <obj class=\"Deep\" ID=\"5\">\n"
                              "      <int name=\"number\" value=\"1\"/>\n   </obj>\n\n</Root>\n")))
      << text;
  FAttributes loaded;
  ASSERT_TRUE(readXml(text, loaded).complete);
  EXPECT_EQ(xmlOf(loaded), text);
}

TEST(XmlObjectFile, keeps_named_roots_of_both_sorts)
{
  FAttributes byReference, inlineRoots, back, inlineBack;
  auto inner = make<FAttributes>();
  inner->setInt("x", 1);
  byReference.setObject("r", instance(6, "Far", 2).get(), ObjectMode::shared);
  inlineRoots.setObject("i", inner.get(), ObjectMode::shared);
  FMemoryStream stream;
  ASSERT_TRUE(ObjectFileWriter(stream, pool()).writeRoots("Root", &byReference, &inlineRoots));
  EXPECT_EQ(textOf(stream),
            withCrLf("<Root>\n   <rootObjects>\n      <root name=\"r\" ID=\"6\"/>\n"
                     "      <root name=\"i\">\n         <int name=\"x\" value=\"1\"/>\n"
                     "      </root>\n   </rootObjects>\n\n   <obj class=\"Far\" ID=\"6\">\n"
                     "      <int name=\"number\" value=\"2\"/>\n   </obj>\n\n</Root>\n"));
  stream.rewind();
  auto reader = make<ObjectFileReader>(stream);
  ASSERT_TRUE(reader->readRoots("Root", &back, &inlineBack));
  auto* reference = castTo<FXmlReference>(back.find("r")->asObject());
  ASSERT_TRUE(reference && reference->attributes());
  EXPECT_EQ(reference->attributes()->getInt("number"), 2);
  EXPECT_EQ(inlineBack.getObject<FAttributes>("i")->getInt("x"), 1);
}

TEST(XmlObjectFile, lets_go_of_rings_of_objects)
{
  // Each refers to the other and the first to itself; sanitizers tell of what stays behind.
  FAttributes tree;
  ASSERT_TRUE(readXml("<Root><obj class='TestNode' name='a' ID='1'><int name='number' value='1'/>"
                      "<obj name='self' ID='1'/><obj name='next' ID='2'/></obj>"
                      "<obj class='TestNode' ID='2'><int name='number' value='2'/>"
                      "<obj name='back' ID='1'/></obj>"
                      "<obj class='Lost' ID='3'><obj name='x' ID='3'/></obj></Root>",
                      tree)
                  .complete);
  EXPECT_EQ(tree.getObject<Node>("a")->next->number, 2);
}

TEST(XmlObjectFile, survives_chains_of_objects_that_load_each_other)
{
  constexpr int depth = 100000;
  std::string text = "<Root>", ends;
  for (int i = 1; i <= depth; ++i) {
    // Each also points to the innermost one, from before its way down.
    text += "<obj class='TestNode' name='next' ID='" + std::to_string(i) +
            "'><int name='number' value='1'/><obj class='Lost' name='lost' ID='-" +
            std::to_string(i) + "'><obj name='last' ID='" + std::to_string(depth) + "'/></obj>";
    ends += "</obj>";
  }
  FAttributes tree;
  ASSERT_TRUE(readXml(text + ends + "</Root>", tree).complete);
  int loaded = 0;
  for (const Node* node = tree.getObject<Node>("next"); node; node = node->next.get())
    ++loaded;
  EXPECT_EQ(loaded, FXmlInstance::deepestLoad);
}

TEST(XmlObjectFile, gives_two_objects_that_claim_one_id_an_id_each)
{
  FAttributes tree, loaded;
  auto objects = make<FObjectList>();
  for (int i = 0; i < 50000; ++i) // time that grows with their square would show
    objects->append(instance(4, "Lost").detach(), true);
  tree.setObject("many", objects.get(), ObjectMode::shared);
  tree.setObject("a", instance(4, "TestNode", 1).get(), ObjectMode::shared);
  tree.setObject("b", instance(4, "TestNode", 2).get(), ObjectMode::shared);
  ASSERT_TRUE(readXml(xmlOf(tree), loaded).complete);
  EXPECT_EQ(loaded.getObject<Node>("a")->number, 1);
  EXPECT_EQ(loaded.getObject<Node>("b")->number, 2);
}

TEST(XmlObjectFile, is_refused_when_an_object_cannot_be_stored_or_the_disk_is_full)
{
  FAttributes tree;
  tree.setObject("bad", make<Node>(-1).get(), ObjectMode::shared);
  EXPECT_EQ(xmlOf(tree), "");
  char block[100];
  FMemoryStream small(block, sizeof block);
  EXPECT_FALSE(ObjectFileWriter(small, pool()).writeRootAttributes("Root", *fullTree()));
  FAttributes ring; // holds itself
  ring.setObject("ring", &ring, ObjectMode::borrowed);
  EXPECT_EQ(xmlOf(ring), "");
}

TEST(XmlObjectFile, tells_what_is_wrong_and_where)
{
  const struct {
    const char* inside;
    XmlError error;
    int32_t line;
  } cases[] = {
      {"\n<list name='l' type='list'><item value='1'/></list>", XmlError::unexpectedTag, 2},
      {"\n\n<list name='l' type='int'><item></item></list>", XmlError::unexpectedTag, 3},
      {"\n<item value='1'/>", XmlError::unexpectedTag, 2},
      {"\r\n<obj/>", XmlError::unexpectedTag, 2},
      {"<obj class='A' name='n'/>", XmlError::unexpectedTag, 1},
      {"<obj ID='3'/>", XmlError::unexpectedTag, 1},
      {"<member/>", XmlError::unexpectedTag, 1},
      {"<member name='m'><other/></member>", XmlError::unexpectedTag, 1},
      {"<root ID='3'/>", XmlError::unexpectedTag, 1},
      {"\r<other/>", XmlError::malformed, 2},
      {"<int name='a' value='1>", XmlError::unexpectedEnd, 2},
      {"</int>", XmlError::malformed, 1},
  };
  for (const auto& row : cases) {
    FAttributes tree;
    tree.setInt("kept", 1);
    XmlResult result = readXml("<Root>" + std::string(row.inside) + "\n</Root>", tree);
    EXPECT_EQ(result.error, row.error) << row.inside;
    EXPECT_EQ(result.line, row.line) << row.inside;
    EXPECT_EQ(tree.count(), 1u);
  }
  FAttributes tree;
  EXPECT_EQ(readXml("<Wrong/>", tree).error, XmlError::malformed);
  EXPECT_EQ(readXml("", tree).error, XmlError::unexpectedEnd);
}

TEST(XmlObjectFile, passes_over_what_is_no_error)
{
  FAttributes tree;
  ASSERT_TRUE(readXml("<?xml version='1.0'?><!-- c --><Root><int value='1'/><string name='s'/>"
                      "<list name='l' type='odd'></list><bin name='b'>a<!-- - -->b1 zC</bin>"
                      "<int name='n' value=' +12x'/><float name='f' value='0x1p4'/></Root>",
                      tree)
                  .complete);
  EXPECT_EQ(tree.count(), 3u);
  EXPECT_EQ(tree.getInt("n"), 12);
  EXPECT_EQ(tree.getDouble("f"), 16.0);
  uint8_t byte = 0;
  EXPECT_EQ(tree.getBinary("b", &byte, 1), 0);
  EXPECT_EQ(byte, 0xB1) << "a single digit before a comment is dropped";
}

TEST(XmlObjectFile, is_refused_when_cut_anywhere)
{
  const std::string whole = withCrLf(fullText);
  const size_t end = whole.rfind('>');
  for (size_t size = 0; size <= end; ++size) {
    FAttributes tree;
    XmlResult result = readXml(std::string_view(whole).substr(0, size), tree);
    EXPECT_FALSE(result.complete) << size;
    EXPECT_EQ(result.error, XmlError::unexpectedEnd) << size;
    EXPECT_TRUE(tree.isEmpty());
  }
}

TEST(XmlObjectFile, nests_as_deep_as_it_likes)
{
  constexpr int depth = 100000;
  std::string text = "<Root>";
  for (int i = 0; i < depth; ++i)
    text += i % 2 ? "<member name='m'>" : "<list name='m' type='list'><item>";
  std::string cut = text;
  for (int i = depth; i-- > 0;)
    text += i % 2 ? "</member>" : "</item></list>";
  FAttributes tree;
  EXPECT_EQ(readXml(cut, tree).error, XmlError::unexpectedEnd);
  ASSERT_TRUE(readXml(text + "</Root>", tree).complete);
  const std::string bytes = binaryOf(tree);
  Ref<FAttributes> back = readBinary(bytes);
  ASSERT_TRUE(back);
  EXPECT_EQ(binaryOf(*back), bytes);
  FStreamCounter counter; // indents that grow on and on would make it 100 times as much
  EXPECT_TRUE(ObjectFileWriter(counter, pool()).writeRootAttributes("Root", tree));
  EXPECT_LT(counter.tell(), int64_t(depth) * 10000);
}

TEST(XmlObjectFile, finds_its_objects_among_many)
{
  // Quadratic work in keys, list items, objects or references would take hours here.
  constexpr int count = 200000;
  auto objects = make<FObjectList>();
  FAttributes tree, loaded;
  for (int i = 1; i <= count; ++i) {
    objects->append(instance(i, "TestNode", i).detach(), true);
    tree.setObject(std::to_string(i).c_str(), objects->at(static_cast<uint32_t>(i) - 1),
                   ObjectMode::borrowed);
  }
  tree.setObject("objects", objects.get(), ObjectMode::shared);
  ASSERT_TRUE(readXml(xmlOf(tree), loaded).complete);
  EXPECT_EQ(loaded.getObject<Node>("77777")->number, 77777);
  AttributeVariant last;
  int64_t seen = 0;
  for (; loaded.nextValue("objects", last) == 0; last.clear())
    ++seen;
  EXPECT_EQ(seen, count);
}

constexpr double infinite = std::numeric_limits<double>::infinity();

TEST(XmlObjectFile, writes_doubles_as_printf_does_and_reads_them_back_exactly)
{
  std::mt19937_64 random(1);
  auto check = [](double value) {
    char text[longestNumber], expected[128];
    std::string_view written(text, static_cast<size_t>(writeDouble(text, value) - text));
    std::snprintf(expected, sizeof expected, "%.50g", value);
    ASSERT_EQ(written, expected);
    double back = readDouble(written);
    ASSERT_TRUE(back == value || (std::isnan(back) && std::isnan(value))) << written;
  };
  for (double value : {0.0, -0.0, 5e-324, 1.7976931348623157e308, infinite, -infinite, 1e49, 1e50,
                       123456789.0, 1e-4, 9.9999e-5, 0.5, 1.0 / 3})
    check(value);
  for (int i = 0; i < 50000; ++i) {
    uint64_t bits = random();
    check(std::bit_cast<double>(bits));
    check(static_cast<double>(static_cast<int64_t>(bits)) /
          static_cast<double>(1ull << (bits % 60)));
    check(static_cast<double>(bits % 100000) / 100);
  }
  for (auto [text, value] : {std::pair("1e999", infinite),
                             {"-1e-999", -0.0},
                             {"inf", infinite},
                             {"12abc", 12.0},
                             {"abc", 0.0},
                             {" -0X8", -8.0}})
    EXPECT_EQ(readDouble(text), value) << text;
}

} // namespace
} // namespace orbi
