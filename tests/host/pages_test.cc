// The pages that people read say what the program does: outputs in them are the outputs, and trace
// lines are those of a run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

#include "host/Module.h"
#include "host/Replay.h"
#include "host/RunCommand.h"
#include "host/WhyCommand.h"
#include "tests/host/Help.h"
#include "tests/host/Scratch.h"
#include "tests/host/Texts.h"

#if defined(FABRION_BINARY) && defined(FABRION_MODULE)

namespace Fabrion::Host {
namespace {

using Test::blocksOf;
using Test::commandsOfProgram;
using Test::inRepository;
using Test::linesOf;
using Test::Scratch;
using Test::shellWord;
using Test::textOfFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

// What a user types on a page, and what comes of it.
struct Step {
  std::string line;    // behind the prompt
  std::string output;  // `...` for what follows from the page and is left out
};

std::vector<Step> stepsOf(const std::string& block) {
  std::vector<Step> steps;
  for (const std::string& line : linesOf(block)) {
    if (line.starts_with("$ ")) {
      steps.push_back({line.substr(2), ""});
    } else if (!steps.empty()) {
      steps.back().output += line + '\n';
    }
  }
  return steps;
}

// What `watch`, which runs in the background, adds to its report after `edit`, as soon as that ends
// with the last line that the page has.
std::string followed(const Scratch& scratch, const Step& watch, const Step& edit) {
  std::string report = watch.line.substr(0, watch.line.size() - 2);  // without the &
  const std::size_t option = report.find(" --watch");
  if (option == std::string::npos) return watch.line + " follows nothing";
  report.erase(option, 8);
  const std::string until = "for ((i = 0; i < 600; ++i)); do if ";
  const std::string pause = "; then break; fi; sleep 0.1; done; ";
  return scratch
      .bash(report + " >report; " + watch.line.substr(0, watch.line.size() - 2) +
            " >shown 2>said & " + until + "cmp -s report shown" + pause + edit.line + "; " + until +
            "[[ $(tail -n 1 shown) == " + shellWord(linesOf(edit.output).back()) + " ]]" + pause +
            "kill $!; wait $!; tail -c +$(($(wc -c <report) + 1)) shown")
      .out;
}

// What earlier lines of the page have written is there for the later ones.
TEST(Pages, TheReadmeShowsEachCommandWithWhatItPrintsOnAScreen) {
  const Scratch scratch("readme");
  std::set<std::string> shown;
  for (const std::string& block : blocksOf(textOfFile(inRepository("README.md")), "console")) {
    EXPECT_LE(linesOf(block).size(), 40U) << block;
    const std::vector<Step> steps = stepsOf(block);
    for (std::size_t i = 0; i < steps.size(); ++i) {
      std::smatch command;
      if (std::regex_search(steps[i].line, command, std::regex("^fabrion ([a-z]+( --watch)?)"))) {
        shown.insert(command[1].str());
      }
      if (steps[i].line.ends_with(" &")) {
        EXPECT_EQ(steps[i].output, "...\n");
        ASSERT_LT(i + 1, steps.size());
        EXPECT_EQ(followed(scratch, steps[i], steps[i + 1]), steps[i + 1].output);
        ++i;
      } else {
        EXPECT_EQ(scratch.bash("{ " + steps[i].line + "; } 2>&1").out, steps[i].output)
            << steps[i].line;
      }
    }
  }
  std::set<std::string> commands = commandsOfProgram();
  commands.insert("run --watch");
  EXPECT_EQ(shown, commands);
  // The picture is the one that the command beside it draws.
  EXPECT_EQ(textOfFile(scratch.path("leaf-spine.svg")),
            textOfFile(inRepository("examples/leaf-spine.svg")));
  EXPECT_THAT(textOfFile(inRepository("README.md")), HasSubstr("](examples/leaf-spine.svg)"));
}

TEST(Pages, LinesOfTheReadmeFitAWindow) {
  bool inside = false;
  for (const std::string& line : linesOf(textOfFile(inRepository("README.md")))) {
    if (line.starts_with("```")) inside = !inside;
    if (inside || line.starts_with("|")) continue;
    EXPECT_LE(line.size(), 120U) << line;
  }
}

TEST(Pages, TheExampleOfTheRunOutputIsARun) {
  const std::string page = textOfFile(inRepository("docs/run-output.md"));
  const std::vector<std::string> documents = blocksOf(page, "yaml");
  ASSERT_THAT(documents, SizeIs(1));
  RunOptions options{{testing::TempDir() + "run-output.yaml"}};
  std::ofstream(options.documents[0]) << documents[0];
  const auto ran = [&](ReportFormat format) {
    options.format = format;
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(run(options, out, err, loadModule(FABRION_MODULE)), Outcome::done) << err.str();
    return out.str();
  };
  EXPECT_THAT(blocksOf(page, "text"), ElementsAre(ran(ReportFormat::text)));
  EXPECT_THAT(blocksOf(page, "json"), ElementsAre(ran(ReportFormat::json)));
}

TEST(Pages, TheDocumentThatDiscoverMakesIsTheOneOfTheExample) {
  EXPECT_THAT(blocksOf(textOfFile(inRepository("docs/discover.md")), "yaml"),
              ElementsAre(textOfFile(inRepository("examples/lldp/topology.yaml"))));
}

// The answer to `why`, with the file as the page names it.
std::string answerTo(const WhyOptions& options, const std::string& file) {
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(why(options, out, err, loadModule(FABRION_MODULE)), Outcome::done) << err.str();
  const std::string& path = options.words[0];
  std::string text = out.str();
  for (std::size_t at = 0; (at = text.find(path, at)) != std::string::npos; at += file.size()) {
    text.replace(at, path.size(), file);
  }
  return text;
}

TEST(Pages, TheExampleOfExplanationsIsExplained) {
  const std::string page = textOfFile(inRepository("docs/why.md"));
  const std::vector<std::string> documents = blocksOf(page, "yaml");
  ASSERT_THAT(documents, SizeIs(1));
  const std::string path = testing::TempDir() + "explained.yaml";
  std::ofstream(path) << documents[0];
  const auto answer = [&](std::vector<std::string> words, ReportFormat format) {
    words.insert(words.begin(), path);
    return answerTo({words, format}, "fabric.yaml");
  };
  EXPECT_THAT(blocksOf(page, "text"),
              ElementsAre(answer({"leaf1"}, ReportFormat::text),
                          answer({"leaf1", "e5", "300"}, ReportFormat::text)));
  EXPECT_THAT(blocksOf(page, "json"),
              ElementsAre(answer({"leaf1", "e5", "300"}, ReportFormat::json)));
}

TEST(Pages, AnEventFlowsAsThePageTells) {
  std::istringstream journal(textOfFile(inRepository("tests/data/hostname-request.journal")));
  std::ostringstream out;
  std::ostringstream err;
  replay({"hostname-request.journal", 3}, journal, out, err, loadModule(FABRION_MODULE));
  const std::vector<std::string> trace = linesOf(err.str());

  // The lines of the page, which stands them in by the steps' indentation.
  std::vector<std::string> told;
  bool inside = false;
  for (const std::string& line : linesOf(textOfFile(inRepository("docs/how-an-event-flows.md")))) {
    const std::size_t start = line.find_first_not_of(' ');
    if (start == std::string::npos) continue;
    const std::string text = line.substr(start);
    if (text.starts_with("```")) {
      inside = text == "```trace";
    } else if (inside) {
      told.push_back(text);
    }
  }
  ASSERT_GT(told.size(), 5U);

  // Each is found behind the one before; between them may stand what the page does not tell.
  auto at = trace.begin();
  for (const std::string& line : told) {
    const auto found = std::find(at, trace.end(), line);
    ASSERT_NE(found, trace.end()) << line;
    at = found + 1;
  }
}

// The blocks of a page, those in a list too, each as its lines without their indentation.
std::vector<std::string> flushBlocksOf(const std::string& page, const std::string& language) {
  std::string flush;
  for (const std::string& line : linesOf(page)) {
    flush += line.substr(std::min(line.find_first_not_of(' '), line.size())) + '\n';
  }
  return blocksOf(flush, language);
}

// What the example prints is held against output.txt by tests/embed/embed.sh.
TEST(Pages, ThePageOnEmbeddingShowsTheExampleAndItsOutput) {
  const std::string page = textOfFile(inRepository("docs/embedding.md"));
  EXPECT_THAT(blocksOf(page, "text"),
              ElementsAre(textOfFile(inRepository("tests/embed/output.txt"))));

  const auto shown = [&](const std::string& language, const std::string& file) {
    const std::string source = textOfFile(inRepository("examples/embed/" + file));
    const std::string flush = flushBlocksOf("```all\n" + source + "```\n", "all").at(0);
    const std::vector<std::string> blocks = flushBlocksOf(page, language);
    for (const std::string& block : blocks) EXPECT_THAT(flush, HasSubstr(block));
    return blocks.size();
  };
  EXPECT_EQ(shown("cmake", "CMakeLists.txt"), 1U);
  EXPECT_EQ(shown("cpp", "main.cc"), 3U);
}

// Files that pages name, in code or as links, are there.
TEST(Pages, FilesThatAreNamedAreThere) {
  const std::regex named(
      "`((?:host|platform|entities|agent|topology|elements|clients|switch|tests|"
      "cmake)/[A-Za-z0-9_./-]*)`|\\]\\(([^):#]+)\\)");
  for (const char* page :
       {"README.md", "docs/architecture.md", "docs/how-an-event-flows.md", "docs/run-output.md",
        "docs/rendering.md", "docs/fabric-document.md", "docs/embedding.md", "docs/discover.md",
        "docs/drawing.md", "docs/why.md", "docs/plan-and-watch.md"}) {
    const std::string text = textOfFile(inRepository(page));
    const auto folder = std::filesystem::path(inRepository(page)).parent_path();
    int links = 0;
    for (std::sregex_iterator link(text.begin(), text.end(), named), end; link != end; ++link) {
      const bool inCode = (*link)[1].matched;
      const auto file = inCode ? std::filesystem::path(inRepository((*link)[1].str()))
                               : folder / (*link)[2].str();
      EXPECT_TRUE(std::filesystem::exists(file)) << page << " names " << file;
      ++links;
    }
    EXPECT_GT(links, 0) << page;
  }
}

}  // namespace
}  // namespace Fabrion::Host

#endif
