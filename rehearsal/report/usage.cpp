// The text of "--help".
#include "rehearsal/report/arguments.h"

const char* const kUsage =
    R"(norvane64-rehearse shows what "norvane64 remove lsp NAME.dll" would do to a machine. It changes
nothing.

norvane64-rehearse list               the LSPs of this machine, and which entries of its catalogs do not work
norvane64-rehearse lsp NAME.dll       what "remove lsp NAME.dll" would do here
norvane64-rehearse --help | --version

Options, before or behind the command; "--" ends them:
  --from FILE  look at the machine that FILE describes, not at this one. Can be given more than once. Write
               FILE with one of these commands:
                 reg export HKLM\SYSTEM\CurrentControlSet\Services\WinSock2\Parameters FILE
                 reg export HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\SharedDLLs FILE
                 reg export HKLM\SOFTWARE\Wow6432Node\Microsoft\Windows\CurrentVersion\SharedDLLs FILE
                 netsh winsock show catalog > FILE
  --full       "lsp": also both catalogs before and afterwards, and the trace that the command would write
               "list": also the base providers that work
  --brief      "lsp": one line with tabs: machine, verdict, entries removed from the 64-bit catalog, entries
               removed from the 32-bit catalog, things that would remain, products that would stop working,
               entries that do not work already, warnings
               "list": one line with tabs: machine, exit code, LSPs, entries that do not work in the 64-bit
               catalog, in the 32-bit catalog, warnings

Exit codes of "lsp":
  0  CLEAN               the LSP and its files would be removed; everything else works as before
  2  NOT FOUND           no entry of either catalog has the name
  3  LEAVES PARTS        something of the product would remain
  4  BREAKS NETWORKING   something that works now would stop working
  6  CANNOT REMOVE       something has the name, and the command would remove nothing
  7  CANNOT TELL         the description of the machine is not complete
Exit codes of "list": 0 all entries work, 5 an entry does not work or a catalog has no base
provider, 7 CANNOT TELL.
Both: 1 for an error.
)";
