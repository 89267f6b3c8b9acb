#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/memory_stream.h"
#include "foundation/message.h"
#include "foundation/uid_object.h"
#include "shared/crowd.h"

#include <gtest/gtest.h>

using namespace orbi;

namespace {

class Base : public CmClass<Base, CmObject> {
public:
  static constexpr const char* className = "TestBase";
  ~Base() override
  {
    if (destroyed)
      ++*destroyed;
  }
  int* destroyed = nullptr;
};
class Derived final : public CmClass<Derived, Base> {
public:
  static constexpr const char* className = "TestDerived";
  int value = 0;
};
class Abstract : public CmClass<Abstract, CmObject> {
public:
  static constexpr const char* className = "TestAbstract";
};
class Unregistered final : public CmClass<Unregistered, Derived::Super> {
public:
  static constexpr const char* className = "TestUnregistered";
};
CM_REGISTER(Base);
CM_REGISTER_VERSION(Derived, 3);
CM_ALIAS(Derived, "TestOtherName");
CM_REGISTER_ABSTRACT(Abstract);

const FUID known{0x01234567, 0x89ABCDEF, 0xFEDCBA98, 0x76543210};

} // namespace

TEST(Object, answers_the_two_ids_that_every_object_knows)
{
  FMessage message; // with an interface of its own
  void* found = &message;
  EXPECT_EQ(message.queryInterface(FUID{}, &found), resultOk);
  EXPECT_EQ(static_cast<CmObject*>(found), static_cast<CmObject*>(&message));
  EXPECT_EQ(message.refCount(), 1);
  EXPECT_EQ(message.queryInterface(unknownInterfaceId, &found), resultOk);
  EXPECT_EQ(message.refCount(), 2);
  static_cast<FUnknown*>(found)->release();
  EXPECT_EQ(message.queryInterface(known, &found), resultNoInterface);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(message.queryInterface(FUID{}, nullptr), resultBadArgument);

  ASSERT_EQ(message.queryInterface(IMessage::interfaceId, &found), resultOk);
  auto* face = static_cast<IMessage*>(found);
  EXPECT_EQ(objectBehind(face), &message);
  EXPECT_EQ(face->release(), 1);
}

TEST(Object, is_destroyed_by_its_last_release_only)
{
  int destroyed = 0;
  auto* object = new Base;
  object->destroyed = &destroyed;
  EXPECT_EQ(object->retain(), 2);
  EXPECT_EQ(object->releaseRef(), 1);
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(object->releaseRef(), 0);
  EXPECT_EQ(destroyed, 1);
}

TEST(Object, counts_references_of_many_threads)
{
  int destroyed = 0;
  auto object = make<Base>();
  object->destroyed = &destroyed;
  Crowd crowd(4, [mine = object] {
    for (int step = 0; step < 20000; ++step)
      Ref<Base> passing = mine;
  });
  object = nullptr;
  crowd.join();
  EXPECT_EQ(destroyed, 1);
}

TEST(Object, knows_its_class_and_ancestors_by_name)
{
  Derived object;
  for (const char* name : {"TestDerived", "TestBase", "CmObject"})
    EXPECT_TRUE(object.isA(name)) << name;
  for (const char* name : {"TestDerive", "testderived", "TestAbstract", ""})
    EXPECT_FALSE(object.isA(name)) << name;
  EXPECT_TRUE(object.isClass("TestDerived") && !object.isClass("TestBase"));
  EXPECT_STREQ(object.getClassInfo()->parent()->name(), "TestBase");
  EXPECT_EQ(object.getClassInfo()->parent()->parent(), CmObject::staticInfo());
  EXPECT_EQ(object.getClassInfo()->version(), 3);
  EXPECT_EQ(object.getClassInfo()->size(), sizeof(Derived));
  Unregistered other;
  EXPECT_STREQ(other.getClassInfo()->name(), "TestBase") << "the parent answers";
  EXPECT_TRUE(other.isA("TestUnregistered"));
  EXPECT_EQ(castTo<Derived>(static_cast<CmObject*>(&other)), nullptr);

  object.value = 5;
  object.retain();
  auto copy = Ref<CmObject>::adopt(object.clone());
  EXPECT_EQ(castTo<Derived>(copy.get())->value, 5);
  EXPECT_EQ(copy->refCount(), 1);
}

TEST(ClassRegistry, creates_by_name_and_by_alias)
{
  CmClassRegistry& registry = *CmClassRegistry::instance();
  EXPECT_TRUE(registry.createObject("TestDerived")->isClass("TestDerived"));
  EXPECT_TRUE(registry.createObject("TestOtherName")->isClass("TestDerived"));
  EXPECT_STREQ(Derived::staticInfo()->aliasName(), "TestOtherName");
  EXPECT_STREQ(Base::staticInfo()->aliasName(), "TestBase");
  const CmClassInfo* alias = registry.findClass("TestOtherName");
  EXPECT_TRUE(alias && !alias->parent() && alias->size() == 0);
  EXPECT_TRUE(registry.createObject("Attributes")->isClass("FAttributes"));
  for (const char* name : {"TestAbstract", "TestUnregistered", "", "Test"})
    EXPECT_FALSE(registry.createObject(name)) << name;
  EXPECT_FALSE(registry.createObject(nullptr));
  EXPECT_FALSE(createAs<FMessage>("TestBase"));
}

