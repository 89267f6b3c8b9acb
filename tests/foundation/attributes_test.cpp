#include "foundation/attribute_export.h"
#include "foundation/attributes.h"
#include "foundation/buffer.h"
#include "foundation/class_registry.h"
#include "foundation/stream_helpers.h"
#include "foundation/uid_object.h"

#include <gtest/gtest.h>

using namespace orbi;

namespace {

/// An interface without a CmObject behind it.
class Foreign final : public FUnknown {
public:
  CmResult queryInterface(const FUID&, void**) override { return resultNoInterface; }
  int32_t addRef() override { return ++references; }
  int32_t release() override { return --references; }

  int32_t references = 1;
};

/// Stands for another object.
class Stand final : public CmClass<Stand, CmObject>, public IObjectReference {
public:
  static constexpr const char* className = "Stand";

  CmResult queryInterface(const FUID& id, void** out) override
  {
    if (id != IObjectReference::interfaceId)
      return CmObject::queryInterface(id, out);
    retain();
    *out = static_cast<IObjectReference*>(this);
    return resultOk;
  }
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  CmObject* resolved() override { return target; }

  CmObject* target = nullptr;
};

Ref<FAttributes> nested(FAttributes& outer, const char* key)
{
  auto inner = make<FAttributes>();
  outer.setObject(key, inner.get(), ObjectMode::shared);
  return inner;
}

FUnknown* unknown(CmObject* object)
{
  return object;
}

} // namespace

TEST(AttributeValue, assigning_releases_by_the_mode_of_the_old_value)
{
  struct Case {
    ObjectMode mode;
    uint16_t kind;
    int32_t referencesHeld;
  };
  constexpr Case cases[] = {{ObjectMode::borrowed, 0x0C2, 1},
                            {ObjectMode::adopted, 0x0E2, 1},
                            {ObjectMode::shared, 0x0D2, 2}};
  for (const Case& c : cases) {
    auto object = make<CmString>("object");
    FAttributeValue value(3);
    if (c.mode == ObjectMode::adopted)
      object->retain();
    value.setObject(object.get(), c.mode);
    const int32_t held = object->refCount();
    EXPECT_EQ(value.kind(), c.kind);
    value.setObject(object.get(), ObjectMode::shared); // already there
    EXPECT_EQ(object->refCount(), held);
    EXPECT_EQ(value.kind(), c.kind);
    value.setDouble(1.0);
    EXPECT_EQ(object->refCount(), 1);
    EXPECT_EQ(value.kind(), 0x0C4);
  }
}

TEST(AttributeValue, kind_word_keeps_the_user_flags_and_nothing_else)
{
  Foreign foreign;
  FAttributeValue value(3);
  value.setInt(-1);
  EXPECT_EQ(value.kind(), 0x0C1);
  value.setText("borrowed", true);
  EXPECT_EQ(value.kind(), 0x0D8);
  value.setText(value.asText());
  EXPECT_EQ(value.kind(), 0x0C8);
  value.setNoExport();
  EXPECT_EQ(value.persistentKind(), 0x208);
  value.setText(value.asText() + 4);
  EXPECT_EQ(value.kind(), 0x0C8);
  EXPECT_STREQ(value.asText(), "owed");
  foreign.addRef();
  value.setInterface(&foreign);
  EXPECT_EQ(value.kind(), 0x1C0);
  EXPECT_EQ(value.asObject(), nullptr);
  FAttributeValue copy(value);
  EXPECT_EQ(foreign.references, 3);
  copy.clear();
  value.setInt(0);
  EXPECT_EQ(foreign.references, 1);

  FAttributeValue plain;
  plain.setInterface(&foreign);
  EXPECT_EQ(plain.kind(), 0x140);
  foreign.addRef();
}

