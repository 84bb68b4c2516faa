#include "rehearsal/report/arguments.h"

#include <map>
#include <stdexcept>

#include "machine/text.h"
#include "rehearsal/report/command_text.h"
#include "rehearsal/report/similar_text.h"

namespace {

using Words = std::vector<std::wstring>;

const char kSeeHelp[] = "; see norvane64-rehearse --help";

// An argument that is not known, with the one that was probably meant.
std::string Suggestion(const std::wstring& argument, const std::vector<std::string>& known) {
    const std::string text = ToUtf8(argument);
    const std::string nearest = SortedByLikeness(text, known).front();
    return text + (IsAlike(text, nearest) ? "; did you mean " + nearest + "?" : kSeeHelp);
}

// Reads an option, and the file behind it. Returns false for an argument that is none.
bool TakeOption(const Words& given, size_t& at, Arguments& arguments) {
    static const std::map<std::wstring, std::string> commands = {
        {L"--help", "help"}, {L"-h", "help"},    {L"-?", "help"},          {L"/?", "help"},
        {L"/h", "help"},     {L"/help", "help"}, {L"--version", "version"}};
    const std::wstring& argument = given[at];
    const std::wstring from = L"--from=";
    if (argument.starts_with(from) && argument != from) {
        arguments.files.push_back(argument.substr(from.size()));
    } else if (argument == L"--from" && at + 1 < given.size()) {
        arguments.files.push_back(given[++at]);
    } else if (argument == L"--from" || argument == from) {
        throw std::runtime_error("--from needs a file");
    } else if (argument == L"--brief" || argument == L"--full") {
        (argument == L"--brief" ? arguments.brief : arguments.full) = true;
    } else if (commands.contains(argument)) {
        arguments.command = commands.at(argument);
    } else if (argument.starts_with(L"-") && argument != L"-") {
        throw std::runtime_error(
            "Unknown option " + Suggestion(argument, {"--from", "--full", "--brief", "--help", "--version"}));
    } else {
        return false;
    }
    return true;
}

// Joins words from an index on, as norvane64.exe does.
std::wstring JoinedFrom(const Words& words, size_t first) {
    std::wstring joined;
    for (size_t i = first; i < words.size(); ++i) {
        joined += (i == first ? L"" : L" ") + words[i];
    }
    return joined;
}

// The command line of these arguments, as it is typed.
std::string CommandLineOf(const Arguments& arguments) {
    std::string line = "norvane64-rehearse " + arguments.command;
    line += arguments.brief ? " --brief" : "";
    line += arguments.full ? " --full" : "";
    for (const std::wstring& file : arguments.files) {
        line += " --from " + Typed(file);
    }
    const char* const separator = arguments.dllName.starts_with(L'-') ? " -- " : " ";
    return line + (arguments.command == "lsp" ? separator + Typed(arguments.dllName) : "");
}

std::string AdviseLsp(Arguments arguments, const std::wstring& dllName) {
    arguments.command = "lsp";
    arguments.dllName = dllName;
    return "To rehearse the removal of an LSP: " + CommandLineOf(arguments);
}

// What was probably meant by a name that is neither a command nor behind "lsp".
//   words  the command that follows it, or nothing
std::string AdviseFor(Arguments arguments, const std::wstring& name, const Words& words) {
    if (LowerCase(name).ends_with(L".dll")) {
        return AdviseLsp(arguments, name);
    }
    arguments.files.push_back(name);
    if (words.size() > 1 && words[0] == L"lsp") {
        return AdviseLsp(arguments, JoinedFrom(words, 1));
    }
    arguments.command = "list";
    return "To look at the machine that a file describes: " + CommandLineOf(arguments);
}

std::string DescribeUnknown(const Arguments& arguments, const Words& words) {
    const std::wstring& command = words[0];
    if (LowerCase(command) == L"remove") {
        const bool lsp = words.size() > 2 && LowerCase(words[1]) == L"lsp";
        return "remove is a command of norvane64. " +
               (lsp ? AdviseLsp(arguments, JoinedFrom(words, 2)) : "norvane64-rehearse has list and lsp.");
    }
    if (command.find_first_of(L".\\/") != std::wstring::npos) {
        return ToUtf8(command) + " is not a command. " +
               AdviseFor(arguments, command, {words.begin() + 1, words.end()});
    }
    return "Unknown command " + Suggestion(command, {"list", "lsp"});
}

// What is wrong with the arguments together; empty for nothing.
std::string FindMistake(const Arguments& arguments, const Words& words) {
    if (words.empty()) {
        return std::string("A command is missing: list or lsp") + kSeeHelp;
    }
    if (words[0] != L"list" && words[0] != L"lsp") {
        return DescribeUnknown(arguments, words);
    }
    if (words[0] == L"lsp" && words.size() == 1) {
        return "lsp needs the file name of a DLL; norvane64-rehearse list shows them";
    }
    if (words[0] == L"list" && words.size() > 1) {
        return "list takes no name. " + AdviseFor(arguments, JoinedFrom(words, 1), {});
    }
    return arguments.brief && arguments.full ? "--brief and --full exclude each other" : "";
}

} // namespace

Arguments ParseArguments(const Words& given) {
    Arguments arguments;
    Words words;
    bool options = true;
    for (size_t at = 0; at < given.size(); ++at) {
        if (options && given[at] == L"--") {
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
    arguments.command = ToUtf8(words[0]);
    arguments.dllName = JoinedFrom(words, 1);
    return arguments;
}
