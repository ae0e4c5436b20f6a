// The contract of the hash collection: one typed suite for all kinds of keys and values, each step
// held against a plain model, and the disruptions of a walk. Lifetimes, destructors and exceptions:
// hash_map_2018_lifetime_test.cc.

#include "platform/Velo/HashMap2018.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/Nimbo/String.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/PtrInterface.h"

namespace {

struct Numbered;

// -------------------------------------------------------------------------------------------------
// Kinds of keys and values. Each makes them from a number and reads the number back.

struct NumberToNumber {
  using Key = U32;
  using Value = U32;
  static Key key(U32 n) { return n; }
  static Value value(U32 n) { return n; }
  static U32 number(const Value& value) { return value; }
};

// Long enough for the text to stand outside of the string object, short enough now and then not to.
Nimbo::String text(U32 n) {
  return Nimbo::String((n % 3 == 0 ? "port" : "GigabitEthernet of the leaf ") + std::to_string(n));
}
U32 numberIn(const Nimbo::String& text) {
  const std::string_view view = text.view();
  return static_cast<U32>(std::stoul(std::string(view.substr(view.find_first_of("0123456789")))));
}

struct NameToName {
  using Key = Nimbo::String;
  using Value = Nimbo::String;
  static Key key(U32 n) { return text(n); }
  static Value value(U32 n) { return text(n); }
  static U32 number(const Nimbo::String& value) { return numberIn(value); }
};

struct Domain {
  Nimbo::String client;
  Nimbo::String domain;
  U32 hash(U32 seed) const {
    return Velo::hashBytes(domain.view(), Velo::hashBytes(client.view(), seed));
  }
  friend bool operator==(const Domain&, const Domain&) = default;
};

struct StructureToFlag {
  using Key = Domain;
  using Value = bool;
  static Key key(U32 n) { return {text(n % 7), text(n)}; }
  static Value value(U32 n) { return n % 2 == 1; }
  static U32 number(const Value& value) { return value ? 1 : 0; }
};

// Keys of which many share a hash, so that one run of the index holds them all and passes its end.
struct Crowded {
  U32 n = 0;
  U32 hash(U32) const { return n % 3 == 0 ? 0xffffffffU : n % 3; }
  friend bool operator==(const Crowded&, const Crowded&) = default;
};

struct CrowdToName {
  using Key = Crowded;
  using Value = Nimbo::String;
  static Key key(U32 n) { return {n}; }
  static Value value(U32 n) { return text(n); }
  static U32 number(const Value& value) { return numberIn(value); }
};

class Counted : public Velo::PtrInterface {
 public:
  explicit Counted(U32 n) : n_(n) { ++living; }
  ~Counted() override { --living; }
  U32 number() const { return n_; }
  static inline int living = 0;

 private:
  U32 n_;
};

struct NameToObject {
  using Key = Nimbo::String;
  using Value = Velo::Ptr<Counted>;
  static Key key(U32 n) { return text(n); }
  static Value value(U32 n) { return Velo::make<Counted>(n); }
  static U32 number(const Value& value) { return value->number(); }
};

struct NumberToUnique {
  using Key = U32;
  using Value = std::unique_ptr<U32>;
  static Key key(U32 n) { return n * 0x01000100U; }
  static Value value(U32 n) { return std::make_unique<U32>(n); }
  static U32 number(const Value& value) { return *value; }
};

// -------------------------------------------------------------------------------------------------
// A collection beside a model of it. Each element of the model has a number that rises with every
// insertion, so order, the place of a replaced value and the steps of a walk are that of the
// numbers.

template <class Kind>
class Twin {
  using Map = Velo::HashMap2018<Numbered, typename Kind::Key, typename Kind::Value>;
  struct Element {
    U32 place;
    U32 key;
    U32 value;
  };
  struct Walker {
    explicit Walker(Map& map) : real(map) {}
    typename Map::Iterator real;
    bool ended = false;
    Element stood = {};   // as the walk came to it
    bool handed = false;  // the value that cannot be copied went to a caller
  };

