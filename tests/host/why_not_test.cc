// Why a port does not have a VLAN, native VLAN or VNI that a request names: for each reason a
// document, what is said of it, and the one change that, going by what is said, brings it there.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <ostream>

#include "host/FabricChange.h"
#include "host/Module.h"
#include "host/Why.h"
#include "host/WhyText.h"
#include "tests/host/Texts.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::fabricOf;
using testing::HasSubstr;
using testing::Not;

void applyTo(Controller& controller, const std::vector<Operation>& operations) {
  for (const Operation& operation : operations) controller.apply(operation);
}

std::string said(const std::string& document, const WhyQuestion& question) {
  const Fabric fabric = fabricOf(document);
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, FabricChange().to(fabric));
  return textOf(explain(fabric, controller, question));
}

struct Case {
  const char* name;
  WhyQuestion question;
  const char* document;
  const char* said;
  // Replaced once, this brings `stands` to the port.
  const char* instead;
  const char* by;
  const char* stands;
};

void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }

class WhyNotCase : public testing::TestWithParam<Case> {};

TEST_P(WhyNotCase, IsSaidAndWithoutItTheEntryStands) {
  const Case& one = GetParam();
  EXPECT_EQ(said(one.document, one.question), one.said);
  std::string cured = one.document;
  const std::size_t place = cured.find(one.instead);
  ASSERT_NE(place, std::string::npos);
  cured.replace(place, std::string(one.instead).size(), one.by);
  EXPECT_THAT(said(one.document, one.question), Not(HasSubstr(one.stands)));
  EXPECT_THAT(said(cured, one.question), HasSubstr(one.stands));
}

