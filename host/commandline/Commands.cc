#include "host/commandline/Commands.h"

#include <memory>

#include "host/commandline/Described.h"

namespace Fabrion::Host {

namespace {

// Calls positional arguments what they are, as the manual page and mistakes do, where CLI11 shows
// the names that the code gives them.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_usage(const CLI::Option* option) const override {
    return usageOf(described(*option));
  }
  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    if (!isPositional) return CLI::Formatter::make_option_name(option, isPositional);
    DescribedOption positional = described(*option);
    positional.required = true;
    return usageOf(positional);
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    if (option->nonpositional()) return CLI::Formatter::make_option_opts(option);
    const std::string type = option->get_type_name();
    const std::size_t colon = type.find(':');
    return (colon == std::string::npos ? "" : type.substr(colon)) +
           (option->get_required() ? " REQUIRED" : "");
  }
};

// A flag stands or does not; `--strict=no` would be neither.
void refuseValuesOfFlags(CLI::App& app) {
  for (CLI::Option* option : app.get_options()) {
    if (option->get_items_expected_max() == 0) option->disable_flag_override();
  }
}

}  // namespace

void addCommands(CLI::App& app, Session& session) {
  // A name of its own: help and manual say the same wherever the program stands.
  app.name("fabrion");
  app.description("Overlay provisioning for data-centre fabrics");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.set_version_flag("--version", "fabrion 1.0", "Print the version and exit");
  app.add_option("--module", session.moduleFile,
                 "The machines; FabrionSm.so beside the program, or as installed, unless named")
      ->type_name("FILE");
  app.require_subcommand(1);
  app.fallthrough();
  session.help(
      app,
      {{done(),
        {1, "`run --strict`: a conflict stands. `replay`: it cannot read or write."},
        {2, "Not done: a mistake in the options or in a file, which the standard error tells."},
        {3, "`plan` and `audit`: the outputs differ."},
        {4, "`plan`: they differ, and a conflict would appear."}},
       {{"The options of a command, its exit statuses and examples:", "fabrion run --help"},
        {"What each switch of a small fabric gets:", "fabrion run examples/two-switches.yaml"}}});
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
  addCompletion(app, session);
  addManual(app, session);
  refuseValuesOfFlags(app);
  for (CLI::App* command : app.get_subcommands({})) refuseValuesOfFlags(*command);
}

}  // namespace Fabrion::Host
