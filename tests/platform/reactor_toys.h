#pragma once
// Toy entities and machines for the tests of the runtime: a House holds Rooms, a Room holds Lamps.
//
//   Watcher     a bare notifiee
//   HouseSm     follows a house: a reactor for each room and, in it, a reactor for each lamp
//
// What happens is written to a log, and tests hang actions on the lines that they want to disturb.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/Velo/Entity.h"
#include "platform/Velo/TypeImpl.h"

namespace Toys {

class Lamp : public Velo::Entity {
  VELO_ENTITY(Lamp, "Toys::Lamp")
  VELO_KEY(U32, number)
  VELO_VALUE(bool, lit)

 public:
  explicit Lamp(U32 number) : number_(number) {}
};

class Room : public Velo::Entity {
  VELO_ENTITY(Room, "Toys::Room")
  VELO_KEY(Nimbo::String, name)
  VELO_VALUE(Nimbo::String, colour)
  VELO_CHILDREN(U32, Lamp, lamp)

 public:
  explicit Room(Nimbo::String name) : name_(std::move(name)) {}
};

// An attribute of each of the other kinds.
class Cupboard : public Velo::Entity {
  VELO_ENTITY(Cupboard, "Toys::Cupboard")
  VELO_POINTER(Room, room)
  VELO_MAP(Nimbo::String, bool, open)
  VELO_NAMES(referrer)
};

class House : public Velo::Entity {
  VELO_ENTITY(House, "Toys::House")
  VELO_VALUE(Nimbo::String, street)
  VELO_ENTRIES(Nimbo::String, Room, room)
};

// The log, and what a test wants to happen at a line of it: once, when that line is written.
struct Log {
  std::vector<std::string> lines;
  std::map<std::string, std::function<void()>> at;

  void operator()(const std::string& line) {
    lines.push_back(line);
    const auto found = at.find(line);
    if (found == at.end()) return;
    const std::function<void()> action = std::move(found->second);
    at.erase(found);
    action();
  }
};
inline Log theLog;

inline std::string text(const Nimbo::String& s) { return std::string(s.view()); }

using Lines = std::vector<std::string>;

// A test that starts and ends with an empty log.
class ToyTest : public testing::Test {
 protected:
  ToyTest() { theLog = Log(); }
  ~ToyTest() override { theLog = Log(); }

  static Lines taken() { return std::exchange(theLog.lines, {}); }
  static Velo::Ptr<Room> room(const char* name, std::initializer_list<U32> lamps = {}) {
    auto made = Velo::make<Room>(name);
    for (const U32 lamp : lamps) made->lampIs(lamp);
    return made;
  }

  Velo::Ptr<House> house_ = Velo::make<House>();
};

class Watcher : public Velo::PtrInterface::NotifieeConst {
 public:
  explicit Watcher(std::string name) : name_(std::move(name)) {}
  ~Watcher() override { theLog("~" + name_); }

  // Registered on the entity, and active.
  static Velo::Ptr<Watcher> on(const Velo::PtrInterface& entity, std::string name) {
    auto watcher = Velo::make<Watcher>(std::move(name));
    watcher->notifierIs(&entity);
    watcher->isRegisteredNotifieeIs(true);
    watcher->hasNotificationActiveIs(true);
    return watcher;
  }
  void onAttribute(Velo::AttributeId attribute, const void* /*key*/) override {
    theLog(name_ + " " + attribute.name());
  }
  void veloDoZombieReactors(bool requested) override { veloMarkedForDeletionIs(requested); }

 private:
  std::string name_;
};

class HouseSm : public Velo::Machine<HouseSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord();

  explicit HouseSm(const Velo::Ptr<House>& house) { house_.constructorArgumentIs(house); }
  ~HouseSm() override { theLog("~HouseSm"); }

  class VeloHouse : public Velo::Reactor<VeloHouse, HouseSm, House> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<House::streetAttribute>(call<&HouseSm::handleStreet>("handleStreet")),
          on<House::roomAttribute>(follow<&HouseSm::room_>("room"),
                                   call<&HouseSm::handleRoom>("handleRoom")),
      };
      return rows;
    }
  };

  class VeloRoom : public Velo::Reactor<VeloRoom, HouseSm, Room> {
   public:
    ~VeloRoom() override { theLog("~VeloRoom"); }

    class VeloLamp : public Velo::Reactor<VeloLamp, VeloRoom, Lamp> {
     public:
      static std::span<const Velo::Reaction> reactions() {
        static constexpr Velo::Reaction rows[] = {
            built<&VeloLamp::handleInitialized>("handleInitialized"),
            on<Lamp::litAttribute>(call<&VeloLamp::handleLit>("handleLit")),
            cleanup<&VeloLamp::doCleanup>("doCleanup"),
        };
        return rows;
      }
      void handleInitialized() { theLog("lamp " + std::to_string(number()) + " initialized"); }
      void handleLit() { theLog("lamp " + std::to_string(number()) + " lit"); }
      void doCleanup() {
        theLog("lamp " + std::to_string(number()) + " cleanup" +
               (ownerBase() == nullptr ? " alone" : ""));
      }
      U32 number() const { return notifier() ? notifier()->number() : 0; }
    };

    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Room::lampAttribute>(call<&VeloRoom::handleLamp>("handleLamp"),
                                  follow<&VeloRoom::lamp_>("lamp")),
          on<Room::colourAttribute>(call<&VeloRoom::handleColour>("handleColour")),
          cleanup<&VeloRoom::handleCleanup>("handleCleanup"),
      };
      return rows;
    }
    void handleLamp(U32 number) {
      theLog(name() + " lamp " + std::to_string(number) + (veloLamp(number) ? " had" : " new"));
    }
    void handleColour() { theLog(name() + " colour"); }
    void handleCleanup() {
      theLog(name() + " cleanup with " + std::to_string(veloLamp().size()) + " lamps" +
             (hasNotificationActive() ? " active" : "") + (ownerBase() == nullptr ? " alone" : ""));
    }
    std::string name() const { return notifier() ? text(notifier()->name()) : ""; }

    VELO_REACTORS(VeloLamp, lamp, veloLamp)
  };

  void handleStreet() { theLog("street"); }
  void handleRoom(const Nimbo::String& name) {
    theLog("room " + text(name) + (veloRoom(name) ? " followed" : " gone"));
  }
  void handleInitialized() {
    theLog("initialized with " + std::to_string(veloRoom().size()) + " rooms");
  }

  VELO_REACTOR(VeloHouse, house)
  VELO_REACTORS(VeloRoom, room, veloRoom)
};

struct HouseSm::Tables {
  using Row = Velo::TypeImpl<HouseSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argumentReactor<&HouseSm::house_>("house"),
      Row::reactors<&HouseSm::room_>("room"),
      Row::handler<&HouseSm::handleStreet>("handleStreet"),
      Row::handler<&HouseSm::handleRoom>("handleRoom", {"name"}),
  };
};

inline const Velo::TypeRecord houseSmType{
    "Toys::HouseSm", HouseSm::Tables::attributes,
    &Velo::TypeImpl<HouseSm>::genericIfConstructFromCtorArgs<Velo::Ptr<House>>, 1};

inline const Velo::TypeRecord& HouseSm::veloTypeRecord() { return houseSmType; }

}  // namespace Toys
