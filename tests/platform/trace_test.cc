#include "platform/Velo/Trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Dualmark/FastmarkConverter.h"

namespace Traced {

struct Facility {
  static Velo::TraceHandle& handle() {
    static Velo::TraceHandle& facility = *new Velo::TraceHandle("TracedSm", false);
    return facility;
  }
};

class Element : public Velo::PtrInterface {
 public:
  explicit Element(std::string name) : name_(std::move(name)) {}
  void veloPrint(std::ostream& out) const override {
    if (whenPrinted) whenPrinted();
    out << "Traced::Element(" << name_ << ")";
  }

  std::function<void()> whenPrinted;

 private:
  std::string name_;
};

// What a machine's handlers look like to the trace.
class Machine {
 public:
  void handleHost(const Nimbo::String& name) {
    VELO_TRACE(Traced::Facility, 3, "%s has %s physical port(s)", name, ports);
  }
  void handleInitialized() { VELO_TRACE(Traced::Facility, 9, ""); }
  void misuse() const { VELO_TRACE(Traced::Facility, 1, "already initialized"); }
  void levelNine(const Nimbo::String& name) { VELO_TRACE(Traced::Facility, 9, "%s", name); }

  class VeloEdge {
   public:
    void handleToPort(const Nimbo::String& host, const Nimbo::String& port) {
      VELO_TRACE(Traced::Facility, 2, "%s : %s", host, port);
    }
  };

  std::size_t ports = 2;
};

}  // namespace Traced

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Traced::Element;
using Traced::Facility;
using Traced::Machine;

// The words after the signature, whose function is of no interest here.
std::string words(const std::string& line) { return line.substr(line.find("): ") + 3); }

// Collects the lines of the text trace, and has a ring trace of its own.
class Trace : public testing::Test {
 protected:
  Trace() {
    Velo::traceLevelsIs("TracedSm", allLevels);
    Velo::traceSinkIs(collect, this);
    Fastmark::defaultFastmarkHandle = &ring_;
  }
  ~Trace() override {
    Fastmark::defaultFastmarkHandle = nullptr;
    Velo::traceSinkIs(nullptr, nullptr);
    Velo::traceLevelsIs("TracedSm", 0);
  }

  static constexpr U32 allLevels = 0x3ff;

  static void collect(void* context, U32 level, const char* line, std::size_t size) {
    auto* self = static_cast<Trace*>(context);
    self->lines_.push_back(std::to_string(level) + " " + std::string(line, size));
    if (self->whenCollected_) self->whenCollected_();
  }
  std::vector<std::string> ringLines() const {
    std::vector<std::string> result;
    if (ring_.traceFile() == nullptr) return result;
    ring_.traceFile()->forEach(
        [&](const Fastmark::TraceFile::Message& m) {
          result.push_back(std::to_string(m.level) + " " + m.text);
        },
        [](U64 pointer) {
          std::string text;
          Dualmark::FastmarkConverter converter;
          converter.stream("%s");
          converter.argument(reinterpret_cast<const Velo::PtrInterface*>(pointer));
          return std::string(converter.text());
        });
    return result;
  }
  void ringOff() { Fastmark::defaultFastmarkHandle = nullptr; }
  void textOff() { Velo::traceLevelsIs("TracedSm", 0); }

  Fastmark::TraceHandle ring_{std::make_unique<Fastmark::TraceFile>()};
  std::vector<std::string> lines_;
  std::function<void()> whenCollected_;
};

TEST_F(Trace, ALineIsTheSignatureAndTheWords) {
  Machine machine;
  machine.handleHost("leaf1");
  machine.misuse();
  Machine::VeloEdge().handleToPort("srv1", "eth0");
  EXPECT_THAT(
      lines_,
      ElementsAre("3 void Traced::Machine::handleHost(const Nimbo::String&): leaf1 has 2 physical "
                  "port(s)",
                  "1 void Traced::Machine::misuse() const: already initialized",
                  "2 void Traced::Machine::VeloEdge::handleToPort(const Nimbo::String&, const "
                  "Nimbo::String&): srv1 : eth0"));
}

TEST_F(Trace, AnEmptyFormatLeavesTheSignatureAndItsColon) {
  Machine().handleInitialized();
  EXPECT_THAT(lines_, ElementsAre("9 void Traced::Machine::handleInitialized(): "));
}

