// drutils: the command-line face of libdrutils for CAD administrators and scripts.
// drutils <group> <command> [options]; exit status 0 on success, 1 on failure,
// 2 on wrong usage.
#include <cstdio>
#include <cstring>
#include <string>

#include <wx/init.h>
#include <wx/log.h>

#include "cli.h"
#include "platform/tempfiles.h"
#include "commands.h"

#ifndef DRUTILS_VERSION
#define DRUTILS_VERSION "unknown"
#endif

namespace {

struct Group {
    const char* name;
    const char* summary;
    int (*run)(cli::Args&);
};

const Group kGroups[] = {
    {"name", "check symbol-table names", runName},
    {"path", "show how a path is split", runPath},
    {"cipher", "encipher and decipher with the Blowfish cipher", runCipher},
    {"pia", "read, write and check parameter-file containers", runPia},
    {"pc3", "show and change printer configurations", runPc3},
    {"pmp", "show user-defined model files", runPmp},
    {"msg", "prompt and error texts, the drawing SDK's numbered messages", runMsg},
    {"lock", "drawing locks: status, hold, clear", runLock},
    {"style", "plot style tables: show, new, convert, set, render", runStyle},
    {"printers", "list the system printers", runPrinters},
    {"papers", "list the papers of a system printer", runPapers},
    {"config", "settings by group and key: get, set, list, delete", runConfig},
    {"reg", "registry files: export a group, import a file", runReg},
    {"profile", "user profiles: list, current, use, create, copy, rename, delete, describe, export, import",
     runProfile},
};

// To stdout when asked for, to stderr when shown because the usage was wrong.
void printHelp(FILE* out = stdout) {
    std::fprintf(out, "usage: drutils <group> <command> [options]\n"
                      "       drutils --version\n\n"
                      "groups:\n");
    for (const auto& g : kGroups)
        std::fprintf(out, "  %-10s %s\n", g.name, g.summary);
    std::fprintf(out, "\n'drutils <group> --help' lists the commands of a group.\n");
}

// Library failures reach the user as one line on stderr, without wx's time stamp.
// File names in them come out as the bytes they were given as (wx's own UTF-8
// conversion would drop a message holding a name that is not valid UTF-8).
class StderrLog : public wxLog {
protected:
    void DoLogTextAtLevel(wxLogLevel level, const wxString& msg) override {
        const std::string text = cli::utf8(msg.ToStdWstring());
        if (level <= wxLOG_Warning)
            std::fprintf(stderr, "drutils: %s\n", text.c_str());
        else if (level <= wxLOG_Message && verbose)
            std::fprintf(stderr, "%s\n", text.c_str());
    }

public:
    bool verbose = false;
};

} // namespace

int main(int argc, char** argv) {
    wxInitializer wx;
    if (!wx.IsOk()) {
        std::fprintf(stderr, "drutils: cannot initialise wxWidgets\n");
        return cli::kFailure;
    }
    // A command interrupted while it writes leaves no temporary file behind.
    ut::platform::removeTemporariesOnSignals();
    auto* log = new StderrLog;
    delete wxLog::SetActiveTarget(log);
    wxLog::DisableTimestamp();

    cli::Args args(argv + 1, argv + argc);
    if (args.empty())
        return printHelp(stderr), cli::kUsage;
    if (args[0] == "--help" || args[0] == "-h" || args[0] == "help")
        return printHelp(), cli::kOk;
    if (args[0] == "--version") {
        std::printf("drutils %s\n", DRUTILS_VERSION);
        return cli::kOk;
    }
    // Not in the help: one "GROUP<TAB>SUMMARY" line per group, read at build time
    // to generate the man page and the shell completion, so a new group shows up
    // in both without editing them.
    if (args[0] == "--list-groups") {
        for (const auto& g : kGroups)
            std::printf("%s\t%s\n", g.name, g.summary);
        return cli::kOk;
    }
    log->verbose = cli::takeFlag(args, "--verbose");
    for (const auto& g : kGroups) {
        if (args[0] == g.name) {
            args.erase(args.begin());
            // "drutils GROUP help [COMMAND]" as "drutils help" is: the same as --help.
            if (!args.empty() && args[0] == "help") {
                args.erase(args.begin());
                args.push_back("--help");
            }
            int rc = g.run(args);
            wxLog::FlushActive();
            return rc;
        }
    }
    return cli::usage("unknown group '" + args[0] + "'");
}
