#include "host/Wiring.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "platform/Velo/Reaction.h"

namespace Fabrion::Host {

namespace {

using Velo::Reaction;
using Velo::ReactorRecord;
using Velo::Step;
using Velo::TypeRecord;

// What sets the row going.
std::string causeOf(const Reaction& row) {
  switch (row.kind) {
    case Reaction::Kind::built:
      return "(built)";
    case Reaction::Kind::cleanup:
      return "(cleanup)";
    case Reaction::Kind::change:
      break;
  }
  return row.attribute.name();
}

std::string stepsOf(const Reaction& row) {
  std::string steps;
  for (const Step& step : row.steps) {
    if (step.kind == Step::Kind::none) break;
    if (!steps.empty()) steps += ", then ";
    steps += step.kind == Step::Kind::follow ? "follow " : "call ";
    steps += step.name;
  }
  return steps;
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    if (c == '\n') {
      result += "\\n";
    } else {
      result += c;
    }
  }
  return result + '"';
}

std::string idOf(const TypeRecord& machine, const ReactorRecord& reactor) {
  return std::string(machine.name) + "::" + reactor.name;
}

// The reactor behind a follow step: one nested in the follower, or else one of the machine's own.
const ReactorRecord* followed(const TypeRecord& machine, const ReactorRecord& follower,
                              const char* attribute) {
  const auto find = [&](const std::string& outer) -> const ReactorRecord* {
    for (const ReactorRecord& reactor : machine.reactors) {
      const std::string name = reactor.name;
      if (name.starts_with(outer) && name.find("::", outer.size()) == std::string::npos &&
          std::strcmp(reactor.attribute, attribute) == 0) {
        return &reactor;
      }
    }
    return nullptr;
  };
  const ReactorRecord* const nested = find(std::string(follower.name) + "::");
  return nested != nullptr ? nested : find("");
}

class DotWriter {
 public:
  explicit DotWriter(const Velo::VeloModule& module) {
    text_ = "digraph " + quoted(module.name) + " {\n  rankdir=LR;\n  node [shape=box];\n";
    for (const TypeRecord* machine : module.types) {
      if (!machine->reactors.empty()) addMachine(*machine);
    }
    for (const std::string& entity : entities_) {
      text_ += "  " + quoted(entity) + " [shape=ellipse];\n";
    }
    text_ += edges_ + "}\n";
  }

  const std::string& text() const { return text_; }

 private:
  void addMachine(const TypeRecord& machine) {
    text_ += "  subgraph " + quoted(std::string("cluster ") + machine.name) +
             " {\n    label=" + quoted(machine.name) + ";\n";
    for (const ReactorRecord& reactor : machine.reactors) {
      entities_.insert(reactor.entity->name);
      std::string label = reactor.name;
      for (const Reaction& row : reactor.reactions()) {
        if (row.kind != Reaction::Kind::change) label += "\n" + causeOf(row) + " " + stepsOf(row);
        addEdges(machine, reactor, row);
      }
      text_ += "    " + quoted(idOf(machine, reactor)) + " [label=" + quoted(label) + "];\n";
    }
    text_ += "  }\n";
  }

  void addEdges(const TypeRecord& machine, const ReactorRecord& reactor, const Reaction& row) {
    const std::string id = quoted(idOf(machine, reactor));
    if (row.kind == Reaction::Kind::change) {
      edges_ += "  " + quoted(reactor.entity->name) + " -> " + id +
                " [label=" + quoted(causeOf(row) + ": " + stepsOf(row)) + "];\n";
    }
    for (const Step& step : row.steps) {
      if (step.kind != Step::Kind::follow) continue;
      const ReactorRecord* const target = followed(machine, reactor, step.name);
      if (target == nullptr) continue;
      edges_ += "  " + id + " -> " + quoted(idOf(machine, *target)) + " [style=dashed];\n";
    }
  }

  std::string text_;
  std::string edges_;
  std::set<std::string> entities_;
};

}  // namespace

std::string wiringText(const Velo::VeloModule& module) {
  std::string text;
  for (const TypeRecord* machine : module.types) {
    if (machine->reactors.empty()) continue;
    if (!text.empty()) text += '\n';
    text += std::string(machine->name) + '\n';
    for (const ReactorRecord& reactor : machine->reactors) {
      text += std::string("  ") + reactor.name + " in " + reactor.attribute + " on " +
              reactor.entity->name + '\n';
      std::size_t width = 0;
      for (const Reaction& row : reactor.reactions()) width = std::max(width, causeOf(row).size());
      for (const Reaction& row : reactor.reactions()) {
        std::string cause = causeOf(row);
        cause.resize(width, ' ');
        text += "    " + cause + "  " + stepsOf(row) + '\n';
      }
      if (reactor.reactions().empty()) text += "    nothing\n";
    }
  }
  return text;
}

std::string wiringDot(const Velo::VeloModule& module) { return DotWriter(module).text(); }

}  // namespace Fabrion::Host