 public:
  std::size_t size() const { return model_.size(); }
  U32 keyAt(std::size_t place) const { return model_[place].key; }
  std::size_t walkers() const { return walkers_.size(); }
  bool ended(std::size_t walker) const { return walkers_[walker]->ended; }

  void insert(U32 key, U32 value) {
    const bool absent = seek(key) == nullptr;
    EXPECT_EQ(map_->insert(Kind::key(key), Kind::value(value)), absent);
    if (absent) model_.push_back({++places_, key, normal(value)});
    check();
  }

  void replace(U32 key, U32 value) {
    const auto displaced = map_->replace(Kind::key(key), Kind::value(value));
    Element* const element = seek(key);
    ASSERT_EQ(displaced.has_value(), element != nullptr);
    if (element == nullptr) {
      model_.push_back({++places_, key, normal(value)});
    } else {
      EXPECT_EQ(Kind::number(*displaced), element->value);
      element->value = normal(value);
      noteHandedOver(element->place);
    }
    check();
  }

  void erase(U32 key) {
    const auto value = map_->erase(Kind::key(key));
    Element* const element = seek(key);
    ASSERT_EQ(value.has_value(), element != nullptr);
    if (element != nullptr) {
      EXPECT_EQ(Kind::number(*value), element->value);
      noteHandedOver(element->place);
      model_.erase(model_.begin() + (element - model_.data()));
    }
    check();
  }

  void clear() {
    map_->clear();
    model_.clear();
    check();
  }

  void die() {
    map_.reset();
    model_.clear();
    check();
  }

  void walk() {
    walkers_.push_back(std::make_unique<Walker>(*map_));
    Walker& walker = *walkers_.back();
    arrive(walker, model_.empty() ? nullptr : &model_.front());
    check();
  }

  void advance(std::size_t which) {
    Walker& walker = *walkers_[which];
    walker.real.advance();
    if (!walker.ended) {
      const Element* next = nullptr;
      for (const Element& element : model_) {
        if (element.place > walker.stood.place) {
          next = &element;
          break;
        }
      }
      arrive(walker, next);
    }
    check();
  }

  void stop(std::size_t which) {
    walkers_.erase(walkers_.begin() + static_cast<std::ptrdiff_t>(which));
    check();
  }

  // Everything that can be seen of the collection and its iterators.
  void check() {
    for (const auto& walker : walkers_) check(*walker);
    if (map_ == nullptr) return;
    ASSERT_EQ(map_->size(), model_.size());
    ASSERT_EQ(map_->empty(), model_.empty());
    std::size_t at = 0;
    for (const auto& node : map_->items()) {
      ASSERT_LT(at, model_.size());
      const Element& element = model_[at++];
      ASSERT_TRUE(node.key() == Kind::key(element.key));
      ASSERT_EQ(Kind::number(node.value()), element.value);
      ASSERT_EQ(std::as_const(*map_).find(node.key()), &node);
      ASSERT_EQ(map_->lookup(Kind::key(element.key)), &node.value());
    }
    ASSERT_EQ(at, model_.size());
  }

 private:
  // A flag keeps only one bit of the number.
  static U32 normal(U32 value) { return Kind::number(Kind::value(value)); }

  Element* seek(U32 key) {
    for (Element& element : model_) {
      if (element.key == key) return &element;
    }
    return nullptr;
  }
  Element* seekPlace(U32 place) {
    for (Element& element : model_) {
      if (element.place == place) return &element;
    }
    return nullptr;
  }

  // A value that cannot be copied goes with its element when the collection grows.
  static bool hasMovedOn(const typename Kind::Value& value) {
    if constexpr (std::is_copy_constructible_v<typename Kind::Value>) {
      return false;
    } else {
      return value == nullptr;
    }
  }

