// The printing commands (printers, papers, pc3 new, pc3 apply) live in a module of
// their own, drutils-printing.so, which the tool loads only when one of them runs:
// the module links the printing library, and with it wxWidgets' GUI library, GTK,
// X11 and CUPS, which every other command does without. This header is all that
// the tool and the module share.
#pragma once

#include "cli.h"

// The module's file name and its two entry points.
#define DRUTILS_PRINTING_MODULE_FILE "drutils-printing.so"
#define DRUTILS_PRINTING_VERSION_SYMBOL "drutils_printing_version"
#define DRUTILS_PRINTING_COMMAND_SYMBOL "drutils_printing_command"

extern "C" {
// The drutils version the module was built as; the tool runs only its own.
using DrutilsPrintingVersion = const char* (*)();
// Runs "printers", "papers", "pc3 new" or "pc3 apply" with the arguments after the
// command's name; returns the exit status.
using DrutilsPrintingCommand = int (*)(const char* command, cli::Args& args);
}