TEST_F(Trace, BothChannelsGetTheSameWords) {
  Machine machine;
  machine.handleHost("leaf1");
  machine.handleInitialized();
  machine.misuse();
  machine.handleHost("");
  Machine::VeloEdge().handleToPort("a%sb", std::string(300, 'x').c_str());
  EXPECT_EQ(lines_.size(), 5U);
  EXPECT_EQ(ringLines(), lines_);
}

TEST_F(Trace, ShowsEveryKindOfArgumentAlikeOnBothChannels) {
  Element element("e1");
  const Velo::PtrInterface* base = &element;
  const Velo::Ptr<const Element> counted(new Element("e2"));
  const Velo::Ptr<Element> none;
  const char* text = "text";
  const char* noText = nullptr;
  const bool yes = true;
  VELO_TRACE(Facility, 0, "%s %s %s %s %s", Nimbo::String("n"), text, "literal", std::string("s"),
             std::string_view("view"));
  VELO_TRACE(Facility, 0, "%s %s %s %s", U8{255}, U16{65535}, U32{4294967295U}, std::size_t{7});
  VELO_TRACE(Facility, 0, "%x %x %s", 255U, U8{10}, U64{0});
  VELO_TRACE(Facility, 0, "%s %s", yes, !yes);
  VELO_TRACE(Facility, 0, "%s %s %s %s", &element, base, counted, none);
  VELO_TRACE(Facility, 0, "[%s]", noText);
  std::vector<std::string> said;
  for (const std::string& line : lines_) said.push_back(words(line));
  EXPECT_THAT(
      said, ElementsAre("n text literal s view", "255 65535 4294967295 7", "ff a 0", "1 0",
                        "Traced::Element(e1) Traced::Element(e1) Traced::Element(e2) null", "[]"));
  EXPECT_EQ(ringLines(), lines_);
}

TEST_F(Trace, ASizeBeyond32BitsIsCutInTheRingAlone) {
  VELO_TRACE(Facility, 0, "%s", std::numeric_limits<U64>::max());
  EXPECT_EQ(words(lines_.at(0)), "18446744073709551615");
  EXPECT_EQ(words(ringLines().at(0)), "4294967295");
}

TEST_F(Trace, APlaceholderInAnArgumentIsTakenAsItStands) {
  VELO_TRACE(Facility, 3, "%s and %s", "%s%x", "second");
  VELO_TRACE(Facility, 3, "100%% of %s %", 5U);
  EXPECT_EQ(words(lines_.at(0)), "%s%x and second");
  EXPECT_EQ(words(lines_.at(1)), "100%% of 5 %");
  EXPECT_EQ(ringLines(), lines_);
}

TEST_F(Trace, StructuredBindingsServeAsArguments) {
  const auto& [name, vlan] = std::pair<Nimbo::String, U32>("leaf1", 10);
  VELO_TRACE(Facility, 3, "%s %s", name, vlan);
  EXPECT_EQ(words(lines_.at(0)), "leaf1 10");
}

TEST_F(Trace, TheRingComesBeforeTheText) {
  std::vector<std::size_t> inRing;
  whenCollected_ = [&] { inRing.push_back(ringLines().size()); };
  Machine().misuse();
  Machine().misuse();
  EXPECT_THAT(inRing, ElementsAre(1U, 2U));
}

TEST_F(Trace, WithBothChannelsOffEvaluatesNoArgument) {
  int evaluated = 0;
  const auto count = [&] { return static_cast<U32>(++evaluated); };
  ringOff();
  Velo::traceLevelsIs("TracedSm", allLevels & ~(1U << 3));
  VELO_TRACE(Facility, 3, "%s", count());
  EXPECT_EQ(evaluated, 0);
  Fastmark::TraceHandle empty(nullptr);
  Fastmark::defaultFastmarkHandle = &empty;
  VELO_TRACE(Facility, 3, "%s", count());
  EXPECT_EQ(evaluated, 0);
  EXPECT_THAT(lines_, IsEmpty());
  VELO_TRACE(Facility, 2, "%s", count());
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(lines_.size(), 1U);
}

TEST_F(Trace, WithBothChannelsOnEvaluatesAnArgumentOnce) {
  int evaluated = 0;
  VELO_TRACE(Facility, 3, "%s", static_cast<U32>(++evaluated));
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(words(lines_.at(0)), "1");
  EXPECT_EQ(ringLines(), lines_);
}

