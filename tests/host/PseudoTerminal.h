#pragma once
// A program whose terminal is held by the test.

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Fabrion::Test {

class PseudoTerminal {
 public:
  // Runs the program `words[0]`, looked for as a shell does.
  explicit PseudoTerminal(std::vector<std::string> words) {
    child_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
    if (child_ < 0) throw std::runtime_error("no terminal");
    if (child_ > 0) return;
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  ~PseudoTerminal() {
    if (child_ > 0) {
      kill(child_, SIGKILL);
      waitpid(child_, nullptr, 0);
    }
    close(terminal_);
  }
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  void type(const std::string& keys) {
    EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  // Takes what comes within some milliseconds; false when nothing comes any more.
  bool more(int milliseconds = 10) {
    pollfd polled{terminal_, POLLIN, 0};
    if (poll(&polled, 1, milliseconds) <= 0) return true;
    char part[4096];
    const ssize_t n = read(terminal_, part, sizeof part);
    if (n > 0) shown_.append(part, static_cast<std::size_t>(n));
    return n > 0;  // nobody holds the other end any more
  }

  // What has been shown so far, line ends as a terminal gets them.
  const std::string& shown() const { return shown_; }

  // Waits for the end, and gives the exit status.
  int ended() {
    while (more(1000)) {
    }
    int status = 0;
    waitpid(std::exchange(child_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t child_ = -1;
  int terminal_ = -1;
  std::string shown_;
};

}  // namespace Fabrion::Test
