// The tool's side of the printing commands: their help, and loading the printing
// module when one of them runs. The module is found beside the tool (a build
// tree) or in <libdir>/drutils (an installed tree), both relative to the tool's
// own file, or where DRUTILS_PRINT_MODULE names it.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>

#include "cli.h"
#include "commands.h"
#include "printing_module.h"

#ifndef DRUTILS_PRINT_MODULE_DIR
#define DRUTILS_PRINT_MODULE_DIR "../lib/drutils"
#endif

namespace {

const char kPrintersHelp[] =
    "usage: drutils printers [--json]\n"
    "  Lists the system printers, local ones first: '*' marks the default, then the name,\n"
    "  local or remote, PS when it takes PostScript, the driver and the comment.\n"
    "Exit status 1 when the printing system cannot be asked.\n";

const char kPapersHelp[] =
    "usage: drutils papers [--json] PRINTER\n"
    "  Lists the papers of a printer in its order: the device paper number (1-118 standard,\n"
    "  256 up driver-defined), the name, the sheet and the printable area in millimetres.\n";

bool isFile(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Where the module is: DRUTILS_PRINT_MODULE, else beside the tool, else the
// installed place (also when it is not there, for the message).
std::string modulePath() {
    if (const char* named = std::getenv("DRUTILS_PRINT_MODULE"); named && *named)
        return named;
    std::string dir = ".";
    char self[4096];
    const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self);
    if (n > 0 && size_t(n) < sizeof self) {
        const std::string exe(self, size_t(n));
        if (const size_t slash = exe.find_last_of('/'); slash != std::string::npos)
            dir = exe.substr(0, slash);
    }
    const std::string beside = dir + "/" DRUTILS_PRINTING_MODULE_FILE;
    if (isFile(beside))
        return beside;
    return dir + "/" DRUTILS_PRINT_MODULE_DIR "/" DRUTILS_PRINTING_MODULE_FILE;
}

// Loads the module (once; it stays for the life of the process) and runs command.
int runPrinting(const char* command, cli::Args& args) {
    const std::string what = std::string(command) + ": ";
    const std::string path = modulePath();
    if (!isFile(path))
        return cli::fail(what + "the printing module is not installed (" + path + " is missing)");
    // RTLD_LOCAL: nothing of the module or the GUI library it brings becomes
    // visible to later look-ups. RTLD_NOW: a library it lacks is found missing here,
    // not at the first call into it.
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        const char* why = ::dlerror();
        return cli::fail(what + "cannot load the printing module: " + (why ? why : path) +
                         " (printing needs libdrutils_print, wxWidgets' GUI library and CUPS's runtime, libcups2)");
    }
    auto version = reinterpret_cast<DrutilsPrintingVersion>(::dlsym(module, DRUTILS_PRINTING_VERSION_SYMBOL));
    auto run = reinterpret_cast<DrutilsPrintingCommand>(::dlsym(module, DRUTILS_PRINTING_COMMAND_SYMBOL));
    if (!version || !run)
        return cli::fail(what + path + " is not a drutils printing module");
    if (std::string(version()) != DRUTILS_VERSION)
        return cli::fail(what + path + " belongs to drutils " + version() + ", this tool is " DRUTILS_VERSION);
    return run(command, args);
}

} // namespace

int runPrinters(cli::Args& args) {
    if (cli::wantsHelp(args)) {
        std::fputs(kPrintersHelp, stdout);
        return cli::kOk;
    }
    return runPrinting("printers", args);
}

int runPapers(cli::Args& args) {
    if (args.empty() || cli::wantsHelp(args)) {
        std::fputs(kPapersHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    return runPrinting("papers", args);
}

int runPc3New(cli::Args& args) { return runPrinting("pc3 new", args); }
int runPc3Apply(cli::Args& args) { return runPrinting("pc3 apply", args); }
