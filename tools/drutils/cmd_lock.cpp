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
                     "  status [--json]   who holds DRAWING: free, you, another (user, machine, since),\n"
                     "                    or nobody can tell (a lock file that cannot be read)\n"
                     "  hold [--force]    hold DRAWING as an editing session does, until interrupted\n"
                     "                    (SIGINT, SIGTERM or SIGHUP); prints \"holding DRAWING\" once held.\n"
                     "                    A drawing whose lock files are another's (or unreadable) is\n"
                     "                    refused; --force takes it over\n"
                     "  clear [--force]   remove lock files left behind by your own sessions; another\n"
                     "                    user's or machine's lock files only with --force\n"
                     "Exit status: 0 done, 1 failed or refused, 2 wrong usage.\n";

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

// Lock files that name nobody (unreadable, or not lock files at all) are told
// apart from another user's: neither is the caller's.
bool unknownHolder(const ut::FileLocker::LockInfo& h) {
    return h.holder == ut::FileLocker::LockInfo::kUnreadable || !h.problem.isEmpty();
}

std::string describeHolder(const ut::FileLocker::LockInfo& h) {
    if (unknownHolder(h))
        return "the lock file " + cli::utf8(h.problem);
    return "user " + cli::utf8(h.user) + ", machine " + cli::utf8(h.machine) + ", since " + cli::utf8(h.dateTime);
}

const char* holderWords(const ut::FileLocker::LockInfo& h) { return unknownHolder(h) ? "someone unknown" : "another"; }

// What status reports, worked out once for the text and the JSON form alike.
struct Status {
    ut::FileLocker::LockInfo lock;
    bool writable = false;
    bool lockable = false;  // this process could hold it now
    bool heldOpen = false;  // a process holds it open (only known for a writable drawing)
    bool stale = false;     // your own lock files, and nothing holds the drawing
    const char* state = ""; // free, read-only, in-use, held-by-you, held-by-other, held-by-unknown
};

Status examine(const OdString& path) {
    using Info = ut::FileLocker::LockInfo;
    Status st;
    st.lock = ut::FileLocker::holder(path);
    st.writable = ut::FileName(path).isFileWritable();
    st.lockable = ut::FileLocker().canLock(path);
    // A drawing the caller may not write cannot be probed: nobody can tell
    // whether a process holds it.
    st.heldOpen = st.writable && !st.lockable;
    switch (st.lock.holder) {
    case Info::kNone:
        st.state = !st.writable ? "read-only" : st.lockable ? "free" : "in-use";
        break;
    case Info::kCaller:
        st.state = "held-by-you";
        st.stale = st.lockable;
        break;
    case Info::kOther:
    case Info::kUnreadable:
        st.state = unknownHolder(st.lock) ? "held-by-unknown" : "held-by-other";
        break;
    }
    return st;
}

int status(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    Target t;
    if (int rc = takeDrawing(args, "status", t))
        return rc;
    if (!ut::FileName::fileExists(t.path))
        return cli::fail(t.shown + ": no such drawing");
    const Status st = examine(t.path);
    const bool lockFiles = st.lock.holder != ut::FileLocker::LockInfo::kNone;

    if (json) {
        cli::Json out;
        out.beginObject().key("drawing").value(t.shown).key("state").value(st.state);
        out.key("lock_files").value(lockFiles).key("held_open").value(st.heldOpen);
        out.key("writable").value(st.writable).key("stale").value(st.stale);
        if (lockFiles && !unknownHolder(st.lock))
            out.key("user").value(st.lock.user).key("machine").value(st.lock.machine).key("since").value(
                st.lock.dateTime);
        if (!st.lock.problem.isEmpty())
            out.key("problem").value(st.lock.problem);
        out.endObject();
        out.finish();
        return cli::kOk;
    }
    std::string line = t.shown + ": ";
    const std::string state = st.state;
    if (state == "free")
        line += "free";
    else if (state == "read-only")
        line += "read-only for you (whether a process holds it cannot be told)";
    else if (state == "in-use")
        line += "in use (held open without lock files)";
    else if (state == "held-by-you")
        line += "held by you: " + describeHolder(st.lock) +
                (st.stale ? "; no process holds it open: the lock files are stale ('drutils lock clear' removes "
                            "them)"
                          : "");
    else if (state == "held-by-other")
        line += "held by another: " + describeHolder(st.lock);
    else
        line += "held by someone unknown: " + describeHolder(st.lock);
    std::printf("%s\n", line.c_str());
    return cli::kOk;
}

int hold(cli::Args& args) {
    using Info = ut::FileLocker::LockInfo;
    const bool force = cli::takeFlag(args, "--force");
    Target t;
    if (int rc = takeDrawing(args, "hold", t))
        return rc;
    if (!ut::FileName::fileExists(t.path))
        return cli::fail(t.shown + ": no such drawing");
    // Locking writes the lock files anew; another's are only replaced on request.
    const Info before = ut::FileLocker::holder(t.path);
    if (!force && (before.holder == Info::kOther || before.holder == Info::kUnreadable))
        return cli::fail(t.shown + ": held by " + holderWords(before) + ": " + describeHolder(before) +
                         "; --force takes it over");
    // Blocked before the lock is taken, so that a signal arriving at any moment
    // still ends in an orderly unlock.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    for (int s : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&stopSignals, s);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    ut::FileLocker locker;
    if (!locker.lock(t.path)) {
        if (before.holder == Info::kCaller)
            return cli::fail(t.shown + ": held by you in another session: " + describeHolder(before));
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
    using Info = ut::FileLocker::LockInfo;
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
    const Status st = examine(t.path);
    if (st.heldOpen)
        return cli::fail(t.shown + ": held open by a running process; its lock files are not stale");
    if ((st.lock.holder == Info::kOther || st.lock.holder == Info::kUnreadable) && !force)
        return cli::fail(t.shown + ": lock files belong to " + holderWords(st.lock) + " (" +
                         describeHolder(st.lock) + "); --force removes them");
    if (!ut::FileLocker::removeLockFiles(t.path))
        return cli::fail(t.shown + ": lock files could not be removed");
    std::printf("%s: lock files removed\n", t.shown.c_str());
    return cli::kOk;
}

} // namespace

int runLock(cli::Args& args) {
    return cli::runGroup(args, "lock", kHelp, {{"status", status}, {"hold", hold}, {"clear", clear}});
}
