#pragma once
// A controller on the real machines, for tests that run whole sequences of operations, and a way to
// run what may end the process.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/Controller.h"
#include "host/Module.h"
#include "tests/support/TraceCapture.h"

namespace Fabrion::Test {

#ifdef FABRION_MODULE
inline const Velo::VeloModule& machines() {
  static const Velo::VeloModule& module = Host::loadModule(FABRION_MODULE);
  return module;
}

struct ControllerScene {
  Host::Controller controller{machines()};

  template <class... Ops>
  void run(const Ops&... ops) {
    (controller.apply(ops), ...);
  }
  void runAll(const std::vector<Host::Operation>& operations) {
    for (const Host::Operation& operation : operations) controller.apply(operation);
  }
  nlohmann::json state() const { return controller.state(); }
  nlohmann::json element(const std::string& name) const {
    const nlohmann::json all = state()["networkElement"];
    return all.contains(name) ? all[name] : nlohmann::json();
  }
  nlohmann::json port(const std::string& name, const std::string& port) const {
    const nlohmann::json one = element(name);
    if (!one.is_object() || !one["physicalInterface"].contains(port)) return {};
    return one["physicalInterface"][port];
  }
  nlohmann::json outputs(const std::string& name) const { return state()["switch"][name]; }
};
#endif

struct ChildEnd {
  bool aborted = false;
  int status = -1;    // where it ended by itself
  std::string words;  // what it wrote to its standard error
};

// Runs `f` in a process of its own, which a fault may end. Its result is the exit status.
inline ChildEnd inChild(const std::function<int()>& f) {
  int words[2] = {};
  if (pipe(words) != 0) throw std::runtime_error("no pipe");
  std::cout.flush();  // or the child would write what is still waiting, too
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) {
    dup2(words[1], STDERR_FILENO);
    close(words[0]);
    close(words[1]);
    std::signal(SIGABRT, SIG_DFL);
    // Whatever is thrown ends here: the child must not go on as the test that it was forked from.
    try {
      _exit(f());
    } catch (const std::exception& thrown) {
      std::cerr << thrown.what() << std::flush;
    } catch (...) {
      std::cerr << "something was thrown" << std::flush;
    }
    _exit(99);
  }
  close(words[1]);
  ChildEnd end;
  char part[4096];
  for (ssize_t n = read(words[0], part, sizeof part); n > 0;
       n = read(words[0], part, sizeof part)) {
    end.words.append(part, static_cast<std::size_t>(n));
  }
  close(words[0]);
  int status = 0;
  waitpid(child, &status, 0);
  end.aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
  if (WIFEXITED(status)) end.status = WEXITSTATUS(status);
  return end;
}

}  // namespace Fabrion::Test