const Case cases[] = {
    {"Member",
     {"leaf", "e1", 10},
     R"(
switches: {leaf: {ports: [e1, e2], groups: {po1: [e1, e2]}}}
requests: [{client: acme, switch: leaf, port: e1, vlans: 10}]
)",
     R"(leaf e1: VLAN 10 is not allowed
  because e1 is a member of po1 (test.yaml:3), which has what is asked for on it
leaf po1: VLAN 10 is allowed
  because e1 is a member of po1 (test.yaml:3)
    because acme asks for VLAN 10 on port e1 (test.yaml:4)
)",
     "[e1, e2]}}}",
     "e2}}}",
     "leaf e1: VLAN 10 is allowed\n"},

    {"NoLink",
     {"leaf", "e1", 10},
     R"(
switches: {leaf: {ports: [e1, e2]}}
hosts: {srv1: {hostname: compute, ports: eth0}, srv2: {hostname: compute, ports: eth0}}
links:
  - [leaf:e2, srv1:eth0]
requests: [{client: acme, hostname: compute, vlans: 10}]
)",
     R"(leaf e1: VLAN 10 is not allowed
  because no link joins e1 to srv1 (compute), which is linked to leaf:e2
    though acme asks for VLAN 10 on compute (test.yaml:7)
  because no link joins e1 to srv2 (compute), which has no link
    though acme asks for VLAN 10 on compute (test.yaml:7)
)",
     "links:\n",
     "links:\n  - [leaf:e1, srv2:eth0]\n",
     "leaf e1: VLAN 10 is allowed\n"},

    {"NoHost",
     {"leaf", "e1", 10},
     R"(
switches: {leaf: {ports: [e1, e2]}}
hosts: {}
links: []
requests:
  - {client: acme, hostname: compute, vlans: 10}
  - {client: blue, hostname: compute, vlans: [10, 11]}
)",
     R"(leaf e1: VLAN 10 is not allowed
  because no host has the hostname compute
    though acme asks for VLAN 10 on compute (test.yaml:7)
    though blue asks for VLAN 10 on compute (test.yaml:8)
)",
     "hosts: {}\nlinks: []",
     "hosts: {srv: {hostname: compute, ports: eth0}}\nlinks: [[leaf:e1, srv:eth0]]",
     "leaf e1: VLAN 10 is allowed\n"},

    {"NoHostForARemoteHost",
     {"leaf", "e1", {}},
     R"(
switches: {leaf: {ports: e1}}
hosts: {}
requests:
  - {client: acme, hostname: box, vlans: 10-12}
  - {client: blue, switch: leaf, port: e1, remote hosts: box}
)",
     R"(leaf e1: VLANs 10-12 are not allowed
  because no host has the hostname box; box behind e1 needs a host of that name and hostname
    though acme asks for VLANs 10-12 on box (test.yaml:6)
)",
     "hosts: {}\n",
     "hosts: {box: }\n",
     "leaf e1: VLANs 10-12 are allowed\n"},

    {"AHostOfAnotherNameForARemoteHost",
     {"leaf", "e1", {}},
     R"(
switches: {leaf: {ports: e1}}
hosts: {srv: {hostname: box}}
requests:
  - {client: acme, hostname: box, vlans: 10}
  - {client: blue, switch: leaf, port: e1, remote hosts: box}
)",
     R"(leaf e1: VLAN 10 is not allowed
  because no link joins e1 to srv (box), which has no link; box behind e1 needs a host of that name and hostname
    though acme asks for VLAN 10 on box (test.yaml:6)
)",
     "srv: {hostname: box}",
     "box: ",
     "leaf e1: VLAN 10 is allowed\n"},

    {"ASwitchBehindThePort",
     {"leaf", "e1", {}},
     R"(
switches:
  leaf: {ports: [e1, e2]}
  spine: {ports: e1}
hosts: {srv: {ports: eth0}}
links: [[leaf:e1, spine:e1]]
requests: [{client: acme, hostname: spine, vlans: 10}]
)",
     R"(leaf e1: VLAN 10 is not allowed
  because spine is a switch (test.yaml:5); ports get what is asked for on hosts
    though acme asks for VLAN 10 on spine (test.yaml:8)
)",
     "[[leaf:e1, spine:e1]]\nrequests: [{client: acme, hostname: spine",
     "[[leaf:e1, srv:eth0]]\nrequests: [{client: acme, hostname: srv",
     "leaf e1: VLAN 10 is allowed\n"},

    {"TheSwitchItself",
     {"leaf", "e1", 10},
     R"(
switches: {leaf: {ports: e1}}
hosts: {srv: {ports: eth0}}
links: [[leaf:e1, srv:eth0]]
requests: [{client: acme, hostname: leaf, vlans: 10}]
)",
     R"(leaf e1: VLAN 10 is not allowed
  because leaf is a switch (test.yaml:3); ports get what is asked for on hosts
    though acme asks for VLAN 10 on leaf (test.yaml:6)
)",
     "hostname: leaf",
     "hostname: srv",
     "leaf e1: VLAN 10 is allowed\n"},

    {"NativeAlone",
     {"leaf", "e1", 10},
     R"(
switches: {leaf: {ports: e1}}
requests: [{client: acme, switch: leaf, port: e1, native: 10}]
)",
     R"(leaf e1: VLAN 10 is native
  because acme asks for native VLAN 10 on port e1 (test.yaml:4)
leaf e1: VLAN 10 is not allowed
  because it is asked for as native alone
    though acme asks for native VLAN 10 on port e1 (test.yaml:4)
)",
     "native: 10",
     "native: 10, vlans: 10",
     "leaf e1: VLAN 10 is allowed\n"},

    {"NotAskedHere",
     {"leaf", "e1", 10},
     R"(
switches: {leaf: {ports: [e1, e2]}}
requests: [{client: acme, switch: leaf, port: e2, vlans: 10}]
)",
     R"(leaf e1: VLAN 10 is not allowed
  because no request asks for it here
    though acme asks for VLAN 10 on port leaf:e2 (test.yaml:4)
)",
     "port: e2",
     "port: e1",
     "leaf e1: VLAN 10 is allowed\n"},

    {"NoMapForTheDomain",
     {"leaf", "e1", {}},
     R"(
switches: {leaf: {ports: e1, vteps: v}}
requests: [{client: acme, switch: leaf, port: e1, vlans: 10-12, domains: prod/eu}]
static maps: {}
)",
     R"(leaf e1: VLANs 10-12 are allowed
  because acme asks for VLANs 10-12 on port e1 (test.yaml:4)
leaf e1: VLANs 10-12 have no VNI
  because domain prod/eu has no static map
    though acme puts VLANs 10-12 into domain prod/eu on port e1 (test.yaml:4)
)",
     "static maps: {}",
     "static maps: {prod/eu: {10-19: 110-119}}",
     "leaf e1: VLANs 10-12 have VNIs 110-112 on VTEP v"},

    {"NoRangeForTheVlan",
     {"leaf", "e1", 10},
     R"(
switches: {leaf: {ports: e1, vteps: v}}
requests: [{client: acme, switch: leaf, port: e1, vlans: 10-12, domains: prod/eu}]
static maps: {prod/eu: {11-19: 111-119}}
)",
     R"(leaf e1: VLAN 10 is allowed
  because acme asks for VLAN 10 on port e1 (test.yaml:4)
