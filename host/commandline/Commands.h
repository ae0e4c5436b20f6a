#pragma once
// The commands of the program, each declared by a function of its own: its options, its help, and
// what it calls. They appear in the help, in the manual page and in completions in the order in
// which addCommands() adds them.

#include "host/commandline/Session.h"

namespace Fabrion::Host {

// All of them. `app` and `session` outlive the reading of the command line, and the command.
void addCommands(CLI::App& app, Session& session);

// RunAndCheck.cc
void addRun(CLI::App& app, Session& session);
void addCheck(CLI::App& app, Session& session);

// PlanAndAudit.cc
void addPlan(CLI::App& app, Session& session);
void addAudit(CLI::App& app, Session& session);

// RenderDrawAndWhy.cc
void addRender(CLI::App& app, Session& session);
void addDraw(CLI::App& app, Session& session);
void addWhy(CLI::App& app, Session& session);

// GenerateAndDiscover.cc
void addGenerate(CLI::App& app, Session& session);
void addDiscover(CLI::App& app, Session& session);

// ReplayAndWiring.cc
void addReplay(CLI::App& app, Session& session);
void addWiring(CLI::App& app, Session& session);

// ManualAndCompletion.cc
void addCompletion(CLI::App& app, Session& session);
void addManual(CLI::App& app, Session& session);

}  // namespace Fabrion::Host
