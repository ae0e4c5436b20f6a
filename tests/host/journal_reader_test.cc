#include "host/JournalReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/BadJournal.h"

namespace Fabrion::Host {
namespace {

// The operation on the line, which must hold one.
template <class One>
One read(std::string_view line) {
  const std::optional<Operation> operation = operationOf(line);
  if (!operation || !std::holds_alternative<One>(*operation)) {
    ADD_FAILURE() << line << " is no " << One::op;
    return One{};
  }
  return std::get<One>(*operation);
}

// What is said of a line that is refused.
std::string mistakeOf(std::string_view line) {
  try {
    operationOf(line);
  } catch (const BadJournal& bad) {
    return bad.what();
  }
  return "no mistake";
}

TEST(JournalReader, EmptyLinesAndCommentsHoldNoOperation) {
  EXPECT_EQ(operationOf(""), std::nullopt);
  EXPECT_EQ(operationOf("# {\"op\":\"dump\"}"), std::nullopt);
  EXPECT_EQ(operationOf("#"), std::nullopt);
}

TEST(JournalReader, OnlyAFirstCharacterMakesAComment) {
  EXPECT_NE(mistakeOf(" # no comment"), "no mistake");
}

TEST(JournalReader, ALineOfBlanksIsNoOperation) { EXPECT_NE(mistakeOf("  "), "no mistake"); }

TEST(JournalReader, MembersStandInAnyOrder) {
  const auto op = read<Op::PortAdd>(R"({"port":"e1", "op":"port.add", "host":"leaf1"})");
  EXPECT_EQ(op, (Op::PortAdd{"leaf1", "e1"}));
}

TEST(JournalReader, OptionalListsMayBeLeftOut) {
  EXPECT_EQ(read<Op::HostNew>(R"({"op":"host.new","host":"a","hostname":"b"})"),
            (Op::HostNew{"a", "b"}));
  EXPECT_EQ(read<Op::EdgeAdd>(R"({"op":"edge.add","from":["a","e1"]})"),
            (Op::EdgeAdd{{"a", "e1"}}));
  EXPECT_EQ(read<Op::HostnameAdd>(R"({"op":"hostname.add","hostname":"b"})"),
            (Op::HostnameAdd{"b"}));
  EXPECT_EQ(read<Op::RequestStart>(R"({"op":"request.start","request":["a","b"]})"),
            (Op::RequestStart{HostRequestName{"a", "b"}}));
}

TEST(JournalReader, GroupsAreTakenInTheOrderWritten) {
  const auto op = read<Op::HostNew>(
      R"({"op":"host.new","host":"a","hostname":"","ports":["x"],"groups":{"z":["x"],"a":[],"m":["x"]}})");
  EXPECT_EQ(op.groups, (std::vector<GroupMembers>{{"z", {"x"}}, {"a", {}}, {"m", {"x"}}}));
}

TEST(JournalReader, OutputsAreTakenInTheOrderWritten) {
  const auto op = read<Op::SwitchNew>(
      R"({"op":"switch.new","switch":"s","outputs":{"vtepConfig":{"v2":[["e1",1,2]],"v1":[]},"vlanList":"1",)"
      R"("portNativeVlan":{"b":70000,"a":1},"portAllowedVlanList":{"b":"1-3","a":""}}})");
  EXPECT_EQ(op.outputs, (Outputs{VtepMappings{{{"v2", {{"e1", 1, 2}}}, {"v1", {}}}},
                                 SwitchVlanList{"1"}, NativeVlans{{{"b", 70000}, {"a", 1}}},
                                 AllowedVlanLists{{{"b", "1-3"}, {"a", ""}}}}));
}

TEST(JournalReader, ARequestOfTwoNamesIsForAHostAndOneOfThreeForAPort) {
  EXPECT_EQ(read<Op::RequestNew>(R"({"op":"request.new","request":["c","h"]})").request,
            RequestName(HostRequestName{"c", "h"}));
  EXPECT_EQ(read<Op::RequestNew>(R"({"op":"request.new","request":["c","s","e1"]})").request,
            RequestName(PortRequestName{"c", "s", "e1"}));
}

TEST(JournalReader, ANativeVlanIsANumberOrNull) {
  EXPECT_EQ(read<Op::Native>(R"({"op":"native","request":["c","s","e"],"vlan":0})").vlan, 0U);
  EXPECT_EQ(read<Op::Native>(R"({"op":"native","request":["c","s","e"],"vlan":null})").vlan,
            std::nullopt);
  EXPECT_EQ(mistakeOf(R"({"op":"native","request":["c","s","e"]})"), "native has no member 'vlan'");
}

TEST(JournalReader, AHandlerKeyIsATextANumberADomainOrTextAndNumber) {
  const std::string head = R"({"op":"invoke","machine":"topologySm","handler":"h")";
  EXPECT_EQ(read<Op::Invoke>(head + "}").key, HandlerKey(std::monostate()));
  EXPECT_EQ(read<Op::Invoke>(head + R"(,"key":"a"})").key, HandlerKey(std::string("a")));
  EXPECT_EQ(read<Op::Invoke>(head + R"(,"key":7})").key, HandlerKey(U32{7}));
  EXPECT_EQ(read<Op::Invoke>(head + R"(,"key":["a","b"]})").key, HandlerKey(DomainName{"a", "b"}));
  EXPECT_EQ(read<Op::Invoke>(head + R"(,"key":["a",7]})").key, HandlerKey(TextAndNumber{"a", 7}));
  for (const char* key : {"null", "true", "-1", "[]", "[7,\"a\"]", "[\"a\",7,8]", "{}"}) {
    EXPECT_THAT(mistakeOf(head + R"(,"key":)" + key + "}"), testing::StartsWith("'key' is to be"))
        << key;
  }
}

TEST(JournalReader, TheLargestNumberHas32Bits) {
  EXPECT_EQ(read<Op::VlanAdd>(R"({"op":"vlan.add","request":["c","h"],"vlan":4294967295})").vlan,
            4294967295U);
}

TEST(JournalReader, ANumberOfAnyOtherFormIsRefused) {
  for (const char* number : {"-1", "-0", "1.0", "1.5", "1e2", "4294967296", "99999999999999999999",
                             "1e999", "\"1\"", "null", "true", "[1]"}) {
    const std::string line =
        std::string(R"({"op":"vlan.add","request":["c","h"],"vlan":)") + number + "}";
    EXPECT_NE(mistakeOf(line), "no mistake") << number;
  }
  EXPECT_EQ(mistakeOf(R"({"op":"vlan.add","request":["c","h"],"vlan":-1})"),
            "'vlan' is to be a number from 0 to 4294967295, not -1");
}

TEST(JournalReader, AMistakeDeepInAListIsNamedByItsPlace) {
  EXPECT_EQ(
      mistakeOf(R"({"op":"map.add","domain":["a",""],"ranges":[[[1,2],[3,4]],[[1,2],[3,-4]]]})"),
      "'ranges'[1][1] is to be [LOW, HIGH], numbers from 0 to 4294967295, not [3,-4]");
  EXPECT_EQ(mistakeOf(R"({"op":"host.new","host":"a","hostname":"b","groups":{"po1":["e1",2]}})"),
            "'groups'['po1'][1] is to be a text, not 2");
}

TEST(JournalReader, WhatStandsThereIsShownShortAndInWholeCharacters) {
  std::string name;
  for (int i = 0; i < 100; ++i) name += "\xc3\xa4";
  const std::string mistake = mistakeOf(R"({"op":"host.enter","host":[")" + name + R"("]})");
  EXPECT_LT(mistake.size(), 100U);
  EXPECT_THAT(mistake, testing::EndsWith("\xc3\xa4..."));
}

TEST(JournalReader, AnUnknownOperationIsRefused) {
  EXPECT_EQ(mistakeOf(R"({"op":"host.rename","host":"a"})"), "there is no operation 'host.rename'");
  EXPECT_EQ(mistakeOf(R"({"host":"a"})"), "the object has no member 'op'");
  EXPECT_EQ(mistakeOf(R"({"op":7})"), "'op' is to be a text, not 7");
}

TEST(JournalReader, AMissingMemberIsNamed) {
  EXPECT_EQ(mistakeOf(R"({"op":"host.new","host":"a"})"), "host.new has no member 'hostname'");
  EXPECT_EQ(mistakeOf(R"({"op":"group.add","host":"a","group":"g"})"),
            "group.add has no member 'members'");
}

TEST(JournalReader, AMemberThatNobodyAskedForIsNamed) {
  EXPECT_EQ(mistakeOf(R"({"op":"dump","host":"a"})"), "dump takes no member 'host'");
  EXPECT_EQ(mistakeOf(R"({"op":"port.add","host":"a","port":"b","group":"c"})"),
            "port.add takes no member 'group'");
}

TEST(JournalReader, AMemberThatStandsTwiceIsRefusedAtAnyDepth) {
  EXPECT_EQ(mistakeOf(R"({"op":"host.enter","host":"a","host":"b"})"),
            "the member 'host' stands twice in an object");
  EXPECT_EQ(
      mistakeOf(
          R"({"op":"host.new","host":"a","hostname":"","ports":[],"groups":{"g":[],"g":[]}})"),
      "the member 'g' stands twice in an object");
  // The same name in two objects is fine.
  EXPECT_NE(
      operationOf(R"({"op":"switch.new","switch":"s","outputs":{"portAllowedVlanList":{"e":"1"},)"
                  R"("portNativeVlan":{"e":1}}})"),
      std::nullopt);
}

TEST(JournalReader, OnlyAPortRequestHasANativeVlanAndRemoteHosts) {
  for (const char* rest :
       {R"("op":"native","vlan":1)", R"("op":"remote","hostname":"h","value":true)",
        R"("op":"remote.del","hostname":"h")"}) {
    EXPECT_THAT(mistakeOf(std::string(R"({"request":["c","h"],)") + rest + "}"),
                testing::StartsWith("'request' is to be a port request"));
  }
}

TEST(JournalReader, AFlagOfAMountHasOneOfFiveNames) {
  EXPECT_EQ(read<Op::Mount>(R"({"op":"mount","switch":"s","flag":"dynVtepStatus","value":false})"),
            (Op::Mount{"s", MountFlag::dynVtepStatus, false}));
  EXPECT_THAT(mistakeOf(R"({"op":"mount","switch":"s","flag":"vlan","value":false})"),
              testing::StartsWith("'flag' is to be"));
}

TEST(JournalReader, AnUnknownPartOfOutputsIsRefused) {
  EXPECT_THAT(mistakeOf(R"({"op":"switch.new","switch":"s","outputs":{"vlans":""}})"),
              testing::StartsWith("'outputs' has the member 'vlans'"));
}

TEST(JournalReader, WhatIsNoJsonIsRefused) {
  EXPECT_EQ(mistakeOf(R"({"op":"dump")"), "no JSON from character 13 on");
  EXPECT_EQ(mistakeOf(R"({"op":"dump"} {"op":"dump"})"), "no JSON from character 15 on");
  EXPECT_EQ(mistakeOf(R"(["op","dump"])"), "a line is to be an object, {\"op\": ...}");
  EXPECT_NE(mistakeOf("{\"op\":\"host.enter\",\"host\":\"\xff\"}"), "no mistake");
}

TEST(JournalReader, ALineMayEndAsFilesFromElsewhereDo) {
  EXPECT_EQ(operationOf("{\"op\":\"dump\"}\r"), Operation(Op::Dump{}));
  EXPECT_EQ(operationOf("\r"), std::nullopt);
}

TEST(JournalReader, WhatTheParserWouldPassOverIsRefused) {
  EXPECT_EQ(mistakeOf("\xef\xbb\xbf{\"op\":\"dump\"}"), "a byte order mark stands before the line");
  EXPECT_EQ(mistakeOf(std::string("{\"op\":\"dump\"}\0{", 16)), "the line holds a zero byte");
}

TEST(JournalReader, ValuesNestedWithoutEndAreRefusedBeforeTheyAreShown) {
  const std::string deep = std::string(300000, '[') + std::string(300000, ']');
  EXPECT_EQ(mistakeOf(R"({"op":)" + deep + "}"), "values are nested more than 32 deep");
}

TEST(JournalReader, AMessageStaysOneLineWhateverTheName) {
  EXPECT_EQ(mistakeOf(R"({"op":"a\nb\u0000c"})"), "there is no operation 'a\\u000ab\\u0000c'");
}

}  // namespace
}  // namespace Fabrion::Host
