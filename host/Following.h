#pragma once
// A controller that follows a fabric from edit to edit, and knows what the edits leave behind:
// after each its outputs are held against those of a fresh derivation. WatchCommand.h feeds it the
// documents that people edit.
//
// It can heal. Then each edit is rehearsed: a second controller, which got the same operations as
// the running one and so is in the same state, gets those of the edit first. Where they fail, leave
// something behind, or take away an output that stays, if only for a moment, the running controller
// does not see them. Another one is built beside it, takes over its outputs when it is done, and
// the rehearsal is built anew too. An output that stands before an edit and after it so stands all
// the time.

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
  // From the fresh derivation to what the edit's operations make of the old state: what is `added`
  // stands and should not, what is `removed` is missing.
  std::vector<OutputDifference> leftovers;
  // How many outputs that stay the edit's operations take away, if only for a moment. Known where
  // edits are rehearsed, else 0.
  std::size_t interrupted = 0;
  // Whether a switch or host is cabled to itself, before the edit or after it. What its ports have
  // comes back to them then, and to take that back step by step is a fault to the machines. So no
  // operations of the edit ran, and the controller was built anew.
  bool cabledToItself = false;
  // Why the operations ended before the last one; empty if they did not. Nobody knows what stands
  // half done then, so the controller was built anew.
  std::string failure;
  // Whether the controller was built anew. If edits are rehearsed its predecessor did nothing of
  // the edit.
  bool rebuilt = false;
};

class Following {
 public:
  struct Options {
    // Rehearse edits, and build the controller anew instead of what would leave something behind
    // or interrupt an output. A second controller stands for it from the first edit on.
    bool heal = false;
    // Where the journal of the operations goes; nothing for none.
    std::optional<std::string> record = {};
    // That no journal overwrites, whether or not they are there. The first one excepted, it
    // overwrites no file at all.
    std::vector<std::string> keptFiles = {};
  };

  // Runs work that takes its time, and may listen to how far it is.
  using Work = std::function<void(const AfterEach&)>;
  using Stage = std::function<void(const Work&)>;
  static void plainly(const Work& work) { work({}); }

  // Is given a controller that was built anew and whose outputs are whole: whoever follows the
  // outputs turns to these now. The old controller has not ended, and did nothing meanwhile.
  using HandOver = std::function<void(const Controller&)>;

  // `module` outlives it. Raises JournalFileError.
  Following(const Velo::VeloModule& module, Options options);

  void onHandOver(HandOver f) { handOver_ = std::move(f); }

  // The first fabric. Raises OperationFailed and JournalFileError.
  void start(const Fabric& first, const Stage& running = plainly);

  // The next one. `fresh` is what derive() makes of it; that it could be derived is what makes it
  // worth applying. What the running controller does, all of it and nothing else, is one stage;
  // what the rehearsal does another. Raises JournalFileError, and OperationFailed if the controller
  // cannot be built anew; the old one stands then and follows nothing more. O(size of both fabrics
  // and of the outputs).
  FollowedEdit follow(const Fabric& next, const Derived& fresh, const Stage& running = plainly,
                      const Stage& rehearsing = plainly);

  const Fabric& fabric() const { return change_.current(); }
  // What stands. A switch that has left the fabric stands there only with what it left behind.
  const Derived& standing() const { return standing_; }
  const Controller& controller() const { return *controller_; }
  // Where the journal goes on now; nothing for none.
  const std::optional<std::string>& journal() const { return journalPath_; }

 private:
  // All three tell in the edit what comes of it.
  void rehearse(const std::vector<Operation>& operations, const Derived& fresh, FollowedEdit& edit,
                const AfterEach& after);
  void apply(const std::vector<Operation>& operations, const Derived& fresh, FollowedEdit& edit,
             const AfterEach& after);
  void rebuild(const Fabric& next, const Derived& fresh, FollowedEdit& edit,
               const AfterEach& after);
  bool needsRebuilding(const FollowedEdit& edit) const;

  std::string nextJournal();
  FabricOutputs outputsIn(const Controller& controller) const;
  Derived standingNow() const;

  const Velo::VeloModule& module_;
  const Options options_;
  HandOver handOver_;
  std::unique_ptr<Controller> controller_;
  // In the state of the running one. Made when it is first needed, from what that one began with.
  std::unique_ptr<Controller> rehearsal_;
  std::vector<Operation> beginning_;  // while there is no rehearsal and one may be needed
  FabricChange change_;
  std::optional<std::string> journalPath_;
  std::unique_ptr<JournalFile> journal_;
  U32 journals_ = 0;  // begun beside the first
  Derived standing_;
};

}  // namespace Fabrion::Host
