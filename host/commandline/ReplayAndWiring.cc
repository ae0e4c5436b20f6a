// Commands for those who look into the machines.

#include <memory>

#include "host/Replay.h"
#include "host/Wiring.h"
#include "host/commandline/Commands.h"

namespace Fabrion::Host {

void addReplay(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("replay", "Run an event journal and write its dumps");
  const auto options = std::make_shared<ReplayOptions>();
  command->add_option("journal", options->journal, "File, or - for the standard input")
      ->required()
      ->type_name("JOURNAL");
  addTrace(*command, options->traceLevel);
  session.help(
      *command,
      {{{static_cast<int>(ExitStatus::success), "Done, also where an operation was refused."},
        {static_cast<int>(ExitStatus::failure),
         "The journal, the module or a stream does not work; the standard error says which."},
        {static_cast<int>(ExitStatus::badJournal),
         "A line of the journal, or an option, is wrong."}},
       {{"The state wherever the journal asks for it:", "fabrion replay examples/one-port.journal"},
        {"Record what a run does, and run that again with a trace:",
         "fabrion run --record run.journal examples/two-switches.yaml; "
         "fabrion replay --trace 3 run.journal"}}});
  command->callback([&session, options] {
    options->terminal = session.terminal;
    session.command = [&session, options] {
      return static_cast<int>(replay(*options, session.module()));
    };
  });
}

void addWiring(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("wiring", "Show what each machine follows and does about it");
  const auto format = std::make_shared<std::string>();
  addFormat(*command, *format, "the output; dot is for Graphviz", {"text", "dot"});
  session.help(*command,
               {{done(), notDone()},
                {{"The tables by which the machines run:", "fabrion wiring"},
                 {"A graph for `dot -Tsvg`:", "fabrion wiring --format dot > wiring.dot"}}});
  command->callback([&session, format] {
    session.is([&session, format] {
      const Velo::VeloModule& module = session.module();
      return write(*format == "dot" ? wiringDot(module) : wiringText(module), "the wiring");
    });
  });
}

}  // namespace Fabrion::Host
