#include "foundation/array.h"
#include "foundation/b_tree.h"
#include "foundation/bit_set.h"
#include "foundation/class_registry.h"
#include "foundation/dictionary.h"
#include "foundation/hash_table.h"
#include "foundation/intrusive_list.h"
#include "foundation/linked_list.h"
#include "foundation/pointer_object.h"
#include "foundation/string.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <set>

using namespace orbi;
using testing::ElementsAre;

namespace {

int alive = 0; // items of the running test

/// An item that any container takes, ordered, hashed and equal by its number.
template <class Link>
class Numbered final : public Link {
public:
  explicit Numbered(int value) : number(value) { ++alive; }
  ~Numbered() override { --alive; }
  bool isEqual(const CmObject* other) const override { return compare(other) == 0; }
  int compare(const CmObject* other) const override
  {
    int theirs = static_cast<const Numbered*>(other)->number;
    return (number > theirs) - (number < theirs);
  }
  uint32_t hash(uint32_t size) const override { return static_cast<uint32_t>(number) % size; }

  const int number;
};

template <class Container>
using ItemOf = Numbered<std::conditional_t<
    std::is_base_of_v<CmILinkedList, Container>, CmILink,
    std::conditional_t<std::is_base_of_v<CmIDLinkedList, Container>, CmIDLink, CmObject>>>;

template <class Container>
std::vector<int> numbersOf(const Container& container)
{
  std::vector<int> numbers;
  for (CmIteration items(container); !items.atEnd();)
    numbers.push_back(static_cast<ItemOf<Container>*>(items.next())->number);
  return numbers;
}

template <class Container>
class EveryContainer : public testing::Test {
protected:
  using Item = ItemOf<Container>;

  void TearDown() override { EXPECT_EQ(alive, 0) << "items leaked or released too often"; }

  /// The numbers in the container, without the order that is each container's own.
  static std::vector<int> sorted(const Container& container)
  {
    std::vector<int> numbers = numbersOf(container);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
  }
};

using Containers =
    testing::Types<CmLinkedList, CmQueue, CmStack, CmDLinkedList, CmArray, CmOrderedArray,
                   CmHashTable, CmBTree, CmILinkedList, CmIDLinkedList>;
TYPED_TEST_SUITE(EveryContainer, Containers);

} // namespace

TYPED_TEST(EveryContainer, keeps_references_by_its_ownership)
{
  using Item = typename TestFixture::Item;
  struct Case {
    CmOwnership ownership;
    int whenHeld;
    int whenRemoved;
  };
  for (auto [ownership, whenHeld, whenRemoved] :
       {Case{CmOwnership::none, 1, 1}, Case{CmOwnership::adopts, 1, 0},
        Case{CmOwnership::shares, 2, 1}}) {
    std::vector<Item*> items;
    std::vector<Ref<Item>> guards; // so that a released item can still be asked
    TypeParam container;
    container.setOwnership(ownership);
    for (int i = 0; i < 4; ++i) {
      items.push_back(new Item(i));
      guards.push_back(Ref<Item>::share(items.back()));
      ASSERT_TRUE(container.add(items.back()));
    }
    auto counts = [&] {
      std::vector<int> held;
      for (Item* item : items)
        held.push_back(item->refCount() - 1);
      return held;
    };
    EXPECT_THAT(counts(), testing::Each(whenHeld));
    EXPECT_TRUE(container.remove(items[2]));
    EXPECT_FALSE(container.remove(items[2]));
    EXPECT_EQ(items[2]->refCount() - 1, whenRemoved);
    EXPECT_TRUE(container.removeAt(container.indexOf(items[0])));
    EXPECT_EQ(items[0]->refCount() - 1, whenRemoved);
    container.removeAll();
    EXPECT_TRUE(container.isEmpty());
    EXPECT_THAT(counts(), testing::Each(whenRemoved));
    for (Item* item : items)
      if (whenRemoved)
        item->releaseRef();
  }
}

