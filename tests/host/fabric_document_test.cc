// Whole documents in, a fabric or problems out. Mistakes are in fabric_document_mistakes_test.cc
// and fabric_document_requests_test.cc, VNIs in vni_document_test.cc. The small texts inside
// documents, ranges and VLAN lists, have tests of their own in fabric_text_test.cc, the schema in
// fabric_document_schema_test.cc.

#include "host/FabricDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <string>
#include <vector>

#include "host/Limits.h"
#include "tests/host/fabric_documents.h"

namespace Fabrion::Host {
namespace {

using Test::fabric;
using Test::fabricIn;
using Test::ground;
using Test::problemsIn;
using Test::problemsOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Lines = Test::Problems;

std::vector<U32> range(U32 low, U32 high) {
  std::vector<U32> all(high - low + 1);
  std::iota(all.begin(), all.end(), low);
  return all;
}

std::string sourceText(const std::string& name) {
  std::ifstream file(FABRION_SOURCE_DIR "/" + name, std::ios::binary);
  EXPECT_TRUE(file.good()) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}

// ---- What a document says

TEST(FabricDocument, ASwitchHasItsPortsAndGroupsInTheOrderWritten) {
  const Fabric read = fabric(
      "switches:\n"
      "  leaf1:\n"
      "    ports: [m1, 'e[1-3]', 'e[5-6]/[1-2]']\n"
      "    groups: {po2: [e3, m1], po1: 'e[1-2]'}\n");
  ASSERT_THAT(read.switches, SizeIs(1));
  const Node expected{"leaf1",
                      "leaf1",
                      {"m1", "e1", "e2", "e3", "e5/1", "e5/2", "e6/1", "e6/2"},
                      {{"po2", {"e3", "m1"}}, {"po1", {"e1", "e2"}}}};
  EXPECT_EQ(read.switches[0], expected);
}

TEST(FabricDocument, TheHostnameIsTheNameUnlessItIsWritten) {
  const Fabric read = fabric("hosts: {b: {hostname: compute1}, a: {}, c: }\n");
  const std::vector<Node> expected{
      {"b", "compute1", {}, {}}, {"a", "a", {}, {}}, {"c", "c", {}, {}}};
  EXPECT_EQ(read.hosts, expected);
}

TEST(FabricDocument, HostsMayShareAHostname) {
  const Fabric read = fabric("hosts: {a: {hostname: pair}, b: {hostname: pair}}\n");
  EXPECT_EQ(read.hosts[0].hostname, read.hosts[1].hostname);
}

TEST(FabricDocument, ALinkIsWrittenInAnyOfItsForms) {
  const Fabric read = fabric(
      "switches: {leaf1: {ports: ['e1:[1-4]']}, 'pod:1': {ports: 1}}\n"
      "hosts: {srv1: {ports: 'eth[0-2]'}}\n"
      "links:\n"
      "  - [leaf1:e1:1, srv1:eth0]\n"
      "  - [[leaf1, e1:2], srv1:eth1]\n"
      "  - {from: leaf1:e1:3, to: [srv1, eth2]}\n"
      "  - [leaf1:e1:4, ['pod:1', 1]]\n");
  const std::vector<Link> expected{{{"leaf1", "e1:1"}, {"srv1", "eth0"}},
                                   {{"leaf1", "e1:2"}, {"srv1", "eth1"}},
                                   {{"leaf1", "e1:3"}, {"srv1", "eth2"}},
                                   {{"leaf1", "e1:4"}, {"pod:1", "1"}}};
  EXPECT_EQ(read.links, expected);
}

TEST(FabricDocument, APortMayHaveSeveralLinksAndANodeALinkToItself) {
  const Fabric read = fabric(ground +
                             "links:\n"
                             "  - [leaf1:e1, srv1:eth0]\n"
                             "  - [leaf1:e1, srv2:eth0]\n"
                             "  - [leaf1:e2, leaf1:e3]\n");
  EXPECT_THAT(read.links, SizeIs(3));
}

TEST(FabricDocument, ARequestOnAPortHasVlansANativeVlanAndRemoteHosts) {
  const Fabric read =
      fabric(ground +
             "requests:\n"
             "  - {client: acme, switch: leaf1, port: e1, vlans: [300, 10, 100-199],"
             " native: 10, remote hosts: [far2, far1]}\n");
  auto vlans = range(100, 199);
  vlans.insert(vlans.begin(), 10);
  vlans.push_back(300);
  const std::vector<PortRequest> expected{{"acme", "leaf1", "e1", vlans, 10, {"far2", "far1"}}};
  EXPECT_EQ(read.portRequests, expected);
  EXPECT_THAT(read.hostnameRequests, IsEmpty());
}

TEST(FabricDocument, ARequestOnAPortMayBeForOneThingAlone) {
  const Fabric read = fabric(ground +
                             "requests:\n"
                             "  - {client: a, switch: leaf1, port: e1, vlans: 7}\n"
                             "  - {client: a, switch: leaf1, port: e2, native: '8'}\n"
                             "  - {client: a, switch: leaf1, port: e3, remote hosts: far1}\n");
  const std::vector<PortRequest> expected{{"a", "leaf1", "e1", {7}, {}, {}},
                                          {"a", "leaf1", "e2", {}, 8, {}},
                                          {"a", "leaf1", "e3", {}, {}, {"far1"}}};
  EXPECT_EQ(read.portRequests, expected);
}

TEST(FabricDocument, ARequestForAHostnameThatNoHostHasWaits) {
  const Fabric read =
      fabric("requests:\n  - {client: blue, hostname: later, vlans: '1-3, 3-5,4094'}\n");
  const std::vector<HostnameRequest> expected{{"blue", "later", {1, 2, 3, 4, 5, 4094}}};
  EXPECT_EQ(read.hostnameRequests, expected);
}

TEST(FabricDocument, TwoClientsMayAskForDifferentNativeVlansOnOnePort) {
  const Fabric read = fabric(ground +
                             "requests:\n"
                             "  - {client: a, switch: leaf1, port: e1, native: 10}\n"
                             "  - {client: b, switch: leaf1, port: e1, native: 20}\n");
  EXPECT_THAT(read.portRequests, SizeIs(2));
}

TEST(FabricDocument, ANameIsTheTextAsWritten) {
  const Fabric read = fabric("switches: {1.10: {ports: [007, 1e3, true, é]}}\n");
  EXPECT_EQ(read.switches[0].name, "1.10");
  EXPECT_THAT(read.switches[0].ports, ElementsAre("007", "1e3", "true", "é"));
}

TEST(FabricDocument, IsJsonAsWell) {
  const auto read = parseFabric({{"f", R"({
	"fabrion": 1,
	"switches": {"leaf1": {"ports": ["e[1-2]"]}},
	"requests": [{"client": "acme", "switch": "leaf1", "port": "e2", "vlans": [10, "20-21"],
	              "remote hosts": ["caf\u00e9"]}]
})"}});
  const std::vector<PortRequest> expected{{"acme", "leaf1", "e2", {10, 20, 21}, {}, {"café"}}};
  EXPECT_EQ(fabricIn(read).portRequests, expected);
}

TEST(FabricDocument, AnAliasStandsForItsAnchor) {
  const Fabric read = fabric(
      "requests:\n"
      "  - {client: a, hostname: h1, vlans: &many [10-12, 20]}\n"
      "  - {client: a, hostname: h2, vlans: *many}\n");
  EXPECT_EQ(read.hostnameRequests[0].vlans, read.hostnameRequests[1].vlans);
}

TEST(FabricDocument, SectionsMayBeEmpty) {
  EXPECT_EQ(fabric("switches: {}\nhosts: {}\nlinks: []\nrequests: []\n"), Fabric{});
}

TEST(FabricDocument, AByteOrderMarkAndDosLineEndsChangeNothing) {
  EXPECT_EQ(fabricIn(parseFabric({{"f",
                                   "\xef\xbb\xbf"
                                   "fabrion: 1\r\nhosts:\r\n  a: {}\r\n"}})),
            fabric("hosts: {a: {}}"));
  EXPECT_THAT(problemsOf("\xef\xbb\xbf"
                         "fabrian: 1\r\nfabrion: 1"),
              ElementsAre("f:1:1: unknown key 'fabrian' in the document; did you mean 'fabrion'?"));
}

// ---- Several documents

TEST(FabricDocument, SeveralDocumentsAddUpInTheirOrder) {
  const auto read = parseFabric(
      {{"requests", "fabrion: 1\nrequests: [{client: a, switch: leaf2, port: e1, vlans: 7}]"},
       {"left", "fabrion: 1\nswitches: {leaf2: {ports: e1}}\nlinks: [[leaf2:e1, leaf1:e1]]"},
       {"right",
        "fabrion: 1\nswitches: {leaf1: {ports: e1}}\n---\nfabrion: 1\nhosts: {srv1: {}}"}});
  const Fabric whole = fabricIn(read);
  ASSERT_THAT(whole.switches, SizeIs(2));
  EXPECT_EQ(whole.switches[0].name, "leaf2");
  EXPECT_EQ(whole.switches[1].name, "leaf1");
  EXPECT_THAT(whole.hosts, SizeIs(1));
  EXPECT_THAT(whole.links, SizeIs(1));
  EXPECT_THAT(whole.portRequests, SizeIs(1));
}

TEST(FabricDocument, NoDocumentsAreAFabricWithNothingInIt) {
  EXPECT_EQ(fabricIn(parseFabric({})), Fabric{});
}

TEST(FabricDocument, NamesThatStandTwiceArePointedAtAcrossFiles) {
  EXPECT_THAT(problemsIn(parseFabric({{"a", "fabrion: 1\nswitches: {leaf1: {ports: e1}}"},
                                      {"b", "fabrion: 1\nswitches: {leaf1: {ports: e2}}"}})),
              ElementsAre("b:2:12: switch 'leaf1' is declared twice; the first stands at a:2:12"));
}

TEST(FabricDocument, ProblemsOfAllFilesStandInTheOrderOfTheFiles) {
  EXPECT_THAT(problemsIn(parseFabric({{"z", "fabrion: 1\nlinks: [7]\nhost: {}"},
                                      {"a", "fabrion: 2"},
                                      {"m", "fabrion: 1\nrequests: {}"}})),
              ElementsAre(StartsWith("z:2:9: "), StartsWith("z:3:1: "), StartsWith("a:1:10: "),
                          StartsWith("m:2:11: ")));
}

// ---- Files

class FabricFiles : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "fabricXXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string file(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / name, std::ios::binary) << text;
    return (folder_ / name).string();
  }

