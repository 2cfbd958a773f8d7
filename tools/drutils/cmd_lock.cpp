// drutils lock status|hold|clear DRAWING: who holds a drawing, holding one from a
// script, and clearing lock files that a crashed session left behind.
#include <csignal>
#include <cstdio>
#include <pthread.h>

#include "cli.h"
#include "commands.h"
#include "ut_filelock.h"
#include "ut_filename.h"

namespace {

const char kHelp[] = "usage: drutils lock <command> [options] DRAWING\n"
                     "commands:\n"
                     "  status [--json]   free, held by you, or held by another (user, machine, since)\n"
                     "  hold              hold DRAWING as an editing session does, until interrupted\n"
                     "                    (SIGINT, SIGTERM or SIGHUP); prints \"holding DRAWING\" once held\n"
                     "  clear [--force]   remove lock files left behind by your own sessions; another\n"
                     "                    user's or machine's lock files only with --force\n"
                     "Exit status: 0 done, 1 failed or refused, 2 wrong usage.\n";

struct Holder {
    OdString user, machine, since;
};

struct Target {
    OdString path;
    std::string shown; // as the user typed it
};

// The one DRAWING argument of a command, after its options were taken.
int takeDrawing(cli::Args& args, const char* command, Target& target) {
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (!args.empty() && args[0] == "--")
        args.erase(args.begin());
    if (args.size() != 1)
        return cli::usage(std::string("lock ") + command + " needs exactly one DRAWING");
    target.shown = args[0];
    target.path = cli::wide(args[0]);
    if (ut::FileName::dirExists(target.path))
        return cli::fail(target.shown + ": is a directory, not a drawing");
    return cli::kOk;
}

Holder readHolder(const OdString& path) {
    Holder h;
    ut::FileLocker::readLockInfo(path, h.user, h.machine, h.since);
    return h;
}

std::string describeHolder(const Holder& h) {
    return "user " + cli::utf8(h.user) + ", machine " + cli::utf8(h.machine) + ", since " + cli::utf8(h.since);
}

// Held open here by a running process: a writable drawing that cannot be locked.
// (A drawing the caller may not write cannot be probed.)
bool heldOpenHere(const OdString& path) {
    ut::FileName name(path);
    return name.fileExists() && name.isFileWritable() && !ut::FileLocker().canLock(path);
}

int status(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    Target t;
    if (int rc = takeDrawing(args, "status", t))
        return rc;
    ut::FileName name(t.path);
    if (!name.fileExists())
        return cli::fail(t.shown + ": no such drawing");

    const bool lockFiles = ut::FileLocker::hasDwl(t.path);
    const bool byOther = ut::FileLocker::isLockedByOther(t.path);
    const bool writable = name.isFileWritable();
    const bool lockable = ut::FileLocker().canLock(t.path);
    const Holder h = lockFiles ? readHolder(t.path) : Holder();
    const char* state = !lockFiles ? (lockable ? "free" : "in-use") : byOther ? "held-by-other" : "held-by-you";

    if (json) {
        cli::Json out;
        out.beginObject().key("drawing").value(t.shown).key("state").value(state);
        out.key("lock_files").value(lockFiles).key("held_open").value(writable && !lockable);
        out.key("writable").value(writable);
        if (lockFiles)
            out.key("user").value(h.user).key("machine").value(h.machine).key("since").value(h.since);
        out.endObject();
        out.finish();
        return cli::kOk;
    }
    std::string line = t.shown + ": ";
    if (!lockFiles)
        line += lockable ? "free" : writable ? "in use (held open without lock files)" : "read-only for you";
    else if (byOther)
        line += "held by another: " + describeHolder(h);
    else
        line += "held by you: " + describeHolder(h);
    std::printf("%s\n", line.c_str());
    if (lockFiles && !byOther && lockable)
        std::printf("  no process holds it open: the lock files are stale ('drutils lock clear' removes them)\n");
    return cli::kOk;
}

int hold(cli::Args& args) {
    Target t;
    if (int rc = takeDrawing(args, "hold", t))
        return rc;
    // Blocked before the lock is taken, so that a signal arriving at any moment
    // still ends in an orderly unlock.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    for (int s : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&stopSignals, s);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    ut::FileLocker locker;
    if (!locker.lock(t.path)) {
        if (!ut::FileName::fileExists(t.path))
            return cli::fail(t.shown + ": no such drawing");
        if (ut::FileLocker::isLockedByOther(t.path))
            return cli::fail(t.shown + ": held by another: " + describeHolder(readHolder(t.path)));
        if (ut::FileLocker::hasDwl(t.path))
            return cli::fail(t.shown + ": held by you in another session: " + describeHolder(readHolder(t.path)));
        return cli::fail(t.shown + ": cannot be held (not writable, or held open by another process)");
    }
    // The line tells a waiting script that the drawing is held.
    std::printf("holding %s\n", t.shown.c_str());
    std::fflush(stdout);
    int received = 0;
    sigwait(&stopSignals, &received);
    if (!locker.unlock())
        return cli::fail(t.shown + ": could not be released");
    return cli::kOk;
}

int clear(cli::Args& args) {
    const bool force = cli::takeFlag(args, "--force");
    Target t;
    if (int rc = takeDrawing(args, "clear", t))
        return rc;
    const OdString dwl = ut::FileLocker::getDwlPath(t.path), dwl2 = ut::FileLocker::getDwl2Path(t.path);
    if (dwl.isEmpty())
        return cli::fail(t.shown + ": names no drawing");
    if (!ut::FileName::fileExists(dwl) && !ut::FileName::fileExists(dwl2)) {
        std::printf("%s: no lock files\n", t.shown.c_str());
        return cli::kOk;
    }
    if (heldOpenHere(t.path))
        return cli::fail(t.shown + ": held open by a running process; its lock files are not stale");
    if (ut::FileLocker::isLockedByOther(t.path) && !force)
        return cli::fail(t.shown + ": lock files belong to another (" + describeHolder(readHolder(t.path)) +
                         "); --force removes them");
    if (!ut::FileLocker::removeLockFiles(t.path))
        return cli::fail(t.shown + ": lock files could not be removed");
    std::printf("%s: lock files removed\n", t.shown.c_str());
    return cli::kOk;
}

} // namespace

int runLock(cli::Args& args) {
    if (args.empty() || (cli::wantsHelp(args) && args.size() == 1)) {
        std::fputs(kHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    if (cli::wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return cli::kOk;
    }
    if (command == "status")
        return status(args);
    if (command == "hold")
        return hold(args);
    if (command == "clear")
        return clear(args);
    return cli::usage("unknown command 'lock " + command + "'");
}
