// What `fabrion replay` says of each journal that it cannot run, word for word: of lines of another
// form, of names that do not resolve, of steps that are not possible now, and of operations that
// raise.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "host/BadJournal.h"
#include "host/JournalWriter.h"
#include "host/Module.h"
#include "host/Replay.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

struct Replayed {
  ExitStatus status;
  std::string out;
  std::string err;
};

Replayed replayed(const std::string& journal) {
  std::istringstream lines(journal);
  std::ostringstream out;
  std::ostringstream err;
  const ExitStatus status = replay({"j", {}}, lines, out, err, loadModule(FABRION_MODULE));
  return {status, out.str(), err.str()};
}

struct Mistaken {
  std::string line;
  std::string expected;
};

// Each line is replayed behind the others of `before`, which are right.
void expectAll(const std::vector<Mistaken>& all, const std::string& before = "") {
  const auto lines = std::count(before.begin(), before.end(), '\n');
  for (const auto& [line, expected] : all) {
    const Replayed result = replayed(before + line + "\n");
    EXPECT_EQ(result.err, "j:" + std::to_string(lines + 1) + ": " + expected + "\n");
    EXPECT_EQ(result.status, ExitStatus::badJournal) << line;
    EXPECT_EQ(result.out, "") << line;
  }
}

// ---- The form of a line

TEST(ErrorsOfJournals, WhatIsNoOperation) {
  expectAll({
      {" # no comment", "no JSON from character 2 on"},
      {"  ", "no JSON from character 3 on"},
      {"{\"op\":\"host.enter\",\"host\":\"\xff\"}", "no JSON from character 28 on"},
      {R"({"op":"vlan.add","request":["c","h"],"vlan":1e999})", "a number is too large to be read"},
      {R"(["op","dump"])", R"(a line is to be an object, {"op": ...})"},
      {R"({"op":["dump"]})", R"('op' is to be a text, not ["dump"])"},
      {R"({"op":"host.enter"})", "host.enter has no member 'host'"},
      {R"({"op":"dump","host":"a"})", "dump takes no member 'host'"},
  });
}

TEST(ErrorsOfJournals, NumbersOfAnotherForm) {
  for (const char* number : {"-1", "-0", "1.0", "1.5", "4294967296", "\"1\"", "null", "true"}) {
    const std::string vlan = std::string(R"("vlan":)") + number + "}";
    expectAll({{R"({"op":"vlan.add","request":["c","h"],)" + vlan,
                std::string("'vlan' is to be a number from 0 to 4294967295, not ") +
                    (number == std::string("-0") ? "0" : number)}});
    if (number == std::string("null")) continue;
    expectAll({{R"({"op":"native","request":["c","s","e"],)" + vlan,
                std::string("'vlan' is to be a number from 0 to 4294967295 or null, not ") +
                    (number == std::string("-0") ? "0" : number)}});
  }
}

TEST(ErrorsOfJournals, ValuesOfAnotherForm) {
  const std::string request = R"("request":["c","s","e"])";
  expectAll({
      {R"({"op":"remote",)" + request + R"(,"hostname":"h","value":1})",
       "'value' is to be true or false, not 1"},
      {R"({"op":"request.start",)" + request + R"(,"name":7})", "'name' is to be a text, not 7"},
      {R"({"op":"edge.del","from":"e1"})", R"('from' is to be [HOST, PORT], not "e1")"},
      {R"({"op":"edge.add","from":["a","b"],"to":[["a"]]})",
       R"('to'[0] is to be [HOST, PORT], not ["a"])"},
      {R"({"op":"edge.add","from":["a","b"],"to":{}})", "'to' is to be a list, not {}"},
      {R"({"op":"map.del","domain":"d"})", R"('domain' is to be [FIRST, SECOND], not "d")"},
      {R"({"op":"range.del","domain":["d",""],"vlan":5})",
       "'vlan' is to be [LOW, HIGH], numbers from 0 to 4294967295, not 5"},
      {R"({"op":"map.add","domain":["d",""],"ranges":[[[1,2]]]})",
       "'ranges'[0] is to be [[VLAN, VLAN], [VNI, VNI]], not [[1,2]]"},
      {R"({"op":"native","request":["c","h"],"vlan":1})",
       R"('request' is to be a port request, [CLIENT, SWITCH, INTERFACE], not ["c","h"])"},
      {R"({"op":"request.new","request":["c"]})",
       "'request' is to be [CLIENT, HOSTNAME] or [CLIENT, SWITCH, INTERFACE], not [\"c\"]"},
      {R"({"op":"mount","switch":"s","flag":"vlan","value":false})",
       R"('flag' is to be "topology", "portVlanConfig", "dynVtepConfig", "dynVtepStatus" or )"
       R"("ready", not "vlan")"},
      {R"({"op":"invoke","machine":"m","handler":"h","key":[7,"a"]})",
       "'key' is to be a text, a number from 0 to 4294967295, [FIRST, SECOND] or [TEXT, NUMBER], "
       "not [7,\"a\"]"},
      {R"({"op":"host.new","host":"a","hostname":"b","ports":"e1"})",
       R"('ports' is to be a list, not "e1")"},
      {R"({"op":"host.new","host":"a","hostname":"b","groups":["po1"]})",
       R"('groups' is to be {GROUP: [PORT...]}, not ["po1"])"},
  });
}