  void noteHandedOver(U32 place) {
    if (std::is_copy_constructible_v<typename Kind::Value>) return;
    for (auto& walker : walkers_) {
      if (!walker->ended && walker->stood.place == place) walker->handed = true;
    }
  }

  void arrive(Walker& walker, const Element* at) {
    walker.ended = at == nullptr;
    walker.handed = false;
    if (at != nullptr) walker.stood = *at;
  }

  void check(Walker& walker) {
    ASSERT_EQ(static_cast<bool>(walker.real), !walker.ended);
    if (walker.ended) {
      ASSERT_EQ(walker.real.currNodeMaybeStale(), nullptr);
      ASSERT_EQ(walker.real.currNodeNonStale(), nullptr);
      return;
    }
    const auto* const stale = walker.real.currNodeMaybeStale();
    ASSERT_NE(stale, nullptr);
    ASSERT_TRUE(stale->key() == Kind::key(walker.stood.key));
    ASSERT_TRUE(walker.real.key() == stale->key());
    if (!walker.handed && !hasMovedOn(stale->value())) {
      ASSERT_EQ(Kind::number(stale->value()), walker.stood.value);
    }
    auto* const now = walker.real.currNodeNonStale();
    const Element* const element = seekPlace(walker.stood.place);
    ASSERT_EQ(now != nullptr, element != nullptr);
    if (now == nullptr) return;
    ASSERT_TRUE(now->key() == Kind::key(element->key));
    ASSERT_EQ(Kind::number(now->value()), element->value);
    ASSERT_EQ(now, map_->find(now->key()));
  }

  std::unique_ptr<Map> map_ = std::make_unique<Map>();
  std::vector<Element> model_;
  std::vector<std::unique_ptr<Walker>> walkers_;
  U32 places_ = 0;
};

template <class Kind>
class HashMap2018Contract : public testing::Test {
 protected:
  using Map = Velo::HashMap2018<Numbered, typename Kind::Key, typename Kind::Value>;

  void TearDown() override { EXPECT_EQ(Counted::living, 0); }

