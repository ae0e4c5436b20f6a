#include "host/WatchCommand.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "host/Counted.h"
#include "host/DifferenceText.h"
#include "host/FabricDocument.h"
#include "host/Following.h"
#include "host/PlanReport.h"
#include "host/Progress.h"
#include "host/ReportJson.h"
#include "host/ReportText.h"
#include "host/RunFiles.h"
#include "host/Say.h"
#include "host/TextTrace.h"

namespace Fabrion::Host {

namespace {

using Json = nlohmann::json;
using Leftovers = std::set<OutputDifference>;

// Files that a journal which is begun later must leave alone.
std::vector<std::string> keptFiles(const RunOptions& options) {
  std::vector<std::string> files = options.documents;
  if (options.outputs) files.push_back(*options.outputs);
  return files;
}

class Watching {
 public:
  Watching(const RunOptions& options, std::ostream& out, std::ostream& err,
           const Velo::VeloModule& module)
      : options_(options),
        out_(out),
        err_(err),
        module_(module),
        following_(module, {options.heal, options.record, keptFiles(options)}) {}

  void start(const Fabric& first) {
    following_.start(first, running_);
    const Report& report = following_.standing().report;
    write(json() ? jsonOf(report).dump() + '\n' : textOf(report));
    writeOutputFile();
    std::string names;
    for (const std::string& file : options_.documents) names += (names.empty() ? "" : ", ") + file;
    say("watching " + names + "; Ctrl-C or SIGTERM ends it");
  }

  // Looks at the documents again.
  void look() {
    const bool wereGone = !gone_.empty();
    if (someAreGone()) return;
    FabricOrProblems read = [&] {
      Progress progress(err_, options_.terminal);
      return readFabric(options_.documents, progress.of("Reading", "documents"));
    }();
    if (auto* const problems = std::get_if<std::vector<Problem>>(&read)) {
      tell(std::move(*problems), "the documents have mistakes; what runs stays as it is");
      return;
    }
    const bool hadProblems = !std::exchange(told_, {}).empty();
    const Fabric& next = std::get<Fabric>(read);
    if (next == following_.fabric()) {
      if (hadProblems || wereGone) say("the documents are right again, and say what runs");
      return;
    }
    for (const Problem& warning : read.warnings) err_ << toString(warning) + '\n' << std::flush;
    follow(next);
  }

  bool written() const { return static_cast<bool>(out_); }

  Outcome end() {
    say("ended after " + counted(edits_, "edit", "edits") + "; " + std::to_string(leaving_) +
        " left something behind, " + std::to_string(rebuilt_) + " had the controller built anew");
    if (!options_.strict) return Outcome::done;
    return following_.standing().report.noConflicts() ? Outcome::done : Outcome::conflict;
  }

 private:
  bool json() const { return options_.format == ReportFormat::json; }

  void say(const std::string& words) { Host::say(err_, words); }

  void write(const std::string& text) { out_ << text << std::flush; }

  // The trace is on what the running controller does, and neither on fresh derivations nor on
  // rehearsals.
  void run(const Following::Work& work) {
    std::optional<TextTrace> trace;
    if (options_.traceLevel) trace.emplace(err_, *options_.traceLevel);
    Progress progress(err_, options_.terminal.progress && !trace, options_.terminal.patience);
    work(progress.of("Applying"));
  }

  void rehearse(const Following::Work& work) {
    Progress progress(err_, options_.terminal);
    work(progress.of("Rehearsing"));
  }

  void writeOutputFile() {
    if (options_.outputs) writeOutputs(*options_.outputs, following_.standing().outputs);
  }

  // Tells mistakes once, however often the files are looked at.
  void tell(std::vector<Problem> problems, const char* consequence) {
    if (problems == told_) return;
    for (const Problem& problem : problems) err_ << toString(problem) + '\n';
    told_ = std::move(problems);
    say(consequence);
  }

  bool someAreGone() {
    std::set<std::string> gone;
    for (const std::string& file : options_.documents) {
      if (access(file.c_str(), F_OK) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        gone.insert(file);
      }
    }
    for (const std::string& file : gone) {
      if (!gone_.contains(file)) say(file + " is gone; what runs stays as it is until it is back");
    }
    gone_ = std::move(gone);
    return !gone_.empty();
  }

