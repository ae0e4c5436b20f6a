// Commands that put what comes out of fabric documents into another form.

#include <iostream>
#include <memory>

#include "host/DrawCommand.h"
#include "host/RenderCommand.h"
#include "host/WhyCommand.h"
#include "host/commandline/Commands.h"

namespace Fabrion::Host {

void addRender(CLI::App& app, Session& session) {
  static const std::map<std::string, RenderTarget> targets = {
      {"ovs", RenderTarget::ovs},
      {"sonic", RenderTarget::sonic},
      {"openconfig", RenderTarget::openconfig}};
  CLI::App* const command =
      app.add_subcommand("render", "Word what each switch gets for real equipment");
  const auto options = std::make_shared<RenderOptions>();
  addDocuments(*command, options->documents);
  const auto target = std::make_shared<std::string>();
  command
      ->add_option("--target", *target,
                   "ovs-vsctl and vtep-ctl commands, or JSON for SONiC or "
                   "OpenConfig")
      ->required()
      ->type_name("TARGET")
      ->check(oneOf({"ovs", "sonic", "openconfig"}));
  command->add_option("--switch", options->switchName, "This switch alone")->type_name("NAME");
  session.help(*command,
               {{done(), notDone()},
                {{"Commands for one switch on Open vSwitch:",
                  "fabrion render --target ovs --switch left examples/two-switches.yaml"},
                 {"All switches for OpenConfig, as a file:",
                  "fabrion render --target openconfig examples/two-switches.yaml > config.json"}}});
  command->callback([&session, options, target] {
    options->target = targets.at(*target);
    session.is(options, render);
  });
}

void addDraw(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("draw", "Draw the fabric and what each port carries, as SVG");
  const auto options = std::make_shared<DrawOptions>();
  addDocuments(*command, options->documents);
  command->add_option("-o,--output", options->output, "The picture, or - for the standard output")
      ->required()
      ->type_name("FILE");
  session.help(
      *command,
      {{done(), notDone()},
       {{"A picture for a browser:", "fabrion draw examples/leaf-spine.yaml -o fabric.svg"}}});
  command->callback([&session, options] { session.is(options, draw); });
}

void addWhy(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("why", "Tell why a switch carries what it carries");
  const auto options = std::make_shared<WhyOptions>();
  const auto format = std::make_shared<std::string>();
  command
      ->add_option("words", options->words,
                   "Files that make up the fabric, a switch, a port or port group of it, a VLAN; "
                   "documents but the first end in .yaml, .yml or .json")
      ->required()
      ->type_name("DOCUMENT... SWITCH [PORT [VLAN]]");
  addFormat(*command, *format, "the explanation");
  session.help(*command,
               {{done("Done, also where the port does not have the VLAN."), notDone()},
                {{"Why a VLAN is on a port:", "fabrion why examples/leaf-spine.yaml leaf1 e3 200"},
                 {"All that is on a port, and what is not and was asked for:",
                  "fabrion why examples/leaf-spine.yaml leaf3 e8"}}});
  command->callback([&session, options, format] {
    options->format = reportFormat(*format);
    session.is(options, why);
  });
}

}  // namespace Fabrion::Host
