// What `fabrion discover` says of files that are not what lldpcli prints, of names that do not
// serve, and of what it had to guess, word for word.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "host/DiscoverCommand.h"
#include "host/Limits.h"
#include "host/LldpNeighbors.h"
#include "tests/host/Program.h"

namespace Fabrion::Host {
namespace {

using Test::written;

std::string wrongIn(const std::string& text) {
  const auto read = readLldpNeighbors(text);
  const auto* const wrong = std::get_if<Wrong>(&read);
  return wrong != nullptr ? wrong->text : "nothing wrong";
}

struct Mistaken {
  std::string text;
  std::string expected;
};

TEST(ErrorsOfDiscover, WhatIsNoJson) {
  const std::string printed = "; expected what lldpcli -f json0 show neighbors prints";
  const std::vector<Mistaken> all = {
      {"", "line 1, column 1: no JSON" + printed},
      {"{\n  \"lldp\": [}", "line 2, column 12: no JSON" + printed},
      {"{\"lldp\": {\"a\": \"\xff\"}}", "line 1, column 17: no JSON" + printed},
      {R"({"lldp": {}} {"lldp": {}})", "line 1, column 14: no JSON" + printed},
      {std::string("{\"lldp\": {}}\n\0{", 15), "line 2, column 1: a zero byte; expected JSON"},
      {R"({"lldp": {"interface": 1e999}})", "a number is too large to be read" + printed},
      {"{}", ".: no \"lldp\"" + printed},
      {R"({"LLDP": {}})", ".: no \"lldp\"" + printed},
  };
  for (const auto& [text, expected] : all) EXPECT_EQ(wrongIn(text), expected) << text;
}

TEST(ErrorsOfDiscover, WhatHasAnotherShape) {
  const std::vector<Mistaken> all = {
      {"[]", ".: an empty list; expected an object"},
      {"[1]", ".: a list; expected an object"},
      {"null", ".: null; expected an object"},
      {R"("text")", ".: the text 'text'; expected an object"},
      {R"({"lldp": 5})", ".lldp: the number 5; expected an object"},
      {R"({"lldp": [[]]})", ".lldp[0]: an empty list; expected an object"},
      {R"({"lldp": {"interface": true}})", ".lldp.interface: true; expected an interface"},
      {R"({"lldp": {"interface": {"e1": 7}}})",
       ".lldp.interface.e1: the number 7; expected a neighbour on the interface"},
      {R"({"lldp": {"interface": {"e1/1": {"via": "LLDP"}}}})",
       ".lldp.interface[\"e1/1\"]: no \"chassis\"; expected the neighbour's chassis"},
      {R"({"lldp": {"interface": {"e1": {"via": {}}}}})",
       ".lldp.interface.e1.via: no \"value\"; expected a text of that name"},
      {R"({"lldp": {"interface": {"e1": {"via": []}}}})",
       ".lldp.interface.e1.via: an empty list; expected a text"},
      {R"({"lldp": {"interface": {"e1": {"via": 1}}}})",
       ".lldp.interface.e1.via: the number 1; expected a text"},
  };
  for (const auto& [text, expected] : all) EXPECT_EQ(wrongIn(text), expected) << text;
}

TEST(ErrorsOfDiscover, WhatIsMissingOfANeighbour) {
  const std::string id = R"("id": {"type": "mac", "value": "02::1"})";
  const std::vector<Mistaken> chassis = {
      {"[]", ": an empty list; expected a chassis"},
      {"{}", ": an object; expected a chassis with an \"id\""},
      {"7", ": the number 7; expected a chassis with an \"id\""},
      {R"({"a": {}, "b": {}})", ": an object; expected a chassis with an \"id\""},
      {R"({"x": {}})", ".x: no \"id\"; expected the id of the chassis"},
      {R"({"x": {"id": []}})", ".x.id: an empty list; expected an id"},
      {R"({"id": {"type": "mac"}})", ".id: no \"value\"; expected the id itself"},
      {R"({"x": {"id": {"value": "02::1"}}})", ".x.id: no \"type\"; expected the kind of the id"},
      {"{" + id + R"(, "capability": {}})",
       ".capability: no \"type\"; expected the name of the capability"},
      {"{" + id + R"(, "capability": [{"type": "Bridge"}]})",
       ".capability[0]: no \"enabled\"; expected true or false"},
      {"{" + id + R"(, "capability": {"type": "Bridge", "enabled": "on"}})",
       ".capability.enabled: the text 'on'; expected true or false"},
  };
  const std::string before = R"({"lldp": {"interface": {"e1": {"chassis": )";
  for (const auto& [text, expected] : chassis) {
    EXPECT_EQ(wrongIn(before + text + R"(, "port": {}}}}})"),
              ".lldp.interface.e1.chassis" + expected)
        << text;
  }
  EXPECT_EQ(wrongIn(before + "{" + id + "}}}}}"),
            ".lldp.interface.e1: no \"port\"; expected the neighbour's port");
  const std::vector<Mistaken> ports = {
      {"[]", ": an empty list; expected a port"},
      {"{}", ": no \"id\"; expected the id of the port"},
      {"7", ": the number 7; expected an object"},
      {R"({"id": {"type": "ifname", "value": [1]}})",
       ".id.value[0]: the number 1; expected a text"},
      {"{" + id + R"(, "descr": 7})", ".descr: the number 7; expected a text"},
      {"{" + id + R"(, "aggregation": 7})", ".aggregation: the number 7; expected a text"},
  };
  for (const auto& [text, expected] : ports) {
    EXPECT_EQ(wrongIn(before + "{" + id + R"(}, "port": )" + text + "}}}}"),
              ".lldp.interface.e1.port" + expected)
        << text;
  }
}

// ---- The command

std::string saidOf(const DiscoverOptions& options, Outcome outcome = Outcome::mistake) {
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(discover(options, out, err), outcome);
  EXPECT_EQ(out.str().empty(), outcome == Outcome::mistake);
  return err.str();
}

// A neighbour as json0 has it.
struct Seen {
  std::string on;
  std::string name;
  std::string port;
  std::string chassis = "02::1";
  std::string capability = "Station";
  std::string kind = "ifname";  // of the port's id
  std::string more = {};        // of the port
  std::string via = "LLDP";
};

std::string sight(const Seen& seen) {
  return R"({"name":")" + seen.on + R"(","via":")" + seen.via +
         R"(","chassis":[{"id":[{"type":"mac","value":")" + seen.chassis + R"("}],)" +
         (seen.name.empty() ? "" : R"("name":[{"value":")" + seen.name + R"("}],)") +
         R"("capability":[{"type":")" + seen.capability +
         R"(","enabled":true}]}],"port":[{"id":[{"type":")" + seen.kind + R"(","value":")" +
         seen.port + R"("}])" + seen.more + "}]}";
}

