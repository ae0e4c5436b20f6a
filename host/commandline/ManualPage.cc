#include "host/commandline/ManualPage.h"

#include <cctype>
#include <string_view>
#include <utility>

namespace Fabrion::Host {

namespace {

// Characters that roff would read as its own, or print as another one: a hyphen for a minus, a
// curved quote for a straight one.
std::string escaped(std::string_view text) {
  std::string roff;
  for (const char c : text) {
    switch (c) {
      case '\\':
        roff += "\\e";
        break;
      case '-':
        roff += "\\-";
        break;
      case '\'':
        roff += "\\(aq";
        break;
      case '`':
        roff += "\\(ga";
        break;
      case '^':
        roff += "\\(ha";
        break;
      case '~':
        roff += "\\(ti";
        break;
      case '"':
        roff += "\\(dq";
        break;
      default:
        roff += c;
    }
  }
  // At the start of a line a dot begins a request; quotes are gone by now.
  return roff.starts_with('.') ? "\\&" + roff : roff;
}

std::string bold(std::string_view text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + escaped(text) + "\\fR"; }

// A line of text, in which what stands in backquotes is bold.
std::string prose(std::string_view text) {
  std::string roff;
  while (!text.empty()) {
    const std::size_t first = text.find('`');
    const std::size_t last = first == std::string_view::npos ? first : text.find('`', first + 1);
    if (last == std::string_view::npos) break;
    roff += escaped(text.substr(0, first)) + bold(text.substr(first + 1, last - first - 1));
    text.remove_prefix(last + 1);
  }
  return roff + escaped(text) + '\n';
}

std::string section(std::string_view name) { return ".SH " + escaped(name) + '\n'; }
std::string paragraph(std::string_view text) { return ".PP\n" + prose(text); }
std::string item(std::string_view head, std::string_view text) {
  return ".TP\n" + std::string(head) + '\n' + prose(text);
}

std::string argumentOf(const DescribedOption& option) {
  std::string text;
  for (const std::string& choice : option.choices) {
    text += (text.empty() ? "" : "|") + bold(choice);
  }
  if (text.empty()) text = italic(option.placeholder);
  // A placeholder of several words says itself what is repeated.
  const bool oneWord = option.placeholder.find(' ') == std::string::npos;
  return option.list && oneWord ? text + "..." : text;
}

std::string headOf(const DescribedOption& option) {
  std::string head;
  for (const std::string& name : option.names) head += (head.empty() ? "" : ", ") + bold(name);
  if (option.kind() == ArgumentKind::none) return head;
  return head + (head.empty() ? "" : " ") + argumentOf(option);
}

std::string sentencesOf(const DescribedOption& option) {
  std::string text = option.description + '.';
  if (!option.most.empty()) text += " From " + option.least + " to " + option.most + '.';
  if (!option.standard.empty()) text += " It is " + option.standard + " unless given.";
  for (const std::string& needed : option.needs) text += " Needs " + needed + '.';
  if (option.repeatable) text += " May be given several times.";
  return text;
}

bool isHelp(const DescribedOption& option) { return option.names.back() == "--help"; }

std::string inUsage(const DescribedOption& option) {
  std::string text = option.names.empty() ? "" : bold(option.names.back());
  if (option.kind() != ArgumentKind::none) text += (text.empty() ? "" : " ") + argumentOf(option);
  return option.required ? text : "[" + text + "]" + (option.repeatable ? "..." : "");
}

std::string usageOf(const std::string& program, const DescribedCommand& command) {
  std::string usage = bold(program + ' ' + command.name);
  for (const DescribedOption& option : command.options) {
    if (!isHelp(option)) usage += ' ' + inUsage(option);
  }
  for (const DescribedOption& argument : command.positionals) usage += ' ' + inUsage(argument);
  return usage + '\n';
}

std::string endingsOf(const CommandHelp& help) {
  std::string roff;
  for (const Ending& ending : help.endings) {
    roff += item(bold(std::to_string(ending.status)), ending.when);
  }
  return roff;
}

std::string commandOf(const std::string& program, const DescribedCommand& command) {
  std::string roff = ".SS " + escaped(command.name) + '\n' + usageOf(program, command);
  roff += paragraph(command.description + '.');
  for (const DescribedOption& argument : command.positionals) {
    roff += item(headOf(argument), sentencesOf(argument));
  }
  for (const DescribedOption& option : command.options) {
    if (!isHelp(option)) roff += item(headOf(option), sentencesOf(option));
  }
  // The statuses stand a step further in than the options.
  return roff + paragraph("Exit status:") + ".RS\n" + endingsOf(command.help) + ".RE\n";
}

std::string examplesOf(const DescribedCommand& command) {
  std::string roff;
  for (const Example& example : command.help.examples) {
    roff += paragraph(example.does) + ".RS 4\n.nf\n" + escaped(example.line) + "\n.fi\n.RE\n";
  }
  return roff;
}

std::string nameOf(const DescribedProgram& program) {
  std::string what = program.program.description;
  if (!what.empty()) what[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(what[0])));
  return escaped(program.program.name) + " \\- " + escaped(what) + '\n';
}

}  // namespace