TEST(AttributeValue, reading_converts_texts_to_numbers_and_numbers_to_nothing)
{
  struct Case {
    const char* text;
    int64_t integer;
    double number;
  };
  constexpr Case cases[] = {{"-12abc", -12, -12.0}, {" 1.5e2", 1, 150.0}, {"word", 0, 0.0}};
  for (const Case& c : cases) {
    auto string = make<CmString>(c.text);
    FAttributeValue text;
    text.setText(c.text);
    FAttributeValue object;
    object.setObject(string.get(), ObjectMode::borrowed);
    for (const FAttributeValue* value : {&text, &object}) {
      EXPECT_EQ(value->asInt(), c.integer);
      EXPECT_EQ(value->asDouble(), c.number);
      EXPECT_STREQ(value->asText(), c.text);
    }
  }
  FAttributeValue value;
  value.setInt(7);
  EXPECT_EQ(value.asDouble(), 0.0);
  EXPECT_EQ(value.asText(), nullptr);
  value.setDouble(7.5);
  EXPECT_EQ(value.asInt(), 0);
  auto object = make<CmObject>();
  value.setObject(object.get(), ObjectMode::borrowed);
  EXPECT_EQ(value.asInt(), 0);
  EXPECT_EQ(value.asText(), nullptr);
  EXPECT_LT(FIntIDAttribute(1).compare(make<FIntIDAttribute>(0x80000000u).get()), 0);
}

TEST(Attributes, values_keep_the_place_where_their_key_was_first_set)
{
  FAttributes attributes;
  attributes.setInt("b", 1);
  attributes.setDouble("a", 7.9);
  attributes.setString("c", "12");
  attributes.setString("b", "over");
  attributes.setInt(nullptr, 1);
  attributes.setInt(nullptr, 2);
  ASSERT_EQ(attributes.count(), 4u);
  EXPECT_EQ(attributes.at(0)->key().view(), "b");
  EXPECT_STREQ(attributes.getString("b"), "over");
  EXPECT_EQ(attributes.getInt("a"), 7);
  EXPECT_EQ(attributes.getInt("c"), 12);
  EXPECT_EQ(attributes.getDouble("c"), 12.0);
  attributes.setDouble("a", 1e300);
  EXPECT_EQ(attributes.getInt("a"), INT64_MAX);
  attributes.setObject("o", make<CmString>("x").detach(), ObjectMode::adopted);
  EXPECT_EQ(attributes.getObject("o", "FAttributes"), nullptr);
  EXPECT_NE(attributes.getObject<CmString>("o"), nullptr);
  int64_t unchanged = 5;
  EXPECT_FALSE(attributes.getInt("missing", unchanged));
  EXPECT_EQ(unchanged, 5);
}

TEST(Attributes, assigned_containers_share_one_array)
{
  FAttributes source;
  FAttributes target;
  target.setInt("old", 1);
  target.assign(source);
  source.setInt("later", 2);
  EXPECT_EQ(target.getInt("later"), 2);
  EXPECT_FALSE(target.has("old"));
  FAttributes own;
  own.copyValues(source);
  source.setInt("later", 3);
  EXPECT_EQ(own.getInt("later"), 2);
}

TEST(Attributes, lists_are_read_to_their_end_and_then_start_over)
{
  FAttributes attributes;
  auto object = make<CmObject>();
  EXPECT_EQ(attributes.appendValue("ints", AttributeVariant(INT64_C(5))), 0);
  EXPECT_EQ(attributes.appendValue("ints", AttributeVariant(INT64_C(6))), 0);
  EXPECT_EQ(attributes.appendValue("ints", AttributeVariant(0.5)), 1);
  EXPECT_EQ(attributes.appendValue("doubles", AttributeVariant(0.5)), 0);
  EXPECT_EQ(attributes.appendValue("texts", AttributeVariant("text")), 0);
  EXPECT_FALSE(attributes.appendString("texts", "borrowed", false));
  EXPECT_EQ(attributes.appendValue("objects", AttributeVariant(unknown(object.get()))), 0);
  EXPECT_FALSE(attributes.appendObject("objects", object.get(), false));
  EXPECT_TRUE(attributes.appendObject("objects", make<CmString>("copied").detach(), true));
  auto item = make<FAttributes>();
  EXPECT_EQ(attributes.appendValue("subs", AttributeVariant(unknown(item.get()))), 0);
  EXPECT_EQ(attributes.appendValue("subs", AttributeVariant(unknown(object.get()))), 1);
  EXPECT_EQ(object->refCount(), 2);
  EXPECT_EQ(item->refCount(), 2);

  AttributeVariant value;
  for (int round = 0; round < 2; ++round) {
    for (int64_t expected : {5, 6}) {
      ASSERT_EQ(attributes.nextValue("ints", value), 0);
      EXPECT_EQ(value.tag, tagInt);
      EXPECT_EQ(value.integer, expected);
    }
    EXPECT_EQ(attributes.nextValue("ints", value), 1);
  }
  attributes.nextValue("objects", value);
  EXPECT_EQ(value.object, unknown(object.get()));
  attributes.nextValue("objects", value);
  EXPECT_EQ(value.tag, 20);
  EXPECT_STREQ(value.text, "copied");
  value.clear();
  EXPECT_EQ(attributes.countValues("objects"), 2);
  EXPECT_EQ(attributes.countValues("missing"), 0);
  EXPECT_EQ(attributes.rewindList("missing"), 1);

  item->appendInt("inner", 1);
  item->nextValue("inner", value);
  attributes.nextValue("doubles", value);
  EXPECT_EQ(attributes.rewindAllLists(), 0);
  EXPECT_EQ(item->nextValue("inner", value), 0);
  EXPECT_EQ(attributes.nextValue("doubles", value), 0);
}