// The file of the switch NAME.
std::string fileOf(const std::string& name, const std::vector<Seen>& all) {
  std::string list;
  for (const Seen& one : all) list += (list.empty() ? "" : ",") + sight(one);
  return written(name + ".json", R"({"lldp":[{"interface":[)" + list + "]}]}");
}

TEST(ErrorsOfDiscover, FilesAndTheNamesOfTheirSwitches) {
  const std::string folder = testing::TempDir();
  const std::string good = fileOf("good", {{"e1", "h", "eth0"}});
  const std::string large = written("large.json", std::string(Limits::fileBytes + 1, ' '));
  EXPECT_EQ(saidOf({{}, {}, {}, {}}),
            "fabrion: no file of a switch is named; expected FILE... or --switch NAME=FILE\n");
  EXPECT_EQ(saidOf({{"/nowhere/leaf.json"}, {}, {}, {}}),
            "/nowhere/leaf.json: No such file or directory\n");
  EXPECT_EQ(saidOf({{}, {"leaf=" + folder}, {}, {}}), folder + ": a folder; expected a file\n");
  EXPECT_EQ(saidOf({{"/proc/self/mem"}, {}, {}, {}}), "/proc/self/mem: Input/output error\n");
  EXPECT_EQ(saidOf({{large}, {}, {}, {}}), large + ": larger than 8 MiB\n");
  EXPECT_EQ(saidOf({{}, {good}, {}, {}}), "--switch " + good + ": expected NAME=FILE\n");
  EXPECT_EQ(saidOf({{}, {"=" + good}, {}, {}}),
            good + ": an empty name, as the name of its switch\n");
  EXPECT_EQ(
      saidOf({{}, {"a\nb=" + good}, {}, {}}),
      good + ": the name 'a\\x0ab' has a control character in it, as the name of its switch\n");
  EXPECT_EQ(saidOf({{}, {"\xff=" + good}, {}, {}}),
            good + ": the name of its switch is not UTF-8; expected --switch NAME=FILE\n");
  EXPECT_EQ(saidOf({{good}, {"good=" + good}, {}, {}}),
            good + ": switch 'good' has a file already, " + good +
                "; expected one file for each switch\n");
  EXPECT_EQ(
      saidOf(
          {{good}, {}, {}, {"good", "leaf=e1", "good=e[2-1]", "good=e[1", "good=", "good=\xff"}}),
      "--ports good: expected SWITCH=PORTS\n"
      "--ports leaf=e1: no file of a switch 'leaf'\n"
      "--ports good=e[2-1]: the range in 'e[2-1]' falls; expected LOW not above HIGH\n"
      "--ports good=e[1: no range of ports: 'e[1'; expected a [LOW-HIGH] of two numbers, at "
      "most nine digits each, as in 'e[1-8]'\n"
      "--ports good=: an empty name\n"
      "--ports good=\xff: not UTF-8\n");
}

