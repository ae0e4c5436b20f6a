#include "platform/Velo/Signature.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "platform/Nimbo/String.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/Types.h"

// What the compiler that builds this test gives, spelled as a trace spells it.
#define SIGNATURE Velo::signatureAsGcc(__PRETTY_FUNCTION__)

namespace Signed {

class Element : public Velo::PtrInterface {};

class Machine {
 public:
  explicit Machine(const Nimbo::String&) : made_(SIGNATURE) {}
  virtual ~Machine() = default;

  std::string plain() { return SIGNATURE; }
  std::string key(const Nimbo::String& name);
  std::string numbers(U8, U16, U32, U64, std::size_t, bool) const;
  std::string builtins(unsigned, unsigned long, long, long long, unsigned long long, short,
                       unsigned short, unsigned char, signed char) {
    return SIGNATURE;
  }
  std::string pointer(const Velo::Ptr<const Signed::Element>&, Velo::Ptr<Signed::Element>) {
    return SIGNATURE;
  }
  std::string nested(const std::set<Velo::Ptr<const Signed::Element>>*, const std::set<U32>&) {
    return SIGNATURE;
  }
  std::string raw(const Signed::Element*, Signed::Element**, Signed::Element&&) {
    return SIGNATURE;
  }
  // NOLINTNEXTLINE: the constants are what is tested
  std::string constants(const U32, Signed::Element* const, const Nimbo::String) {
    return SIGNATURE;
  }
  std::string array(int (&)[3], void (*)(int), U32 (Signed::Machine::*)() const) {
    return SIGNATURE;
  }
  std::string function(const std::function<void(const Nimbo::String&, U32)>&) { return SIGNATURE; }
  const std::string& reference() {
    made_ = SIGNATURE;
    return made_;
  }
  const Signed::Machine* itself(std::string* out) const {
    *out = SIGNATURE;
    return this;
  }
  static std::string ofClass(std::string_view, const std::string&) { return SIGNATURE; }
  virtual std::string overridden() const { return SIGNATURE; }
  std::string operator()(U32) { return SIGNATURE; }
  std::string operator<<(U32) { return SIGNATURE; }
  std::string operator->*(U32) { return SIGNATURE; }
  std::string operator*() { return SIGNATURE; }
  std::string withDefault(U32 = 3) { return SIGNATURE; }
  template <class T, class U>
  void over(const T&, U*) {
    made_ = SIGNATURE;
  }

  class VeloEdge {
   public:
    std::string handleToPort(const Nimbo::String&, const Nimbo::String&) const { return SIGNATURE; }
  };

  const std::string& made() const { return made_; }

 private:
  std::string made_;
};

std::string Machine::key(const Nimbo::String& /*name*/) { return SIGNATURE; }
std::string Machine::numbers(U8, U16, U32, U64, std::size_t, bool) const { return SIGNATURE; }

namespace {
std::string hidden(U32) { return SIGNATURE; }
}  // namespace

}  // namespace Signed

