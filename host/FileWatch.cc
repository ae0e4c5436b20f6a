#include "host/FileWatch.h"

#include <poll.h>
#include <pthread.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

namespace Fabrion::Host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int quietMilliseconds = 50;  // without an event: the files are written
constexpr auto longest = std::chrono::seconds(1);
constexpr int retryMilliseconds = 1000;  // for a directory that is not there

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

using std::filesystem::path;

// The directories in which something may change that the path leads through: its own, and those of
// the links on its way, as a link may be turned.
void addDirectories(const path& file, std::set<path>& directories, int links) {
  path way;
  for (auto step = file.begin(); step != file.end(); ++step) {
    const path directory = way;
    way /= *step;
    std::error_code error;
    path target = std::filesystem::read_symlink(way, error);
    if (error || links == 0) continue;
    directories.insert(directory);
    target = directory / target;  // the target alone if that is absolute
    while (++step != file.end()) target /= *step;
    addDirectories(target, directories, links - 1);
    return;
  }
  directories.insert(file.parent_path());
}

}  // namespace

FileWatch::FileWatch(std::vector<std::string> files)
    : files_(std::move(files)), inotify_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (inotify_ < 0) fail("inotify");
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, SIGTERM);
  sigaddset(&mask, SIGINT);
  signals_ = signalfd(-1, &mask, SFD_CLOEXEC | SFD_NONBLOCK);
  if (signals_ < 0) {
    const int fault = errno;
    close(inotify_);
    errno = fault;
    fail("signalfd");
  }
  pthread_sigmask(SIG_BLOCK, &mask, &formerMask_);
  watchDirectories();
  seen_ = states();
}

FileWatch::~FileWatch() {
  // One more of those that have been heeded must not end the process now.
  stopped();
  pthread_sigmask(SIG_SETMASK, &formerMask_, nullptr);
  close(signals_);
  close(inotify_);
}

FileWatch::Event FileWatch::wait() {
  for (;;) {
    std::array<pollfd, 2> polled = {{{inotify_, POLLIN, 0}, {signals_, POLLIN, 0}}};
    const auto poll = [&polled](int milliseconds) {
      const int ready = ::poll(polled.data(), polled.size(), milliseconds);
      if (ready < 0 && errno != EINTR) fail("poll");
      return ready > 0;
    };
    poll(allWatched_ ? -1 : retryMilliseconds);
    const Clock::time_point first = Clock::now();
    do {
      swallowEvents();
      if (stopped()) return Event::stopped;
    } while (poll(quietMilliseconds) && Clock::now() - first < longest);
    // By now another directory may stand under the same name.
    watchDirectories();
    std::vector<State> now = states();
    if (now == seen_) continue;
    seen_ = std::move(now);
    return Event::changed;
  }
}

FileWatch::State FileWatch::stateOf(const std::string& file) {
  struct stat found = {};
  if (stat(file.c_str(), &found) != 0) return {};
  // The time of the last change of the file or of its inode: a copy may bring its old time along.
  return {found.st_dev, found.st_ino, static_cast<U64>(found.st_size),
          static_cast<U64>(found.st_ctim.tv_sec), static_cast<U64>(found.st_ctim.tv_nsec)};
}

std::vector<FileWatch::State> FileWatch::states() const {
  std::vector<State> all;
  for (const std::string& file : files_) all.push_back(stateOf(file));
  return all;
}

void FileWatch::watchDirectories() {
  std::set<path> directories;
  constexpr int mostLinks = 40;  // that the system follows
  for (const std::string& file : files_) {
    addDirectories(std::filesystem::absolute(file), directories, mostLinks);
  }
  allWatched_ = true;
  for (const path& directory : directories) {
    constexpr U32 mask = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                         IN_DELETE_SELF | IN_MOVE_SELF | IN_ATTRIB | IN_ONLYDIR;
    // Asked for again, the same directory is watched once.
    allWatched_ = inotify_add_watch(inotify_, directory.c_str(), mask) >= 0 && allWatched_;
  }
}

bool FileWatch::stopped() const {
  signalfd_siginfo info = {};
  return read(signals_, &info, sizeof info) == sizeof info;
}

void FileWatch::swallowEvents() const {
  alignas(inotify_event) std::array<char, 4096> events{};
  while (read(inotify_, events.data(), events.size()) > 0) {
  }
}

}  // namespace Fabrion::Host
