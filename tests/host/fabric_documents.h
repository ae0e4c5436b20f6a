#pragma once
// Fabric documents in tests: what is said of them, and the fabric that they are.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "host/FabricDocument.h"

namespace Fabrion::Test {

using Problems = std::vector<std::string>;

inline Problems problemsIn(const Host::FabricOrProblems& read) {
  Problems lines;
  if (const auto* problems = std::get_if<std::vector<Host::Problem>>(&read)) {
    for (const Host::Problem& problem : *problems) lines.push_back(toString(problem));
  }
  return lines;
}

inline Problems problemsOf(const std::string& text) {
  return problemsIn(Host::parseFabric({{"f", text}}));
}

// The problems of a document with the version in its first line, so that `text` starts in line 2.
inline Problems problems(const std::string& text) { return problemsOf("fabrion: 1\n" + text); }

inline Host::Fabric fabricIn(const Host::FabricOrProblems& read) {
  EXPECT_THAT(problemsIn(read), testing::IsEmpty());
  const auto* fabric = std::get_if<Host::Fabric>(&read);
  return fabric == nullptr ? Host::Fabric{} : *fabric;
}

inline Host::Fabric fabric(const std::string& text) {
  return fabricIn(Host::parseFabric({{"f", "fabrion: 1\n" + text}}));
}

// Two switches and two hosts to make requests and links on; ten lines, so that what follows starts
// in line 12 of `problems`.
inline const std::string ground =
    "switches:\n"
    "  leaf1: {ports: ['e[1-8]'], groups: {po1: [e7, e8]}}\n"
    "  leaf2: {ports: ['e[1-8]']}\n"
    "hosts:\n"
    "  srv1: {hostname: compute1, ports: [eth0, eth1]}\n"
    "  srv2: {ports: [eth0]}\n"
    "#\n"
    "#\n"
    "#\n"
    "#\n";

}  // namespace Fabrion::Test
