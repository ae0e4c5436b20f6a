// `fabrion audit` and `fabrion render` as commands: what they read, how they end, and the page that
// tells of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/AuditCommand.h"
#include "host/Module.h"
#include "host/OutputsJson.h"
#include "host/RenderCommand.h"
#include "tests/host/Texts.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Fabrion::Test::blocksOf;
using Fabrion::Test::inRepository;
using Fabrion::Test::textOfFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

struct Result {
  Outcome outcome;
  std::string out;
  std::string err;
};

template <class Options>
Result ran(Outcome (*command)(const Options&, std::ostream&, std::ostream&,
                              const Velo::VeloModule&),
           const Options& options) {
  std::ostringstream out;
  std::ostringstream err;
  const Outcome outcome = command(options, out, err, loadModule(FABRION_MODULE));
  return {outcome, out.str(), err.str()};
}

std::string written(const std::string& name, const std::string& text) {
  std::string path = testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

const std::string small =
    "fabrion: 1\n"
    "switches: {leaf1: {ports: 'e[1-2]'}, leaf2: {ports: e1}}\n"
    "requests:\n"
    "  - {client: acme, switch: leaf1, port: e1, vlans: 10-11, native: 10}\n";

Result runWithOutputs(const std::string& document, const std::string& outputs) {
  RunOptions options{{document}};
  options.outputs = outputs;
  return ran(run, options);
}

TEST(RunOutputs, AreWrittenAsJsonBesideTheReport) {
  const std::string document = written("outputs.yaml", small);
  const std::string file = testing::TempDir() + "outputs-written.json";
  const Result result = runWithOutputs(document, file);
  EXPECT_EQ(result.outcome, Outcome::done) << result.err;
  EXPECT_THAT(result.out, HasSubstr("Switch leaf1\n"));
  EXPECT_EQ(nlohmann::json::parse(textOfFile(file)), nlohmann::json::parse(R"({"switch": {
    "leaf1": {"portAllowedVlanList": {"e1": "10-11"}, "portNativeVlan": {"e1": 10},
              "vlanList": "10-11", "vtepConfig": {}},
    "leaf2": {"portAllowedVlanList": {}, "portNativeVlan": {}, "vlanList": "",
              "vtepConfig": {}}}})"));
}

TEST(RunOutputs, HoldTheMappingsOfVtepsForAuditsAndRenderings) {
  const std::string document = written(
      "vteps.yaml",
      "fabrion: 1\n"
      "switches: {leaf1: {ports: 'e[1-3]', groups: {po1: [e2, e3]}, vteps: vtep1}}\n"
      "requests:\n"
      "  - {client: acme, switch: leaf1, port: e1, vlans: 10-12, vnis: {10-11: 5010-5011}}\n"
      "  - {client: acme, switch: leaf1, port: e2, vlans: 10, vnis: {10: 5010}}\n");
  const std::string file = testing::TempDir() + "vteps.json";
  ASSERT_EQ(runWithOutputs(document, file).outcome, Outcome::done);
  EXPECT_EQ(readOutputs(file).at("leaf1").vteps,
            (std::map<std::string, SwitchOutputs::MappingsOfPort>{
                {"vtep1", {{"e1", {{10, 5010}, {11, 5011}}}, {"po1", {{10, 5010}}}}}}));
  EXPECT_EQ(ran(audit, AuditOptions{{document}, file}).outcome, Outcome::done);
  EXPECT_THAT(ran(render, RenderOptions{{document}}).out,
              HasSubstr("\nmap e1 10 vni5010 11 vni5011\n"));
}

TEST(RunOutputs, OverwriteNoDocument) {
  const std::string document = written("outputs.yaml", small);
  const Result result = runWithOutputs(document, document);
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "fabrion: " + document + " is a document; the outputs would overwrite it\n");
  EXPECT_EQ(textOfFile(document), small);
}

TEST(RunOutputs, ThatCannotBeWrittenAreToldOf) {
  const Result result = runWithOutputs(written("outputs.yaml", small), "/nowhere/outputs.json");
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "fabrion: /nowhere/outputs.json: No such file or directory\n");
}