TEST(ErrorsOfDiscover, HintsThatConcernNothing) {
  const std::string leaf = fileOf("leaf", {{"e1", "srv1", "eth0", "02::1", "Bridge"},
                                           {"e2", "box.example", "eth0", "02::2"},
                                           {"e3", "other.example", "e1", "02::3", "Bridge"}});
  const std::string other = fileOf("other", {{"e1", "leaf", "e3", "02::4", "Bridge"}});
  EXPECT_EQ(saidOf({{leaf, other}, {}, {"srv1", "srv2", "leaf", "other.example", "nobody"}, {}}),
            "--host leaf: switch 'leaf' has a file; expected a neighbour that has none\n"
            "--host nobody: no file tells of a neighbour 'nobody'\n"
            "--host other.example: no file tells of a neighbour 'other.example'\n"
            "--host srv2: no file tells of a neighbour 'srv2'; did you mean 'srv1'?\n");
  EXPECT_EQ(saidOf({{leaf, other}, {}, {"srv1", "box.example"}, {}}, Outcome::done),
            "note: 'other': calls itself 'other.example'; taken for the switch 'other' that has a "
            "file\n");
  EXPECT_EQ(saidOf({{leaf}, {}, {}, {"leaf=e[1-4],p1", "leaf=,", "leaf,e1"}}),
            "--ports leaf=e[1-4],p1: a comma in the ports; expected one port or range, and "
            "--ports again for each further one\n"
            "--ports leaf=,: a comma in the ports; expected one port or range, and --ports again "
            "for each further one\n"
            "--ports leaf,e1: expected SWITCH=PORTS\n");
}

TEST(ErrorsOfDiscover, NamesThatNoDocumentHolds) {
  const std::string range = "; expected one port, and no range\n";
  const std::string one = ": .lldp[0].interface[0]: ";
  const std::string here = fileOf("here", {{"e[1]", "h", "eth0"}});
  EXPECT_EQ(saidOf({{here}, {}, {}, {}}), here + one + "no name of a port: 'e[1]'" + range);
  const std::string there = fileOf("there", {{"e1", "h", "eth[0]"}});
  EXPECT_EQ(saidOf({{there}, {}, {}, {}}), there + one + "no name of a port: 'eth[0]'" + range);
  const std::string name = fileOf("name", {{"e1", "a\\tb", "eth0"}});
  EXPECT_EQ(saidOf({{name}, {}, {}, {}}),
            name + one + "the name 'a\\x09b' has a control character in it\n");
  const std::string taken = fileOf("fabrion", {{"e1", "h", "eth0"}});
  EXPECT_EQ(saidOf({{taken}, {}, {}, {}}),
            "what was discovered is no fabric: a switch named 'fabrion'; expected another name, "
            "since the agent keeps entries of the model alive by that one\n");
}

// ---- Notes

std::string notesOn(const std::vector<std::string>& files) {
  return saidOf({files, {}, {}, {}}, Outcome::done);
}

