// The pages that people read say what the program does: outputs in them are the outputs, and trace
// lines are those of a run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

#include "host/Module.h"
#include "host/Replay.h"
#include "host/RunCommand.h"
#include "host/WhyCommand.h"
#include "tests/host/Texts.h"

#ifdef FABRION_MODULE

namespace Fabrion::Host {
namespace {

using Test::blocksOf;
using Test::inRepository;
using Test::linesOf;
using Test::textOfFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

// The golden files are held against runs in run_command_test.cc.
TEST(Pages, TheReadmeShowsTheReportsOnTheExamples) {
  EXPECT_THAT(blocksOf(textOfFile(inRepository("README.md")), "text"),
              ElementsAre(textOfFile(inRepository("tests/data/two-switches.txt")),
                          textOfFile(inRepository("tests/data/leaf-spine.txt"))));
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

TEST(Pages, TheReadmeExplainsAnExampleAsTheProgramDoes) {
  const std::string file = "examples/leaf-spine.yaml";
  const auto answer = [&](const std::string& switchName, const std::string& port,
                          const std::string& vlan) {
    return "$ fabrion why " + file + " " + switchName + " " + port + " " + vlan + "\n" +
           answerTo({{inRepository(file), switchName, port, vlan}}, file);
  };
  EXPECT_THAT(blocksOf(textOfFile(inRepository("README.md")), "console"),
              testing::Contains(answer("leaf2", "e4", "200") + answer("leaf1", "e8", "210")));
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