  // Problems without the folder, which is another one in each run.
  Lines problems(const std::vector<std::string>& files) const {
    Lines lines = problemsIn(readFabric(files));
    for (std::string& line : lines) {
      const std::string start = folder_.string() + "/";
      if (line.starts_with(start)) line.erase(0, start.size());
    }
    return lines;
  }

  std::filesystem::path folder_;
};

TEST_F(FabricFiles, AreReadAsOneFabric) {
  const auto read = readFabric(
      {file("topology.yaml", "fabrion: 1\nswitches: {leaf1: {ports: e1}}\n"),
       file("acme.yaml",
            "fabrion: 1\nrequests: [{client: acme, switch: leaf1, port: e1, vlans: 7}]")});
  const Fabric whole = fabricIn(read);
  EXPECT_THAT(whole.switches, SizeIs(1));
  EXPECT_THAT(whole.portRequests, SizeIs(1));
}

TEST_F(FabricFiles, ThatCannotBeReadAreToldWithTheReasonAndTheOthersAreReadAllTheSame) {
  std::filesystem::create_directory(folder_ / "folder.yaml");
  EXPECT_THAT(problems({(folder_ / "none.yaml").string(), (folder_ / "folder.yaml").string(),
                        file("bad.yaml", "fabrion: 1\nfoo: 1\n"),
                        file("good.yaml", "fabrion: 1\nlinks: [[leaf1:e1, leaf2:e1]]\n")}),
              ElementsAre("none.yaml: cannot be opened: No such file or directory",
                          "folder.yaml: cannot be read: Is a directory",
                          StartsWith("bad.yaml:2:1: unknown key 'foo'")));
}

TEST_F(FabricFiles, ThatAreTooLongAreNotReadToTheirEnd) {
  EXPECT_THAT(problems({file("long.yaml", std::string(Limits::fileBytes + 1, '#'))}),
              ElementsAre("long.yaml: longer than 8388608 bytes, the most that a document may be"));
}

// ---- What comes with the program

TEST(FabricDocumentExamples, TwoSwitchesHasThreeClientsAndANativeVlanConflict) {
  const auto read =
      fabricIn(parseFabric({{"two-switches.yaml", sourceText("examples/two-switches.yaml")}}));
  EXPECT_THAT(read.switches, SizeIs(2));
  EXPECT_THAT(read.hosts, IsEmpty());
  EXPECT_THAT(read.links, SizeIs(2));
  EXPECT_THAT(read.hostnameRequests, IsEmpty());
  ASSERT_THAT(read.portRequests, SizeIs(10));
  const PortRequest& one = read.portRequests[8];
  const PortRequest& other = read.portRequests[9];
  EXPECT_EQ(one.switchName + one.port, other.switchName + other.port);
  EXPECT_NE(one.nativeVlan, other.nativeVlan);
}

TEST(FabricDocumentExamples, LeafSpineHasItsServersLinksAndRequests) {
  const auto read =
      fabricIn(parseFabric({{"leaf-spine.yaml", sourceText("examples/leaf-spine.yaml")}}));
  EXPECT_THAT(read.switches, SizeIs(6));
  EXPECT_THAT(read.hosts, SizeIs(12));
  EXPECT_THAT(read.links, SizeIs(4 * 2 + 4 * 4));
  EXPECT_THAT(read.hostnameRequests, SizeIs(9));
  EXPECT_THAT(read.portRequests, SizeIs(4));
}

// The text between "```INFO" and "```" for each such block of the page.
Lines blocks(const std::string& page, const std::string& info) {
  Lines found;
  const std::string open = "\n```" + info + "\n";
  for (auto at = page.find(open); at != std::string::npos; at = page.find(open, at + 1)) {
    const auto start = at + open.size();
    found.push_back(page.substr(start, page.find("```", start) - start));
  }
  return found;
}

TEST(FabricDocumentPage, ItsExamplesAreDocuments) {
  const Lines examples = blocks(sourceText("docs/fabric-document.md"), "yaml");
  ASSERT_THAT(examples, SizeIs(3));
  for (const std::string& example : examples) {
    EXPECT_THAT(problemsIn(parseFabric({{"page", example}})), IsEmpty());
  }
}

TEST(FabricDocumentPage, ItsMistakesAreAnsweredAsItSays) {
  const std::string page = sourceText("docs/fabric-document.md");
  const Lines mistaken = blocks(page, "yaml mistaken");
  const Lines answers = blocks(page, "text");
  ASSERT_THAT(mistaken, SizeIs(1));
  ASSERT_THAT(answers, SizeIs(1));
  std::string answer;
  for (const std::string& line : problemsIn(parseFabric({{"fabric.yaml", mistaken[0]}}))) {
    answer += line + "\n";
  }
  EXPECT_EQ(answer, answers[0]);
}

}  // namespace
}  // namespace Fabrion::Host
