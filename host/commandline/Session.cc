#include "host/commandline/Session.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <utility>

#include "host/FabricText.h"
#include "host/Module.h"
#include "host/Say.h"

namespace Fabrion::Host {

std::string footerOf(const CommandHelp& help) {
  std::string text;
  if (!help.endings.empty()) text += "Exit status:\n";
  for (const Ending& ending : help.endings) {
    text += "  " + std::to_string(ending.status) + "  " + ending.when + '\n';
  }
  if (!help.examples.empty()) text += text.empty() ? "Examples:\n" : "\nExamples:\n";
  for (const Example& example : help.examples) {
    text += "  " + example.does + "\n    " + example.line + '\n';
  }
  // CLI11 ends the last line itself.
  if (!text.empty()) text.pop_back();
  return text;
}

const Velo::VeloModule& Session::module() const { return loadModule(moduleFile); }

void Session::help(CLI::App& app, CommandHelp of) {
  app.footer(footerOf(of));
  helps[&app] = std::move(of);
}

void Session::is(std::function<Outcome()> named) {
  failure = static_cast<int>(Outcome::mistake);
  command = [named = std::move(named)] { return static_cast<int>(named()); };
}

Ending done(const std::string& when) { return {static_cast<int>(Outcome::done), when}; }

Ending notDone() {
  return {static_cast<int>(Outcome::mistake), "Not done; the standard error says why."};
}

Outcome write(const std::string& text, const std::string& what) {
  std::cout << text << std::flush;
  return std::cout ? Outcome::done : refuse(std::cerr, what + " cannot be written");
}

void addDocuments(CLI::App& app, std::vector<std::string>& documents) {
  app.add_option("documents", documents, "Files that make up the fabric")
      ->required()
      ->type_name("DOCUMENT");
}

void addFormat(CLI::App& app, std::string& format, const std::string& what,
               const std::vector<std::string>& choices) {
  format = choices.front();
  app.add_option("--format", format, "The form of " + what)
      ->type_name("FORMAT")
      ->capture_default_str()
      ->check(oneOf(choices));
}

ReportFormat reportFormat(const std::string& format) {
  return format == "json" ? ReportFormat::json : ReportFormat::text;
}

CLI::Validator oneOf(const std::vector<std::string>& choices) {
  std::string all;
  for (const std::string& choice : choices) all += (all.empty() ? "" : ",") + choice;
  const auto check = [choices](const std::string& word) {
    return std::find(choices.begin(), choices.end(), word) == choices.end() ? shown(word) : "";
  };
  return CLI::Validator(check, "{" + all + "}");
}

CLI::Validator numberFrom(U64 least, U64 most) {
  const auto check = [least, most](std::string& word) {
    U64 number = 0;
    const char* const end = word.data() + word.size();
    const auto [last, error] = std::from_chars(word.data(), end, number);
    if (error != std::errc() || last != end || number < least || number > most) return shown(word);
    // CLI11 would take zeros in front for an octal number.
    word = std::to_string(number);
    return std::string();
  };
  return CLI::Validator(check, "[" + std::to_string(least) + " - " + std::to_string(most) + "]");
}

void addTrace(CLI::App& app, std::optional<U32>& level) {
  app.add_option("--trace", level, "Write the trace of levels 0 to LEVEL to the standard error")
      ->type_name("LEVEL")
      ->transform(numberFrom(0, 9));
}

}  // namespace Fabrion::Host
