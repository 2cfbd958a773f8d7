#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fcntl.h>
#include <functional>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "test_support.h"
#include "ut_filelock.h"
#include "ut_filelock_text.h"

using testing_support::dataFile;
using testing_support::LogCapture;
using testing_support::readFile;
using testing_support::runTool;
using testing_support::TempDir;
using testing_support::W;
using testing_support::writeFile;
using ut::FileLocker;

namespace {

std::string me() { return getpwuid(geteuid())->pw_name; }

std::string host() {
    char name[256] = {};
    gethostname(name, sizeof name - 1);
    return name;
}

// The ANSI code page for the lifetime of the object.
struct CodePage {
    explicit CodePage(const char* number) { setenv("DRUTILS_ANSI_CODEPAGE", number, 1); }
    ~CodePage() { unsetenv("DRUTILS_ANSI_CODEPAGE"); }
};

// A child process that runs body and talks to the test through two pipes: the
// child says "ready" (or, with stdoutToParent, prints lines), the test says "go"
// (or closes) to let it finish. Fork it before the test takes a lock it will
// release, or the child would share that lock.
class Child {
public:
    using Body = std::function<int(Child&)>;
    explicit Child(const Body& body, bool stdoutToParent = false) {
        std::signal(SIGPIPE, SIG_IGN); // a child that already ended must not end the test
        if (pipe(m_up) != 0 || pipe(m_down) != 0)
            std::abort();
        m_pid = fork();
        if (m_pid == 0) {
            close(m_up[0]);
            close(m_down[1]);
            if (stdoutToParent)
                dup2(m_up[1], STDOUT_FILENO);
            _exit(body(*this));
        }
        close(m_up[1]);
        close(m_down[0]);
    }
    ~Child() {
        if (m_pid > 0)
            finish(SIGKILL);
    }
    void ready() { (void)!write(m_up[1], "ready\n", 6); }
    void awaitGo() {
        char c;
        (void)!read(m_down[0], &c, 1);
    }
    // One line from the child, without its end.
    std::string readLine() {
        std::string line;
        char c;
        while (read(m_up[0], &c, 1) == 1 && c != '\n')
            line += c;
        return line;
    }
    // Lets the child go (or signals it); its exit code, or 128 + the ending signal.
    int finish(int signal = 0) {
        if (signal)
            kill(m_pid, signal);
        else
            (void)!write(m_down[1], "g", 1);
        close(m_down[1]);
        close(m_up[0]);
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t m_pid = -1;
    int m_up[2], m_down[2];
};

// `drutils lock hold [OPTION] PATH` as a child whose output the test reads.
Child::Body holdCommand(const std::string& path, const char* option = nullptr) {
    return [path, option](Child&) {
        const char* argv[] = {DRUTILS_TOOL,       "lock", "hold", option ? option : path.c_str(),
                              option ? path.c_str() : nullptr, nullptr};
        execv(DRUTILS_TOOL, const_cast<char* const*>(argv));
        return 127;
    };
}

} // namespace

// Decoding and line splitting of lock-file bytes, as written by this library and by peers.
TEST(FileLockText, DecodesAndSplitsLines) {
    CodePage cp("1252");
    struct Row {
        std::string bytes;
        std::vector<std::wstring> lines;
    } rows[] = {
        {"neil\nWS1\nThursday", {L"neil", L"WS1", L"Thursday"}},
        {"a\r\nb\r\nc\r\n", {L"a", L"b", L"c"}},         // Windows line ends; the last opens no line
        {"\nWS1\n", {L"", L"WS1"}},                     // an empty user keeps the machine in place
        {"J\xFCrgen\nWS", {L"J\u00FCrgen", L"WS"}},     // ANSI code page
        {"J\xC3\xBCrgen", {L"J\u00FCrgen"}},           // valid UTF-8 wins
        {std::string("\xFF\xFEu\0\n\0=\xD8\0\xDE", 10), {L"u", L"\U0001F600"}}, // UTF-16LE, surrogate pair
        {std::string("\xFE\xFF\0u\0\n\xD8\0\0m", 10), {L"u", L"\uFFFDm"}},      // UTF-16BE, lone surrogate
        {std::string("ab\0cd\nx", 7), {L"ab"}},                                 // text ends at NUL
    };
    for (const auto& row : rows) {
        std::vector<OdString> lines = ut::lockfile::splitLines(ut::lockfile::decode(row.bytes));
        ASSERT_EQ(row.lines.size(), lines.size()) << row.bytes;
        for (size_t i = 0; i < lines.size(); ++i)
            EXPECT_EQ(row.lines[i], lines[i].str()) << row.bytes;
    }
}

// Both formats byte for byte, in the ANSI code page in force.
TEST(FileLockText, FormatsInTheAnsiCodePage) {
    {
        CodePage cp("1252");
        // Markup in a name must not break the XML peers parse; the text form stays raw.
        EXPECT_EQ("<?xml version=\"1.0\"?>\n<whprops>\n<username>J\xFCrgen&amp;&lt;&gt;</username>\n"
                  "<machinename>WS-1</machinename>\n<fullname></fullname>\n<datetime>now</datetime>\n"
                  "</whprops>\n",
                  ut::lockfile::formatDwl2(L"J\u00FCrgen&<>", L"WS-1", L"now"));
        EXPECT_EQ("a&b\n?\nt", ut::lockfile::formatDwl(L"a&b", L"\u0416", L"t")); // not in 1252
    }
    CodePage cp("1251");
    EXPECT_EQ("\xC6ora\nWS\nt", ut::lockfile::formatDwl(L"\u0416ora", L"WS", L"t"));
}

// lock writes both files with exactly the expected text; unlock removes them and
// leaves the drawing as it was.
TEST(FileLocker, WritesExactLockFilesAndRemovesThem) {
    TempDir tmp;
    writeFile(tmp.file("plan.dwg"), "drawing bytes");
    const std::time_t before = std::time(nullptr);
    FileLocker locker;
    ASSERT_TRUE(locker.lock(tmp.wfile("plan.dwg")));
    const std::time_t after = std::time(nullptr);

    const std::string dwl = readFile(tmp.file("plan.dwl"));
    const std::string prefix = me() + "\n" + host() + "\n";
    ASSERT_EQ(prefix, dwl.substr(0, prefix.size()));
    const std::string since = dwl.substr(prefix.size());
    struct tm parsed {};
    const char* end = strptime(since.c_str(), "%A, %B %d, %Y %X", &parsed);
    ASSERT_TRUE(end && *end == '\0') << since;
    parsed.tm_isdst = -1;
    EXPECT_TRUE(before <= mktime(&parsed) && mktime(&parsed) <= after) << since; // local time, not UTC
    EXPECT_EQ("<?xml version=\"1.0\"?>\n<whprops>\n<username>" + me() + "</username>\n<machinename>" + host() +
                  "</machinename>\n<fullname></fullname>\n<datetime>" + since + "</datetime>\n</whprops>\n",
              readFile(tmp.file("plan.dwl2")));

    OdString info;
    EXPECT_TRUE(FileLocker::readLockInfo(tmp.wfile("plan.dwg"), info));
    EXPECT_EQ(W("User: " + me() + "\nMachine: " + host() + "\nSince: " + since), info);

    EXPECT_TRUE(locker.unlock());
    EXPECT_EQ((std::vector<std::string>{"plan.dwg"}), tmp.entries());
    EXPECT_EQ("drawing bytes", readFile(tmp.file("plan.dwg")));
}

// One locker, one drawing: relocking releases the first; a second locker (even in
// this process) is refused; a copy holds nothing.
TEST(FileLocker, HoldsOneDrawingPerLocker) {
    TempDir tmp;
    writeFile(tmp.file("a.dwg"), "a");
    writeFile(tmp.file("b"), "b");
    const OdString a = tmp.wfile("a.dwg"), b = tmp.wfile("b");
    {
        FileLocker locker(a);
        ASSERT_TRUE(locker.isLocked());
        ASSERT_TRUE(locker.lock(b)); // no extension: "b.dwl"
        EXPECT_EQ((std::vector<std::string>{"a.dwg", "b", "b.dwl", "b.dwl2"}), tmp.entries());
        EXPECT_FALSE(FileLocker().lock(b));
        EXPECT_TRUE(FileLocker().canLock(a));

        FileLocker target(a);
        target = locker; // unlocks a, copies no hold
        EXPECT_FALSE(target.isLocked());
        EXPECT_FALSE(FileLocker::hasDwl(a));
    } // the destructor unlocks
    EXPECT_EQ((std::vector<std::string>{"a.dwg", "b"}), tmp.entries());

    // unlock deletes only the lock files it wrote: one replaced meanwhile stays.
    {
        FileLocker locker(a);
        unlink(tmp.file("a.dwl").c_str());
        writeFile(tmp.file("a.dwl"), "newer");
    }
    EXPECT_EQ("newer", readFile(tmp.file("a.dwl")));
}

// Paths that are no drawing, lock files that are no lock files: plain results, no
// hang on pipes, nothing created, the drawing never overwritten.
TEST(FileLocker, RejectsBadInput) {
    CodePage cp("1252");
    TempDir tmp;
    LogCapture log;
    mkdir(tmp.file("dir.dwg").c_str(), 0755);
    mkfifo(tmp.file("pipe.dwg").c_str(), 0644);
    FileLocker locker;
    for (const char* name : {"missing.dwg", "dir.dwg", "dir.dwg/", "pipe.dwg", ""}) {
        const OdString path = *name ? tmp.wfile(name) : OdString();
        EXPECT_FALSE(locker.lock(path)) << name;
        EXPECT_FALSE(FileLocker::hasDwl(path)) << name;
    }
    EXPECT_EQ((std::vector<std::string>{"dir.dwg", "pipe.dwg"}), tmp.entries());

    // A drawing whose lock file's name is the drawing itself, or a second name of it.
    writeFile(tmp.file("odd.dwl"), "drawing");
    writeFile(tmp.file("twin.dwg"), "drawing");
    ASSERT_EQ(0, link(tmp.file("twin.dwg").c_str(), tmp.file("twin.dwl").c_str()));
    for (const char* name : {"odd.dwl", "twin.dwg"}) {
        ASSERT_TRUE(locker.lock(tmp.wfile(name))) << name;
        EXPECT_TRUE(locker.unlock());
    }
    EXPECT_EQ("drawing", readFile(tmp.file("odd.dwl")));
    EXPECT_EQ("drawing", readFile(tmp.file("twin.dwl")));
    EXPECT_TRUE(log.contains("the drawing itself"));

    // Lock files of every shape: fields present are read, the rest stay as they were.
    // Only a lock with this user and machine, in any letter case, is not another's.
    const std::string mine = me() + "\n" + host();
    std::string upper = mine;
    std::transform(upper.begin(), upper.end(), upper.begin(), [](char c) { return char(toupper(c)); });
    struct Row {
        std::string bytes;
        bool read, byOther;
        std::string user, machine;
    } rows[] = {
        {"", true, true, "u0", "m0"},
        {me(), true, true, me(), "m0"},          // the machine is missing, so it is not ours
        {mine, true, false, me(), host()},
        {me() + "\r\n" + host() + "\r\n", true, false, me(), host()},
        {upper, true, false, upper.substr(0, me().size()), upper.substr(me().size() + 1)},
        {me() + "\nanother-machine", true, true, me(), "another-machine"},
        {std::string("\x01\xFF\n\0\x80", 5), true, true, "\x01\xC3\xBF", "m0"}, // binary, cut at NUL
        {std::string(70000, 'x'), false, true, "u0", "m0"},          // far too large: nobody's, not ours
    };
    writeFile(tmp.file("p.dwg"), "");
    std::string backslashed = tmp.file("p.dwg"); // backslashes in the path are separators
    std::replace(backslashed.begin(), backslashed.end(), '/', '\\');
    for (const auto& row : rows) {
        writeFile(tmp.file("p.dwl"), row.bytes);
        OdString user(L"u0"), machine(L"m0"), date(L"d0");
        EXPECT_EQ(row.read, FileLocker::readLockInfo(tmp.wfile("p.dwg"), user, machine, date)) << row.bytes;
        EXPECT_EQ(row.byOther, FileLocker::isLockedByOther(W(backslashed))) << row.bytes;
        EXPECT_EQ(W(row.user), user) << row.bytes;
        EXPECT_EQ(W(row.machine), machine) << row.bytes;
    }
    EXPECT_TRUE(log.contains("is not a lock file"));

    // A pipe or a directory at the lock file's name is no lock file and does not block.
    unlink(tmp.file("p.dwl").c_str());
    mkfifo(tmp.file("p.dwl").c_str(), 0644);
    mkdir(tmp.file("p.dwl2").c_str(), 0755);
    OdString user;
    EXPECT_FALSE(FileLocker::readLockInfo(tmp.wfile("p.dwg"), user));
    EXPECT_TRUE(locker.lock(tmp.wfile("p.dwg"))); // lock files cannot be written, the lock holds
    EXPECT_TRUE(log.contains("not a regular file"));
}

// A link planted at a lock file's name is neither followed nor replaced.
TEST(FileLocker, NeverWritesThroughSymbolicLinks) {
    TempDir tmp;
    LogCapture log;
    writeFile(tmp.file("plan.dwg"), "drawing");
    writeFile(tmp.file("victim"), "precious");
    ASSERT_EQ(0, symlink(tmp.file("victim").c_str(), tmp.file("plan.dwl").c_str()));
    ASSERT_EQ(0, symlink(tmp.file("created-by-mistake").c_str(), tmp.file("plan.dwl2").c_str()));
    {
        FileLocker locker(tmp.wfile("plan.dwg"));
        EXPECT_TRUE(locker.isLocked());
        EXPECT_TRUE(log.contains("symbolic link"));
        OdString info;
        EXPECT_FALSE(FileLocker::readLockInfo(tmp.wfile("plan.dwg"), info));
    }
    EXPECT_EQ("precious", readFile(tmp.file("victim")));
    EXPECT_TRUE(std::filesystem::is_symlink(tmp.file("plan.dwl")) && std::filesystem::is_symlink(tmp.file("plan.dwl2")));
    EXPECT_EQ((std::vector<std::string>{"plan.dwg", "plan.dwl", "plan.dwl2", "victim"}), tmp.entries());
}

// Another process holds the drawing: refused here until it lets go or dies; the
// lock files tell it is the same user on the same machine.
TEST(FileLocker, ExcludesAnotherProcess) {
    TempDir tmp;
    writeFile(tmp.file("plan.dwg"), "drawing");
    const OdString plan = tmp.wfile("plan.dwg");
    for (int howItEnds : {0, SIGKILL}) {
        Child holder([&](Child& self) {
            FileLocker locker(plan);
            if (!locker.isLocked())
                return 3;
            self.ready();
            self.awaitGo();
            return locker.unlock() ? 0 : 4;
        });
        ASSERT_EQ("ready", holder.readLine());
        FileLocker locker;
        EXPECT_FALSE(locker.canLock(plan));
        EXPECT_FALSE(locker.lock(plan));
        EXPECT_TRUE(FileLocker::isLocked(plan));
        EXPECT_FALSE(FileLocker::isLockedByOther(plan));
        EXPECT_EQ(howItEnds ? 128 + SIGKILL : 0, holder.finish(howItEnds));
        // A killed holder leaves its lock files, which are recognised as ours.
        EXPECT_EQ(howItEnds != 0, FileLocker::hasDwl(plan));
        EXPECT_FALSE(FileLocker::isLockedByOther(plan));
        EXPECT_TRUE(locker.lock(plan));
        EXPECT_TRUE(locker.unlock());
        EXPECT_EQ((std::vector<std::string>{"plan.dwg"}), tmp.entries());
    }
}

// Processes that use the drawing without this class: a writer keeps it from being
// locked, a reader does not.
TEST(FileLocker, RespectsOtherWriters) {
    TempDir tmp;
    writeFile(tmp.file("plan.dwg"), "drawing");
    const std::string path = tmp.file("plan.dwg");
    for (int flags : {O_RDONLY, O_WRONLY}) {
        Child user([&](Child& self) {
            if (open(path.c_str(), flags) < 0)
                return 3;
            self.ready();
            self.awaitGo();
            return 0;
        });
        ASSERT_EQ("ready", user.readLine()) << flags;
        EXPECT_EQ(flags == O_RDONLY, FileLocker().canLock(W(path))) << flags;
        EXPECT_EQ(0, user.finish()) << flags;
    }
}

// Lock files left by another CAD program are read as such, and replaced once the
// drawing is free; ours follow the same element layout.
TEST(FileLocker, ReadsPeerLockFiles) {
    TempDir tmp;
    writeFile(tmp.file("drawing.dwg"), "x");
    writeFile(tmp.file("drawing.dwl"), readFile(dataFile("drawing.dwl")));
    const std::string peerXml = readFile(dataFile("drawing.dwl2"));
    writeFile(tmp.file("drawing.dwl2"), peerXml);
    const OdString drawing = tmp.wfile("drawing.dwg");

    OdString user, machine, date;
    ASSERT_TRUE(FileLocker::readLockInfo(drawing, user, machine, date));
    EXPECT_EQ(OdString(L"neil"), user);
    EXPECT_EQ(OdString(L"AUTOSCAN-WK07W7 "), machine); // the peer's trailing blank is kept
    EXPECT_EQ(OdString(L"Thursday, September 10, 2020  12:16:41"), date);
    EXPECT_TRUE(FileLocker::isLockedByOther(drawing));

    FileLocker locker(drawing);
    ASSERT_TRUE(locker.isLocked());
    EXPECT_FALSE(FileLocker::isLockedByOther(drawing));
    // Same elements in the same order as the peer's file, after its declaration.
    auto tags = [](const std::string& xml) {
        std::string out;
        for (size_t p = xml.find('<', xml.find('\n')); p != std::string::npos; p = xml.find('<', p + 1))
            out += xml.substr(p, xml.find('>', p) - p + 1);
        return out;
    };
    EXPECT_EQ(tags(peerXml), tags(readFile(tmp.file("drawing.dwl2"))));
}

// The tool: status in each state, hold until a signal, clear only what is stale
// and one's own (or forced).
TEST(LockTool, ReportsHoldsAndClears) {
    TempDir tmp;
    const std::string plan = tmp.file("plan.dwg");
    const auto npos = std::string::npos;
    writeFile(plan, "x");
    std::string out, err;
    EXPECT_EQ(0, runTool({"lock", "status", plan}, &out));
    EXPECT_EQ(plan + ": free\n", out);

    for (int signal : {SIGTERM, SIGKILL}) {
        Child holder(holdCommand(plan), true);
        ASSERT_EQ("holding " + plan, holder.readLine());
        EXPECT_EQ(0, runTool({"lock", "status", "--json", plan}, &out));
        EXPECT_NE(npos, out.find("\"state\":\"held-by-you\",\"lock_files\":true,\"held_open\":true")) << out;
        EXPECT_EQ(1, runTool({"lock", "clear", "--force", plan}, nullptr, &err)); // a live hold is not stale
        EXPECT_EQ(signal == SIGTERM ? 0 : 128 + SIGKILL, holder.finish(signal));
        EXPECT_EQ(signal == SIGKILL, FileLocker::hasDwl(W(plan)));
    }
    // What the killed holder left is stale and ours.
    EXPECT_EQ(0, runTool({"lock", "status", plan}, &out));
    EXPECT_NE(npos, out.find("stale")) << out;
    EXPECT_EQ(0, runTool({"lock", "clear", plan}, &out));
    EXPECT_EQ((std::vector<std::string>{"plan.dwg"}), tmp.entries());

    // Another user's lock is reported and kept unless forced.
    writeFile(tmp.file("plan.dwl"), readFile(dataFile("drawing.dwl")));
    EXPECT_EQ(0, runTool({"lock", "status", plan}, &out));
    EXPECT_EQ(plan + ": held by another: user neil, machine AUTOSCAN-WK07W7 , since Thursday, September 10, 2020  "
                     "12:16:41\n",
              out);
    EXPECT_EQ(1, runTool({"lock", "clear", plan}, nullptr, &err));
    EXPECT_NE(npos, err.find("--force")) << err;
    EXPECT_EQ(0, runTool({"lock", "clear", "--force", plan}));
    EXPECT_FALSE(FileLocker::hasDwl(W(plan)));

    EXPECT_EQ(2, runTool({"lock", "clear", plan, plan}, &out, &err));
    EXPECT_EQ(1, runTool({"lock", "hold", tmp.file("missing.dwg")}, &out, &err));
    EXPECT_EQ((std::vector<std::string>{"plan.dwg"}), tmp.entries());
}

// Lock files are never taken for the caller's unless they say so: another's and
// ones that name nobody are reported as such, in text and JSON alike, and hold
// takes them over only with --force.
TEST(LockTool, NeverTakesAnotherOrNobodyForYou) {
    TempDir tmp;
    const std::string plan = tmp.file("plan.dwg"), dwl = tmp.file("plan.dwl");
    writeFile(plan, "x");
    const auto npos = std::string::npos;
    struct Row {
        std::string dwl;       // empty: no lock file
        bool holdOpen;         // this test holds the drawing open meanwhile
        const char* state;     // in the JSON form
        const char* text;      // in the text form
        bool stale, holdNeedsForce;
    };
    const Row rows[] = {
        {"", false, "free", ": free", false, false},
        {"", true, "in-use", ": in use", false, false},
        {me() + "\n" + host() + "\nyesterday", false, "held-by-you", "stale", true, false},
        {readFile(dataFile("drawing.dwl")), false, "held-by-other", ": held by another: user neil", false, true},
        {std::string(70000, 'x'), false, "held-by-unknown", "larger than 65536 bytes, not a lock file", false, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.state);
        std::remove(dwl.c_str());
        if (!row.dwl.empty())
            writeFile(dwl, row.dwl);
        ut::LockedFileHandle open;
        if (row.holdOpen) {
            ASSERT_TRUE(open.open(W(plan)));
        }
        std::string out, err;
        ASSERT_EQ(0, runTool({"lock", "status", "--json", plan}, &out));
        EXPECT_NE(npos, out.find(std::string("\"state\":\"") + row.state + "\"")) << out;
        EXPECT_NE(npos, out.find(std::string("\"stale\":") + (row.stale ? "true" : "false"))) << out;
        ASSERT_EQ(0, runTool({"lock", "status", plan}, &out));
        EXPECT_NE(npos, out.find(row.text)) << out;
        EXPECT_EQ(row.stale, out.find("stale") != npos) << out;
        EXPECT_EQ(1, std::count(out.begin(), out.end(), '\n')) << out;
        if (!row.holdNeedsForce)
            continue;
        EXPECT_EQ(1, runTool({"lock", "hold", plan}, &out, &err));
        EXPECT_NE(npos, err.find("--force takes it over")) << err;
        EXPECT_EQ(1, std::count(err.begin(), err.end(), '\n')) << err;
        EXPECT_EQ(row.dwl, readFile(dwl)) << "refused: the lock file stays";
        Child holder(holdCommand(plan, "--force"), true);
        ASSERT_EQ("holding " + plan, holder.readLine());
        EXPECT_EQ(me(), readFile(dwl).substr(0, me().size()));
        EXPECT_EQ(0, holder.finish(SIGTERM));
        EXPECT_FALSE(FileLocker::hasDwl(W(plan)));
    }
}
