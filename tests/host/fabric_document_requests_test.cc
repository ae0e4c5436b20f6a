// Mistakes in requests.

#include "host/FabricDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/host/fabric_documents.h"

namespace Fabrion::Host {
namespace {

using Test::ground;
using Test::problems;
using testing::ElementsAre;
using testing::StartsWith;

TEST(FabricDocument, ARequestSaysWhoWhereAndWhat) {
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {hostname: h, vlans: 1}\n"
                        "  - {client: a, vlans: 1}\n"
                        "  - {client: a, hostname: h}\n"
                        "  - {client: a, switch: leaf1, vlans: 1}\n"
                        "  - {client: a, port: e1, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: e1}\n"
                        "  - {client: a, hostname: h2, port: e1, native: 1, vlans: 1}\n"
                        "  - acme\n"),
      ElementsAre("f:13:5: a request of nobody; expected the key 'client'",
                  "f:14:5: a request without a place; expected 'hostname', or 'switch' and 'port'",
                  "f:15:5: a request for a hostname without VLANs; expected the key 'vlans'",
                  "f:16:5: a request on a switch without a port; expected the key 'port'",
                  "f:17:5: a request on a port without its switch; expected the key 'switch'",
                  "f:18:5: a request for nothing; expected 'vlans', 'native' or 'remote hosts'",
                  StartsWith("f:19:31: 'port' in a request for a hostname"),
                  StartsWith("f:19:41: 'native' in a request for a hostname"),
                  "f:20:5: 'acme' as a request; expected a map"));
}

TEST(FabricDocument, AVlanGoesFrom1To4094) {
  EXPECT_THAT(
      problems("requests:\n"
               "  - {client: a, hostname: h1, vlans: [0, 4095, 10-5, ten, 010, 1-, -5, 1--2, '']}\n"
               "  - {client: a, hostname: h2, vlans: [1, 4094, 1-4094]}\n"),
      ElementsAre(StartsWith("f:3:39: no VLANs: '0'; expected numbers from 1 to 4094"),
                  StartsWith("f:3:42: no VLANs: '4095'"),
                  "f:3:48: the range '10-5' falls; expected the lower VLAN first",
                  StartsWith("f:3:54: no VLANs: 'ten'"), StartsWith("f:3:59: no VLANs: '010'"),
                  StartsWith("f:3:64: no VLANs: '1-'"), StartsWith("f:3:68: no VLANs: '-5'"),
                  StartsWith("f:3:72: no VLANs: '1--2'"), StartsWith("f:3:78: no VLANs: ''")));
  EXPECT_THAT(problems(ground + "requests:\n"
                                "  - {client: a, switch: leaf1, port: e1, native: 0}\n"
                                "  - {client: a, switch: leaf1, port: e2, native: 1-2}\n"
                                "  - {client: a, switch: leaf1, port: e3, native: [1]}\n"),
              ElementsAre("f:13:50: no VLAN: '0'; expected a number from 1 to 4094",
                          StartsWith("f:14:50: no VLAN: '1-2'"),
                          "f:15:50: a list as the native VLAN; expected one text"));
}

TEST(FabricDocument, TheSwitchAndPortOfARequestAreDeclared) {
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {client: a, switch: laef1, port: e1, vlans: 1}\n"
                        "  - {client: a, switch: srv1, port: eth0, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: E11, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: po1, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: 'e[1-2]', vlans: 1}\n"
                        "  - {client: b, switch: leaf1, port: e10, vlans: 9999}\n"),
      ElementsAre(
          "f:13:25: no switch 'laef1' is declared; did you mean 'leaf1'?",
          "f:14:25: 'srv1' is a host; expected a switch, or 'hostname: compute1' to ask for the "
          "host",
          "f:15:38: switch 'leaf1' has no port 'E11'; did you mean 'e1'?",
          "f:16:38: 'po1' is a port group of switch 'leaf1'; expected one of its ports",
          "f:17:38: no name of a port: 'e[1-2]'; expected one port, and no range",
          "f:18:38: switch 'leaf1' has no port 'e10'; did you mean 'e1'?",
          StartsWith("f:18:50: no VLANs: '9999'")));
}

