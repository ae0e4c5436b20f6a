#include "host/commandline/Misuse.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "host/FabricText.h"
#include "host/commandline/Described.h"

namespace Fabrion::Host {

namespace {

std::string listed(const std::vector<std::string>& words, const char* before) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == words.size() ? before : ", ") + words[i];
  }
  return text;
}

// What is near, or else all that there is.
std::string expected(const std::string& word, const std::vector<std::string>& known) {
  const std::string near = nearNames(word, {known.begin(), known.end()});
  return near.empty() ? "; expected one of: " + listed(known, ", ") : near;
}

class Misuse {
 public:
  Misuse(const CLI::App& app, const CLI::ParseError& error, const Session& session)
      : app_(app), error_(error), program_(described(app, session)) {
    const std::vector<CLI::App*> named = app.get_subcommands();
    if (named.empty()) return;
    command_ = named.front();
    for (const DescribedCommand& each : program_.commands) {
      if (each.name == command_->get_name()) describedCommand_ = &each;
    }
  }

  std::string words() const {
    const std::string of = command_ == nullptr ? "" : ' ' + command_->get_name();
    return mistake() + "\nRun `" + app_.get_name() + of + " --help` for more information.";
  }

 private:
  std::string mistake() const {
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error_) != nullptr) return mismatch();
    if (dynamic_cast<const CLI::ValidationError*>(&error_) != nullptr) return badValue();
    // CLI11 complains of what is missing before it looks at what is too much; yet an option that is
    // misspelt may be the missing one.
    const std::vector<std::string> left = app_.remaining(true);
    if (!left.empty()) return unexpected(left.front());
    if (command_ == nullptr) return "no command; expected one of: " + listed(commands(), ", ");
    for (const CLI::Option* option : command_->get_options()) {
      if (option->get_required() && option->count() == 0) return missing(described(*option));
      for (const CLI::Option* needed : option->get_needs()) {
        if (option->count() == 0 || needed->count() > 0) continue;
        return described(*option).names.back() + " requires " + described(*needed).names.back();
      }
    }
    return error_.what();
  }

  std::vector<std::string> commands() const {
    std::vector<std::string> names;
    for (const DescribedCommand& each : program_.commands) names.push_back(each.name);
    return names;
  }

  // Those of the command first, then those of the program.
  std::vector<std::string> options() const {
    std::vector<std::string> names;
    const auto add = [&](const DescribedCommand& command) {
      for (const DescribedOption& option : command.options) {
        const std::string& name = option.names.back();
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
      }
    };
    if (describedCommand_ != nullptr) add(*describedCommand_);
    add(program_.program);
    return names;
  }

  std::string unexpected(const std::string& word) const {
    if (word.size() > 1 && word.front() == '-')
      return unknownOption(word.substr(0, word.find('=')));
    if (describedCommand_ == nullptr) {
      return "unknown command " + shown(word) + expected(word, commands());
    }
    return "unexpected argument " + shown(word) + "; expected " +
           usageOf(program_, *describedCommand_);
  }

  std::string unknownOption(const std::string& name) const {
    const std::vector<std::string> known = options();
    if (describedCommand_ == nullptr)
      return "unknown option " + shown(name) + expected(name, known);
    const std::string& command = describedCommand_->name;
    if (std::find(known.begin(), known.end(), name) != known.end()) {
      return "option " + shown(name) + " in front of the command; expected it after '" + command +
             "'";
    }
    return "unknown option " + shown(name) + " of '" + command + "'" + expected(name, known);
  }

  // What an option takes, or nothing where anything will do.
  static std::string taken(const DescribedOption& option) {
    if (!option.choices.empty()) return "; expected " + listed(option.choices, " or ");
    if (option.most.empty()) return "";
    return "; expected a number from " + option.least + " to " + option.most;
  }

  std::string missing(const DescribedOption& option) const {
    if (!option.names.empty()) {
      return option.names.back() + " " + option.placeholder + " is missing" + taken(option);
    }
    // Of the words of a placeholder the first one is what may not be left out.
    const std::string first = option.placeholder.substr(0, option.placeholder.find_first_of(" ."));
    return first + " is missing; expected " + usageOf(program_, *describedCommand_);
  }

  // The option that CLI11 begins its text with.
  const CLI::Option* optionNamed(std::string_view what) const {
    for (const CLI::App* app : {command_, &app_}) {
      if (app == nullptr) continue;
      for (const CLI::Option* option : app->get_options()) {
        if (what.starts_with(option->get_name() + ":")) return option;
      }
    }
    return nullptr;
  }

  std::string badValue() const {
    const std::string_view what = error_.what();
    const CLI::Option* const found = optionNamed(what);
    if (found == nullptr) return std::string(what);
    // Behind the name stands what the validator returned: the value (Session.h).
    const std::string value(what.substr(found->get_name().size() + 2));
    const DescribedOption option = described(*found);
    return value + " as " + option.placeholder +
           (option.names.empty() ? "" : " of " + option.names.back()) + taken(option);
  }

  std::string mismatch() const {
    const std::string_view what = error_.what();
    const CLI::Option* const found = optionNamed(what);
    if (found == nullptr) {
      constexpr std::string_view flag = " was given a disallowed flag override";
      if (!what.ends_with(flag)) return std::string(what);
      return "--" + std::string(what.substr(0, what.size() - flag.size())) +
             " with a value; expected it alone";
    }
    const DescribedOption option = described(*found);
    if (what.ends_with(" missing")) {
      return option.names.back() + " without its " + option.placeholder + taken(option);
    }
    return option.names.back() + " stands " + std::to_string(found->count()) +
           " times; expected it once";
  }

  const CLI::App& app_;
  const CLI::ParseError& error_;
  const DescribedProgram program_;
  const CLI::App* command_ = nullptr;
  const DescribedCommand* describedCommand_ = nullptr;
};

}  // namespace

std::string misuseOf(const CLI::App& app, const CLI::ParseError& error, const Session& session) {
  return Misuse(app, error, session).words();
}

}  // namespace Fabrion::Host
