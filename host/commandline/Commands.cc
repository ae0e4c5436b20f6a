#include "host/commandline/Commands.h"

namespace Fabrion::Host {

void addCommands(CLI::App& app, Session& session) {
  // A name of its own: help and manual say the same wherever the program stands.
  app.name("fabrion");
  app.description("Overlay provisioning for data-centre fabrics");
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
}

}  // namespace Fabrion::Host
