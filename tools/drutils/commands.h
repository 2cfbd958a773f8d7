// Entry points of the command groups; each takes the arguments after its name.
#pragma once

#include "cli.h"

int runName(cli::Args& args);
int runPath(cli::Args& args);
int runCipher(cli::Args& args);
int runPia(cli::Args& args);
int runPc3(cli::Args& args);
int runPmp(cli::Args& args);
int runMsg(cli::Args& args);
int runLock(cli::Args& args);
int runStyle(cli::Args& args);
int runConfig(cli::Args& args);
int runReg(cli::Args& args);
int runProfile(cli::Args& args);

// The JSON source form (cmd_source.cpp): show --json of files and folders (lines:
// one line per style or field, for git), build, diff.
int runStyleShowJson(cli::Args& args, bool lines);
int runStyleBuild(cli::Args& args);
int runStyleDiff(cli::Args& args);
int runCfgShowJson(cli::Args& args, bool model, bool lines);
int runPc3Build(cli::Args& args);
int runPc3Diff(cli::Args& args);
int runPmpBuild(cli::Args& args);
int runPmpDiff(cli::Args& args);

// Printing: system printers and their papers, configurations made from printers
// and applied to print settings. printing_loader.cpp runs them in the printing
// module (cmd_printing.cpp), loaded only for them.
int runPrinters(cli::Args& args);
int runPapers(cli::Args& args);
int runPc3New(cli::Args& args);
int runPc3Apply(cli::Args& args);
