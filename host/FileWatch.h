#pragma once
// Waits until files may have changed, or until the program shall end: inotify and the signals
// SIGTERM and SIGINT in one place. WatchCommand.h reads the files then.
//
// It watches the directories of the files and not the files: editors write a new file and rename it
// over the old one. So it does with the links on the way to a file, which may be turned. A
// directory may go and come back.

#include <csignal>
#include <string>
#include <vector>

#include "platform/Velo/Types.h"

namespace Fabrion::Host {

class FileWatch {
 public:
  enum class Event : U8 { changed, stopped };

  // From here on the two signals no longer end the process. Raises std::system_error where the
  // system gives no inotify or signalfd. One at a time.
  explicit FileWatch(std::vector<std::string> files);
  // The signals have their former effect again.
  ~FileWatch();
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  // Returns when a file has changed, came or went since the last call returned, or the program
  // shall end. Of changes that follow each other closely it waits for the last, for at most a
  // second, so that a file is seldom seen half written.
  Event wait();

 private:
  // What tells one state of a file from another; all 0 for a file that is not there.
  struct State {
    U64 device = 0;
    U64 inode = 0;
    U64 size = 0;
    U64 seconds = 0;
    U64 nanoseconds = 0;
    friend bool operator==(const State&, const State&) = default;
  };

  static State stateOf(const std::string& file);
  std::vector<State> states() const;
  void watchDirectories();
  bool stopped() const;
  void swallowEvents() const;

  const std::vector<std::string> files_;
  std::vector<State> seen_;
  bool allWatched_ = false;
  int inotify_ = -1;
  int signals_ = -1;
  sigset_t formerMask_ = {};
};

}  // namespace Fabrion::Host