leaf e1: VLAN 10 has no VNI
  because the static map of prod/eu (test.yaml:5) has no VNI for it
    though acme puts VLAN 10 into domain prod/eu on port e1 (test.yaml:4)
)",
     "{11-19: 111-119}",
     "{10-19: 110-119}",
     "leaf e1: VLAN 10 has VNI 110 on VTEP v"},

    {"NoVniAskedFor",
     {"leaf", "e1", 10},
     R"(
switches: {leaf: {ports: e1, vteps: v}}
requests: [{client: acme, switch: leaf, port: e1, vlans: 10}]
)",
     R"(leaf e1: VLAN 10 is allowed
  because acme asks for VLAN 10 on port e1 (test.yaml:4)
leaf e1: VLAN 10 has no VNI
  because no request gives it a VNI or a domain
)",
     "vlans: 10",
     "vlans: 10, vnis: {10: 7}",
     "leaf e1: VLAN 10 has VNI 7 on VTEP v"},

    {"NoVtep",
     {"leaf", "e1", {}},
     R"(
switches: {leaf: {ports: e1}}
requests: [{client: acme, switch: leaf, port: e1, vlans: 10-12, vnis: {10-12: 110-112}}]
)",
     R"(leaf e1: VLANs 10-12 are allowed
  because acme asks for VLANs 10-12 on port e1 (test.yaml:4)
leaf e1: VLANs 10-12 have no VNI
  because leaf has no VTEP
    though acme asks for a VNI for VLANs 10-12 on port e1 (test.yaml:4)
)",
     "ports: e1",
     "ports: e1, vteps: v",
     "leaf e1: VLANs 10-12 have VNIs 110-112 on VTEP v"},

    {"AConflictOfVnis",
     {"leaf", "e1", {}},
     R"(
switches: {leaf: {ports: e1, vteps: v}}
hosts: {srv: {hostname: compute, ports: eth0}}
links: [[leaf:e1, srv:eth0]]
requests:
  - {client: acme, switch: leaf, port: e1, vlans: 10, vnis: {10: 7}}
  - {client: blue, hostname: compute, vlans: 10, domains: prod}
static maps:
  prod: {10-19: 110-119}
)",
     R"(leaf e1: VLAN 10 is allowed
  because acme asks for VLAN 10 on port e1 (test.yaml:7)
  because srv (compute) is behind e1: link leaf:e1 - srv:eth0 (test.yaml:5)
    because blue asks for VLAN 10 on compute (test.yaml:8)
leaf e1: VLAN 10 has no VNI
  because 2 VNIs are asked for, and a VLAN has one
    VNI 7
      because acme asks for VNI 7 for VLAN 10 on port e1 (test.yaml:7)
    VNI 110
      because the static map of prod gives VLANs 10-19 the VNIs 110-119 (test.yaml:10)
        because srv (compute) is behind e1: link leaf:e1 - srv:eth0 (test.yaml:5)
          because blue puts VLAN 10 into domain prod on compute (test.yaml:8)
)",
     ", vnis: {10: 7}",
     "",
     "leaf e1: VLAN 10 has VNI 110 on VTEP v"},

    {"AConflictOfNativeVlans",
     {"leaf", "e1", 20},
     R"(
switches: {leaf: {ports: e1}}
requests:
  - {client: acme, switch: leaf, port: e1, native: 10}
  - {client: blue, switch: leaf, port: e1, vlans: 20, native: 20}
)",
     R"(leaf e1: VLAN 20 is allowed
  because blue asks for VLAN 20 on port e1 (test.yaml:6)
