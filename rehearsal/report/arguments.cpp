#include "rehearsal/report/arguments.h"

#include <map>
#include <stdexcept>

#include "machine/text.h"
#include "rehearsal/report/similar_text.h"

namespace {

const char kSeeHelp[] = "; see norvane64-rehearse --help";

// An argument that is not known, with the one that was probably meant.
std::string Suggestion(const std::string& argument, const std::vector<std::string>& known) {
    const std::string nearest = SortedByLikeness(argument, known).front();
    return argument + (IsAlike(argument, nearest) ? "; did you mean " + nearest + "?" : kSeeHelp);
}

// Reads an option, and the file behind it. Returns false for an argument that is none.
bool TakeOption(const std::vector<std::string>& given, size_t& at, Arguments& arguments) {
    const std::map<std::string, std::string> commands = {
        {"--help", "help"}, {"-h", "help"}, {"-?", "help"}, {"--version", "version"}};
    const std::string& argument = given[at];
    const std::string from = "--from=";
    if (argument.starts_with(from) && argument != from) {
        arguments.files.push_back(argument.substr(from.size()));
    } else if (argument == "--from" && at + 1 < given.size()) {
        arguments.files.push_back(given[++at]);
    } else if (argument == "--from" || argument == from) {
        throw std::runtime_error("--from needs a file");
    } else if (argument == "--brief" || argument == "--full") {
        (argument == "--brief" ? arguments.brief : arguments.full) = true;
    } else if (commands.contains(argument)) {
        arguments.command = commands.at(argument);
    } else if (argument.starts_with("-") && argument != "-") {
        throw std::runtime_error(
            "Unknown option " +
            Suggestion(FromAnsi(argument), {"--from", "--full", "--brief", "--help", "--version"}));
    } else {
        return false;
    }
    return true;
}

// What is wrong with the arguments together; empty for nothing.
std::string FindMistake(const Arguments& arguments, const std::vector<std::string>& words) {
    const std::string command = words.empty() ? "" : words[0];
    if (command != "list" && command != "lsp") {
        return words.empty() ? std::string("A command is missing: list or lsp") + kSeeHelp
                             : "Unknown command " + Suggestion(FromAnsi(command), {"list", "lsp"});
    }
    if (command == "lsp" && words.size() == 1) {
        return "lsp needs the file name of a DLL; norvane64-rehearse list shows them";
    }
    if (command == "list" && (words.size() > 1 || arguments.brief || arguments.full)) {
        return "list takes no arguments but --from";
    }
    return arguments.brief && arguments.full ? "--brief and --full exclude each other" : "";
}

} // namespace

Arguments ParseArguments(const std::vector<std::string>& given) {
    Arguments arguments;
    std::vector<std::string> words;
    bool options = true;
    for (size_t at = 0; at < given.size(); ++at) {
        if (options && given[at] == "--") {
            options = false;
        } else if (!options || !TakeOption(given, at, arguments)) {
            words.push_back(given[at]);
        }
    }
    if (!arguments.command.empty()) {
        return arguments;
    }
    const std::string mistake = FindMistake(arguments, words);
    if (!mistake.empty()) {
        throw std::runtime_error(mistake);
    }
    arguments.command = words[0];
    for (size_t i = 1; i < words.size(); ++i) {
        arguments.dllName += (i == 1 ? "" : " ") + words[i];
    }
    return arguments;
}
