#pragma once
// A program that runs beside the test, which reads what it writes as it comes.

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Test {

// For what has to come.
inline constexpr auto patience = std::chrono::seconds(60);

// The program itself, with the tests' module.
class Running {
 public:
  // The terminal, where asked for, is its standard output and error.
  explicit Running(std::vector<std::string> arguments, bool terminal = false) {
    arguments.insert(arguments.begin(), {FABRION_BINARY, "--module", FABRION_MODULE});
    int pty = -1;
    int ends[2] = {-1, -1};
    int errors[2] = {-1, -1};
    if (terminal ? openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0
                 : pipe(ends) != 0 || pipe(errors) != 0) {
      throw std::runtime_error("no pipe");
    }
    pty = terminal ? ends[1] : -1;
    child_ = fork();
    if (child_ < 0) throw std::runtime_error("no process");
    if (child_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      dup2(pty < 0 ? errors[1] : pty, STDERR_FILENO);
      for (const int one : {ends[0], ends[1], errors[0], errors[1]}) {
        if (one > STDERR_FILENO) close(one);
      }
      std::vector<char*> words;
      for (std::string& argument : arguments) words.push_back(argument.data());
      words.push_back(nullptr);
      execv(FABRION_BINARY, words.data());
      _exit(127);
    }
    close(ends[1]);
    if (errors[1] >= 0) close(errors[1]);
    out_ = ends[0];
    err_ = errors[0];
  }
  ~Running() {
    if (child_ > 0) {
      kill(child_, SIGKILL);
      waitpid(child_, nullptr, 0);
    }
    close(out_);
    if (err_ >= 0) close(err_);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  // What has come on the standard output up to and with `end`, which must come.
  std::string outTo(const std::string& end) { return upTo(out_, outText_, end); }
  std::string errTo(const std::string& end) { return upTo(err_, errText_, end); }

  void signal(int number) const { kill(child_, number); }

  struct End {
    int status = -1;
    std::string out;  // that was not taken
    std::string err;
  };
  End ended() {
    End end;
    for (char part[4096]; const ssize_t n = read(out_, part, sizeof part);) {
      if (n < 0) break;  // a terminal that nobody holds any more
      outText_.append(part, static_cast<std::size_t>(n));
    }
    for (char part[4096]; err_ >= 0;) {
      const ssize_t n = read(err_, part, sizeof part);
      if (n <= 0) break;
      errText_.append(part, static_cast<std::size_t>(n));
    }
    int status = 0;
    waitpid(std::exchange(child_, -1), &status, 0);
    if (WIFEXITED(status)) end.status = WEXITSTATUS(status);
    end.out = outText_;
    end.err = errText_;
    return end;
  }

 private:
  static std::string upTo(int from, std::string& text, const std::string& end) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::size_t at = 0;
    while ((at = text.find(end)) == std::string::npos) {
      pollfd polled{from, POLLIN, 0};
      char part[4096];
      const bool ready = poll(&polled, 1, 1000) > 0;
      const ssize_t n = ready ? read(from, part, sizeof part) : 1;
      if (n <= 0 || std::chrono::steady_clock::now() > deadline) {
        ADD_FAILURE() << "no \"" << end << "\" in: " << text;
        return std::exchange(text, "");
      }
      if (ready) text.append(part, static_cast<std::size_t>(n));
    }
    const std::string taken = text.substr(0, at + end.size());
    text.erase(0, taken.size());
    return taken;
  }

  pid_t child_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::string outText_;
  std::string errText_;
};

}  // namespace Fabrion::Test

#endif