namespace {

class Signature : public testing::Test {
 protected:
  Signed::Machine machine_{Nimbo::String("m")};
};

TEST_F(Signature, OfAHandlerIsTheOneThatGccWrites) {
  EXPECT_EQ(machine_.plain(), "std::string Signed::Machine::plain()");
  EXPECT_EQ(machine_.key("x"), "std::string Signed::Machine::key(const Nimbo::String&)");
  EXPECT_EQ(Signed::Machine::VeloEdge().handleToPort("a", "b"),
            "std::string Signed::Machine::VeloEdge::handleToPort(const Nimbo::String&, const "
            "Nimbo::String&) const");
}

TEST_F(Signature, OfAConstructorHasNoResult) {
  EXPECT_EQ(machine_.made(), "Signed::Machine::Machine(const Nimbo::String&)");
}

TEST_F(Signature, KeepsTheNamesOfIntegers) {
  EXPECT_EQ(machine_.numbers(1, 2, 3, 4, 5, true),
            "std::string Signed::Machine::numbers(U8, U16, U32, U64, std::size_t, bool) const");
}

TEST_F(Signature, SpellsOutTheIntegersOfTheLanguage) {
  EXPECT_EQ(
      machine_.builtins(1, 2, 3, 4, 5, 6, 7, 8, 9),
      "std::string Signed::Machine::builtins(unsigned int, long unsigned int, long int, long "
      "long int, long long unsigned int, short int, short unsigned int, unsigned char, signed "
      "char)");
}

TEST_F(Signature, OfTemplateArguments) {
  EXPECT_EQ(machine_.pointer({}, {}),
            "std::string Signed::Machine::pointer(const Velo::Ptr<const Signed::Element>&, "
            "Velo::Ptr<Signed::Element>)");
  EXPECT_EQ(machine_.nested(nullptr, {}),
            "std::string Signed::Machine::nested(const std::set<Velo::Ptr<const Signed::Element> "
            ">*, const std::set<unsigned int>&)");
  EXPECT_EQ(machine_.function({}),
            "std::string Signed::Machine::function(const std::function<void(const Nimbo::String&, "
            "unsigned int)>&)");
}

TEST_F(Signature, OfPointersAndReferences) {
  EXPECT_EQ(machine_.raw(nullptr, nullptr, Signed::Element()),
            "std::string Signed::Machine::raw(const Signed::Element*, Signed::Element**, "
            "Signed::Element&&)");
  int three[3] = {};
  EXPECT_EQ(machine_.array(three, nullptr, nullptr),
            "std::string Signed::Machine::array(int (&)[3], void (*)(int), U32 "
            "(Signed::Machine::*)() const)");
}

TEST_F(Signature, LeavesOutWhatIsConstantForTheFunctionAlone) {
  EXPECT_EQ(machine_.constants(1, nullptr, "x"),
            "std::string Signed::Machine::constants(U32, Signed::Element*, Nimbo::String)");
}

TEST_F(Signature, SetsTheMarksOfAResultToItsType) {
  EXPECT_EQ(machine_.reference(), "const std::string& Signed::Machine::reference()");
  std::string out;
  machine_.itself(&out);
  EXPECT_EQ(out, "const Signed::Machine* Signed::Machine::itself(std::string*) const");
}

TEST_F(Signature, NamesWhatAFunctionIs) {
  EXPECT_EQ(Signed::Machine::ofClass("", ""),
            "static std::string Signed::Machine::ofClass(std::string_view, const std::string&)");
  EXPECT_EQ(machine_.overridden(), "virtual std::string Signed::Machine::overridden() const");
}

TEST_F(Signature, OfOperators) {
  EXPECT_EQ(machine_(1), "std::string Signed::Machine::operator()(U32)");
  EXPECT_EQ(machine_ << 1, "std::string Signed::Machine::operator<<(U32)");
  EXPECT_EQ(machine_->*1, "std::string Signed::Machine::operator->*(U32)");
  EXPECT_EQ(*machine_, "std::string Signed::Machine::operator*()");
}

TEST_F(Signature, LeavesOutDefaultArguments) {
  EXPECT_EQ(machine_.withDefault(), "std::string Signed::Machine::withDefault(U32)");
}

TEST_F(Signature, OfAFunctionTemplateTellsItsTypes) {
  bool flag = false;
  machine_.over(Velo::Ptr<const Signed::Element>(), &flag);
  EXPECT_EQ(
      machine_.made(),
      "void Signed::Machine::over(const T&, U*) [with T = Velo::Ptr<const Signed::Element>; U = "
      "bool]");
}

TEST_F(Signature, OfAnUnnamedNamespace) {
  EXPECT_EQ(Signed::hidden(1), "std::string Signed::{anonymous}::hidden(U32)");
}

TEST(SignatureText, OfClangIsRespelledWhateverCompilerBuilds) {
  const std::array<std::array<const char*, 2>, 7> pairs{{
      {"void A::b(const Nimbo::String &)", "void A::b(const Nimbo::String&)"},
      {"const A::B &A::c() const", "const A::B& A::c() const"},
      {"void A::d(const P<Q<R>> &, R *const)", "void A::d(const P<Q<R> >&, R*)"},
      {"T A::e(T, U) [T = unsigned long, U = P<bool, int>]",
       "T A::e(T, U) [with T = long unsigned int; U = P<bool, int>]"},
      {"void (anonymous namespace)::f(A::G &&)", "void {anonymous}::f(A::G&&)"},
      {"bool A::operator()(U32) &&", "bool A::operator()(U32) &&"},
      {"A &A::operator=(const A &)", "A& A::operator=(const A&)"},
  }};
  for (const auto& pair : pairs) EXPECT_EQ(Velo::signatureAsGcc(pair[0]), pair[1]);
}

TEST(SignatureText, OfGccStaysAsItIs) {
  for (const char* text :
       {"void Fabrion::Agent::TopologySm::handleHost(const Nimbo::String&)",
        "bool A::isMember(const Nimbo::String&) const", "const A::B& A::c() const",
        "T A::e(T, U) [with T = long unsigned int; U = P<P<bool>, int>]",
        "void A::f(const P<Q<R> >&, long int, short unsigned int)", "void {anonymous}::f(A::G&&)",
        "A& A::operator=(const A&)", "virtual A::~A()", "bool A::operator>>(U32) &&",
        "longest f(A, P<B::U32>)"}) {
    EXPECT_EQ(Velo::signatureAsGcc(text), text);
  }
}

}  // namespace