TEST_F(Trace, TheRingIsWrittenWhateverTheTextLevels) {
  textOff();
  Machine().misuse();
  EXPECT_THAT(lines_, IsEmpty());
  EXPECT_THAT(ringLines(),
              ElementsAre("1 void Traced::Machine::misuse() const: already initialized"));
}

TEST_F(Trace, ALevelThatIsOffBuildsNoText) {
  textOff();
  Element element("e1");
  int printed = 0;
  element.whenPrinted = [&] { ++printed; };
  VELO_TRACE(Facility, 3, "%s", &element);
  EXPECT_EQ(printed, 0);
  EXPECT_EQ(ringLines().size(), 1U);
}

TEST_F(Trace, EachLevelHasItsBit) {
  Velo::traceLevelsIs("TracedSm", (1U << 1) | (1U << 9));
  Machine machine;
  machine.handleHost("a");
  machine.misuse();
  machine.handleInitialized();
  EXPECT_THAT(lines_, ElementsAre("1 void Traced::Machine::misuse() const: already initialized",
                                  "9 void Traced::Machine::handleInitialized(): "));
}

TEST_F(Trace, ALevelSwitchedOffWhileTheLineIsBuiltKeepsTheLineBack) {
  Element element("e1");
  element.whenPrinted = [&] { textOff(); };
  VELO_TRACE(Facility, 3, "%s", &element);
  EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(Trace, ANewTraceFileMakesSitesRegisterAgain) {
  Machine machine;
  machine.handleHost("one");
  EXPECT_EQ(ringLines().size(), 1U);
  ring_.traceFileIs(std::make_unique<Fastmark::TraceFile>());
  EXPECT_THAT(ringLines(), IsEmpty());
  machine.handleHost("two");
  machine.handleHost("three");
  lines_.erase(lines_.begin());
  EXPECT_EQ(ringLines(), lines_);
  EXPECT_EQ(lines_.size(), 2U);
}

TEST_F(Trace, AMessageThatDoesNotFitItsRingIsWholeInTheTextAndAHeadInTheRing) {
  ring_.traceFileIs(std::make_unique<Fastmark::TraceFile>(64));
  const std::string name(200, 'x');
  Machine().levelNine(name.c_str());
  EXPECT_EQ(words(lines_.at(0)), name);
  EXPECT_EQ(words(ringLines().at(0)), "%s");
}

TEST_F(Trace, TheRingTellsWhichStatementWroteIt) {
  const U32 line = __LINE__ + 1;
  VELO_TRACE(Facility, 3, "here");
  ring_.traceFile()->forEach([&](const Fastmark::TraceFile::Message& m) {
    EXPECT_EQ(m.sourceFile, "TracedSm");
    EXPECT_EQ(m.sourceLine, line);
  });
}

TEST_F(Trace, OfManyThreadsGoesToEachThreadsFile) {
  Fastmark::TraceHandle handle(Fastmark::TraceHandle::PerThread{4096});
  Fastmark::defaultFastmarkHandle = &handle;
  textOff();
  Machine().misuse();
  std::thread([] {
    Machine().misuse();
    Machine().misuse();
  }).join();
  std::vector<int> counts;
  handle.forEachFile([&](const Fastmark::TraceFile& file) {
    counts.push_back(0);
    file.forEach([&](const Fastmark::TraceFile::Message&) { ++counts.back(); });
  });
  EXPECT_THAT(counts, ElementsAre(1, 2));
  ringOff();
}

TEST_F(Trace, AnEntityMayTraceWhileItIsPrinted) {
  Element inner("inner");
  Element outer("outer");
  outer.whenPrinted = [&] { VELO_TRACE(Facility, 2, "printing %s", &inner); };
  VELO_TRACE(Facility, 3, "%s and %s", &outer, &inner);
  ASSERT_EQ(lines_.size(), 2U);
  EXPECT_EQ(lines_[0].substr(lines_[0].rfind(": ") + 2), "printing Traced::Element(inner)");
  EXPECT_EQ(words(lines_[1]), "Traced::Element(outer) and Traced::Element(inner)");
}

TEST_F(Trace, ASinkMayTrace) {
  whenCollected_ = [&] {
    whenCollected_ = nullptr;
    Machine().misuse();
  };
  Machine().handleHost("leaf1");
  EXPECT_THAT(lines_, ElementsAre("3 void Traced::Machine::handleHost(const Nimbo::String&): leaf1 "
                                  "has 2 physical port(s)",
                                  "1 void Traced::Machine::misuse() const: already initialized"));
}

TEST_F(Trace, WhatAnEntityLeavesInTheStreamsFormatDoesNotReachTheNext) {
  class Numbered : public Velo::PtrInterface {
   public:
    void veloPrint(std::ostream& out) const override {
      out.width(8);
      out << 1000000;
      out.flags(std::ios_base::hex | std::ios_base::showbase);
      out.width(20);
      out.fill('#');
    }
  };
  Numbered one;
  VELO_TRACE(Facility, 3, "%s %s", &one, &one);
  EXPECT_EQ(words(lines_.at(0)), " 1000000  1000000");
}

TEST_F(Trace, EvaluatesArgumentsFromLeftToRight) {
  U32 evaluated = 0;
  const auto count = [&] { return ++evaluated; };
  VELO_TRACE(Facility, 3, "%s %s %s", count(), count(), count());
  EXPECT_EQ(words(lines_.at(0)), "1 2 3");
  EXPECT_EQ(ringLines(), lines_);
}

TEST_F(Trace, FollowsTheRingHandlesFile) {
  int evaluated = 0;
  const auto count = [&] { return static_cast<U32>(++evaluated); };
  const auto trace = [&] { VELO_TRACE(Facility, 3, "%s", count()); };
  textOff();
  trace();
  EXPECT_EQ(evaluated, 1);
  ring_.traceFileIs(nullptr);
  trace();
  EXPECT_EQ(evaluated, 1);
  ring_.traceFileIs(std::make_unique<Fastmark::TraceFile>());
  trace();
  EXPECT_EQ(evaluated, 2);
  ringOff();
  // Not the default handle any more: its file says nothing of where traces go.
  ring_.traceFileIs(std::make_unique<Fastmark::TraceFile>());
  trace();
  EXPECT_EQ(evaluated, 2);
  Fastmark::defaultFastmarkHandle = &ring_;
  trace();
  EXPECT_EQ(evaluated, 3);
  EXPECT_EQ(ringLines().size(), 1U);
}

TEST_F(Trace, FollowsTheLevelsOfItsFacility) {
  ringOff();
  Facility::handle().levelsIs(1U << 1);
  Machine().misuse();
  Machine().handleInitialized();
  EXPECT_THAT(lines_, ElementsAre("1 void Traced::Machine::misuse() const: already initialized"));
  Facility::handle().levelsIs(0);
  Machine().misuse();
  EXPECT_EQ(lines_.size(), 1U);
  Velo::traceLevelsIs("TracedSm", 1U << 9);
  Machine().handleInitialized();
  EXPECT_EQ(lines_.size(), 2U);
}

// Bits above the levels are no levels, the bits of a gate among them.
TEST_F(Trace, AMaskOfAllBitsIsThatOfAllLevels) {
  ringOff();
  Velo::traceLevelsIs("TracedSm", ~U32{0});
  Machine().misuse();
  EXPECT_EQ(lines_.size(), 1U);
  EXPECT_THAT(ringLines(), IsEmpty());
}

TEST(TraceLevels, GivenBeforeTheFacilityExistsHoldForIt) {
  Velo::traceLevelsIs("ALateFacility", 1U << 4);
  const Velo::TraceHandle late("ALateFacility", true);
  EXPECT_TRUE(late.isOn(4));
  EXPECT_FALSE(late.isOn(3));
  const Velo::TraceHandle other("AnotherFacility", false);
  const Velo::TraceHandle full("AFullFacility", true);
  for (U32 level = 0; level < 10; ++level) {
    EXPECT_FALSE(other.isOn(level));
    EXPECT_TRUE(full.isOn(level));
  }
}

TEST(TraceLevels, ReachTheFacilityOfThatNameAlone) {
  const Velo::TraceHandle one("One", false);
  const Velo::TraceHandle two("Two", false);
  Velo::traceLevelsIs("One", 1);
  EXPECT_TRUE(one.isOn(0));
  EXPECT_FALSE(two.isOn(0));
}

TEST(TraceSink, ByDefaultWritesALongLineWhole) {
  for (const std::size_t size : {std::size_t{400}, std::size_t{500}, std::size_t{5000}}) {
    const std::string name(size, 'x');
    Velo::traceLevelsIs("TracedSm", 0x3ff);
    testing::internal::CaptureStderr();
    Machine().levelNine(name.c_str());
    const std::string written = testing::internal::GetCapturedStderr();
    Velo::traceLevelsIs("TracedSm", 0);
    EXPECT_EQ(written, "9 void Traced::Machine::levelNine(const Nimbo::String&): " + name + "\n");
  }
}

TEST(TraceSink, ByDefaultIsStandardErrorWithTheLevelInFront) {
  Velo::traceLevelsIs("TracedSm", 0x3ff);
  testing::internal::CaptureStderr();
  Machine().misuse();
  Machine().handleInitialized();
  const std::string written = testing::internal::GetCapturedStderr();
  Velo::traceLevelsIs("TracedSm", 0);
  EXPECT_EQ(written,
            "1 void Traced::Machine::misuse() const: already initialized\n"
            "9 void Traced::Machine::handleInitialized(): \n");
}

TEST(TraceStream, JoinsWhatIsStreamedIntoIt) {
  Velo::TraceStream stream;
  EXPECT_EQ(stream.text(), "");
  stream << "";
  stream << "one";
  EXPECT_EQ(stream.text(), "one");
  stream << " two";
  stream << "";
  stream << " three";
  EXPECT_EQ(stream.text(), "one two three");
}

TEST(TraceStream, ALineStreamedInPiecesReachesTheSinkOnce) {
  std::vector<std::string> lines;
  Velo::traceSinkIs(
      [](void* context, U32 level, const char* line, std::size_t size) {
        static_cast<std::vector<std::string>*>(context)->push_back(std::to_string(level) +
                                                                   std::string(line, size));
      },
      &lines);
  {
    Velo::TraceHelper line(Facility::handle(), 5, "TracedSm", 1, "handle");
    line.stream() << "a";
    line.stream() << "b";
    EXPECT_THAT(lines, IsEmpty());
  }
  Velo::traceSinkIs(nullptr, nullptr);
  EXPECT_THAT(lines, ElementsAre("5ab"));
}

TEST(FastmarkConverter, DropsAnArgumentTooManyAndLeavesAPlaceholderTooMany) {
  Dualmark::FastmarkConverter converter;
  converter.stream("%s");
  converter.argument(U64{1});
  converter.argument(U64{2});
  converter.argument(std::string_view("three"));
  converter.argument(nullptr);
  EXPECT_EQ(converter.text(), "1");
  Dualmark::FastmarkConverter second;
  second.stream("%s");
  second.stream(" %s");
  second.argument(U64{1});
  second.argument(nullptr);
  EXPECT_EQ(second.text(), "1 %s");
}

TEST(TraceDeathTest, AnExceptionInAnArgumentEndsTheProcess) {
  const auto thrower = []() -> U32 { throw std::runtime_error("in an argument"); };
  EXPECT_DEATH(
      {
        Velo::traceLevelsIs("TracedSm", 0x3ff);
        try {
          VELO_TRACE(Facility, 3, "%s", thrower());
        } catch (const std::exception&) {
        }
        std::_Exit(0);
      },
      "");
}

TEST(TraceDeathTest, AnExceptionOutOfAnEntityEndsTheProcess) {
  EXPECT_DEATH(
      {
        Velo::traceLevelsIs("TracedSm", 0x3ff);
        Element element("e1");
        element.whenPrinted = [] { throw std::runtime_error("in an entity"); };
        try {
          VELO_TRACE(Facility, 3, "%s", &element);
        } catch (const std::exception&) {
        }
        std::_Exit(0);
      },
      "");
}

// A machine that a static object holds ends after the thread's own objects are gone.
TEST(TraceDeathTest, WhatEndsWithTheProcessStillTraces) {
  struct Last {
    ~Last() { Machine().handleHost("the end"); }
  };
  EXPECT_EXIT(
      {
        Velo::traceLevelsIs("TracedSm", 0x3ff);
        static Last last;
        Machine().misuse();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "the end has 2 physical port");
}

}  // namespace