TEST(ErrorsOfJournals, OutputsOfAnotherForm) {
  const std::string head = R"({"op":"switch.new","switch":"s","outputs":)";
  expectAll({
      {head + "[]}", "'outputs' is to be an object of outputs, not []"},
      {head + R"({"vlans":""}})",
       "'outputs' has the member 'vlans'; it may have portAllowedVlanList, portNativeVlan, "
       "vlanList and vtepConfig"},
      {head + R"({"vlanList":1}})", "'outputs'['vlanList'] is to be a text, not 1"},
      {head + R"({"portAllowedVlanList":[]}})",
       "'outputs'['portAllowedVlanList'] is to be {PORT: LIST}, not []"},
      {head + R"({"portNativeVlan":[]}})",
       "'outputs'['portNativeVlan'] is to be {PORT: VLAN}, not []"},
      {head + R"({"portNativeVlan":{"e1":"5"}}})",
       "'outputs'['portNativeVlan']['e1'] is to be a number from 0 to 4294967295, not \"5\""},
      {head + R"({"vtepConfig":[]}})",
       "'outputs'['vtepConfig'] is to be {VTEP: [[PORT, VLAN, VNI]...]}, not []"},
      {head + R"({"vtepConfig":{"v":[["e1",10]]}}})",
       "'outputs'['vtepConfig']['v'][0] is to be [PORT, VLAN, VNI], not [\"e1\",10]"},
  });
}

TEST(ErrorsOfJournals, AValueIsShownInPart) {
  expectAll({{R"({"op":"host.enter","host":[")" + std::string(57, 'x') + "ää\"]}",
              "'host' is to be a text, not [\"" + std::string(57, 'x') + "..."}});
}

// ---- Names that do not resolve, and steps that are not possible now

TEST(ErrorsOfJournals, TheTopology) {
  expectAll({
      {R"({"op":"topology.stop"})", "the topology does not run"},
      {R"({"op":"element.release","element":"leaf1","referrer":"r"})",
       "there is no element 'leaf1'"},
  });
  expectAll({{R"({"op":"topology.start"})", "the topology runs already"}},
            R"({"op":"topology.start"})"
            "\n");
}

TEST(ErrorsOfJournals, HostsPortsAndGroups) {
  const std::string leaf =
      R"({"op":"host.new","host":"leaf1","hostname":"h","ports":["e1","e2"],"groups":{"po1":["e2"]}})"
      "\n";
  const std::string noHost = "there is no host 'srv1'";
  const std::string noPort = "the host 'leaf1' lists no port 'e3'";
  const std::string noGroup = "the host 'leaf1' has no port group 'po2'";
  expectAll(
      {
          {R"({"op":"host.new","host":"a","hostname":"h","ports":["e1"],"groups":{"po1":["e2"]}})",
           "the group 'po1' has the member 'e2', which is none of the host's ports"},
          {R"({"op":"host.enter","host":"srv1"})", noHost},
          {R"({"op":"port.add","host":"srv1","port":"e1"})", noHost},
          {R"({"op":"port.del","host":"srv1","port":"e1"})", noHost},
          {R"({"op":"port.del","host":"leaf1","port":"e3"})", noPort},
          {R"({"op":"group.add","host":"srv1","group":"po1","members":[]})", noHost},
          {R"({"op":"group.add","host":"leaf1","group":"po2","members":["e1","e3"]})", noPort},
          {R"({"op":"group.del","host":"srv1","group":"po1"})", noHost},
          {R"({"op":"group.del","host":"leaf1","group":"po2"})", noGroup},
          {R"({"op":"member.add","host":"leaf1","group":"po2","port":"e1"})", noGroup},
          {R"({"op":"member.add","host":"leaf1","group":"po1","port":"e3"})", noPort},
          {R"({"op":"member.del","host":"leaf1","group":"po2","port":"e2"})", noGroup},
          {R"({"op":"member.del","host":"leaf1","group":"po1","port":"e3"})", noPort},
      },
      leaf);
}

