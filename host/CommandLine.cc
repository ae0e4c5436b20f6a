#include "host/CommandLine.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>
#include <map>

#include "host/AuditCommand.h"
#include "host/CheckCommand.h"
#include "host/DiscoverCommand.h"
#include "host/DrawCommand.h"
#include "host/FabricText.h"
#include "host/GenerateCommand.h"
#include "host/Module.h"
#include "host/PlanCommand.h"
#include "host/RenderCommand.h"
#include "host/Replay.h"
#include "host/RunCommand.h"
#include "host/WhyCommand.h"
#include "host/Wiring.h"

namespace Fabrion::Host {

namespace {

constexpr const char* version = "fabrion 1.0";
constexpr int misuse = 2;

// What all commands share. The module is loaded by the command, so that help and mistakes need
// none.
struct Session {
  std::string moduleFile;
  // Set by the command that was named; returns the exit status.
  std::function<int()> command;
  // The exit status when the command throws.
  int failure = static_cast<int>(ExitStatus::failure);

  const Velo::VeloModule& module() const { return loadModule(moduleFile); }
};

void addReplay(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("replay", "Run an event journal and write its dumps");
  const auto options = std::make_shared<ReplayOptions>();
  command->add_option("journal", options->journal, "File, or - for the standard input")
      ->required()
      ->type_name("JOURNAL");
  command
      ->add_option("--trace", options->traceLevel,
                   "Write the trace of levels 0 to LEVEL to the standard error")
      ->type_name("LEVEL")
      ->check(CLI::Range(0, 9));
  command->callback([&session, options] {
    session.command = [&session, options] {
      return static_cast<int>(replay(*options, session.module()));
    };
  });
}

// The commands below keep status 1 for what --strict asks about.
void commandIs(Session& session, std::function<Outcome()> command) {
  session.failure = static_cast<int>(Outcome::mistake);
  session.command = [command = std::move(command)] { return static_cast<int>(command()); };
}

void addRun(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("run", "Apply fabric documents and report what each switch gets");
  const auto options = std::make_shared<RunOptions>();
  command->add_option("documents", options->documents, "Files that make up the fabric")
      ->required()
      ->type_name("DOCUMENT");
  const auto format = std::make_shared<std::string>("text");
  command->add_option("--format", *format, "Of the report")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "json"}));
  command->add_flag("--strict", options->strict, "Exit status 1 if a conflict stands");
  command
      ->add_option("--trace", options->traceLevel,
                   "Write the trace of levels 0 to LEVEL to the standard error")
      ->type_name("LEVEL")
      ->check(CLI::Range(0, 9));
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
                 "End what an edit leaves behind by building the controller anew")
      ->needs(watch);
  command->callback([&session, options, format] {
    options->format = *format == "json" ? ReportFormat::json : ReportFormat::text;
    options->terminal = terminalOfProcess();
    commandIs(session, [&session, options] {
      return run(*options, std::cout, std::cerr, session.module());
    });
  });
}

void addPlan(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("plan", "Show what a change of fabric documents would do");
  const auto options = std::make_shared<PlanOptions>();
  const auto both = std::make_shared<std::vector<std::string>>();
  command->add_option("documents", *both, "The fabric before and after the change, a file each")
      ->type_name("OLD NEW");
  command->add_option("--old", options->oldDocuments, "Files that make up the fabric before")
      ->type_name("FILE...");
  command->add_option("--new", options->newDocuments, "Files that make up the fabric after")
      ->type_name("FILE...");
  const auto format = std::make_shared<std::string>("text");
  command->add_option("--format", *format, "Of the plan")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "json"}));
  command->callback([&session, options, both, format] {
    const bool named = !options->oldDocuments.empty() && !options->newDocuments.empty();
    const bool none = options->oldDocuments.empty() && options->newDocuments.empty();
    if (both->size() == 2 && none) {
      options->oldDocuments = {both->front()};
      options->newDocuments = {both->back()};
    } else if (!both->empty() || !named) {
      throw CLI::ValidationError("plan", "takes OLD NEW, or --old FILE... --new FILE...");
    }
    options->format = *format == "json" ? ReportFormat::json : ReportFormat::text;
    options->terminal = terminalOfProcess();
    commandIs(session, [&session, options] {
      return plan(*options, std::cout, std::cerr, session.module());
    });
  });
}