  // `size` elements with the keys 0, 1, ... whose values are ten times the key.
  static void fill(Twin<Kind>& twin, U32 size) {
    for (U32 n = 0; n < size; ++n) twin.insert(n, 10 * n);
  }
};

using Kinds = testing::Types<NumberToNumber, NameToName, StructureToFlag, CrowdToName, NameToObject,
                             NumberToUnique>;
TYPED_TEST_SUITE(HashMap2018Contract, Kinds);

// Around the sizes at which the block grows, the index begins, and gaps are closed.
constexpr U32 sizes[] = {1, 2, 3, 4, 5, 8, 9, 16, 17, 40};

TYPED_TEST(HashMap2018Contract, IterationFollowsTheOrderOfInsertion) {
  Twin<TypeParam> twin;
  for (U32 n = 0; n < 100; ++n) twin.insert((n * 37) % 101, n);
}

TYPED_TEST(HashMap2018Contract, AnInsertUnderAPresentKeyChangesNothing) {
  Twin<TypeParam> twin;
  this->fill(twin, 12);
  for (U32 n = 0; n < 12; ++n) twin.insert(n, 10 * n + 1);
}

TYPED_TEST(HashMap2018Contract, AKeyThatIsRemovedAndInsertedAgainStandsAtTheEnd) {
  for (const U32 size : sizes) {
    Twin<TypeParam> twin;
    this->fill(twin, size);
    for (U32 n = 0; n < size; ++n) {
      const U32 key = twin.keyAt((n * 5) % size);
      twin.erase(key);
      twin.insert(key, n);
    }
  }
}

TYPED_TEST(HashMap2018Contract, AValueReplacedUnderItsKeyKeepsItsPlace) {
  for (const U32 size : sizes) {
    Twin<TypeParam> twin;
    this->fill(twin, size);
    for (U32 n = 0; n <= size; ++n) twin.replace(n, n + 1);
  }
}

TYPED_TEST(HashMap2018Contract, ErasingInAnyDirectionLeavesTheRestInOrder) {
  for (const U32 size : sizes) {
    Twin<TypeParam> twin;
    this->fill(twin, size);
    for (U32 n = 0; n < size; ++n) twin.erase(n);
    this->fill(twin, size);
    for (U32 n = size; n-- > 0;) twin.erase(n);
    this->fill(twin, size);
    for (U32 n = 0; n < size; ++n) twin.erase((n + size / 2) % size);
    twin.erase(0);
    EXPECT_EQ(twin.size(), 0U);
  }
}

TYPED_TEST(HashMap2018Contract, AnElementStaysInItsPlaceWhileAnIteratorStandsOnIt) {
  for (const U32 size : sizes) {
    typename TestFixture::Map map;
    for (U32 n = 0; n < size; ++n) map.insert(TypeParam::key(n), TypeParam::value(n));
    typename TestFixture::Map::Iterator it(map);
    for (U32 n = 0; n < size / 2; ++n) it.advance();
    const auto& key = it.key();
    const auto* const node = it.currNodeMaybeStale();
    for (U32 n = size; n < size + 200; ++n) map.insert(TypeParam::key(n), TypeParam::value(n));
    for (U32 n = size + 3; n < size + 200; ++n) map.erase(TypeParam::key(n));
    EXPECT_EQ(it.currNodeMaybeStale(), node);
    EXPECT_TRUE(key == TypeParam::key(size / 2));
    EXPECT_EQ(it.currNodeNonStale(), map.find(TypeParam::key(size / 2)));
    map.erase(TypeParam::key(size / 2));
    EXPECT_EQ(it.currNodeMaybeStale(), node);
    EXPECT_TRUE(key == TypeParam::key(size / 2));
    EXPECT_EQ(it.currNodeNonStale(), nullptr);
  }
}

TYPED_TEST(HashMap2018Contract, TheKeyThatIsErasedMayBeTheElementsOwn) {
  typename TestFixture::Map map;
  for (U32 n = 0; n < 20; ++n) map.insert(TypeParam::key(n), TypeParam::value(n));
  for (U32 n = 0; n < 20; ++n) {
    const auto value = map.erase(map.find(TypeParam::key(n))->key());
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(TypeParam::number(*value), TypeParam::number(TypeParam::value(n)));
  }
  EXPECT_TRUE(map.empty());
}

TYPED_TEST(HashMap2018Contract, OneKeyThatComesAndGoesKeepsTheWalkShort) {
  typename TestFixture::Map map;
  for (U32 n = 0; n < 600; ++n) map.insert(TypeParam::key(n), TypeParam::value(n));
  for (U32 round = 0; round < 2000; ++round) {
    ASSERT_TRUE(map.erase(TypeParam::key(7)).has_value());
    ASSERT_TRUE(map.insert(TypeParam::key(7), TypeParam::value(7)));
  }
  EXPECT_EQ(map.size(), 600U);
  EXPECT_NE(map.find(TypeParam::key(599)), nullptr);
}

// What one handler may do to the collection while the walk that calls it stands on the element at
// `at`.
template <class Kind>
struct Disruption {
  const char* name;
  void (*happens)(Twin<Kind>& twin, std::size_t at);
};

template <class Kind>
const std::vector<Disruption<Kind>>& disruptions() {
  using T = Twin<Kind>;
  static const std::vector<Disruption<Kind>> all = {
      {"erase the current", [](T& twin, std::size_t at) { twin.erase(twin.keyAt(at)); }},
      {"erase the next",
       [](T& twin, std::size_t at) {
         if (at + 1 < twin.size()) twin.erase(twin.keyAt(at + 1));
       }},
      {"erase the previous",
       [](T& twin, std::size_t at) {
         if (at > 0) twin.erase(twin.keyAt(at - 1));
       }},
      {"erase the current and the next",
       [](T& twin, std::size_t at) {
         twin.erase(twin.keyAt(at));
         if (at < twin.size()) twin.erase(twin.keyAt(at));
       }},
      {"erase all before and the current",
       [](T& twin, std::size_t at) {
         for (std::size_t n = 0; n <= at; ++n) twin.erase(twin.keyAt(0));
       }},
      {"erase the current and all behind",
       [](T& twin, std::size_t at) {
         while (twin.size() > at) twin.erase(twin.keyAt(twin.size() - 1));
       }},
      {"erase all others",
       [](T& twin, std::size_t at) {
         const U32 key = twin.keyAt(at);
         while (twin.keyAt(0) != key) twin.erase(twin.keyAt(0));
         while (twin.size() > 1) twin.erase(twin.keyAt(1));
       }},
      {"erase all", [](T& twin, std::size_t) { twin.clear(); }},
      {"erase all and insert them again",
       [](T& twin, std::size_t) {
         std::vector<U32> keys;
         for (std::size_t n = 0; n < twin.size(); ++n) keys.push_back(twin.keyAt(n));
         twin.clear();
         for (const U32 key : keys) twin.insert(key, key + 1);
       }},
      {"reinsert the current",
       [](T& twin, std::size_t at) {
         const U32 key = twin.keyAt(at);
         twin.erase(key);
         twin.insert(key, key + 1);
       }},
      {"reinsert the next",
       [](T& twin, std::size_t at) {
         const U32 key = twin.keyAt((at + 1) % twin.size());
         twin.erase(key);
         twin.insert(key, key + 1);
       }},
      {"replace the current",
       [](T& twin, std::size_t at) { twin.replace(twin.keyAt(at), twin.keyAt(at) + 1); }},
      {"replace the current twice, then erase it",
       [](T& twin, std::size_t at) {
         const U32 key = twin.keyAt(at);
         twin.replace(key, key + 1);
         twin.replace(key, key + 2);
         twin.erase(key);
       }},
      {"replace the next",
       [](T& twin, std::size_t at) {
         const U32 key = twin.keyAt((at + 1) % twin.size());
         twin.replace(key, key + 1);
       }},
      {"grow",
       [](T& twin, std::size_t) {
         for (U32 n = 1000; n < 1020; ++n) twin.insert(n, n);
       }},
      {"erase the current and grow",
       [](T& twin, std::size_t at) {
         twin.erase(twin.keyAt(at));
         for (U32 n = 1000; n < 1020; ++n) twin.insert(n, n);
       }},
      {"grow, then thin out",
       [](T& twin, std::size_t) {
         for (U32 n = 1000; n < 1020; ++n) twin.insert(n, n);
         for (U32 n = 1000; n < 1019; ++n) twin.erase(n);
       }},
      {"end another walk", [](T& twin, std::size_t) { twin.stop(1); }},
      {"the collection dies", [](T& twin, std::size_t) { twin.die(); }},
  };
  return all;
}

// The disrupted walk stands on each element in turn; another stands on each element it can while
// that happens. Then both go to their end, through everything that is left and that was added.
TYPED_TEST(HashMap2018Contract, AWalkSurvivesEveryDisruption) {
  for (const auto& disruption : disruptions<TypeParam>()) {
    SCOPED_TRACE(disruption.name);
    for (const U32 size : {1U, 2U, 4U, 5U, 9U, 18U}) {
      for (const U32 at : std::set<U32>{0, 1 % size, size / 2, size - 1}) {
        for (const U32 other : std::set<U32>{0, at, size - 1}) {
          SCOPED_TRACE(testing::Message() << at << " of " << size << ", other " << other);
          Twin<TypeParam> twin;
          this->fill(twin, size);
          twin.walk();
          for (U32 step = 0; step < at; ++step) twin.advance(0);
          twin.walk();
          for (U32 step = 0; step < other; ++step) twin.advance(1);
          disruption.happens(twin, at);
          for (std::size_t walker = 0; walker < twin.walkers(); ++walker) {
            for (int steps = 0; !twin.ended(walker) && steps < 200; ++steps) twin.advance(walker);
            EXPECT_TRUE(twin.ended(walker));
            twin.advance(walker);
          }
          if (this->HasFailure()) return;
        }
      }
    }
  }
}

TYPED_TEST(HashMap2018Contract, NestedWalksKeepTheirElementsWhenGapsAreClosed) {
  for (const U32 step : {2U, 3U, 7U}) {
    Twin<TypeParam> twin;
    this->fill(twin, 60);
    for (U32 depth = 0; depth < 12; ++depth) {
      twin.walk();
      for (U32 n = 0; n < 5 * depth; ++n) twin.advance(depth);
    }
    for (U32 n = 0; n < 60; ++n) {
      if (n % step != 0) twin.erase(n);
    }
    for (U32 n = 100; n < 170; ++n) twin.insert(n, n);
    for (U32 depth = 12; depth-- > 0;) {
      while (!twin.ended(depth)) twin.advance(depth);
    }
  }
}

TYPED_TEST(HashMap2018Contract, AWalkThatErasesEachElementItComesToEmptiesTheCollection) {
  for (const U32 size : sizes) {
    typename TestFixture::Map map;
    for (U32 n = 0; n < size; ++n) map.insert(TypeParam::key(n), TypeParam::value(n));
    U32 n = 0;
    for (const auto& key : map.keys()) {
      EXPECT_TRUE(map.erase(key).has_value());
      EXPECT_TRUE(key == TypeParam::key(n++));
    }
    EXPECT_EQ(n, size);
    EXPECT_TRUE(map.empty());
  }
}

TYPED_TEST(HashMap2018Contract, AKeyThatIsAbsentIsNotFoundWhateverTheSize) {
  typename TestFixture::Map map;
  for (U32 n = 0; n < 150; ++n) {
    for (U32 absent = n; absent < n + 12; ++absent)
      ASSERT_EQ(map.find(TypeParam::key(absent)), nullptr) << n;
    map.insert(TypeParam::key(n), TypeParam::value(n));
  }
  for (U32 n = 0; n < 150; ++n) {
    map.erase(TypeParam::key(n));
    for (U32 gone = 0; gone <= n; ++gone) ASSERT_EQ(map.find(TypeParam::key(gone)), nullptr) << n;
    for (U32 left = n + 1; left < 150; ++left) ASSERT_NE(map.find(TypeParam::key(left)), nullptr);
  }
}

TYPED_TEST(HashMap2018Contract, ARandomWalkAgreesWithTheModel) {
  struct Run {
    U32 seed;
    U32 keys;
    U32 steps;
  };
  for (const Run run :
       {Run{1, 3, 1500}, Run{2, 6, 1500}, Run{3, 12, 1500}, Run{4, 40, 1500}, Run{5, 150, 1200}}) {
    std::mt19937 random(run.seed);
    const auto below = [&random](std::size_t bound) { return static_cast<U32>(random() % bound); };
    Twin<TypeParam> twin;
    U32 bias = 50;
    for (U32 step = 0; step < run.steps; ++step) {
      SCOPED_TRACE(testing::Message() << "seed " << run.seed << " step " << step);
      if (step % 100 == 0) bias = 20 + below(60);  // phases of growth and of decay
      const U32 key = below(run.keys);
      const U32 what = below(100);
      if (what < 25) {
        if (twin.walkers() < 6 && below(3) == 0) {
          twin.walk();
        } else if (twin.walkers() > 0) {
          const U32 walker = below(twin.walkers());
          if (twin.ended(walker) || below(12) == 0) {
            twin.stop(walker);
          } else {
            twin.advance(walker);
          }
        }
      } else if (what < 35) {
        twin.replace(key, step);
      } else if (what == 35 && below(4) == 0) {
        twin.clear();
      } else if (below(100) < bias) {
        twin.insert(key, step);
      } else {
        twin.erase(key);
      }
      if (this->HasFailure()) return;
    }
  }
}

}  // namespace