TEST(ErrorsOfDiscover, NotesOnNames) {
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "", "eth0", "02::7"}})}),
            "note: '02::7': tells no name; called by the id of its chassis, '02::7'\n");
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "x", "eth0", "02::7"}, {"e2", "x", "eth0", "02::8"}})}),
            "note: 'x-02::7': one of 2 that call themselves 'x'; told apart by the id of its "
            "chassis\n"
            "note: 'x-02::8': one of 2 that call themselves 'x'; told apart by the id of its "
            "chassis\n");
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "b.example", "e1", "02::7"},
                                  {"e2", "b.example", "e2", "02::8"}}),
                     fileOf("b", {{"e1", "a", "e1"}, {"e2", "a", "e2"}})}),
            "note: 'b': calls itself 'b.example'; taken for the switch 'b' that has a file\n"
            "note: 'b': neighbours with 2 ids of their chassis call themselves 'b.example'; taken "
            "for one switch\n");
}

TEST(ErrorsOfDiscover, NotesOnWhatANeighbourIs) {
  EXPECT_EQ(notesOn({fileOf(
                "a", {{"e1", "r", "x", "02::1", "Router"}, {"e2", "t", "x", "02::2", "Tel"}})}),
            "note: 'r': has no file; taken for a switch, for it says that it is a bridge or "
            "router, with the ports that others see\n"
            "note: 't': does not say whether it is a switch or a host; taken for a host\n");
  EXPECT_EQ(notesOn({written("lonely.json", R"({"lldp": {}})")}),
            "note: switch 'lonely' has no neighbours, so no port of it is known; it is left out\n");
}

TEST(ErrorsOfDiscover, NotesOnPorts) {
  const std::string described = R"(,"descr":[{"value":"eth2"}])";
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "x", "02::9", "02::1", "Station", "mac", described}})}),
            "note: 'x': its ports are named by their descriptions, for their ids are no names\n");
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "x", "02::9", "02::1", "Station", "mac"}})}),
            "note: '02::9' of 'x' is known by an id of the kind 'mac' alone, which need not be the "
            "name of the port\n");
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "a", "e1"}, {"e2", "x", "eth0", "02::2"}})}),
            "note: 'a': 'e1' of 'a' hears itself; no link\n");
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "x", "eth0", "02::1"}, {"e1", "y", "eth0", "02::2"}})}),
            "note: 'a': 'e1' of 'a' has 2 neighbours, as through a medium that passes LLDP on; a "
            "link to each\n");
  Seen other{"e1", "y", "eth0", "02::2"};
  other.via = "CDPv2";
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "x", "eth0", "02::1"}, other})}),
            "note: 'a': what 'e1' of 'a' hears by 'CDPv2' is left out, for it has a neighbour by "
            "LLDP\n");
}

TEST(ErrorsOfDiscover, NotesOnLinks) {
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "b", "02::9", "02::1", "Bridge", "mac"}}),
                     fileOf("b", {{"e9", "a", "02::8", "02::2", "Bridge", "mac"}})}),
            "note: 'e1' of 'a' and 'e9' of 'b' are taken for the two ends of one link, the only "
            "one between the switches\n");
  EXPECT_EQ(
      notesOn({fileOf("a", {{"e1", "x", "eth0"}}), fileOf("b", {{"e9", "a", "e7", "02::2"}})}),
      "note: 'e9' of 'b' sees 'e7' of 'a', which has a file and does not see it back\n");
}

TEST(ErrorsOfDiscover, NotesOnPortGroups) {
  const std::string bundled = R"(,"aggregation":[{"value":"7"}])";
  EXPECT_EQ(notesOn({fileOf("a", {{"e1", "x", "eth0", "02::1", "Station", "ifname", bundled},
                                  {"e2", "x", "eth1", "02::1", "Station", "ifname", bundled}})}),
            "note: 'a': ports 'e1', 'e2' lead to ports that 'x' has bundled; whether they are a "
            "port group here too, LLDP does not tell, so they are none\n"
            "note: 'x': the name of port group 'lag7' is made from its aggregation id, for LLDP "
            "does not tell its name\n");
}

}  // namespace
}  // namespace Fabrion::Host