TEST(Attributes, interface_takes_and_gives_every_kind_without_losing_a_reference)
{
  FAttributes attributes;
  AttributeVariant value;
  attributes.setValue("int", AttributeVariant(INT64_C(-3)));
  attributes.setValue("text", AttributeVariant("text"));
  EXPECT_EQ(attributes.getValue("int", value), 0);
  EXPECT_EQ(value.tag, tagInt);
  EXPECT_EQ(attributes.getValue("text", value), 0);
  EXPECT_STREQ(value.text, "text");
  EXPECT_EQ(attributes.getValue("missing", value), 1);
  EXPECT_EQ(attributes.setValue("none", AttributeVariant()), 1);

  auto object = make<CmObject>();
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(attributes.setValue("object", AttributeVariant(unknown(object.get()))), 0);
    AttributeVariant owned(unknown(object.get()));
    owned.tag |= tagOwned;
    object->retain();
    EXPECT_EQ(attributes.setValue("object", owned), 0);
    EXPECT_EQ(object->refCount(), 2);
  }
  Foreign foreign;
  EXPECT_EQ(attributes.setValue("foreign", AttributeVariant(&foreign)), 0);
  EXPECT_NE(attributes.getObject<CmDelegatingUnknown>("foreign"), nullptr);
  EXPECT_EQ(attributes.appendValue("int", AttributeVariant(&foreign)), 1);
  EXPECT_EQ(foreign.references, 2);
  EXPECT_EQ(attributes.setValue("null", AttributeVariant(static_cast<FUnknown*>(nullptr))), 0);
  EXPECT_EQ(attributes.getObject("null"), nullptr);
  auto stand = make<Stand>();
  stand->target = object.get();
  attributes.setObject("stand", stand.get(), ObjectMode::shared);
  EXPECT_EQ(attributes.getValue("stand", value), 0);
  EXPECT_EQ(value.object, unknown(object.get()));
  attributes.removeAll();
  EXPECT_EQ(foreign.references, 1);
  EXPECT_EQ(object->refCount(), 1);
}

TEST(Attributes, binary_is_a_copy_or_the_callers_block_and_never_read_beyond_its_end)
{
  FAttributes attributes;
  char block[] = "0123";
  EXPECT_EQ(attributes.setBinary("copy", block, 4, true), 0);
  EXPECT_EQ(attributes.setBinary("borrowed", block, 4, false), 0);
  EXPECT_EQ(attributes.setBinary("empty", nullptr, 0, true), 0);
  EXPECT_EQ(attributes.setBinary("lie", nullptr, 4, true), 1);
  EXPECT_EQ(attributes.setBinary("lie", block, -1, true), 1);
  attributes.setObject("stream", memoryWith("0123").detach(), ObjectMode::adopted);
  block[0] = 'X';
  for (const char* key : {"copy", "borrowed", "stream"}) {
    char read[5] = {};
    EXPECT_EQ(attributes.getBinarySize(key), 4);
    EXPECT_EQ(attributes.getBinary(key, read, 5), 1);
    EXPECT_EQ(attributes.getBinary(key, read, -1), 1);
    EXPECT_EQ(attributes.getBinary(key, read, 4), 0);
    EXPECT_STREQ(read, *key == 'b' ? "X123" : "0123");
  }
  EXPECT_EQ(attributes.getBinary("empty", nullptr, 0), 0);
  EXPECT_EQ(attributes.getBinary("lie", block, 0), 1);
  EXPECT_EQ(attributes.getBinarySize("lie"), 0);
}

