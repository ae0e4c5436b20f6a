// Notification: an entity tells its observers of a change. The peer that counts is what one would
// write by hand and have the same safety: observer and owner are held by reference while the
// observer runs. Beside it, a bare loop and boost::signals2.

#include <boost/signals2/dummy_mutex.hpp>
#include <boost/signals2/signal_type.hpp>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "bench/Rows.h"
#include "platform/Velo/Entity.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/Reactor.h"

namespace Bench {
namespace {

// --- ours
// -----------------------------------------------------------------------------------------

class Subject : public Velo::Entity {
 public:
  static constexpr Velo::Attribute changed{"changed"};
  static constexpr Velo::AttributeId id{changed};
  void tell() const { notify(id); }
};

class Machine : public Velo::PtrInterface {};

class Reactor : public Velo::PtrInterface::NotifieeConst {
 public:
  Reactor(const Subject* subject, Machine* owner) {
    ownerIs(owner, false);
    notifierIs(subject);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void veloDoZombieReactors(bool /*requested*/) override {}
};

// Of two kinds, here and below, so that no compiler can guess which one is called.
class Counts : public Reactor {
 public:
  using Reactor::Reactor;
  void onAttribute(Velo::AttributeId /*attribute*/, const void* /*key*/) override { ++told; }
  U64 told = 0;
};
class Sums : public Reactor {
 public:
  using Reactor::Reactor;
  void onAttribute(Velo::AttributeId /*attribute*/, const void* key) override {
    sum += key == nullptr ? 2 : 1;
  }
  U64 sum = 0;
};

// A reactor as machines have them, which finds its handler in a table.
struct ChangedAttribute {
  using Key = void;
  static constexpr Velo::AttributeId id = Subject::id;
};
class TableReactor : public Velo::Reactor<TableReactor, Machine, Subject> {
 public:
  TableReactor(const Subject* subject, Machine* machine) {
    ownerIs(machine, false);
    build(subject);
    hasNotificationActiveIs(true);
  }
  static std::span<const Velo::Reaction> reactions() {
    static constexpr Velo::Reaction table[] = {
        on<ChangedAttribute>(call<&TableReactor::handleChanged>("handleChanged"))};
    return table;
  }
  void handleChanged() { ++told; }
  U64 told = 0;
};

struct Observed {
  explicit Observed(U32 count) {
    for (U32 i = 0; i < count; ++i) {
      if (i % 2 == 0) {
        reactors.emplace_back(Velo::make<Counts>(subject.get(), machine.get()));
      } else {
        reactors.emplace_back(Velo::make<Sums>(subject.get(), machine.get()));
      }
    }
  }
  const Velo::Ptr<Subject> subject = Velo::make<Subject>();
  const Velo::Ptr<Machine> machine = Velo::make<Machine>();
  std::vector<Velo::Ptr<Velo::PtrInterface>> reactors = {};
};

// --- by hand
// --------------------------------------------------------------------------------------

struct Counted : boost::intrusive_ref_counter<Counted, boost::thread_unsafe_counter> {
  Counted() = default;
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  virtual ~Counted() = default;
};
using Held = boost::intrusive_ptr<Counted>;

class Observer : public Counted {
 public:
  virtual void onChange(U32 attribute, const void* key) = 0;
  Counted* owner = nullptr;
  bool isActive = true;
};
class CountingObserver : public Observer {
 public:
  void onChange(U32 /*attribute*/, const void* /*key*/) override { ++told; }
  U64 told = 0;
};
class SummingObserver : public Observer {
 public:
  void onChange(U32 /*attribute*/, const void* key) override { sum += key == nullptr ? 2 : 1; }
  U64 sum = 0;
};

class Observers {
 public:
  void tell(U32 attribute, const void* key) const {
    // Not by range: an observer that runs may bring in another one.
    // NOLINTNEXTLINE(modernize-loop-convert)
    for (std::size_t i = 0; i < list.size(); ++i) {
      Observer* const observer = list[i];
      if (!observer->isActive) continue;
      const Held holdsOwner(observer->owner);
      const Held holdsObserver(observer);
      observer->onChange(attribute, key);
    }
  }
  void tellBare(U32 attribute, const void* key) const {
    for (Observer* const observer : list) observer->onChange(attribute, key);
  }
  std::vector<Observer*> list = {};
};

struct ByHand {
  explicit ByHand(U32 count) {
    for (U32 i = 0; i < count; ++i) {
      Observer* observer = nullptr;
      if (i % 2 == 0) {
        observer = new CountingObserver;
      } else {
        observer = new SummingObserver;
      }
      observer->owner = owner.get();
      keep.emplace_back(observer);
      observers.list.push_back(observer);
    }
  }
  Observers observers = {};
  const Held owner = new Counted;
  std::vector<Held> keep = {};
};

// --- boost::signals2
// ------------------------------------------------------------------------------

using Signal = boost::signals2::signal_type<
    void(U32, const void*),
    boost::signals2::keywords::mutex_type<boost::signals2::dummy_mutex>>::type;

struct Signalled {
  explicit Signalled(U32 count) : told(count) {
    for (U32 i = 0; i < count; ++i) connect(told[i]);
  }
  void connect(U64& counter) {
    signal.connect([&counter](U32 /*attribute*/, const void* /*key*/) { ++counter; });
  }
  Signal signal = {};
  std::vector<U64> told;
};

// --- the rows
// -------------------------------------------------------------------------------------

// One change told to `count` observers.
template <class Scene, class Tell>
Body tells(U32 count, Tell tell) {
  const Lazy<Scene> lazy([count] { return std::make_unique<Scene>(count); });
  return [lazy, tell](benchmark::State& state) {
    const Scene& scene = *lazy;
    for (auto _ : state) {
      tell(scene);
      benchmark::ClobberMemory();
    }
  };
}

Body ours(U32 count) {
  return tells<Observed>(count, [](const Observed& scene) { scene.subject->tell(); });
}

struct ObservedByTable {
  explicit ObservedByTable(U32 count) {
    for (U32 i = 0; i < count; ++i)
      reactors.push_back(Velo::make<TableReactor>(subject.get(), machine.get()));
  }
  const Velo::Ptr<Subject> subject = Velo::make<Subject>();
  const Velo::Ptr<Machine> machine = Velo::make<Machine>();
  std::vector<Velo::Ptr<TableReactor>> reactors = {};
};
Body oursByTable(U32 count) {
  return tells<ObservedByTable>(count, [](const ObservedByTable& scene) { scene.subject->tell(); });
}

Body byHand(U32 count) {
  return tells<ByHand>(count, [](const ByHand& scene) { scene.observers.tell(1, nullptr); });
}

Body bare(U32 count) {
  return tells<ByHand>(count, [](const ByHand& scene) { scene.observers.tellBare(1, nullptr); });
}

Body signals(U32 count) {
  return tells<Signalled>(count, [](const Signalled& scene) { scene.signal(1, nullptr); });
}

// A chain: who is told tells the next, and so on; one thing more to do, the same on both sides.
class Relay : public Reactor {
 public:
  using Reactor::Reactor;
  void onAttribute(Velo::AttributeId /*attribute*/, const void* /*key*/) override {
    ++told;
    if (next != nullptr) next->tell();
  }
  const Subject* next = nullptr;
  U64 told = 0;
};
struct Chain {
  explicit Chain(U32 length) {
    for (U32 i = 0; i < length; ++i) {
      subjects.push_back(Velo::make<Subject>());
      relays.push_back(Velo::make<Relay>(subjects.back().get(), machine.get()));
      if (i > 0) relays[i - 1]->next = subjects.back().get();
    }
  }
  Velo::Ptr<Machine> machine = Velo::make<Machine>();
  std::vector<Velo::Ptr<Subject>> subjects = {};
  std::vector<Velo::Ptr<Relay>> relays = {};
};

class RelayObserver : public Observer {
 public:
  void onChange(U32 attribute, const void* key) override {
    ++told;
    if (next != nullptr) next->tell(attribute, key);
  }
  const Observers* next = nullptr;
  U64 told = 0;
};
struct ChainByHand {
  explicit ChainByHand(U32 length) {
    for (U32 i = 0; i < length; ++i) {
      auto* const relay = new RelayObserver;
      keep.emplace_back(relay);
      relay->owner = owner.get();
      subjects.push_back(std::make_unique<Observers>());
      subjects.back()->list.push_back(relay);
      if (i > 0) relays.back()->next = subjects.back().get();
      relays.push_back(relay);
    }
  }
  Held owner = new Counted;
  std::vector<Held> keep = {};
  std::vector<std::unique_ptr<Observers>> subjects = {};
  std::vector<RelayObserver*> relays = {};
};

// A reactor put on the list of an entity that has seven others, and taken off it.
void registers(benchmark::State& state) {
  const Observed scene(7);
  const auto reactor = Velo::make<Counts>(scene.subject.get(), scene.machine.get());
  for (auto _ : state) {
    reactor->isRegisteredNotifieeIs(false);
    benchmark::ClobberMemory();
    reactor->isRegisteredNotifieeIs(true);
    benchmark::ClobberMemory();
  }
}
void connects(benchmark::State& state) {
  Signalled scene(7);
  U64 told = 0;
  for (auto _ : state) {
    const boost::signals2::connection connection =
        scene.signal.connect([&told](U32 /*attribute*/, const void* /*key*/) { ++told; });
    benchmark::ClobberMemory();
    connection.disconnect();
    benchmark::ClobberMemory();
  }
}

const RowsOf rows(
    [](std::vector<Row>& to) {
      constexpr U32 counts[] = {1, 8, 64};
      for (const U32 count : counts) {
        to.push_back({"notify." + std::to_string(count), ours(count), "safe loop", byHand(count),
                      count == 1 ? 1.6 : 1.15});
      }
      for (const U32 count : counts) {
        to.push_back({"notify.table." + std::to_string(count), oursByTable(count), "safe loop",
                      byHand(count)});
      }
      for (const U32 count : counts) {
        to.push_back(
            {"notify.bare." + std::to_string(count), ours(count), "bare loop", bare(count)});
      }
      to.push_back(
          {"notify.nested.30",
           tells<Chain>(30, [](const Chain& chain) { chain.subjects.front()->tell(); }),
           "safe loop, nested",
           tells<ChainByHand>(
               30, [](const ChainByHand& chain) { chain.subjects.front()->tell(1, nullptr); }),
           1.3});
      for (const U32 count : counts) {
        to.push_back({"notify.signals." + std::to_string(count), ours(count), "boost::signals2",
                      signals(count), 0.1});
      }
      to.push_back({"notify.register", registers, "boost::signals2", connects, 0.05});
    },
    50);

}  // namespace
}  // namespace Bench
