// Names and commands as a person types them. All texts are UTF-8 and printable.
//
// A name from a machine can contain what a command line interprets. Such a name is shown, and never printed
// inside a command.
#pragma once

#include <string>
#include <vector>

#include "machine/catalog.h"

// Whether a name or a path can be typed in a console and in a batch file, as it is or in quotes.
bool CanBeTyped(const std::wstring& name);

// A name or a path as it is typed: in quotes where that is necessary. One that cannot be typed has a
// note.
std::string Typed(const std::wstring& name);

// A command with a name behind it, as it is typed: "norvane64 remove lsp NAME.dll"; or what to say when the
// name cannot be typed.
//   command  what stands before the name
std::string CommandFor(const std::string& command, const std::wstring& dllName);

// What a command would do, as the subject of a report: "norvane64 remove lsp NAME.dll".
std::string SubjectFor(const std::wstring& dllName);

constexpr char kRemoveCommand[] = "norvane64 remove lsp";
constexpr char kRehearseCommand[] = "norvane64-rehearse lsp";

// The commands of Windows that back up the catalogs, and that rebuild them.
constexpr char kBackup[] =
    "Back up: reg export HKLM\\SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters winsock.reg";
constexpr char kReset[] =
    "netsh winsock reset, and a restart. It removes every LSP and rebuilds the catalogs; then "
    "reinstall the products that are still wanted";
constexpr char kCheck[] = "Restart, and check the machine: norvane64-rehearse list";

// What to say about a DLL name that no LSP has: the names that there are, the nearest first.
std::string SuggestNames(const Catalogs& catalogs, const std::wstring& dllName);
