#include "object_file_helpers.h"

#include "persist/binary_object_file.h"
#include "persist/owned_tree.h"

#include <gtest/gtest.h>

namespace orbi {
namespace {

/// Bytes of a file, put together by hand.
struct Bytes {
  template <class Number>
  Bytes& put(Number number)
  {
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    return *this;
  }
  Bytes& text(std::string_view text)
  {
    put(static_cast<int32_t>(text.size() + 1));
    bytes.append(text).push_back('\0');
    return *this;
  }
  Bytes& entry(std::string_view key, uint16_t kind) { return text(key).put(kind); }
  Bytes& object(std::string_view key, uint16_t tag) { return entry(key, 2).put(tag); }

  std::string bytes;
};

/// The start of a file with one inline root, "Root", of so many entries.
Bytes rootOf(int32_t entries)
{
  return Bytes().put(int32_t(0)).put(int32_t(1)).text("Root").put(entries);
}

Ref<FAttributes> fullTree(Node& shared)
{
  auto tree = make<FAttributes>();
  tree->setInt("int", -5);
  tree->setDouble("double", 0.1);
  tree->setString("text", "a\xFF");
  auto inner = make<FAttributes>();
  inner->setString("x", "y");
  tree->setObject("member", inner.get(), ObjectMode::shared);
  tree->appendInt("ints", 1);
  tree->appendDouble("doubles", 0.5);
  tree->appendString("texts", "one");
  tree->appendString("texts", "");
  tree->appendObject("subs", inner->clone(), true);
  tree->setBinary("bytes", "abc", 3, true);
  tree->setObject("first", &shared, ObjectMode::shared);
  tree->setObject("second", &shared, ObjectMode::shared);
  shared.retain();
  tree->appendObject("objects", &shared, true);
  tree->appendObject("objects", new Node(8), true);
  tree->setObject("empty", make<FIntList>().get(), ObjectMode::shared);
  return tree;
}

TEST(BinaryObjectFile, comes_back_with_every_kind_of_value)
{
  auto shared = make<Node>(7);
  Ref<FAttributes> tree = fullTree(*shared);
  const std::string bytes = binaryOf(*tree);
  Ref<FAttributes> back = readBinary(bytes);
  ASSERT_TRUE(back);
  EXPECT_EQ(binaryOf(*back), bytes);
  EXPECT_EQ(xmlOf(*back), xmlOf(*tree));
  EXPECT_EQ(back->getInt("int"), -5);
  EXPECT_EQ(back->getDouble("double"), 0.1);
  EXPECT_STREQ(back->getString("text"), "a\xFF");
  EXPECT_TRUE(back->getObject<FIntList>("empty"));
  EXPECT_EQ(back->getBinarySize("bytes"), 3);
  auto* first = back->getObject<Node>("first");
  ASSERT_TRUE(first);
  EXPECT_EQ(first->number, 7);
  EXPECT_EQ(first, back->getObject("second"));
  EXPECT_EQ(first, resolveObject(back->getObject<FObjectList>("objects")->at(0)));
}

TEST(BinaryObjectFile, has_the_layout_that_other_programs_read)
{
  FAttributes tree;
  tree.setInt("i", 3);
  tree.setString("t", "ab");
  tree.setString("none", "");
  tree.appendString("s", "");
  tree.require("secret").setNoExport();
  auto attributes = make<FAttributes>();
  auto instance = make<FXmlInstance>(9, "Cls", attributes);
  tree.appendObject("o", Ref<FXmlInstance>(instance).detach(), true);
  tree.setObject("r", instance.get(), ObjectMode::shared);
  Bytes expected = rootOf(6);
  expected.entry("i", 1).put(int64_t(3)).entry("t", 8).put(int32_t(2)).bytes += "ab";
  expected.entry("none", 8).put(int32_t(0));
  expected.object("s", 4).put(int32_t(1)).text("");
  expected.object("o", 201).put(int32_t(1)).put(uint16_t(20)).text("Cls").put(int64_t(9)).put(0);
  expected.object("r", 21).put(int64_t(9));
  EXPECT_EQ(binaryOf(tree), expected.bytes);
  Ref<FAttributes> back = readBinary(expected.bytes);
  ASSERT_TRUE(back);
  EXPECT_FALSE(back->has("none")) << "an empty text is no entry";
}

TEST(BinaryObjectFile, refuses_what_is_beyond_its_limits)
{
  for (auto [length, good] : {std::pair(10000, true), {10001, false}, {-1, false}}) {
    Bytes file = rootOf(1).entry("t", 8).put(length);
    file.bytes.append(static_cast<size_t>(std::max(length, 0)), 'x');
    EXPECT_EQ(bool(readBinary(file.bytes)), good) << length;
  }
  for (int length : {50000, 50001}) {
    Bytes file = rootOf(1).entry(std::string(static_cast<size_t>(length) - 1, 'k'), 1);
    EXPECT_EQ(bool(readBinary(file.put(int64_t(1)).bytes)), length == 50000);
  }
  for (uint16_t tag : {1, 8, 9})
    EXPECT_FALSE(readBinary(rootOf(1).object("o", tag).put(int32_t(0)).bytes));
  EXPECT_TRUE(readBinary(rootOf(-1).bytes));
  for (uint16_t tag : {2, 3, 4, 5, 7, 101, 201}) // counts that no file justifies
    EXPECT_FALSE(readBinary(rootOf(1).object("o", tag).put(INT32_MAX).put(int32_t(0)).bytes));
}

TEST(BinaryObjectFile, takes_objects_of_old_files_and_leaves_out_the_unknown)
{
  Bytes file = rootOf(4);
  file.object("list", 101).put(int32_t(3));
  file.text("TestNode").put(int32_t(1)).entry("number", 1).put(int64_t(4));
  file.text("Unknown").put(int32_t(0)).text("CmObject").put(int32_t(0));
  file.object("gone", 108).text("Unknown").put(int32_t(0));
  file.object("one", 108).text("TestNode").put(int32_t(1)).entry("number", 1).put(int64_t(6));
  file.entry("last", 1).put(int64_t(1));
  Ref<FAttributes> tree = readBinary(file.bytes);
  ASSERT_TRUE(tree);
  auto* list = tree->getObject<FObjectList>("list");
  ASSERT_TRUE(list);
  ASSERT_EQ(list->count(), 2u);
  EXPECT_EQ(castTo<Node>(list->at(0))->number, 4);
  EXPECT_EQ(list->at(1), nullptr);
  EXPECT_FALSE(tree->has("gone"));
  EXPECT_EQ(tree->getObject<Node>("one")->number, 6);
  EXPECT_EQ(tree->getInt("last"), 1);
}

TEST(BinaryObjectFile, reads_roots_by_reference_in_a_form_that_it_does_not_write)
{
  FAttributes byReference, inlineRoots;
  Bytes file = Bytes().put(int32_t(1)).text("r").text("TestNode").put(int64_t(3)).put(int32_t(1));
  file.entry("number", 1).put(int64_t(2)).put(int32_t(0));
  auto source = streamOf(file.bytes + "rest");
  ASSERT_TRUE(BinaryObjectReader(*source).readRoots(&byReference, &inlineRoots));
  EXPECT_EQ(byReference.getObject<Node>("r")->number, 2);
  EXPECT_EQ(source->tell(), static_cast<int64_t>(file.bytes.size()));

  FMemoryStream written;
  ASSERT_TRUE(BinaryObjectWriter(written, pool()).writeRoots(&byReference, nullptr));
  Bytes expected =
      Bytes().put(int32_t(1)).text("r").put(int64_t(3)).text("TestNode").put(int64_t(3));
  expected.put(int32_t(1)).entry("number", 1).put(int64_t(2)).put(int32_t(0));
  EXPECT_EQ(textOf(written), expected.bytes);
  written.rewind();
  EXPECT_FALSE(BinaryObjectReader(written).readRoots(&byReference, &inlineRoots));
}

TEST(BinaryObjectFile, is_refused_when_cut_anywhere)
{
  auto shared = make<Node>(7);
  const std::string whole = binaryOf(*fullTree(*shared));
  for (size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(readBinary(std::string_view(whole).substr(0, size))) << size;
}

TEST(OwnedTree, refers_to_nobody_any_more)
{
  auto tree = make<FAttributes>();
  std::string text = "text", bytes = "bytes";
  auto inner = make<FAttributes>();
  auto node = make<Node>(1);
  node->next = make<Node>(2);
  inner->setString("borrowed", text.data(), true);
  tree->setString("secret", text.data(), true);
  tree->require("secret").setNoExport();
  FAttributes view; // sees the same values until the tree has its own
  view.assign(*tree);
  tree->setObject("inner", inner.get(), ObjectMode::borrowed);
  tree->setBinary("bytes", bytes.data(), 5, false);
  tree->appendString("texts", text.data(), false);
  tree->appendObject("objects", node.get(), false);
  tree->setObject("node", node.get(), ObjectMode::borrowed);
  tree->setObject("next", node->next.get(), ObjectMode::borrowed);
  ASSERT_TRUE(ownTree(*tree));
  text.assign("####");
  bytes.assign("#####");
  node->number = 3;
  EXPECT_EQ(view.getObject("node"), node.get());
  EXPECT_FALSE(readBinary(binaryOf(*tree))->has("secret"));
  EXPECT_STREQ(inner->getString("borrowed"), "####") << "others keep what they have";
  node = nullptr;
  inner = nullptr;
  EXPECT_STREQ(tree->getObject<FAttributes>("inner")->getString("borrowed"), "text");
  EXPECT_TRUE(tree->getObject<FMemoryStream>("bytes"));
  char copy[5];
  EXPECT_EQ(tree->getBinary("bytes", copy, 5), 0);
  EXPECT_EQ(std::string(copy, 5), "bytes");
  EXPECT_STREQ(tree->getObject<FStringList>("texts")->valueAt(0).text, "text");
  auto* loaded = tree->getObject<Node>("node");
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->number, 1);
  EXPECT_EQ(loaded->next.get(), tree->getObject("next"));
  EXPECT_EQ(resolveObject(tree->getObject<FObjectList>("objects")->at(0)), loaded);
}

} // namespace
} // namespace orbi
