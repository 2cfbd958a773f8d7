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

// Printing: system printers and their papers, configurations made from printers
// and applied to print settings. printing_loader.cpp runs them in the printing
// module (cmd_printing.cpp), loaded only for them.
int runPrinters(cli::Args& args);
int runPapers(cli::Args& args);
int runPc3New(cli::Args& args);
int runPc3Apply(cli::Args& args);