  void follow(const Fabric& next) {
    std::optional<Derived> fresh;
    try {
      Progress progress(err_, options_.terminal);
      fresh = derive(next, module_, progress.of("Looking ahead"));
    } catch (const OperationFailed& failed) {
      say(failed.what() + std::string("; what runs stays as it is"));
      return;
    }
    const FollowedEdit edit = following_.follow(next, *fresh, running_, rehearsing_);
    ++edits_;
    leaving_ += leavesMore(edit) ? 1 : 0;
    rebuilt_ += edit.rebuilt ? 1 : 0;
    if (!edit.failure.empty()) say(edit.failure);
    write(json() ? lineOf(edit) : textOfEdit(edit));
    writeOutputFile();
  }

  // Whether the edit leaves something behind that an earlier one did not: what stands is told of
  // each edit, but left behind by one.
  bool leavesMore(const FollowedEdit& edit) {
    const Leftovers found(edit.leftovers.begin(), edit.leftovers.end());
    const Leftovers stood = std::exchange(left_, edit.rebuilt ? Leftovers() : found);
    return !std::includes(stood.begin(), stood.end(), found.begin(), found.end());
  }

  std::string textOfEdit(const FollowedEdit& edit) const {
    const bool colours = options_.terminal.colours;
    std::string text =
        "\nEdit " + std::to_string(edits_) + "\n\n" + textOf(edit.plan, PlanTense::was, colours);
    if (!edit.leftovers.empty()) {
      DifferenceWords words;
      words.colours = colours;
      // After a rehearsal nothing of it stands.
      text += options_.heal ? "\nWould be left behind: + should not stand, - would be missing, ~ "
                              "would have the wrong value.\n\n"
                            : "\nLeft behind: + stands and should not, - is missing, ~ has the "
                              "wrong value.\n\n";
      text += textOf(edit.leftovers, words);
    }
    if (!edit.rebuilt) return text;
    text += "\n" + whyRebuilt(edit);
    if (following_.journal()) text += "The journal goes on in " + *following_.journal() + ".\n";
    return text;
  }

  static std::string whyRebuilt(const FollowedEdit& edit) {
    if (edit.cabledToItself) {
      return "A switch or host is cabled to itself, so the controller was built anew.\n";
    }
    std::string text;
    if (edit.interrupted > 0) {
      text = counted(edit.interrupted, "output that stays", "outputs that stay") +
             " would have been missing for a moment";
      if (edit.leftovers.empty()) return text + ", so the controller was built anew.\n";
      text += ".\n";
    }
    return text + "The controller was built anew, so nothing is left behind.\n";
  }

  std::string lineOf(const FollowedEdit& edit) const {
    Json line = jsonOf(edit.plan);
    line["edit"] = edits_;
    line["leftovers"] = jsonOf(edit.leftovers);
    line["rebuilt"] = edit.rebuilt;
    if (edit.cabledToItself) line["cabledToItself"] = true;
    if (options_.heal) line["interrupted"] = edit.interrupted;
    if (edit.rebuilt && following_.journal()) line["journal"] = *following_.journal();
    // The journal's name may hold any bytes.
    return line.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
  }

  const RunOptions& options_;
  std::ostream& out_;
  std::ostream& err_;
  const Velo::VeloModule& module_;
  Following following_;
  const Following::Stage running_ = [this](const Following::Work& work) { run(work); };
  const Following::Stage rehearsing_ = [this](const Following::Work& work) { rehearse(work); };
  Leftovers left_;             // what the last edit told of and what still stands so
  std::vector<Problem> told_;  // the mistakes that stand
  std::set<std::string> gone_;
  std::size_t edits_ = 0;
  std::size_t leaving_ = 0;  // edits that left something behind
  std::size_t rebuilt_ = 0;
};

}  // namespace

Outcome watch(const RunOptions& options, const Fabric& first, FileWatch& files, std::ostream& out,
              std::ostream& err, const Velo::VeloModule& module) {
  Watching watching(options, out, err, module);
  watching.start(first);
  while (watching.written()) {
    if (files.wait() == FileWatch::Event::stopped) return watching.end();
    watching.look();
  }
  err << "fabrion: the report cannot be written\n" << std::flush;
  return Outcome::mistake;
}

}  // namespace Fabrion::Host
