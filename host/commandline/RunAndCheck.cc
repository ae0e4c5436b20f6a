// Commands that read fabric documents and say what they make of them.

#include <iostream>
#include <memory>

#include "host/CheckCommand.h"
#include "host/RunCommand.h"
#include "host/commandline/Commands.h"

namespace Fabrion::Host {

void addRun(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("run", "Apply fabric documents and report what each switch gets");
  const auto options = std::make_shared<RunOptions>();
  const auto format = std::make_shared<std::string>();
  addDocuments(*command, options->documents);
  addFormat(*command, *format, "the report");
  command->add_flag("--strict", options->strict, "Exit status 1 if a conflict stands");
  addTrace(*command, options->traceLevel);
  command->add_option("--record", options->record, "Write what is done as an event journal")
      ->type_name("FILE");
  command->add_option("--outputs", options->outputs, "Write the outputs of the switches as JSON")
      ->type_name("FILE");
  CLI::Option* const watch =
      command->add_flag("--watch", options->watch,
                        "Follow the documents and show what each edit changes, until Ctrl-C or "
                        "SIGTERM");
  command
      ->add_flag("--heal", options->heal,
                 "Rehearse each edit, and build the controller anew where it would leave "
                 "something behind or take an output away that stays")
      ->needs(watch);
  session.help(*command,
               {{done("Done; with --strict, no conflict stands either."),
                 {1, "With --strict alone: a conflict stands. The report is whole."},
                 notDone()},
                {{"What each switch gets, as tables:", "fabrion run examples/two-switches.yaml"},
                 {"Follow a document while it is edited, until Ctrl-C:",
                  "fabrion run --watch examples/two-switches.yaml"}}});
  command->callback([&session, options, format] {
    options->format = reportFormat(*format);
    session.is(options, run);
  });
}

void addCheck(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("check", "Look for mistakes in fabric documents");
  const auto files = std::make_shared<std::vector<std::string>>();
  addDocuments(*command, *files);
  session.help(*command, {{done("No mistakes."), {2, "Mistakes; the standard error lists them."}},
                          {{"Two documents that make up one fabric:",
                            "fabrion check examples/lldp/topology.yaml "
                            "examples/lldp/requests.yaml"}}});
  command->callback([&session, files] {
    session.is([&session, files] { return check(*files, std::cout, std::cerr, session.terminal); });
  });
}

}  // namespace Fabrion::Host