std::string manualPage(const DescribedProgram& program) {
  const std::string& name = program.program.name;
  std::string title = name;
  for (char& c : title) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string roff = ".\\\" Made by `" + name + " man` from the declaration of its options.\n";
  roff += ".TH " + escaped(title) + R"( 1 "" ")" + escaped(program.version) +
          R"(" "User Commands")" + '\n';
  // Neither words nor lines of the usage are to be torn or stretched.
  roff += ".nh\n.ad l\n";
  roff += section("NAME") + nameOf(program);
  roff += section("SYNOPSIS") + bold(name);
  for (const DescribedOption& option : program.program.options) {
    if (option.kind() != ArgumentKind::none) roff += ' ' + inUsage(option);
  }
  roff += ' ' + italic("COMMAND") + " [" + italic("ARGUMENT") + "...]\n.br\n";
  roff += bold(name) + ' ' + italic("COMMAND") + ' ' + bold("--help") + '\n';
  roff += section("DESCRIPTION");
  for (const char* text :
       {"Works out which VLANs each switch of a data-centre fabric has to carry on each port and "
        "port group, and what its VTEPs map to VNIs, from documents that say which switches and "
        "hosts there are, how they are cabled, and what clients ask for.",
        "All of it happens within the program: files are read and written, and no switch is "
        "talked to."}) {
    roff += paragraph(text);
  }
  roff += section("OPTIONS") + prose("These may stand before the command or behind it.");
  for (const DescribedOption& option : program.program.options) {
    roff += item(headOf(option), sentencesOf(option));
  }
  roff += section("COMMANDS");
  for (const DescribedCommand& command : program.commands) roff += commandOf(name, command);
  roff += section("EXIT STATUS") + prose("Of all commands together; each lists its own above.") +
          endingsOf(program.program.help);
  roff += section("ENVIRONMENT");
  roff += item(bold("NO_COLOR"), "Set to anything but nothing, it ends colours.");
  roff += item(bold("TERM"), "A terminal that is `dumb`, or unnamed, gets no colours.");
  roff += section("FILES");
  roff += item(italic("FabrionSm.so"),
               "The machines. It is looked for beside the program, then where an installation "
               "puts it, `lib/fabrion` beside the folder of the program.");
  roff += section("EXAMPLES") + prose("They work in the root of the source tree.");
  roff += examplesOf(program.program);
  for (const DescribedCommand& command : program.commands) roff += examplesOf(command);
  return roff + section("SEE ALSO") +
         "\\fBlldpcli\\fR(8), \\fBovs\\-vsctl\\fR(8), \\fBvtep\\-ctl\\fR(8), \\fBdot\\fR(1)\n";
}

}  // namespace Fabrion::Host