TEST(Audit, FindsNothingInWhatTheDocumentsGave) {
  const std::string document = inRepository("examples/leaf-spine.yaml");
  const std::string file = testing::TempDir() + "leaf-spine.json";
  ASSERT_EQ(runWithOutputs(document, file).outcome, Outcome::done);
  const Result result = ran(audit, AuditOptions{{document}, file});
  EXPECT_EQ(result.outcome, Outcome::done) << result.out;
  EXPECT_EQ(result.out, "No differences; 6 switches compared.\n");
  EXPECT_EQ(result.err, "");
}

TEST(Audit, ToldThatThereAreDifferencesEndsAsSuch) {
  const std::string file = written("now.json", R"({"switch":{"leaf1":{},"leaf2":{}}})");
  AuditOptions options{{written("audit.yaml", small)}, file};
  const Result text = ran(audit, options);
  EXPECT_EQ(text.outcome, Outcome::difference);
  EXPECT_EQ(text.out,
            "Switch leaf1\n"
            "  + VLANs 10-11\n"
            "  + port e1: VLANs 10-11\n"
            "  + port e1: native VLAN 10\n"
            "\n"
            "1 differs; 2 switches compared.\n");
  options.format = ReportFormat::json;
  const Result json = ran(audit, options);
  EXPECT_EQ(json.outcome, Outcome::difference);
  EXPECT_EQ(nlohmann::json::parse(json.out)["differences"].size(), 3U);
}

TEST(Audit, TellsAMistakeInTheOutputsWithItsFile) {
  const std::string file = written("bad.json", R"({"switch":{"leaf1":{"vlanList":1}}})");
  const Result result = ran(audit, AuditOptions{{written("audit.yaml", small)}, file});
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, file +
                            ": .switch.leaf1.vlanList: 1 stands here; expected a list of VLANs "
                            "such as \"1-3,5\", as a text\n");
}

TEST(Audit, TellsMistakesOfDocumentsFirst) {
  const Result result = ran(audit, AuditOptions{{"/nowhere.yaml"}, "/nowhere.json"});
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_THAT(result.err, HasSubstr("/nowhere.yaml: "));
}

RenderOptions rendering(RenderTarget target, std::optional<std::string> switchName = {}) {
  return {{written("render.yaml", small)}, target, std::move(switchName)};
}

TEST(Render, WordsAllSwitchesOneByOne) {
  const Result ovs = ran(render, rendering(RenderTarget::ovs));
  EXPECT_EQ(ovs.outcome, Outcome::done) << ovs.err;
  EXPECT_THAT(ovs.out, HasSubstr("# Switch leaf1\n"));
  EXPECT_THAT(ovs.out, HasSubstr("\n\n# Switch leaf2\n"));
  for (const RenderTarget target : {RenderTarget::sonic, RenderTarget::openconfig}) {
    const Result all = ran(render, rendering(target));
    EXPECT_EQ(all.outcome, Outcome::done) << all.err;
    const auto json = nlohmann::json::parse(all.out);
    EXPECT_THAT(json, SizeIs(2));
    const Result one = ran(render, rendering(target, "leaf1"));
    EXPECT_EQ(one.outcome, Outcome::done) << one.err;
    EXPECT_EQ(nlohmann::json::parse(one.out), json["leaf1"]);
  }
}

TEST(Render, OfOneSwitchSaysNothingOfTheOthers) {
  const std::string one = ran(render, rendering(RenderTarget::ovs, "leaf2")).out;
  EXPECT_THAT(one, StartsWith("# Switch leaf2\nset -e\nbridge=leaf2 "));
  EXPECT_THAT(one, HasSubstr("\n\novs-vsctl -- --may-exist add-br \"$bridge\"\n"
                             "ports=$(ovs-vsctl list-ports \"$bridge\")\n"
                             "port e1 trunk '[]' 4095 e1\n"
                             "ovs-vsctl list-ports \"$bridge\" | others drop_port\n"));
  EXPECT_THAT(one, Not(HasSubstr("leaf1")));
  // Each is a script of its own.
  EXPECT_EQ(ran(render, rendering(RenderTarget::ovs)).out,
            ran(render, rendering(RenderTarget::ovs, "leaf1")).out + "\n" + one);
}

TEST(Render, ASwitchThatNoDocumentHasIsNamed) {
  const Result result = ran(render, rendering(RenderTarget::ovs, "laef1"));
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "fabrion: no document has the switch 'laef1'; did you mean 'leaf1'?\n");
}