void addAudit(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("audit", "Hold outputs against what fabric documents ask for");
  const auto options = std::make_shared<AuditOptions>();
  command->add_option("documents", options->documents, "Files that make up the fabric")
      ->required()
      ->type_name("DOCUMENT");
  command
      ->add_option("--against", options->against,
                   "What the switches have, as `run --outputs` or a dump writes it; - for the "
                   "standard input")
      ->required()
      ->type_name("FILE");
  const auto format = std::make_shared<std::string>("text");
  command->add_option("--format", *format, "Of the report")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "json"}));
  command->callback([&session, options, format] {
    options->format = *format == "json" ? ReportFormat::json : ReportFormat::text;
    commandIs(session, [&session, options] {
      return audit(*options, std::cout, std::cerr, session.module());
    });
  });
}

void addCheck(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("check", "Look for mistakes in fabric documents");
  const auto files = std::make_shared<std::vector<std::string>>();
  command->add_option("documents", *files, "Files that make up the fabric")
      ->required()
      ->type_name("DOCUMENT");
  command->callback([&session, files] {
    commandIs(session, [files] { return check(*files, std::cout, std::cerr); });
  });
}

void addRender(CLI::App& app, Session& session) {
  static const std::map<std::string, RenderTarget> targets = {
      {"ovs", RenderTarget::ovs},
      {"sonic", RenderTarget::sonic},
      {"openconfig", RenderTarget::openconfig}};
  CLI::App* const command =
      app.add_subcommand("render", "Word what each switch gets for real equipment");
  const auto options = std::make_shared<RenderOptions>();
  command->add_option("documents", options->documents, "Files that make up the fabric")
      ->required()
      ->type_name("DOCUMENT");
  const auto target = std::make_shared<std::string>();
  command
      ->add_option("--target", *target,
                   "ovs-vsctl and vtep-ctl commands, or JSON for SONiC or "
                   "OpenConfig")
      ->required()
      ->type_name("TARGET")
      ->check(CLI::IsMember({"ovs", "sonic", "openconfig"}));
  command->add_option("--switch", options->switchName, "This switch alone")->type_name("NAME");
  command->callback([&session, options, target] {
    options->target = targets.at(*target);
    commandIs(session, [&session, options] {
      return render(*options, std::cout, std::cerr, session.module());
    });
  });
}

void addGenerate(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("generate", "Make up a fabric of any size and write it as a document");
  const auto options = std::make_shared<GenerateCommandOptions>();
  GenerateOptions& fabric = options->fabric;
  const auto number = [&](const char* name, U32& value, const char* what, U32 most) {
    command->add_option(name, value, what)
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0U, most));
  };
  constexpr U32 most = 10'000'000;
  number("--leaves", fabric.leaves, "Leaf switches", most);
  number("--spines", fabric.spines, "Spine switches, each linked to each leaf", most);
  number("--servers", fabric.servers, "Servers in all, spread evenly over the leaves", most);
  number("--links", fabric.links, "Links of each server to different leaves; 0 for a mixture", 64);
  number("--clients", fabric.clients, "Clients that ask for VLANs", most);
  number("--vlans", fabric.vlans, "VLANs that each client owns", maxVlan);
  command->add_option("--seed", fabric.seed, "The same seed makes the same fabric")
      ->type_name("N")
      ->capture_default_str();
  command
      ->add_option("--output", options->output,
                   "Write FILE.yaml, and FILE-2.yaml and so on if one document is not enough")
      ->type_name("FILE.yaml");
  command->callback([&session, options] {
    commandIs(session, [options] { return generateDocuments(*options, std::cout, std::cerr); });
  });
}