TEST(FabricDocument, AClientHasOneRequestAtAPlace) {
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {client: a, switch: leaf1, port: e1, vlans: 1}\n"
                        "  - {client: a, switch: leaf2, port: e1, vlans: 1}\n"
                        "  - {client: b, switch: leaf1, port: e1, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: e1, vlans: 2}\n"
                        "  - {client: a, hostname: h, vlans: 1}\n"
                        "  - {client: a, hostname: h, vlans: 2}\n"),
      ElementsAre("f:16:5: client 'a' asks twice for port 'e1' of 'leaf1', first at f:13:5; "
                  "expected the two requests merged into one",
                  "f:18:5: client 'a' asks twice for hostname 'h', first at f:17:5; expected the "
                  "two requests merged into one"));
}

TEST(FabricDocument, NobodyIsNamedLikeTheAgent) {
  EXPECT_THAT(
      problems("switches: {fabrion: {ports: e1}}\n"
               "requests: [{client: fabrion, hostname: h, vlans: 1}]\n"),
      ElementsAre("f:2:12: a switch named 'fabrion'; expected another name, since the agent keeps "
                  "entries of the model alive by that one",
                  "f:3:21: a client named 'fabrion'; expected another name, since the agent keeps "
                  "entries of the model alive by that one",
                  StartsWith("f:3:21: client 'fabrion' is named like a switch, at f:2:12")));
}

TEST(FabricDocument, AClientIsNamedLikeNothingThatKeepsEntriesAliveBesideIt) {
  const std::string because =
      "; expected another name, since each keeps entries of the model alive by its name";
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {client: leaf2, hostname: h, vlans: 1}\n"
                        "  - {client: srv1, hostname: h, vlans: 1}\n"
                        "  - {client: far, hostname: h, vlans: 1}\n"
                        "  - {client: e1, switch: leaf1, port: e1, vlans: 1}\n"
                        "  - {client: po1, switch: leaf1, port: e2, vlans: 1}\n"
                        "  - {client: a, switch: leaf1, port: e3, remote hosts: far}\n"
                        // These are apart: another port, another switch's group, a hostname.
                        "  - {client: e1, hostname: h, vlans: 1}\n"
                        "  - {client: e2, switch: leaf1, port: e1, vlans: 1}\n"
                        "  - {client: po1, switch: leaf2, port: e2, vlans: 1}\n"
                        "  - {client: compute1, hostname: compute1, vlans: 1}\n"),
      ElementsAre("f:13:14: client 'leaf2' is named like a switch, at f:4:3" + because,
                  "f:14:14: client 'srv1' is named like a host, at f:6:3" + because,
                  "f:15:14: client 'far' is named like a remote host, at f:18:56" + because,
                  "f:16:14: client 'e1' is named like the port that it asks for, 'e1', of switch "
                  "'leaf1'" +
                      because,
                  "f:17:14: client 'po1' is named like a port group of switch 'leaf1'" + because));
}

TEST(FabricDocument, ARemoteHostIsNoOtherSwitchOrHost) {
  EXPECT_THAT(
      problems(ground + "requests:\n"
                        "  - {client: a, switch: leaf1, port: e1, remote hosts: [leaf2, srv1, "
                        "srv2, compute1, x, x]}\n"),
      ElementsAre("f:13:57: remote host 'leaf2' is the name of a switch, at f:4:3; expected the "
                  "hostname of "
                  "a host",
                  "f:13:64: remote host 'srv1' is the name of a host, at f:6:3, whose hostname is "
                  "'compute1'; expected a hostname that is no other host's name",
                  "f:13:89: remote host 'x' stands twice in one request"));
}

}  // namespace
}  // namespace Fabrion::Host