TEST(Render, AHostIsNoSwitch) {
  RenderOptions options = rendering(RenderTarget::ovs, "srv1");
  options.documents = {
      written("host.yaml", "fabrion: 1\nswitches: {leaf1: {ports: e1}}\nhosts: {srv1: }\n")};
  const Result result = ran(render, options);
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "fabrion: 'srv1' is a host; expected a switch, such as 'leaf1'\n");
}

TEST(Render, WhatATargetCannotSayIsToldAtOnceAndNothingIsRendered) {
  const std::string document = written(
      "refused.yaml",
      "fabrion: 1\n"
      "switches: {leaf1: {ports: 'e[1-2]'}, leaf2: {ports: [e1, e2], groups: {po1: [e1, e2]}}}\n"
      "requests:\n"
      "  - {client: acme, switch: leaf1, port: e1, vlans: 1}\n"
      "  - {client: acme, switch: leaf1, port: e2, vlans: 20, native: 21}\n");
  const Result result = ran(render, RenderOptions{{document}, RenderTarget::sonic});
  EXPECT_EQ(result.outcome, Outcome::mistake);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "fabrion: switch leaf1, port e1, VLAN 1: SONiC has VLANs from 2 to 4094\n"
            "fabrion: switch leaf1, port e2, native VLAN 21: it is not among the allowed VLANs, "
            "20; a member of a VLAN is untagged or tagged to SONiC, not kept out\n"
            "fabrion: switch leaf2, port group po1: SONiC names a port group PortChannel and a "
            "number from 0 to 9999\n");
  // Nor is that of another switch, when this one is left out.
  EXPECT_EQ(ran(render, RenderOptions{{document}, RenderTarget::openconfig}).outcome,
            Outcome::done);
}

TEST(RenderingPage, ShowsWhatTheCommandsSay) {
  const std::string page = textOfFile(inRepository("docs/rendering.md"));
  const std::vector<std::string> documents = blocksOf(page, "yaml");
  const std::vector<std::string> outputs = blocksOf(page, "json");
  ASSERT_THAT(documents, SizeIs(1));
  ASSERT_THAT(outputs, SizeIs(1));
  const std::string document = written("page.yaml", documents[0]);
  const Result audited = ran(audit, AuditOptions{{document}, written("page.json", outputs[0])});
  EXPECT_THAT(blocksOf(page, "text"), ElementsAre(audited.out)) << audited.err;
  const Result rendered = ran(render, RenderOptions{{document}});
  EXPECT_THAT(blocksOf(page, "sh"), ElementsAre(rendered.out)) << rendered.err;
}

// The program, whose arguments a shell reads.
int statusOf(const std::string& arguments) {
  const int status = std::system((FABRION_BINARY " " + arguments + " >/dev/null 2>&1").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(AuditStatus, IsZeroThreeForADifferenceAndTwoForBadInput) {
  const std::string document = written("status.yaml", small);
  const std::string file = testing::TempDir() + "status.json";
  const std::string at = " --module " FABRION_MODULE " " + document;
  ASSERT_EQ(statusOf("run --outputs " + file + at), 0);
  EXPECT_EQ(statusOf("audit --against " + file + at), 0);
  EXPECT_EQ(statusOf("audit --against -" + at + " <" + file), 0);
  EXPECT_EQ(statusOf("audit" + at + " <" + file), 0);
  const std::string none = written("none.json", "{\"switch\":{}}");
  EXPECT_EQ(statusOf("audit --format json --against -" + at + " <" + none), 3);
  EXPECT_EQ(statusOf("audit --against /nowhere.json" + at), 2);
  EXPECT_EQ(statusOf("audit" + at), 2);
}

TEST(RenderStatus, IsZeroOrTwo) {
  const std::string at = " --module " FABRION_MODULE " " + written("status.yaml", small);
  EXPECT_EQ(statusOf("render --target ovs" + at), 0);
  EXPECT_EQ(statusOf("render --target sonic --switch leaf1" + at), 0);
  EXPECT_EQ(statusOf("render --target openconfig" + at), 0);
  EXPECT_EQ(statusOf("render --target ovs --switch leaf3" + at), 2);
  EXPECT_EQ(statusOf("render --target eos" + at), 2);
  EXPECT_EQ(statusOf("render --target ovs --switch leaf1 --switch leaf1" + at), 2);
  EXPECT_EQ(statusOf("render" + at), 2);
}

}  // namespace
}  // namespace Fabrion::Host

#endif