TEST(Attributes, search_goes_down_the_path_and_keeps_the_rest_for_what_follows)
{
  FAttributes root;
  auto a = nested(root, "a");
  auto b = nested(*a, "b");
  EXPECT_EQ(root.findAttributes("a|b"), b.get());
  EXPECT_EQ(root.findAttributes("b"), b.get());
  EXPECT_EQ(root.findAttributes("a|c"), nullptr);
  auto c = nested(root, "c"); // beside "a", and found because the search is down to "c" by then
  EXPECT_EQ(root.findAttributes("a|c"), c.get());

  auto item = make<FAttributes>();
  root.appendObject("list", item.get(), false);
  auto d = nested(*item, "d");
  EXPECT_EQ(root.findAttributes("d"), d.get());
  auto stand = make<Stand>();
  stand->target = &root;
  d->setObject("back", stand.get(), ObjectMode::shared);
  EXPECT_EQ(root.findAttributes("back"), &root);
  EXPECT_EQ(root.findAttributes("nowhere"), nullptr);
}

TEST(Attributes, are_gone_through_whatever_their_depth_and_however_they_share)
{
  FAttributes root;
  auto deepest = Ref<FAttributes>::share(&root);
  for (int depth = 0; depth < 100000; ++depth) {
    Ref<FAttributes> inner = nested(*deepest, "m");
    if (depth < 64)
      deepest->setObject("same", inner.get(), ObjectMode::shared); // twice as many ways each
    deepest = inner;
  }
  deepest->appendInt("ints", 1);
  AttributeVariant value;
  deepest->nextValue("ints", value);
  EXPECT_EQ(root.findAttributes("nowhere"), nullptr);
  EXPECT_EQ(root.findAttributes("last"), nullptr);
  Ref<FAttributes> last = nested(*deepest, "last");
  EXPECT_EQ(root.findAttributes("last"), last.get());
  EXPECT_EQ(root.rewindAllLists(), 0);
  EXPECT_EQ(deepest->nextValue("ints", value), 0);
  FMemoryStream stream;
  EXPECT_FALSE(root.write(stream)) << "what couldn't be read isn't written";
}

TEST(AttributeExport, values_cross_under_their_four_characters)
{
  Foreign foreign;
  foreign.addRef();
  auto add = [](CmArray& values, uint32_t key, int flags = 0) {
    auto* value = new FIntIDAttribute(key, flags);
    values.add(value);
    return value;
  };
  constexpr uint32_t abcd = 'a' | 'b' << 8 | 'c' << 16 | 'd' << 24;
  CmArray values{CmOwnership::adopts};
  add(values, 1, 1)->setInt(1);
  add(values, 2)->setInterface(&foreign);
  add(values, 4); // without a value
  FAttributes target;
  exportAttributes(values, target);
  EXPECT_TRUE(target.isEmpty());
  auto* barred = add(values, 3);
  barred->setInt(3);
  barred->setNoExport();
  add(values, abcd, 2)->setInt(5);
  add(values, 'x')->setText("text");
  exportAttributes(values, target);
  auto* container = target.getObject<FAttributes>("Additional Attributes");
  ASSERT_NE(container, nullptr);
  EXPECT_EQ(container->count(), 2u);
  EXPECT_EQ(container->getInt("abcd"), 5);

  container->require("skip").setInterface((foreign.addRef(), &foreign));
  container->setInt("longer key", 7);
  CmArray read{CmOwnership::adopts};
  add(read, abcd)->setInt(99);
  EXPECT_TRUE(importAttributes(read, target, ImportMode::keepPresent));
  ASSERT_EQ(read.count(), 3u);
  EXPECT_EQ(static_cast<FIntIDAttribute*>(read.at(0))->asInt(), 99);
  EXPECT_EQ(static_cast<FIntIDAttribute*>(read.at(1))->key(), uint32_t('x'));
  EXPECT_EQ(static_cast<FIntIDAttribute*>(read.at(2))->asInt(), 7);
  EXPECT_TRUE(importAttributes(read, target));
  EXPECT_EQ(static_cast<FIntIDAttribute*>(read.at(0))->asInt(), 5);
  EXPECT_FALSE(importAttributes(read, target, ImportMode::overwrite, "missing"));
}