void addDiscover(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand(
      "discover", "Make the topology part of a fabric document from LLDP neighbours");
  const auto options = std::make_shared<DiscoverOptions>();
  command
      ->add_option("files", options->files,
                   "What lldpcli -f json0 show neighbors details (or json) printed on a switch; "
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
                   "Ports that a switch has besides those with neighbours")
      ->type_name("SWITCH=PORTS")
      ->allow_extra_args(false);
  command->footer(
      "Example:\n"
      "  fabrion discover --ports 'leaf1=e[1-48]' lldp/*.json > topology.yaml\n"
      "  fabrion run topology.yaml requests.yaml");
  command->callback([&session, options] {
    commandIs(session, [options] { return discover(*options, std::cout, std::cerr); });
  });
}

void addDraw(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("draw", "Draw the fabric and what each port carries, as SVG");
  const auto options = std::make_shared<DrawOptions>();
  command->add_option("documents", options->documents, "Files that make up the fabric")
      ->required()
      ->type_name("DOCUMENT");
  command->add_option("-o,--output", options->output, "The picture, or - for the standard output")
      ->required()
      ->type_name("FILE");
  command->footer("Example:\n  fabrion draw topology.yaml requests.yaml -o fabric.svg");
  command->callback([&session, options] {
    commandIs(session, [&session, options] {
      return draw(*options, std::cout, std::cerr, session.module());
    });
  });
}

void addWhy(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("why", "Tell why a switch carries what it carries");
  const auto options = std::make_shared<WhyOptions>();
  command
      ->add_option("words", options->words,
                   "Files that make up the fabric, a switch, a port or port group of it, a VLAN")
      ->required()
      ->type_name("DOCUMENT... SWITCH [PORT [VLAN]]");
  const auto format = std::make_shared<std::string>("text");
  command->add_option("--format", *format, "Of the explanation")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "json"}));
  command->footer(
      "Documents but the first end in .yaml, .yml or .json.\n"
      "Example: fabrion why examples/leaf-spine.yaml leaf1 e3 200");
  command->callback([&session, options, format] {
    options->format = *format == "json" ? ReportFormat::json : ReportFormat::text;
    commandIs(session, [&session, options] {
      return why(*options, std::cout, std::cerr, session.module());
    });
  });
}

void addWiring(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("wiring", "Show what each machine follows and does about it");
  const auto format = std::make_shared<std::string>("text");
  command->add_option("--format", *format, "Of the output; dot is for Graphviz")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "dot"}));
  command->callback([&session, format] {
    commandIs(session, [&session, format] {
      const Velo::VeloModule& module = session.module();
      std::cout << (*format == "dot" ? wiringDot(module) : wiringText(module)) << std::flush;
      return std::cout ? Outcome::done : Outcome::mistake;
    });
  });
}

}  // namespace

int runCommandLine(int argc, const char* const* argv) {
  CLI::App app("Overlay provisioning for data-centre fabrics");
  Session session;
  app.set_version_flag("--version", version);
  app.add_option("--module", session.moduleFile,
                 "The machines; FabrionSm.so beside the program, or as installed, unless named")
      ->type_name("FILE");
  app.require_subcommand(1);
  app.fallthrough();
  addRun(app, session);
  addPlan(app, session);
  addAudit(app, session);
  addCheck(app, session);
  addRender(app, session);
  addGenerate(app, session);
  addDiscover(app, session);
  addDraw(app, session);
  addReplay(app, session);
  addWhy(app, session);
  addWiring(app, session);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& stop) {
    // Help and version come this way too, with status 0.
    return app.exit(stop) == 0 ? 0 : misuse;
  }
  try {
    return session.command();
  } catch (const std::exception& failed) {
    std::cerr << "fabrion: " + std::string(failed.what()) + "\n";
    return session.failure;
  }
}

}  // namespace Fabrion::Host
