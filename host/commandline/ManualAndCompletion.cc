// Commands that tell of the program itself. Both write what the declarations of all commands say,
// so nothing is said twice.

#include <memory>

#include "host/commandline/BashCompletion.h"
#include "host/commandline/Commands.h"
#include "host/commandline/Described.h"
#include "host/commandline/ManualPage.h"

namespace Fabrion::Host {

void addCompletion(CLI::App& app, Session& session) {
  CLI::App* const command =
      app.add_subcommand("completion", "Write what a shell needs to complete command lines");
  const auto shell = std::make_shared<std::string>();
  command->add_option("shell", *shell, "The shell")
      ->required()
      ->type_name("SHELL")
      ->check(oneOf({"bash"}));
  session.help(*command, {{done(), notDone()},
                          {{"For this shell, or for each new one from ~/.bashrc:",
                            "source <(fabrion completion bash)"}}});
  // bash is the one that there is; the callback keeps what the option fills.
  command->callback([&app, &session, shell] {
    session.is([&app, &session] {
      return write(bashCompletion(described(app, session)), "the completions");
    });
  });
}

void addManual(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("man", "Write the manual page of this program");
  session.help(*command, {{done(), notDone()},
                          {{"To be read with `man ./fabrion.1`:", "fabrion man > fabrion.1"}}});
  command->callback([&app, &session] {
    session.is(
        [&app, &session] { return write(manualPage(described(app, session)), "the manual page"); });
  });
}

}  // namespace Fabrion::Host
