#include "host/CommandLine.h"

#include <iostream>

#include "host/Say.h"
#include "host/commandline/Commands.h"
#include "host/commandline/Misuse.h"

namespace Fabrion::Host {

namespace {

constexpr int misuse = 2;

}  // namespace

int runCommandLine(int argc, const char* const* argv) {
  CLI::App app;
  Session session;
  session.terminal = terminalOfProcess();
  addCommands(app, session);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& stop) {
    // Help and version come this way too.
    if (stop.get_exit_code() == 0) return app.exit(stop);
    say(std::cerr, misuseOf(app, stop, session));
    return misuse;
  }
  try {
    return session.command();
  } catch (const std::exception& failed) {
    say(std::cerr, failed.what());
    return session.failure;
  }
}

}  // namespace Fabrion::Host
