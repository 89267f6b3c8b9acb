#include "foundation/bit_set.h"
#include "foundation/buffer.h"
#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "foundation/stream_helpers.h"
#include "foundation/uid_object.h"
#include "foundation/variant.h"

#include <gtest/gtest.h>

using namespace orbi;

namespace {

std::string bytesOf(const CmObject& object)
{
  FMemoryStream stream;
  EXPECT_TRUE(object.write(stream));
  return textOf(stream);
}

bool readFrom(CmObject& object, std::string_view bytes)
{
  return object.read(*memoryWith(bytes));
}

Ref<FMessage> sampleMessage()
{
  auto message = make<FMessage>("Sample");
  message->setInt("int", -5);
  message->setFloat("float", 2.5);
  message->setString("text", "value");
  message->setObject("pointer", message.get());
  message->setArgument("argument", AttributeVariant(static_cast<FUnknown*>(
                                       static_cast<CmObject*>(make<CmString>("x").get()))));
  return message;
}

Ref<FAttributes> sampleAttributes()
{
  auto attributes = make<FAttributes>();
  attributes->setObject("message", sampleMessage().detach(), ObjectMode::adopted);
  attributes->setObject("stream", memoryWith("bytes").detach(), ObjectMode::adopted);
  attributes->setObject("id", make<CmUID>(FUID(1, 2, 3, 4)).detach(), ObjectMode::adopted);
  attributes->setObject("null", nullptr, ObjectMode::borrowed);
  attributes->setBinary("block", "\1\2\3", 3, false);
  for (int i = 0; i < 2; ++i) {
    attributes->appendInt("ints", i);
    attributes->appendDouble("doubles", i);
    attributes->appendString("texts", "text");
    attributes->appendObject("objects", make<CmString>("item").detach(), true);
    attributes->appendObject("containers", make<FAttributes>().detach(), true);
  }
  return attributes;
}

/// One of each kind that goes over streams, with something in it.
std::vector<Ref<CmObject>> samples()
{
  auto bits = make<CmBitSet>();
  bits->set(700);
  return {sampleMessage(),
          sampleAttributes(),
          make<CmString>("a text longer than what fits in place"),
          make<CmString>(),
          make<CmVariant>(0.1),
          make<CmVariant>("text"),
          make<CmBuffer>("\0\1\2\3", 4),
          memoryWith("some bytes"),
          make<CmUID>(FUID(1, 2, 3, 4)),
          bits};
}

Ref<CmObject> freshLike(const CmObject& sample)
{
  return createAs<CmObject>(sample.getClassName());
}

} // namespace

TEST(ObjectStream, message_loses_its_pointers_and_nothing_else)
{
  FMessage read;
  read.setInt("old", 1);
  ASSERT_TRUE(readFrom(read, bytesOf(*sampleMessage())));
  EXPECT_TRUE(read.isMessage("Sample"));
  EXPECT_EQ(read.getInt("int"), -5);
  EXPECT_EQ(read.getFloat("float"), 2.5);
  EXPECT_STREQ(read.getString("text"), "value");
  EXPECT_EQ(read.getObject("pointer"), nullptr);
  EXPECT_EQ(read.arguments()->count(), 3u);
}