leaf e1: no native VLAN
  because 2 native VLANs are asked for, and a port has one
    VLAN 10
      because acme asks for native VLAN 10 on port e1 (test.yaml:5)
    VLAN 20
      because blue asks for native VLAN 20 on port e1 (test.yaml:6)
)",
     "native: 10",
     "vlans: 10",
     "leaf e1: VLAN 20 is native\n"},

    {"AConflictOfTheMembersOfAGroup",
     {"leaf", "po1", {}},
     R"(
switches: {leaf: {ports: [e1, e2], groups: {po1: [e1, e2]}}}
requests:
  - {client: acme, switch: leaf, port: e1, native: 10}
  - {client: blue, switch: leaf, port: e2, native: 20}
)",
     R"(leaf po1: no native VLAN
  because 2 native VLANs are asked for, and a port has one
    VLAN 10
      because e1 is a member of po1 (test.yaml:3)
        because acme asks for native VLAN 10 on port e1 (test.yaml:5)
    VLAN 20
      because e2 is a member of po1 (test.yaml:3)
        because blue asks for native VLAN 20 on port e2 (test.yaml:6)
)",
     "native: 20",
     "vlans: 20",
     "leaf po1: VLAN 10 is native\n"},
};

INSTANTIATE_TEST_SUITE_P(WhyNot, WhyNotCase, testing::ValuesIn(cases),
                         [](const auto& one) { return one.param.name; });

TEST(WhyNot, ALaterVtepIsNotReachedByChanges) {
  const std::string leaf = "switches: {leaf: {ports: e1, vteps: [v1, v2]}}\n";
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, FabricChange().to(fabricOf(
                          leaf + "requests: [{client: acme, switch: leaf, port: e1, vlans: 10}]")));
  controller.apply(Op::VniAdd{PortRequestName{"acme", "leaf", "e1"}, 10, 7});
  const Fabric fabric = fabricOf(
      leaf + "requests: [{client: acme, switch: leaf, port: e1, vlans: 10, vnis: {10: 7}}]");
  EXPECT_EQ(textOf(explain(fabric, controller, {"leaf", "e1", 10})),
            R"(leaf e1: VLAN 10 is allowed
  because acme asks for VLAN 10 on port e1 (test.yaml:3)
leaf e1: VLAN 10 has VNI 7 on VTEP v1 (test.yaml:2)
  because acme asks for VNI 7 for VLAN 10 on port e1 (test.yaml:3)
leaf e1: VLAN 10 has no VNI on VTEP v2
  because changes reach the first VTEP, v1, alone
    though acme asks for a VNI for VLAN 10 on port e1 (test.yaml:3)
)");
}

TEST(WhyNot, WhatTheMachinesHaveNotBroughtIsSaidToBeSo) {
  const std::string before = R"(
switches: {leaf: {ports: e1}}
hosts: {srv: {ports: eth0}}
links: [[leaf:e1, srv:eth0]]
)";
  const Fabric fabric = fabricOf(before + R"(requests:
  - {client: acme, hostname: srv, vlans: 10}
  - {client: acme, switch: leaf, port: e1, vlans: 11, native: 12}
)");
  Controller controller(loadModule(FABRION_MODULE));
  applyTo(controller, FabricChange().to(fabricOf(before)));
  EXPECT_EQ(textOf(explain(fabric, controller, {"leaf", "e1", {}})),
            R"(leaf e1: VLAN 10 is not allowed
  because the machines have not brought it here; the documents ask for it
    though acme asks for VLAN 10 on srv (test.yaml:7)
leaf e1: VLAN 11 is not allowed
  because the machines have not brought it here; the documents ask for it
    though acme asks for VLAN 11 on port e1 (test.yaml:8)
leaf e1: no native VLAN
  because the machines have not brought it here; the documents ask for it
    though acme asks for native VLAN 12 on port e1 (test.yaml:8)
)");
}

TEST(WhyNot, OfManyFarEndsTheFirstAreNamed) {
  EXPECT_THAT(said(R"(
switches: {leaf: {ports: ["e[1-7]"]}}
hosts: {srv: {ports: ["p[2-7]"]}}
links:
  - [leaf:e2, srv:p2]
  - [leaf:e3, srv:p3]
  - [leaf:e4, srv:p4]
  - [leaf:e5, srv:p5]
  - [leaf:e6, srv:p6]
  - [leaf:e7, srv:p7]
requests: [{client: acme, hostname: srv, vlans: 10}]
)",
                   {"leaf", "e1", 10}),
              HasSubstr("which is linked to leaf:e2, leaf:e3, leaf:e4, leaf:e5 and 2 more\n"));
}

}  // namespace
}  // namespace Fabrion::Host

#endif
