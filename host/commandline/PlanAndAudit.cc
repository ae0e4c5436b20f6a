// Commands that compare: documents with documents, documents with what switches have.

#include <iostream>
#include <memory>

#include "host/AuditCommand.h"
#include "host/FabricText.h"
#include "host/PlanCommand.h"
#include "host/commandline/Commands.h"

namespace Fabrion::Host {

namespace {

// The two fabrics, named by `words` or by options. Raises CLI::ValidationError.
void readSides(const std::vector<std::string>& words, PlanOptions& options) {
  const bool old = !options.oldDocuments.empty();
  const bool next = !options.newDocuments.empty();
  std::string wrong;
  if (!words.empty() && (old || next)) {
    wrong = shown(words.front()) + " beside " + (old ? "--old" : "--new");
  } else if (words.size() > 2) {
    wrong = shown(words[2]) + " follows NEW";
  } else if (words.size() == 1) {
    wrong = "OLD without NEW";
  } else if (old != next) {
    wrong = old ? "--old without --new" : "--new without --old";
  } else if (words.empty() && !old) {
    wrong = "OLD and NEW are missing";
  }
  if (!wrong.empty()) {
    throw CLI::ValidationError(wrong + "; expected OLD NEW, or --old FILE... --new FILE...");
  }
  if (words.empty()) return;
  options.oldDocuments = {words.front()};
  options.newDocuments = {words.back()};
}

}  // namespace

void addPlan(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("plan", "Show what a change of fabric documents would do");
  const auto options = std::make_shared<PlanOptions>();
  const auto both = std::make_shared<std::vector<std::string>>();
  const auto format = std::make_shared<std::string>();
  command->add_option("documents", *both, "The fabric before and after the change, a file each")
      ->type_name("OLD NEW");
  command->add_option("--old", options->oldDocuments, "Files that make up the fabric before")
      ->type_name("FILE");
  command->add_option("--new", options->newDocuments, "Files that make up the fabric after")
      ->type_name("FILE");
  addFormat(*command, *format, "the plan");
  session.help(
      *command,
      {{done("Nothing would change."),
        notDone(),
        {3, "Something would change."},
        {4, "Something would change, and a conflict would appear."}},
       {{"What requests do to a fabric that had none, several files a side; exit status 3:",
         "fabrion plan --old examples/lldp/topology.yaml "
         "--new examples/lldp/topology.yaml examples/lldp/requests.yaml"},
        {"An edit, before it is kept; exit status 3:",
         "sed 's/20-22/20-23/' examples/two-switches.yaml > next.yaml; "
         "fabrion plan examples/two-switches.yaml next.yaml"}}});
  command->callback([&session, options, both, format] {
    readSides(*both, *options);
    options->format = reportFormat(*format);
    session.is(options, plan);
  });
}

void addAudit(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("audit", "Hold outputs against what fabric documents ask for");
  const auto options = std::make_shared<AuditOptions>();
  const auto format = std::make_shared<std::string>();
  addDocuments(*command, options->documents);
  command
      ->add_option("--against", options->against,
                   "What the switches have, as `run --outputs` or a dump writes it; - for the "
                   "standard input")
      ->capture_default_str()
      ->type_name("FILE");
  addFormat(*command, *format, "the report");
  session.help(*command,
               {{done("No differences."), notDone(), {3, "Differences."}},
                {{"Keep what the switches get now:",
                  "fabrion run --outputs now.json examples/two-switches.yaml"},
                 {"Later, tell what differs by then; exit status 0, as here nothing does:",
                  "fabrion audit --against now.json examples/two-switches.yaml"}}});
  command->callback([&session, options, format] {
    options->format = reportFormat(*format);
    session.is(options, audit);
  });
}

}  // namespace Fabrion::Host