TEST(ErrorsOfJournals, EdgesAndHostnames) {
  const std::string leaf = R"({"op":"host.new","host":"leaf1","hostname":"h","ports":["e1","e2"]})"
                           "\n"
                           R"({"op":"edge.add","from":["leaf1","e2"]})"
                           "\n";
  const std::string noHost = "there is no host 'srv1'";
  const std::string noEdge = "there is no edge from 'leaf1', 'e1'";
  const std::string noHostname = "there is no hostname 'web'";
  expectAll(
      {
          {R"({"op":"edge.add","from":["srv1","eth0"]})", noHost},
          {R"({"op":"edge.add","from":["leaf1","e1"],"to":[["srv1","eth0"]]})", noHost},
          {R"({"op":"edge.to","from":["leaf1","e1"],"to":["leaf1","e2"],"value":true})", noEdge},
          {R"({"op":"edge.to","from":["leaf1","e2"],"to":["srv1","eth0"],"value":true})", noHost},
          {R"({"op":"edge.to.del","from":["leaf1","e1"],"to":["leaf1","e2"]})", noEdge},
          {R"({"op":"edge.to.del","from":["leaf1","e2"],"to":["leaf1","e1"]})",
           "the edge from 'leaf1', 'e2' has no far port 'leaf1', 'e1'"},
          {R"({"op":"edge.del","from":["leaf1","e1"]})", noEdge},
          {R"({"op":"hostname.add","hostname":"web","hosts":["leaf1","srv1"]})", noHost},
          {R"({"op":"hostname.del","hostname":"web"})", noHostname},
          {R"({"op":"hostname.host.add","hostname":"web","host":"leaf1"})", noHostname},
          {R"({"op":"hostname.host.del","hostname":"web","host":"leaf1"})", noHostname},
      },
      leaf);
  expectAll({{R"({"op":"hostname.host.add","hostname":"web","host":"srv1"})", noHost}},
            leaf + R"({"op":"hostname.add","hostname":"web"})" + "\n");
}

TEST(ErrorsOfJournals, Requests) {
  struct Request {
    std::string member;
    std::string words;
  };
  for (const auto& [member, words] :
       {Request{R"("request":["acme","web"])", "['acme', 'web']"},
        Request{R"("request":["acme","leaf1","e1"])", "['acme', 'leaf1', 'e1']"}}) {
    const std::string none = "there is no request " + words;
    const std::string noVlan = "the request " + words + " has no VLAN 10";
    const auto line = [&member = member](const std::string& op, const std::string& rest = "") {
      return R"({"op":")" + op + "\"," + member + rest + "}";
    };
    const std::string vni = R"(,"vlan":10,"vni":5010)";
    const std::string domain = R"(,"vlan":10,"domain":["d",""])";
    expectAll({
        {line("request.start"), none},
        {line("request.stop"), none},
        {line("vlan.add", R"(,"vlan":10)"), none},
        {line("vlan.del", R"(,"vlan":10)"), none},
        {line("vni.add", vni), none},
        {line("vni.del", vni), none},
        {line("domain.add", domain), none},
        {line("domain.del", domain), none},
    });
    const std::string made = line("request.new") + "\n";
    expectAll(
        {
            {line("request.stop"), "the request " + words + " does not run"},
            {line("vni.add", vni), noVlan},
            {line("vni.del", vni), noVlan},
            {line("domain.add", domain), noVlan},
            {line("domain.del", domain), noVlan},
        },
        made);
    expectAll({{line("request.start"), "the request " + words + " runs already"}},
              made + line("request.start") + "\n");
  }
  const std::string none = "there is no request ['acme', 'leaf1', 'e1']";
  const std::string onPort = R"("request":["acme","leaf1","e1"])";
  expectAll({
      {R"({"op":"native",)" + onPort + R"(,"vlan":10})", none},
      {R"({"op":"remote",)" + onPort + R"(,"hostname":"h","value":true})", none},
      {R"({"op":"remote.del",)" + onPort + R"(,"hostname":"h"})", none},
  });
}

TEST(ErrorsOfJournals, StaticMaps) {
  const std::string none = "there is no map for the domain ['d', 'x']";
  expectAll({
      {R"({"op":"map.del","domain":["d","x"]})", none},
      {R"({"op":"range.set","domain":["d","x"],"vlan":[1,2],"vni":[3,4]})", none},
      {R"({"op":"range.del","domain":["d","x"],"vlan":[1,2]})", none},
  });
}

