// Operations that fail where no document is to blame: each command tells which one it was and why,
// writes nothing else, and ends with status 2.

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/AuditCommand.h"
#include "host/DrawCommand.h"
#include "host/Module.h"
#include "host/PlanCommand.h"
#include "host/RenderCommand.h"
#include "host/Why.h"
#include "host/WhyCommand.h"
#include "tests/host/Program.h"
#include "tests/host/Texts.h"
#include "tests/host/failing_modules.h"

namespace Fabrion::Host {
namespace {

using Test::empty;
using Test::failing;
using Test::inRepository;
using Test::textOfFile;
using Test::written;

using Command = std::function<Outcome(std::ostream&, std::ostream&, const Velo::VeloModule&)>;

const std::string document = inRepository("examples/two-switches.yaml");

std::vector<Command> everyCommand() {
  static const RunOptions running{{document}};
  static const PlanOptions planning{{document}, {document}};
  static const AuditOptions auditing{{document}, written("none.json", R"({"switch":{}})")};
  static const RenderOptions rendering{{document}};
  static const DrawOptions drawing{{document}, "-"};
  static const WhyOptions asking{{document, "left"}};
  const auto command = [](auto* f, const auto& options) {
    return [f, &options](std::ostream& out, std::ostream& err, const Velo::VeloModule& module) {
      return f(options, out, err, module);
    };
  };
  return {command(&run, running),      command(&plan, planning), command(&audit, auditing),
          command(&render, rendering), command(&draw, drawing),  command(&why, asking)};
}

TEST(ErrorsOfOperations, AreToldWithTheOperation) {
  for (const Command& command : everyCommand()) {
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(command(out, err, failing), Outcome::mistake);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(err.str(),
              "fabrion: the operation {\"op\":\"topology.start\"} failed: this is out of range\n");
  }
}

TEST(ErrorsOfOperations, AnotherModuleIsNoMatterOfTheOperation) {
  for (const Command& command : everyCommand()) {
    std::ostringstream out;
    std::ostringstream err;
    try {
      command(out, err, empty);
      ADD_FAILURE() << "nothing was raised";
    } catch (const ModuleError& error) {
      EXPECT_STREQ(error.what(), "the module has no type Fabrion::Agent::TopologySm");
    }
    EXPECT_EQ(out.str() + err.str(), "");
  }
}

// The command looks for the switch first; whoever asks otherwise is told as well.
TEST(ErrorsOfOperations, AnExplanationIsOfASwitchThatThereIs) {
  const Controller controller(empty);
  try {
    explain(Fabric{}, controller, {"leaf", {}, {}});
    FAIL();
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "the fabric has no switch leaf");
  }
}

TEST(ErrorsOfOperations, ThePictureStaysAsItIs) {
  const std::string picture = written("kept.svg", "kept");
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(draw({{document}, picture}, out, err, failing), Outcome::mistake);
  EXPECT_EQ(textOfFile(picture), "kept");
}

}  // namespace
}  // namespace Fabrion::Host