TYPED_TEST(EveryContainer, counts_finds_and_removes_by_index)
{
  using Item = typename TestFixture::Item;
  TypeParam container;
  container.setOwnership(CmOwnership::adopts);
  Item stranger(3);
  for (int i : {5, 3, 9, 1})
    container.add(new Item(i));
  EXPECT_EQ(container.count(), 4u);
  EXPECT_EQ(container.size(), 4u);
  EXPECT_EQ(this->sorted(container), (std::vector<int>{1, 3, 5, 9}));
  for (int index : {-1, 4, 1000, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(container.at(index), nullptr) << index;
    EXPECT_FALSE(container.removeAt(index)) << index;
  }
  EXPECT_EQ(container.first(), container.at(0));
  EXPECT_EQ(container.last(), container.at(3));
  CmObject* found = container.find(&stranger);
  ASSERT_NE(found, nullptr);
  EXPECT_NE(found, &stranger) << "found by equality";
  EXPECT_TRUE(container.contains(found));
  EXPECT_FALSE(container.contains(&stranger)) << "contained by identity";
  EXPECT_FALSE(container.remove(&stranger));

  for (uint32_t left = 4; left-- > 0;) {
    CmObject* last = container.last();
    EXPECT_TRUE(container.removeAt(static_cast<int32_t>(left)));
    EXPECT_EQ(container.count(), left);
    EXPECT_NE(container.last(), last);
  }
  EXPECT_EQ(container.first(), nullptr);
  EXPECT_EQ(container.find(&stranger), nullptr);
  EXPECT_TRUE(container.add(new Item(7)));
  EXPECT_EQ(this->sorted(container), std::vector<int>{7});
}

TYPED_TEST(EveryContainer, can_lose_each_item_while_it_is_walked)
{
  using Item = typename TestFixture::Item;
  TypeParam container;
  container.setOwnership(CmOwnership::adopts);
  for (int i = 0; i < 40; ++i)
    container.add(new Item(i * 7 % 40));
  std::set<int> met;
  for (CmIteration items(container); !items.atEnd();) {
    auto* item = static_cast<Item*>(items.next());
    met.insert(item->number);
    if (item->number % 2 == 0) {
      EXPECT_TRUE(container.remove(item));
    }
  }
  EXPECT_EQ(met.size(), 40u);
  EXPECT_EQ(container.count(), 20u);
}

TYPED_TEST(EveryContainer, can_be_made_by_name_and_copied_with_references_of_its_own)
{
  using Item = typename TestFixture::Item;
  Ref<TypeParam> made = createAs<TypeParam>(TypeParam::className);
  ASSERT_TRUE(made);
  EXPECT_TRUE(made->isA("CmContainer"));
  made->setOwnership(CmOwnership::adopts);
  for (int i : {2, 1, 3})
    made->add(new Item(i));
  if (auto copy = Ref<CmObject>::adopt(made->clone())) { // linked items stand in one list only
    std::vector<int> before = numbersOf(*made);
    made = nullptr;
    EXPECT_EQ(numbersOf(static_cast<TypeParam&>(*copy)), before);
  }
}

/// Containers with nodes or slots can change under an iterator in any way.
TEST(NodeLists, stay_sound_when_they_change_under_an_iterator)
{
  std::mt19937 random(1);
  CmDLinkedList nodes(CmOwnership::adopts);
  CmBTree tree(4, CmOwnership::adopts);
  CmHashTable table(CmOwnership::adopts);
  for (CmContainer* container : std::initializer_list<CmContainer*>{&nodes, &tree, &table}) {
    for (int round = 0; round < 50; ++round) {
      CmIteration items(*container);
      for (int step = 0; step < 60 && (step < 5 || !items.atEnd()); ++step) {
        items.next();
        if (random() % 3)
          container->add(new FIndex(static_cast<int32_t>(random() % 50)));
        else
          container->removeAt(static_cast<int32_t>(random() % (container->count() + 1)));
        if (random() % 200 == 0)
          container->removeAll();
      }
    }
  }
}

namespace {
template <class List>
std::vector<int32_t> indexesOf(const List& list)
{
  std::vector<int32_t> indexes;
  for (CmIteration items(list); !items.atEnd();)
    indexes.push_back(static_cast<FIndex*>(items.next())->index);
  return indexes;
}
} // namespace

template <class List>
class ListWithPlaces : public testing::Test {
};
using Lists = testing::Types<CmLinkedList, CmDLinkedList, CmArray>;
TYPED_TEST_SUITE(ListWithPlaces, Lists);

TYPED_TEST(ListWithPlaces, inserts_at_every_place_and_takes_nulls)
{
  FIndex a(1), b(2), c(3), d(4);
  TypeParam list;
  EXPECT_TRUE(list.insertAt(0, &c));
  EXPECT_TRUE(list.insertAt(0, &a));
  EXPECT_TRUE(list.insertAt(1, &b));
  EXPECT_TRUE(list.insertAt(3, &d));
  EXPECT_FALSE(list.insertAt(5, &d));
  EXPECT_FALSE(list.insertAt(-1, &d));
  EXPECT_THAT(indexesOf(list), ElementsAre(1, 2, 3, 4));
  for (int32_t i = 0; i < 4; ++i)
    EXPECT_EQ(static_cast<FIndex*>(list.at(i))->index, i + 1);
  EXPECT_TRUE(list.add(nullptr));
  EXPECT_EQ(list.count(), 5u);
  EXPECT_EQ(list.find(&d), &d);
  EXPECT_TRUE(list.remove(nullptr));
  EXPECT_EQ(list.last(), &d);
}

TEST(Queue, gives_first_what_came_first_and_the_stack_what_came_last)
{
  CmQueue queue(CmOwnership::adopts);
  CmStack stack(CmOwnership::adopts);
  for (int i = 1; i <= 3; ++i) {
    queue.add(new FIndex(i));
    stack.add(new FIndex(i));
  }
  EXPECT_EQ(stack.top(), stack.at(0));
  auto taken = Ref<FIndex>::adopt(static_cast<FIndex*>(queue.take()));
  auto popped = Ref<FIndex>::adopt(static_cast<FIndex*>(stack.pop()));
  EXPECT_EQ(taken->index, 1);
  EXPECT_EQ(popped->index, 3);
  EXPECT_EQ(taken->refCount(), 1);
  EXPECT_THAT(indexesOf(queue), ElementsAre(2, 3));
  EXPECT_THAT(indexesOf(stack), ElementsAre(2, 1));
  EXPECT_EQ(CmQueue().take(), nullptr);
  EXPECT_EQ(CmStack().pop(), nullptr);
}

TEST(OrderedArray, keeps_order_and_the_arrival_of_equal_items)
{
  CmOrderedArray array;
  FIndex low(1), high(9), first(5), second(5);
  for (FIndex* item : {&first, &high, &second, &low})
    array.add(item);
  EXPECT_THAT(indexesOf(array), ElementsAre(1, 5, 5, 9));
  EXPECT_EQ(array.at(1), &first);
  EXPECT_EQ(array.find(&second), &first);
}

TEST(IntrusiveList, refuses_strangers_and_items_that_stand_in_a_list)
{
  struct Link final : CmILink {};
  struct DLink final : CmIDLink {};
  Link a, b;
  DLink x, y, z; // before the lists, which let go of them at their end
  CmObject stranger;
  CmILinkedList single;
  CmIDLinkedList twofold;
  EXPECT_TRUE(single.add(&a) && single.add(&b) && twofold.add(&x) && twofold.add(&y));
  EXPECT_FALSE(single.add(&a) || single.add(&b) || twofold.add(&x) || twofold.add(&y));
  EXPECT_FALSE(single.add(&stranger) || twofold.add(&stranger));
  EXPECT_EQ(single.count(), 2u);
  CmILinkedList other;
  other.takeAll(single);
  EXPECT_TRUE(single.isEmpty());
  EXPECT_EQ(other.takeHead(), &a);
  EXPECT_EQ(other.last(), &b);
  CmIDLinkedList behind;
  EXPECT_TRUE(behind.add(&z));
  twofold.takeAll(behind);
  EXPECT_TRUE(behind.isEmpty() && twofold.last() == &z && z.previous() == &y);
  EXPECT_TRUE(twofold.remove(&y) && z.previous() == &x && x.next() == &z);
  EXPECT_FALSE(twofold.remove(&y));
}

TEST(BTree, agrees_with_a_sorted_vector_for_every_order)
{
  for (int order = 3; order <= 7; ++order) {
    std::mt19937 random(static_cast<unsigned>(order));
    CmBTree tree(order, CmOwnership::adopts);
    std::vector<int32_t> expected;
    for (int step = 0; step < 4000; ++step) {
      auto number = static_cast<int32_t>(random() % 300); // many equal ones
      bool grows = step / 1000 % 2 == 0;
      if (random() % 4 == 0 ? !grows : grows) {
        tree.add(new FIndex(number));
        expected.insert(std::upper_bound(expected.begin(), expected.end(), number), number);
      } else {
        FIndex key(number);
        CmObject* found = tree.find(&key);
        auto place = std::lower_bound(expected.begin(), expected.end(), number);
        bool known = place != expected.end() && *place == number;
        ASSERT_EQ(found != nullptr, known);
        if (known) {
          ASSERT_TRUE(tree.remove(found));
          expected.erase(place);
        }
      }
      ASSERT_EQ(tree.count(), expected.size());
      if (step % 50 == 0) {
        ASSERT_EQ(indexesOf(tree), expected) << "order " << order << " step " << step;
      }
    }
    EXPECT_EQ(indexesOf(tree), expected);
  }
}

TEST(HashTable, stays_flat_while_it_grows)
{
  CmHashTable table(CmOwnership::adopts);
  for (int32_t i = 0; i < 20000; ++i)
    table.add(new FIndex(i));
  EXPECT_GE(table.bucketCount(), table.count());
  for (int32_t i = 0; i < 20000; ++i) {
    FIndex key(i);
    auto* found = castTo<FIndex>(table.find(&key));
    ASSERT_TRUE(found && found->index == i);
  }
}

template <class Dictionary>
class EveryDictionary : public testing::Test {
};
using Dictionaries = testing::Types<CmDictionary, CmHashDictionary, CmBTreeDictionary>;
TYPED_TEST_SUITE(EveryDictionary, Dictionaries);

TYPED_TEST(EveryDictionary, holds_one_value_for_each_key)
{
  TypeParam dictionary;
  auto value = make<FIndex>(1);
  auto other = make<FIndex>(2);
  for (const char* name : {"tempo", "tune", "pan"}) {
    auto key = make<CmString>(name);
    dictionary.setValue(key.get(), value.get());
  }
  EXPECT_EQ(value->refCount(), 4);
  CmString tune("tune"), unknown("volume");
  dictionary.setValue(&tune, other.get());
  EXPECT_EQ(dictionary.count(), 3u);
  EXPECT_EQ(dictionary.valueOf(&tune), other.get());
  EXPECT_EQ(dictionary.valueOf(&unknown), nullptr);
  EXPECT_FALSE(dictionary.removeKey(&unknown));
  EXPECT_TRUE(dictionary.removeKey(&tune));
  EXPECT_EQ(other->refCount(), 1);
  dictionary.setValue(nullptr, value.get());
  EXPECT_EQ(dictionary.count(), 2u);
  auto copy = Ref<CmObject>::adopt(dictionary.clone());
  dictionary.removeAll();
  CmString pan("pan");
  EXPECT_EQ(castTo<TypeParam>(copy.get())->valueOf(&pan), value.get());
}

TEST(BitSet, behaves_as_a_set_of_numbers)
{
  std::mt19937 random(3);
  CmBitSet a, b;
  std::set<uint32_t> inA, inB;
  for (int i = 0; i < 200; ++i) {
    uint32_t x = random() % 400, y = random() % 700;
    a.set(x), inA.insert(x);
    b.set(y), inB.insert(y);
    a.reset(y), inA.erase(y);
  }
  auto members = [](const CmBitSet& set) {
    std::set<uint32_t> found;
    for (int64_t bit = set.next(); bit >= 0; bit = set.next(static_cast<uint32_t>(bit) + 1))
      found.insert(static_cast<uint32_t>(bit));
    EXPECT_EQ(set.count(), found.size());
    return found;
  };
  EXPECT_EQ(members(a), inA);
  CmBitSet both = a, either = a, only = a;
  both.intersect(b);
  either.unite(b);
  only.subtract(b);
  std::set<uint32_t> all = inA;
  all.insert(inB.begin(), inB.end());
  EXPECT_EQ(members(either), all);
  EXPECT_EQ(both.count() + either.count(), a.count() + b.count());
  EXPECT_EQ(only.count(), a.count() - both.count());

  CmBitSet fresh;
  fresh.set(700);
  fresh.reset(700);
  EXPECT_TRUE(fresh.isEqual(Ref<CmBitSet>(make<CmBitSet>()).get()));
}
