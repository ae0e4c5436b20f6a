#include "host/commandline/BashCompletion.h"

namespace Fabrion::Host {

namespace {

// In front of the tables. PROGRAM stands for the program's name.
constexpr const char* heading =
    R"(# Completions of PROGRAM for bash, made by `PROGRAM completion bash` from the
# declaration of its options.

)";

// Behind the tables.
constexpr const char* function = R"(
_PROGRAM() {
  # What is being completed; the command; the option that takes it as its argument; the option that
  # the last word belongs to.
  local current=$2 command='' option='' last='' word='' offered='' i
  COMPREPLY=()
  for ((i = 1; i <= COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [[ $word == = ]]; then
      # --format=json and NAME=FILE are three words here.
      option=$last
    elif ((i == COMP_CWORD)); then
      break
    elif [[ $word == -* ]]; then
      _PROGRAM_argument "$command" "$word"
      option=${offered:+$word} last=$option
    elif [[ -n $option ]]; then
      last=$option option=''
    else
      command=${command:-$word} last=''
    fi
  done

  if [[ -n $option ]]; then
    _PROGRAM_argument "$command" "$option"
  elif [[ $current == -* ]]; then
    _PROGRAM_options "$command"
  elif [[ -z $command ]]; then
    _PROGRAM_options commands
  else
    _PROGRAM_argument "$command" ''
  fi
  if [[ $offered == : ]]; then return; fi # bash itself completes names of files
  compopt +o default +o bashdefault 2>/dev/null
  if [[ $offered == - ]]; then return; fi
  mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$current")
}

complete -o default -o bashdefault -F _PROGRAM PROGRAM
)";

std::string withName(std::string text, const std::string& name) {
  const std::string place = "PROGRAM";
  for (std::size_t at = 0; (at = text.find(place, at)) != std::string::npos; at += name.size()) {
    text.replace(at, place.size(), name);
  }
  return text;
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// What is offered for an argument: words, `:` for names of files, `-` for nothing.
std::string offeredFor(const DescribedOption& option) {
  switch (option.kind()) {
    case ArgumentKind::choice:
      return joined(option.choices);
    case ArgumentKind::file:
      return ":";
    case ArgumentKind::other:
      return "-";
    case ArgumentKind::none:
      break;
  }
  return "";
}

std::string line(const std::string& pattern, const std::string& offered) {
  return "    " + pattern + ") offered='" + offered + "' ;;\n";
}

// A line for the argument of each option that takes one; `command` begins the pattern and leaves a
// quote open.
std::string argumentsOf(const std::string& command, const std::vector<DescribedOption>& options) {
  std::string lines;
  for (const DescribedOption& option : options) {
    for (const std::string& name : option.names) {
      if (option.kind() == ArgumentKind::none) continue;
      lines += line(command + ' ' + name + "'", offeredFor(option));
    }
  }
  return lines;
}

std::string positionalOf(const DescribedCommand& command) {
  const std::string offered =
      command.positionals.empty() ? "-" : offeredFor(command.positionals.front());
  return line("'" + command.name + " '", offered);
}

}  // namespace

std::string bashCompletion(const DescribedProgram& program) {
  const std::string& name = program.program.name;
  // Options that stand for all commands, besides those that each has itself, such as --help.
  std::vector<std::string> shared;
  std::vector<std::string> first;
  for (const DescribedOption& option : program.program.options) {
    for (const std::string& one : option.names) {
      first.push_back(one);
      if (option.kind() != ArgumentKind::none) shared.push_back(one);
    }
  }
  std::vector<std::string> commands;
  std::string options;
  std::string arguments;
  for (const DescribedCommand& command : program.commands) {
    commands.push_back(command.name);
    std::vector<std::string> names;
    for (const DescribedOption& option : command.options) {
      names.insert(names.end(), option.names.begin(), option.names.end());
    }
    names.insert(names.end(), shared.begin(), shared.end());
    options += line(command.name, joined(names));
    arguments += argumentsOf("'" + command.name, command.options) + positionalOf(command);
  }
  const std::string tables =
      "# The options of the command $1.\n"
      "_PROGRAM_options() {\n  case $1 in\n" +
      line("commands", joined(commands)) + line("''", joined(first)) + options + line("*", "-") +
      "  esac\n}\n\n"
      "# What the option $2 of the command $1 takes, or the command itself where $2 is empty: "
      "words,\n"
      "# : for files, - for what has no list; nothing for an option that takes nothing.\n"
      "_PROGRAM_argument() {\n  case \"$1 $2\" in\n" +
      arguments + argumentsOf("*'", program.program.options) + line("*", "") + "  esac\n}\n";
  return withName(heading + tables + function, name);
}

}  // namespace Fabrion::Host