TEST(ClassRegistry, makes_objects_by_id_and_views_of_the_nearest_class)
{
  static uint32_t round = 0; // the tables last as long as the process
  static FUID fresh;
  fresh = FUID(++round, 2, 3, 4);
  DeferredRegistration deferred{[] {
    registerClassFactory(fresh, [] { return static_cast<CmObject*>(new Derived); });
    registerClassFactory(fresh, [] { return static_cast<CmObject*>(new Base); });
  }};
  EXPECT_FALSE(createByUID(fresh));
  DeferredRegistration::runAll();
  DeferredRegistration::runAll();
  EXPECT_TRUE(createByUID(fresh)->isClass("TestDerived"));
  EXPECT_TRUE(createByUID(IMessage::interfaceId)->isA("FMessage"));

  Derived derived;
  Base base;
  registerClassView("TestBase", [](CmObject*) -> CmObject* { return new CmUID; });
  registerClassView("TestDerived",
                    [](CmObject* seen) -> CmObject* { return new FMessage(seen->getClassName()); });
  EXPECT_STREQ(castTo<FMessage>(createViewFor(&derived).get())->getId(), "TestDerived");
  EXPECT_TRUE(createViewFor(&base)->isA("CmUID"));
  CmObject stranger;
  EXPECT_FALSE(createViewFor(&stranger));
}

TEST(Uid, has_known_texts_in_every_form)
{
  const uint8_t memory[] = {0x67, 0x45, 0x23, 0x01, 0xAB, 0x89, 0xEF, 0xCD,
                            0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
  EXPECT_EQ(std::memcmp(known.bytes(), memory, 16), 0);
  EXPECT_EQ(known.toPlainText(), "0123456789ABCDEFFEDCBA9876543210");
  EXPECT_EQ(known.toByteText(), "67452301AB89EFCDFEDCBA9876543210");
  EXPECT_EQ(FUID(0x00004021, 0, 0, 0x00000080).toShortText(), "11G" + std::string(22, '0') + "4");
}

TEST(Uid, comes_back_from_every_form)
{
  FUID plain, bytes, shortOne, registry;
  EXPECT_TRUE(plain.fromPlainText(known.toPlainText()));
  EXPECT_TRUE(bytes.fromByteText("67452301ab89efcdfedcba9876543210 and more"));
  EXPECT_TRUE(shortOne.fromShortText(known.toShortText()));
  EXPECT_TRUE(registry.fromRegistryText("{01234567-89ab-CDEF-FEDC-BA9876543210}"));
  for (const FUID& id : {plain, bytes, shortOne, registry})
    EXPECT_EQ(id, known);
  FUID same = known;
  std::string text = known.toPlainText();
  EXPECT_FALSE(same.fromPlainText(text.substr(1)) || same.fromPlainText(text + "0"));
  EXPECT_FALSE(same.fromShortText("1") || same.fromRegistryText(text));
  EXPECT_TRUE(same.fromByteText(""));
  EXPECT_EQ(same, known);
  FUID lenient;
  EXPECT_TRUE(lenient.fromByteText("X1AX"));
  EXPECT_EQ(lenient.bytes()[0], 0x01);
  EXPECT_EQ(lenient.bytes()[1], 0xA0);
}

TEST(Uid, prints_itself_as_source)
{
  const char* expected[] = {
      "INLINE_UID (0x01234567, 0x89ABCDEF, 0xFEDCBA98, 0x76543210)",
      "DECLARE_UID (0x01234567, 0x89ABCDEF, 0xFEDCBA98, 0x76543210)",
      "FUID (0x01234567, 0x89ABCDEF, 0xFEDCBA98, 0x76543210)",
      "DECLARE_CLASS_IID (Interface, 0x01234567, 0x89ABCDEF, 0xFEDCBA98, 0x76543210)"};
  char text[100];
  for (int style = 0; style < 4; ++style) {
    known.printSource(text, style);
    EXPECT_STREQ(text, expected[style]);
  }
  known.printSource(text, -1);
  EXPECT_STREQ(text, expected[3]);
}

TEST(UidObject, shows_its_byte_form_on_streams_and_its_plain_form_as_an_attribute)
{
  CmUID id(known);
  FMemoryStream stream;
  EXPECT_TRUE(id.write(stream));
  EXPECT_STREQ(reinterpret_cast<const char*>(stream.data()) + 4,
               "67452301AB89EFCDFEDCBA9876543210");
  EXPECT_EQ(CmUID(id).hash(97), id.hash(97));
  FAttributes attributes;
  EXPECT_TRUE(id.storeAttributes(attributes));
  EXPECT_STREQ(attributes.getString("GUID"), "0123456789ABCDEFFEDCBA9876543210");
}

TEST(DelegatingUnknown, hands_questions_on_and_keeps_its_owner_informed)
{
  struct Owner final : IDelegateOwner {
    void registerDelegate(CmDelegatingUnknown*) override { ++delegates; }
    void unregisterDelegate(CmDelegatingUnknown*) override { --delegates; }
    int delegates = 0;
  } owner;
  FMessage message;
  message.retain();
  {
    CmDelegatingUnknown delegate(static_cast<CmObject*>(&message), &owner);
    CmDelegatingUnknown copy(delegate);
    EXPECT_EQ(owner.delegates, 1);
    EXPECT_EQ(copy.owner(), nullptr);
    EXPECT_EQ(message.refCount(), 3);
    EXPECT_FALSE(delegate.isEqual(&copy));
    EXPECT_EQ(objectBehind(static_cast<CmObject*>(&delegate)), &message);
    FMemoryStream stream;
    EXPECT_FALSE(delegate.write(stream)) << "a message is no component";
    EXPECT_FALSE(delegate.read(stream));
  }
  EXPECT_EQ(owner.delegates, 0);
  EXPECT_EQ(message.refCount(), 1);
}
