#pragma once
// Open vSwitch's own database server with empty databases of a switch and of a VTEP, on a socket in
// a folder of its own, and what stands in them. No switch runs: what counts is whether the tools
// take the commands and what the databases hold then.

#include <string>

#include "host/Outputs.h"

namespace Fabrion::Test {

class OpenVswitch {
 public:
  // Starts the server, which ends with this object or, at the latest, with the process.
  OpenVswitch();
  ~OpenVswitch();
  OpenVswitch(const OpenVswitch&) = delete;
  OpenVswitch& operator=(const OpenVswitch&) = delete;

  // The first of the programs and files needed that is missing; empty for none.
  static std::string missing();

  // Runs commands in sh; what they said on both streams, and "exit STATUS" behind it if that is
  // not 0.
  std::string run(const std::string& commands) const;

  // What a bridge and its physical switch say, worded as outputs. All that the switch carries is
  // what its ports carry, as a bridge keeps no list.
  Host::SwitchOutputs outputs(const std::string& bridge) const;
  // "po1: e7 e8", the interfaces of a port sorted; empty where there is no such port.
  std::string interfacesOf(const std::string& port) const;
  // All that the databases hold, row by row.
  std::string rows() const;
  // The same with names in the place of ids and in an order that does not come from them.
  std::string rowsByName() const;

 private:
  std::string socket() const { return "unix:" + folder_ + "/db.sock"; }
  std::string answer(const std::string& command) const;

  std::string folder_;
  int server_ = -1;
};

}  // namespace Fabrion::Test
