#pragma once
// A controller that follows a fabric from edit to edit, and knows what the edits leave behind:
// after each its outputs are held against those of a fresh derivation. It can end leftovers by
// building the controller anew (HandOver.h). WatchCommand.h feeds it the documents that people
// edit.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/Controller.h"
#include "host/Derivation.h"
#include "host/Fabric.h"
#include "host/FabricChange.h"
#include "host/JournalFile.h"
#include "host/OutputDifference.h"
#include "host/Plan.h"

namespace Fabrion::Host {

// What one edit did.
struct FollowedEdit {
  // From what stood before to what stands now, all ends included.
  Plan plan;
  // From the fresh derivation to what the edit's operations made of the old state: what is `added`
  // stands and should not, what is `removed` is missing.
  std::vector<OutputDifference> leftovers;
  // Why the operations ended before the last one; empty if they did not. Nobody knows what stands
  // half done then, so the controller was built anew.
  std::string failure;
  bool rebuilt = false;
};

class Following {
 public:
  struct Options {
    bool heal = false;  // build the controller anew whenever something is left behind
    // Where the journal of the operations goes; nothing for none.
    std::optional<std::string> record = {};
    // That no journal overwrites.
    std::vector<std::string> keptFiles = {};
  };

  // Is given a controller whose outputs were just made and filled with what is right of the old
  // ones: whoever follows the outputs turns to these now. The old controller has not ended.
  using HandOver = std::function<void(const Controller&)>;

  // `module` outlives it. Raises JournalFileError.
  Following(const Velo::VeloModule& module, Options options);

  void onHandOver(HandOver f) { handOver_ = std::move(f); }

  // The first fabric. Raises OperationFailed and JournalFileError.
  void start(const Fabric& first, const AfterEach& after = {});

  // The next one. `fresh` is what derive() makes of it; that it could be derived is what makes it
  // worth applying. Raises JournalFileError, and OperationFailed if the controller cannot be built
  // anew; the old one stands then. O(size of both fabrics and of the outputs).
  FollowedEdit follow(const Fabric& next, const Derived& fresh, const AfterEach& after = {});

  const Fabric& fabric() const { return change_.current(); }
  // What stands. A switch that has left the fabric stands there only with what it left behind.
  const Derived& standing() const { return standing_; }
  const Controller& controller() const { return *controller_; }
  // Where the journal goes on now; nothing for none.
  const std::optional<std::string>& journal() const { return journalPath_; }

 private:
  void rebuild(const Fabric& next, const Derived& fresh, const AfterEach& after);
  std::string nextJournal();
  Derived standingNow() const;

  const Velo::VeloModule& module_;
  const Options options_;
  HandOver handOver_;
  std::unique_ptr<Controller> controller_;
  FabricChange change_;
  std::optional<std::string> journalPath_;
  std::unique_ptr<JournalFile> journal_;
  U32 journals_ = 0;  // begun beside the first
  Derived standing_;
};

}  // namespace Fabrion::Host
