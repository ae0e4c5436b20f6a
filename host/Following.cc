#include "host/Following.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/HandOver.h"
#include "host/Interruptions.h"
#include "host/RunFiles.h"

namespace Fabrion::Host {

namespace {

bool saysNothing(const SwitchOutputs& outputs) {
  const auto empty = [](const auto& entry) { return entry.second.empty(); };
  return outputs.vlans.empty() && outputs.nativeVlan.empty() &&
         std::all_of(outputs.allowedVlans.begin(), outputs.allowedVlans.end(), empty) &&
         std::all_of(outputs.vteps.begin(), outputs.vteps.end(), empty);
}

bool isCabledToItself(const Fabric& fabric) {
  return std::any_of(fabric.links.begin(), fabric.links.end(),
                     [](const Link& link) { return link.a.node == link.b.node; });
}

}  // namespace

Following::Following(const Velo::VeloModule& module, Options options)
    : module_(module),
      options_(std::move(options)),
      controller_(std::make_unique<Controller>(module)),
      journalPath_(options_.record) {
  if (journalPath_) journal_ = std::make_unique<JournalFile>(*journalPath_);
}

void Following::start(const Fabric& first, const Stage& running) {
  std::vector<Operation> operations = change_.to(first);
  running(
      [&](const AfterEach& after) { applyAll(operations, *controller_, journal_.get(), after); });
  if (options_.heal) beginning_ = std::move(operations);
  standing_ = standingNow();
}

FollowedEdit Following::follow(const Fabric& next, const Derived& fresh, const Stage& running,
                               const Stage& rehearsing) {
  FollowedEdit edit;
  edit.cabledToItself = isCabledToItself(fabric()) || isCabledToItself(next);
  const std::vector<Operation> operations = change_.to(next);
  if (options_.heal && !edit.cabledToItself) {
    rehearsing([&](const AfterEach& after) { rehearse(operations, fresh, edit, after); });
    // It has done what the running one will not do.
    if (needsRebuilding(edit)) rehearsal_.reset();
  }
  running([&](const AfterEach& after) {
    if (!needsRebuilding(edit)) apply(operations, fresh, edit, after);
    if (needsRebuilding(edit)) rebuild(next, fresh, edit, after);
  });
  if (edit.rebuilt) rehearsal_.reset();
  Derived now = standingNow();
  edit.plan = planOf(standing_, now);
  standing_ = std::move(now);
  return edit;
}

void Following::rehearse(const std::vector<Operation>& operations, const Derived& fresh,
                         FollowedEdit& edit, const AfterEach& after) {
  try {
    if (!rehearsal_) {
      rehearsal_ = std::make_unique<Controller>(module_);
      applyAll(std::exchange(beginning_, {}), *rehearsal_, nullptr, after);
    }
    const Interruptions interruptions(*rehearsal_, commonOf(fresh.outputs, standing_.outputs));
    applyAll(operations, *rehearsal_, nullptr, after);
    edit.interrupted = interruptions.count();
    edit.leftovers = differencesOf(fresh.outputs, outputsIn(*rehearsal_));
  } catch (const OperationFailed& failed) {
    edit.failure = failed.what();
  }
}

void Following::apply(const std::vector<Operation>& operations, const Derived& fresh,
                      FollowedEdit& edit, const AfterEach& after) {
  try {
    applyAll(operations, *controller_, journal_.get(), after);
  } catch (const OperationFailed& failed) {
    edit.failure = failed.what();
  }
  edit.leftovers = differencesOf(fresh.outputs, outputsIn(*controller_));
}

bool Following::needsRebuilding(const FollowedEdit& edit) const {
  return edit.cabledToItself || !edit.failure.empty() ||
         (options_.heal && (!edit.leftovers.empty() || edit.interrupted > 0));
}

void Following::rebuild(const Fabric& next, const Derived& fresh, FollowedEdit& edit,
                        const AfterEach& after) {
  auto controller = std::make_unique<Controller>(module_);
  std::optional<std::string> path;
  std::unique_ptr<JournalFile> journal;
  if (journal_) {
    path = nextJournal();
    journal = std::make_unique<JournalFile>(*path);
  }
  FabricChange change;
  Rebuilding anew =
      handedOver(change.to(next), next, commonOf(fresh.outputs, outputsOf(*controller_)));
  applyAll(anew.outputs, *controller, journal.get());
  applyAll(anew.rest, *controller, journal.get(), after);
  // Not before: on its way the new one may still take away and bring back what stays.
  if (handOver_) handOver_(*controller);
  journal_ = std::move(journal);
  journalPath_ = std::move(path);
  change_ = std::move(change);
  if (options_.heal) {
    beginning_ = std::move(anew.outputs);
    std::move(anew.rest.begin(), anew.rest.end(), std::back_inserter(beginning_));
  }
  // The old one ends here, and with it its mappings in outputs that nobody follows any more.
  controller_ = std::move(controller);
  edit.rebuilt = true;
}

std::string Following::nextJournal() {
  std::string path;
  do {
    path = *options_.record + "." + std::to_string(++journals_);
  } while (isThere(path) || isOneOf(path, options_.keptFiles));
  return path;
}

FabricOutputs Following::outputsIn(const Controller& controller) const {
  FabricOutputs outputs = outputsOf(controller);
  std::erase_if(outputs, [this](const auto& one) {
    return saysNothing(one.second) &&
           std::none_of(fabric().switches.begin(), fabric().switches.end(),
                        [&one](const Node& node) { return node.name == one.first; });
  });
  return outputs;
}

Derived Following::standingNow() const {
  return {reportOf(fabric(), *controller_), outputsIn(*controller_)};
}

}  // namespace Fabrion::Host
