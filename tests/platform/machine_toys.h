#pragma once
// Toy machines that are set up while they run, in the houses of reactor_toys.h:
//
//   GuestSm     has a reactor that is pointed from house to house, and cleans up at its end
//   LandlordSm  owns machines: one GuestSm, and a RoomSm for each room that it is told of

#include "tests/platform/reactor_toys.h"

namespace Toys {

class GuestSm : public Velo::Machine<GuestSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord();
  static constexpr bool cleansUpAtEnd = true;

  explicit GuestSm(const Nimbo::String& name) : name_(name) {}
  ~GuestSm() override { theLog("~GuestSm"); }
  bool isFor(const Nimbo::String& name) const { return name_ == name; }

  class VeloVisit : public Velo::Reactor<VeloVisit, GuestSm, House> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<House::streetAttribute>(call<&GuestSm::handleStreet>("handleStreet")),
          on<House::roomAttribute>(follow<&GuestSm::room_>("room")),
          cleanup<&VeloVisit::doCleanup>("doCleanup"),
      };
      return rows;
    }
    void doCleanup() {
      theLog(std::string("visit cleanup") + (ownerBase() == nullptr ? " alone" : ""));
    }
  };
  class VeloRoom : public Velo::Reactor<VeloRoom, GuestSm, Room> {
   public:
    static std::span<const Velo::Reaction> reactions() {
      static constexpr Velo::Reaction rows[] = {
          on<Room::colourAttribute>(call<&GuestSm::handleColour>("handleColour")),
          cleanup<&VeloRoom::doCleanup>("doCleanup"),
      };
      return rows;
    }
    void doCleanup() {
      theLog(text(notifier()->name()) + " left" + (ownerBase() == nullptr ? " alone" : ""));
    }
  };

  void handleStreet() { theLog("guest street"); }
  void handleColour() { theLog("guest colour"); }
  void handleVisit() {
    theLog(house() ? "visits " + text(house()->street()) : std::string("visits nobody"));
  }
  void handleTwo(const Nimbo::String& name, U32 number) {
    theLog("two " + text(name) + " " + std::to_string(number));
  }
  void handleEach() { theLog("each"); }
  void handleOne(const Nimbo::String& name) { theLog("one " + text(name)); }
  bool knows(const Nimbo::String& name) const { return veloRoom(name) != nullptr; }
  void doCleanup() { theLog("guest cleanup with " + std::to_string(veloRoom().size()) + " rooms"); }

  VELO_SETTABLE_REACTOR(VeloVisit, house, GuestSm::handleVisit)
  VELO_REACTORS(VeloRoom, room, veloRoom)

 private:
  const Nimbo::String name_;
};

struct GuestSm::Tables {
  using Row = Velo::TypeImpl<GuestSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::argument<&GuestSm::name_>("name"),
      Row::settableReactor<&GuestSm::house_, &GuestSm::houseIs, &GuestSm::houseDel>("house"),
      Row::reactors<&GuestSm::room_>("room"),
      Row::handler<&GuestSm::handleTwo>("handleTwo", {"name", "number"}),
      Row::handlerWithBareForm<&GuestSm::handleOne, &GuestSm::handleEach>("handleEach", {"name"}),
      Row::constFunction<&GuestSm::knows>("knows", {"name"}),
  };
};

inline const Velo::TypeRecord guestSmType{
    "Toys::GuestSm", GuestSm::Tables::attributes,
    &Velo::TypeImpl<GuestSm>::genericIfConstructFromCtorArgs<Nimbo::String>, 1};
inline const Velo::TypeRecord& GuestSm::veloTypeRecord() { return guestSmType; }

class RoomSm : public Velo::Machine<RoomSm> {
 public:
  static const Velo::TypeRecord& veloTypeRecord();

  RoomSm(const Nimbo::String& name, const Velo::Ptr<Room>& room) : name_(name), room_(room) {}
  ~RoomSm() override { theLog("~RoomSm " + text(name_)); }
  bool isFor(const Nimbo::String& name, const Velo::Ptr<Room>& room) const {
    return name_ == name && room_ == room;
  }

 private:
  const Nimbo::String name_;
  const Velo::Ptr<Room> room_;
};

inline const Velo::TypeRecord roomSmType{"Toys::RoomSm"};
inline const Velo::TypeRecord& RoomSm::veloTypeRecord() { return roomSmType; }

class LandlordSm : public Velo::Machine<LandlordSm> {
 public:
  struct Tables;
  static const Velo::TypeRecord& veloTypeRecord();

  ~LandlordSm() override { theLog("~LandlordSm"); }

  VELO_OWNED_MACHINE(GuestSm, guestSm)
  VELO_OWNED_MACHINES(RoomSm, roomSm)
};

struct LandlordSm::Tables {
  using Row = Velo::TypeImpl<LandlordSm>;
  static constexpr Velo::AttributeRecord attributes[] = {
      Row::ownedMachine<&LandlordSm::guestSm_>("guestSm"),
      Row::ownedMachines<&LandlordSm::roomSm_>("roomSm"),
  };
};

inline const Velo::TypeRecord landlordSmType{"Toys::LandlordSm", LandlordSm::Tables::attributes};
inline const Velo::TypeRecord& LandlordSm::veloTypeRecord() { return landlordSmType; }

}  // namespace Toys