TEST(ObjectStream, lists_blocks_and_long_texts_come_back_with_all_they_hold)
{
  Ref<FAttributes> written = sampleAttributes();
  written->setString("long", std::string(60'000, 'x').c_str());
  FAttributes read;
  ASSERT_TRUE(readFrom(read, bytesOf(*written)));
  for (const char* key : {"ints", "doubles", "texts", "objects", "containers"})
    EXPECT_EQ(read.countValues(key), 2) << key;
  EXPECT_EQ(read.getList("ints")->valueAt(1).integer, 1);
  EXPECT_STREQ(read.getList("texts")->valueAt(1).text, "text");
  char block[3] = {};
  EXPECT_EQ(read.getBinary("block", block, 3), 0);
  EXPECT_EQ(block[2], 3);
  EXPECT_EQ(std::strlen(read.getString("long")), 60'000u);
}

TEST(ObjectStream, whole_bytes_come_back_and_cut_ones_are_refused)
{
  for (const Ref<CmObject>& sample : samples()) {
    SCOPED_TRACE(sample->getClassName());
    const std::string whole = bytesOf(*sample);
    Ref<CmObject> read = freshLike(*sample);
    EXPECT_TRUE(readFrom(*read, whole));
    const std::string again = bytesOf(*read); // the same but for who owns the objects
    EXPECT_EQ(again.size(), whole.size());
    EXPECT_TRUE(readFrom(*read, again));
    EXPECT_EQ(bytesOf(*read), again);
    for (size_t size = 0; size < whole.size(); ++size)
      EXPECT_FALSE(readFrom(*freshLike(*sample), whole.substr(0, size))) << "cut at " << size;
  }
}

TEST(ObjectStream, lying_bytes_end_in_an_object_that_can_be_written_again)
{
  for (const Ref<CmObject>& sample : samples()) {
    const std::string whole = bytesOf(*sample);
    for (size_t place = 0; place < whole.size(); ++place)
      for (int lie : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
        SCOPED_TRACE(sample->getClassName() + (" at " + std::to_string(place)));
        std::string lying = whole;
        lying[place] = static_cast<char>(lie);
        Ref<CmObject> read = freshLike(*sample), reread = freshLike(*sample);
        if (!readFrom(*read, lying))
          continue;
        const std::string again = bytesOf(*read);
        EXPECT_TRUE(readFrom(*reread, again));
        EXPECT_EQ(bytesOf(*reread), again);
      }
  }
}

TEST(ObjectStream, attributes_bring_back_what_a_stream_does)
{
  int brought = 0;
  for (const Ref<CmObject>& sample : samples()) {
    SCOPED_TRACE(sample->getClassName());
    FAttributes attributes;
    if (sample->isA("FAttributes") || !sample->storeAttributes(attributes))
      continue;
    Ref<CmObject> loaded = freshLike(*sample);
    EXPECT_EQ(loaded->loadAttributes(FAttributes()), sample->isA("CmVariant"));
    EXPECT_TRUE(loaded->loadAttributes(attributes));
    EXPECT_EQ(bytesOf(*loaded), bytesOf(*sample));
    ++brought;
  }
  EXPECT_EQ(brought, 4);
}

TEST(ObjectStream, failed_read_leaves_what_was_there)
{
  for (const Ref<CmObject>& sample : {samples()[0], samples()[7], samples()[9]}) {
    const std::string former = bytesOf(*sample);
    EXPECT_FALSE(readFrom(*sample, former.substr(0, former.size() - 1)));
    EXPECT_FALSE(readFrom(*sample, std::string_view("\xff\xff\xff\x7f..", 6)));
    EXPECT_EQ(bytesOf(*sample), former) << sample->getClassName();
  }
}

TEST(ObjectStream, interface_value_is_left_out_without_an_error)
{
  FAttributes attributes;
  auto object = make<CmString>("behind");
  attributes.require("interface").setInterface(object.get());
  object->retain();
  attributes.setInt("after", 3);
  FAttributes read;
  ASSERT_TRUE(readFrom(read, bytesOf(attributes)));
  AttributeVariant value;
  EXPECT_EQ(read.getValue("interface", value), 1);
  EXPECT_EQ(read.getInt("after"), 3);
}

TEST(ObjectStream, nesting_without_end_is_refused)
{
  FMemoryStream stream;
  for (int i = 0; i < 100000; ++i) {
    stream.writeUint32(1);
    stream.writeText("k");
    stream.writeUint16(attributeObject);
    stream.writeText("FAttributes");
  }
  stream.rewind();
  FAttributes read;
  EXPECT_FALSE(read.read(stream));
  EXPECT_TRUE(readFrom(read, bytesOf(*sampleAttributes())));
}
