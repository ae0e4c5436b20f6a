// The exceptions of the runtime and the fault that ends the process.
#include "platform/Velo/Exceptions.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "platform/Velo/Fault.h"

namespace {

template <class Expected, class Raise>
std::string textOf(Raise raise) {
  try {
    raise();
  } catch (const Expected& raised) {
    return raised.what();
  }
  return "nothing was raised";
}

TEST(Exceptions, ARangeExceptionCarriesExactlyItsText) {
  const auto raise = [] { Velo::throwRangeException("Some::type::value > 7 not allowed"); };
  EXPECT_EQ(textOf<Velo::RangeException>(raise), "Some::type::value > 7 not allowed");
}

TEST(Exceptions, ANullEntityIsReportedWithTheClassAndTheAttribute) {
  const auto raise = [] {
    Velo::throwMutatorArgNullPointerException("Fabrion::Agent::SwitchNodeSm", "interface");
  };
  EXPECT_EQ(textOf<Velo::NullPointerException>(raise),
            "Fabrion::Agent::SwitchNodeSm.interface: a null entity was given");
}

TEST(Exceptions, ASecondInstanceIsReportedWithItsKey) {
  const auto raise = [] {
    Velo::Impl::throwMutatorReinstantiating("Fabrion::Agent::NetworkElementSm", "portGroupSm",
                                            "po1");
  };
  EXPECT_EQ(
      textOf<Velo::ReinstantiatingException>(raise),
      "Fabrion::Agent::NetworkElementSm.portGroupSm: 'po1' is already there for another entity");
}

TEST(Exceptions, AllAreCaughtAsTheBaseOfTheRuntimeAndAsAStandardException) {
  EXPECT_THROW(Velo::throwRangeException("r"), Velo::Exception);
  EXPECT_THROW(Velo::throwMutatorArgNullPointerException("t", "a"), Velo::Exception);
  EXPECT_THROW(Velo::Impl::throwMutatorReinstantiating("t", "a", ""), Velo::Exception);
  EXPECT_THROW(Velo::throwRangeException("r"), std::runtime_error);
}

TEST(Exceptions, AKindIsNotCaughtAsAnother) {
  EXPECT_THROW(
      {
        try {
          Velo::throwRangeException("r");
        } catch (const Velo::NullPointerException&) {
          FAIL() << "a range exception was taken for one of a null entity";
        } catch (const Velo::ReinstantiatingException&) {
          FAIL() << "a range exception was taken for one of a second instance";
        }
      },
      Velo::RangeException);
}

TEST(FaultDeathTest, WritesOneLineAndAborts) {
  EXPECT_EXIT(Velo::fault("void A::b()", "the switch element"), testing::KilledBySignal(SIGABRT),
              "^void A::b\\(\\): the switch element is missing\n$");
}

TEST(FaultDeathTest, ALongSignatureIsWrittenWhole) {
  const std::string function(3000, 'f');
  EXPECT_EXIT(Velo::fault(function.c_str(), "it"), testing::KilledBySignal(SIGABRT),
              "^" + function + ": it is missing\n$");
}

TEST(FaultDeathTest, TextsThatAreThemselvesMissingDoNotMaskTheFault) {
  EXPECT_EXIT(Velo::fault(nullptr, nullptr), testing::KilledBySignal(SIGABRT),
              "^\\?: \\? is missing\n$");
}

}  // namespace
