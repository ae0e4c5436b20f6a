// Commands that write fabric documents.

#include <iostream>
#include <limits>
#include <memory>

#include "host/DiscoverCommand.h"
#include "host/FabricText.h"
#include "host/GenerateCommand.h"
#include "host/commandline/Commands.h"

namespace Fabrion::Host {

void addGenerate(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("generate", "Make up a fabric of any size and write it as a document");
  const auto options = std::make_shared<GenerateCommandOptions>();
  GenerateOptions& fabric = options->fabric;
  const auto number = [&](const char* name, U32& value, const char* what, U32 most) {
    command->add_option(name, value, what)
        ->type_name("N")
        ->capture_default_str()
        ->transform(numberFrom(0, most));
  };
  constexpr U32 most = 10'000'000;
  number("--leaves", fabric.leaves, "Leaf switches", most);
  number("--spines", fabric.spines, "Spine switches, each linked to each leaf", most);
  number("--servers", fabric.servers, "Servers in all, spread evenly over the leaves", most);
  number("--links", fabric.links,
         "Links of each server, to different leaves while there are any; 0 for a mixture", 64);
  number("--clients", fabric.clients, "Clients that ask for VLANs", most);
  number("--vlans", fabric.vlans,
         "VLANs of each client; where 4094 are too few for all, clients share some", maxVlan);
  command->add_option("--seed", fabric.seed, "The same seed makes the same fabric")
      ->type_name("N")
      ->capture_default_str()
      ->transform(numberFrom(0, std::numeric_limits<U64>::max()));
  command
      ->add_option(
          "-o,--output", options->output,
          "Write FILE.yaml, and FILE-2.yaml and so on if one document is not enough; - for "
          "the standard output")
      ->type_name("FILE.yaml");
  session.help(
      *command,
      {{done(), notDone()},
       {{"A small one, to look at:", "fabrion generate --leaves 2 --servers 4 --clients 2"},
        {"A large one, as a file:",
         "fabrion generate --leaves 16 --spines 4 --servers 320 --output large.yaml"}}});
  command->callback([&session, options] {
    session.is([options] { return generateDocuments(*options, std::cout, std::cerr); });
  });
}

void addDiscover(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand(
      "discover", "Make the topology part of a fabric document from LLDP neighbours");
  const auto options = std::make_shared<DiscoverOptions>();
  command
      ->add_option("files", options->files,
                   "What `lldpcli -f json0 show neighbors details` (or json) printed on a switch; "
                   "the file is named like the switch, with any extension")
      ->type_name("FILE");
  command->add_option("--switch", options->namedFiles, "A file and the name of its switch")
      ->type_name("NAME=FILE")
      ->allow_extra_args(false);
  command->add_option("--host", options->hosts, "A neighbour that is a host, whatever it says")
      ->type_name("NAME")
      ->allow_extra_args(false);
  command
      ->add_option("--ports", options->ports,
                   "Ports that a switch has besides those with neighbours: one, or a range of them")
      ->type_name("SWITCH=PORTS")
      ->allow_extra_args(false);
  session.help(*command,
               {{done(), notDone()},
                {{"The topology of three switches, as a document:",
                  "fabrion discover --ports 'leaf1=e[1-48]' examples/lldp/*.json > topology.yaml"},
                 {"The fabric of it and of what clients ask for:",
                  "fabrion run topology.yaml examples/lldp/requests.yaml"}}});
  command->callback([&session, options] {
    session.is([options] { return discover(*options, std::cout, std::cerr); });
  });
}

}  // namespace Fabrion::Host
