#include "host/commandline/Described.h"

#include <algorithm>
#include <string_view>

namespace Fabrion::Host {

namespace {

// What stands between the first `open` and the last `close`; empty without them.
std::string between(const std::string& text, char open, char close) {
  const std::size_t first = text.find(open);
  const std::size_t last = text.rfind(close);
  if (first == std::string::npos || last == std::string::npos || last < first) return "";
  return text.substr(first + 1, last - first - 1);
}

// CLI11 words a type as PLACEHOLDER:VALIDATOR..., with {a,b} for a choice and [1 - 9] for bounds.
void readType(const std::string& type, DescribedOption& option) {
  const std::size_t colon = type.find(':');
  option.placeholder = type.substr(0, colon);
  if (colon == std::string::npos) return;
  const std::string validators = type.substr(colon + 1);
  const std::string set = between(validators, '{', '}');
  for (std::size_t at = 0; at < set.size();) {
    const std::size_t comma = std::min(set.find(',', at), set.size());
    option.choices.push_back(set.substr(at, comma - at));
    at = comma + 1;
  }
  const std::string range = between(validators, '[', ']');
  constexpr std::string_view to = " - ";
  if (const std::size_t middle = range.find(to); middle != std::string::npos) {
    option.least = range.substr(0, middle);
    option.most = range.substr(middle + to.size());
  }
}

std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

DescribedCommand describedCommand(const CLI::App& app, const Session& session) {
  DescribedCommand command;
  command.name = app.get_name();
  command.description = app.get_description();
  for (const CLI::Option* option : app.get_options()) {
    (option->nonpositional() ? command.options : command.positionals).push_back(described(*option));
  }
  if (const auto help = session.helps.find(&app); help != session.helps.end()) {
    command.help = help->second;
  }
  return command;
}

}  // namespace

ArgumentKind DescribedOption::kind() const {
  if (placeholder.empty()) return ArgumentKind::none;
  if (!choices.empty()) return ArgumentKind::choice;
  for (const char* file : {"FILE", "DOCUMENT", "JOURNAL", "OLD"}) {
    if (placeholder.find(file) != std::string::npos) return ArgumentKind::file;
  }
  return ArgumentKind::other;
}

std::string usageOf(const DescribedOption& positional) {
  // A placeholder of several words says itself what is repeated.
  const bool oneWord = positional.placeholder.find(' ') == std::string::npos;
  const std::string text = positional.placeholder + (positional.list && oneWord ? "..." : "");
  return positional.required ? text : "[" + text + "]";
}

std::string usageOf(const DescribedProgram& program, const DescribedCommand& command) {
  std::string usage = program.program.name + ' ' + command.name + " [OPTIONS]";
  for (const DescribedOption& argument : command.positionals) usage += ' ' + usageOf(argument);
  return usage;
}

DescribedOption described(const CLI::Option& option) {
  DescribedOption one;
  one.names = namesOf(option);
  if (option.get_items_expected_max() > 0) {
    readType(option.get_type_name(), one);
    one.standard = option.get_default_str();
    const bool several = option.get_expected_max() >= CLI::detail::expected_max_vector_size;
    one.list = several && option.get_allow_extra_args();
    one.repeatable = several && !one.list;
  }
  one.description = option.get_description();
  for (const CLI::Option* needed : option.get_needs()) {
    one.needs.push_back(namesOf(*needed).back());
  }
  // CLI11 has them in the order of their addresses.
  std::sort(one.needs.begin(), one.needs.end());
  one.required = option.get_required();
  return one;
}

DescribedProgram described(const CLI::App& app, const Session& session) {
  DescribedProgram program{describedCommand(app, session), app.version(), {}};
  for (const CLI::App* command : app.get_subcommands({})) {
    program.commands.push_back(describedCommand(*command, session));
  }
  return program;
}

}  // namespace Fabrion::Host