TEST(ErrorsOfJournals, Switches) {
  const std::string none = "there is no switch 'leaf1'";
  expectAll({
      {R"({"op":"switch.start","switch":"leaf1"})", none},
      {R"({"op":"switch.announce","switch":"leaf1"})", none},
      {R"({"op":"switch.stop","switch":"leaf1"})", none},
      {R"({"op":"vtep.add","switch":"leaf1","vtep":"v"})", none},
      {R"({"op":"vtep.del","switch":"leaf1","vtep":"v"})", none},
      {R"({"op":"mount","switch":"leaf1","flag":"ready","value":true})", none},
      {R"({"op":"mount.update","switch":"leaf1"})", none},
  });
  const std::string made = R"({"op":"switch.new","switch":"leaf1"})"
                           "\n";
  expectAll(
      {
          {R"({"op":"switch.new","switch":"leaf1"})", "the switch 'leaf1' is there already"},
          {R"({"op":"switch.stop","switch":"leaf1"})", "the switch 'leaf1' does not run"},
      },
      made);
  expectAll({{R"({"op":"switch.start","switch":"leaf1"})", "the switch 'leaf1' runs already"}},
            made + R"({"op":"switch.start","switch":"leaf1"})" + "\n");
}

TEST(ErrorsOfJournals, MachinesAndTheirHandlers) {
  const auto invoke = [](const std::string& machine, const std::string& rest) {
    return R"({"op":"invoke","machine":")" + machine + R"(","handler":)" + rest + "}";
  };
  for (const char* machine :
       {"", "topologySm", "networkElementCollectionSm", "networkElementSm", "switchNodeSm/leaf1",
        "networkElementSm/leaf1", "clientResourcesForHostnameSm/acme/web",
        "clientResourcesForSwitchportSm/acme/leaf1/e1", "remoteMountsStatus/leaf1"}) {
    expectAll({{invoke(machine, R"("handleInitialized")"),
                std::string("there is no machine '") + machine + "'"}});
  }
  for (const char* path : {"switchNodeSm/a~2", "switchNodeSm/a~"}) {
    expectAll(
        {{invoke(path, R"("handleInitialized")"),
          std::string("the machine '") + path + "' has a ~ that is followed by neither 0 nor 1"}});
  }
  const std::string running = R"({"op":"topology.start"})"
                              "\n"
                              R"({"op":"switch.new","switch":"leaf1"})"
                              "\n"
                              R"({"op":"switch.start","switch":"leaf1"})"
                              "\n";
  expectAll(
      {
          {invoke("topologySm", R"("handleNothing")"),
           "Fabrion::Agent::TopologySm has no handler 'handleNothing'"},
          {invoke("topologySm", R"("handleHost")"),
           "Fabrion::Agent::TopologySm::handleHost takes the key hostId (Nimbo::String)"},
          {invoke("topologySm", R"("handleInitialized","key":"x")"),
           "Fabrion::Agent::TopologySm::handleInitialized takes no key"},
          {invoke("switchNodeSm/leaf1", R"("handleNativeVlanConflict","key":["e1","10"])"),
           "Fabrion::Agent::SwitchNodeSm::handleNativeVlanConflict takes the key intfName "
           "(Nimbo::String), vlanId (U32)"},
      },
      running);
}

// ---- Operations that raise: the replay goes on

TEST(ErrorsOfJournals, ValuesOutOfRange) {
  const auto raised = [](const std::string& outputs) {
    const Replayed result =
        replayed(R"({"op":"switch.new","switch":"s","outputs":)" + outputs + "}\n");
    EXPECT_EQ(result.status, ExitStatus::success);
    EXPECT_EQ(result.err, "");
    return result.out;
  };
  const std::string vlan =
      R"({"error":"Bridging::VlanIdOrNone::value > 4094 not allowed","line":1})"
      "\n";
  EXPECT_EQ(raised(R"({"portNativeVlan":{"e1":4095}})"), vlan);
  EXPECT_EQ(raised(R"({"vtepConfig":{"v":[["e1",4095,16777216]]}})"), vlan);
  EXPECT_EQ(raised(R"({"vtepConfig":{"v":[["e1",10,16777216]]}})"),
            R"({"error":"Vxlan::Vni::value < Vxlan::Vni::min or > Vxlan::Vni::max not allowed",)"
            R"("line":1})"
            "\n");
}

// ---- What is written

TEST(ErrorsOfJournals, ATextInAnotherEncodingIsNotWritten) {
  try {
    lineOf(Op::HostEnter{"\xff"});
    FAIL();
  } catch (const BadJournal& bad) {
    EXPECT_STREQ(bad.what(), "a text of host.enter is not UTF-8");
  }
}

}  // namespace
}  // namespace Fabrion::Host

#endif
