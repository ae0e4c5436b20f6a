#include "host/Following.h"

#include <algorithm>
#include <utility>

#include "host/HandOver.h"
#include "host/RunFiles.h"

namespace Fabrion::Host {

namespace {

bool saysNothing(const SwitchOutputs& outputs) {
  const auto empty = [](const auto& entry) { return entry.second.empty(); };
  return outputs.vlans.empty() && outputs.nativeVlan.empty() &&
         std::all_of(outputs.allowedVlans.begin(), outputs.allowedVlans.end(), empty) &&
         std::all_of(outputs.vteps.begin(), outputs.vteps.end(), empty);
}

}  // namespace

Following::Following(const Velo::VeloModule& module, Options options)
    : module_(module),
      options_(std::move(options)),
      controller_(std::make_unique<Controller>(module)),
      journalPath_(options_.record) {
  if (journalPath_) journal_ = std::make_unique<JournalFile>(*journalPath_);
}

void Following::start(const Fabric& first, const AfterEach& after) {
  applyAll(change_.to(first), *controller_, journal_.get(), after);
  standing_ = standingNow();
}

FollowedEdit Following::follow(const Fabric& next, const Derived& fresh, const AfterEach& after) {
  FollowedEdit edit;
  try {
    applyAll(change_.to(next), *controller_, journal_.get(), after);
  } catch (const OperationFailed& failed) {
    edit.failure = failed.what();
  }
  Derived now = standingNow();
  edit.leftovers = differencesOf(fresh.outputs, now.outputs);
  if (!edit.failure.empty() || (options_.heal && !edit.leftovers.empty())) {
    rebuild(next, fresh, after);
    edit.rebuilt = true;
    now = standingNow();
  }
  edit.plan = planOf(standing_, now);
  standing_ = std::move(now);
  return edit;
}

void Following::rebuild(const Fabric& next, const Derived& fresh, const AfterEach& after) {
  auto controller = std::make_unique<Controller>(module_);
  std::optional<std::string> path;
  std::unique_ptr<JournalFile> journal;
  if (journal_) {
    path = nextJournal();
    journal = std::make_unique<JournalFile>(*path);
  }
  FabricChange change;
  const Rebuilding anew =
      handedOver(change.to(next), next, commonOf(fresh.outputs, outputsOf(*controller_)));
  applyAll(anew.outputs, *controller, journal.get());
  if (handOver_) handOver_(*controller);
  applyAll(anew.rest, *controller, journal.get(), after);
  journal_ = std::move(journal);
  journalPath_ = std::move(path);
  change_ = std::move(change);
  // The old one ends here, and with it its mappings in outputs that nobody follows any more.
  controller_ = std::move(controller);
}

std::string Following::nextJournal() {
  std::string path;
  do {
    path = *options_.record + "." + std::to_string(++journals_);
  } while (isOneOf(path, options_.keptFiles));
  return path;
}

Derived Following::standingNow() const {
  Derived now{reportOf(fabric(), *controller_), outputsOf(*controller_)};
  std::erase_if(now.outputs, [this](const auto& one) {
    return saysNothing(one.second) &&
           std::none_of(fabric().switches.begin(), fabric().switches.end(),
                        [&one](const Node& node) { return node.name == one.first; });
  });
  return now;
}

}  // namespace Fabrion::Host
