#include "client/commandline/Completions.h"

#include <vector>

namespace kelo {
namespace {

/// An option or an argument of a command.
struct Word {
    std::vector<std::string> names; ///< The option's names with their dashes; empty for an argument.
    std::string description;
    bool takesValue = false;
    std::vector<std::string> choices; ///< The allowed values; empty if there is no list.
};

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

/// Extracts the choices from the option's type description, such as TEXT:{bash,zsh}.
std::vector<std::string> choicesOf(const CLI::Option& option) {
    const auto type = option.get_type_name();
    const auto begin = type.find('{');
    const auto end = type.find('}');
    if (begin == std::string::npos || end == std::string::npos)
        return {};
    return CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
}

std::vector<Word> wordsOf(const CLI::App& app) {
    std::vector<Word> words;
    for (const auto* option : app.get_options([](const CLI::Option*) { return true; })) {
        const auto names = option->nonpositional() ? CLI::detail::split(option->get_name(false, true), ',')
                                                   : std::vector<std::string>();
        words.push_back({names, option->get_description(), option->get_items_expected_max() > 0, choicesOf(*option)});
    }
    return words;
}

std::string joined(const std::vector<std::string>& words) { return CLI::detail::join(words, " "); }

/// The names of the app's options and the allowed values of its options and arguments, but not its commands.
std::string optionsAndChoices(const CLI::App& app) {
    std::vector<std::string> all;
    for (const auto& word : wordsOf(app)) {
        all.insert(all.end(), word.names.begin(), word.names.end());
        all.insert(all.end(), word.choices.begin(), word.choices.end());
    }
    return joined(all);
}

/// Escapes text for use in single quotes: replaces each single quote with `quote`, and puts a backslash before each
/// character in `others`.
std::string escaped(const std::string& text, const std::string& others, const std::string& quote) {
    std::string safe;
    for (const char character : text) {
        if (others.find(character) != std::string::npos)
            safe += '\\';
        safe += character == '\'' ? quote : std::string(1, character);
    }
    return safe;
}

std::string bash(const CLI::App& app) {
    std::string cases;
    std::vector<std::string> first;
    for (const auto* command : commandsOf(app)) {
        first.push_back(command->get_name());
        cases += "      " + command->get_name() + ") words='" + optionsAndChoices(*command) + "' ;;\n";
    }
    const auto& name = app.get_name();
    return "# Completions of " + name + " for bash.\n_" + name + "() {\n  local words=''\n" +
           "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n    words='" + joined(first) + " " + optionsAndChoices(app) +
           "'\n  else\n" + "    case ${COMP_WORDS[1]} in\n" + cases + "    esac\n  fi\n" +
           "  COMPREPLY=($(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\"))\n}\ncomplete -F _" + name + " " +
           name + "\n";
}

std::string zshArguments(const CLI::App& app) {
    const auto safe = [](const std::string& text) { return escaped(text, "[]:\\", "'\\''"); };
    std::string arguments;
    for (const auto& word : wordsOf(app)) {
        const auto value = word.takesValue ? ":" + safe(word.description) + ":(" + joined(word.choices) + ")" : "";
        if (word.names.empty())
            arguments += " ':" + safe(word.description) + ":(" + joined(word.choices) + ")'";
        const auto others = " '(" + joined(word.names) + ")";
        const auto meaning = "[" + safe(word.description) + "]" + value + "'";
        for (const auto& name : word.names)
            arguments.append(others).append(name).append(meaning);
    }
    return arguments;
}

std::string zsh(const CLI::App& app) {
    std::string cases;
    std::string first;
    for (const auto* command : commandsOf(app)) {
        cases += "      " + command->get_name() + ") _arguments" + zshArguments(*command) + " ;;\n";
        first += " '" + command->get_name() + ":" + escaped(command->get_description(), ":\\", "'\\''") + "'";
    }
    const auto& name = app.get_name();
    return "#compdef " + name + "\n# Completions of " + name + " for zsh.\n_" + name +
           "() {\n  local context state line\n  local -a commands\n  commands=(" + first.substr(1) + ")\n" +
           "  _arguments -C" + zshArguments(app) + " '1:command:->command' '*::argument:->argument'\n" +
           "  case $state in\n    command) _describe command commands ;;\n    argument)\n    case $line[1] in\n" +
           cases + "    esac ;;\n  esac\n}\n" + "if [ \"$funcstack[1]\" = _" + name + " ]; then _" + name +
           " \"$@\"; else compdef _" + name + " " + name + "; fi\n";
}

std::string fishWords(const CLI::App& app, const std::string& condition) {
    std::string lines;
    for (const auto& word : wordsOf(app)) {
        std::string names;
        for (const auto& name : word.names) {
            const bool isLong = name.starts_with("--");
            names.append(isLong ? " -l " : " -s ").append(name, isLong ? 2 : 1);
        }
        if (!word.choices.empty())
            names += " -a '" + joined(word.choices) + "'";
        if (names.empty())
            continue;
        const auto value = word.takesValue ? " -x -d '" : " -d '";
        lines.append("complete -c ").append(condition).append(names).append(value);
        lines.append(escaped(word.description, "\\", "\\'")).append("'\n");
    }
    return lines;
}

std::string fish(const CLI::App& app) {
    const auto& name = app.get_name();
    auto script = "# Completions of " + name + " for fish.\ncomplete -c " + name + " -f\n" +
                  fishWords(app, name + " -n __fish_use_subcommand");
    for (const auto* command : commandsOf(app)) {
        script += "complete -c " + name + " -n __fish_use_subcommand -a " + command->get_name() + " -d '" +
                  escaped(command->get_description(), "\\", "\\'") + "'\n";
        script += fishWords(*command, name + " -n '__fish_seen_subcommand_from " + command->get_name() + "'");
    }
    return script;
}

} // namespace

std::string completionsOf(const CLI::App& app, const std::string& shell) {
    return shell == "bash" ? bash(app) : shell == "zsh" ? zsh(app) : fish(app);
}

} // namespace kelo
