// The tool and the files of its users: commands that create a file never replace
// one without --force, never write over their input and never read what is not a
// regular file; failures are one line that names the file and the reason; names
// that are not UTF-8 work, and JSON output stays UTF-8; output people read.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/codepage.h"
#include "platform/files.h"
#include "plotstyletable.h"
#include "test_support.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

size_t lineCount(const std::string& text) { return size_t(std::count(text.begin(), text.end(), '\n')); }

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Sets an environment variable for the lifetime of the object (the tool inherits it).
struct EnvGuard {
    EnvGuard(const char* name, const char* value) : name(name) { setenv(name, value, 1); }
    ~EnvGuard() { unsetenv(name); }
    const char* name;
};

} // namespace

TEST(ToolFiles, CreatingCommandsNeverReplaceOrReadWhatTheyShouldNot) {
    TempDir dir;
    writeFile(dir.file("table.ctb"), readFile(dataFile("color-dependent-factory.ctb")));
    writeFile(dir.file("text.txt"), "description=\"x\nplot_style{\n}\n");
    writeFile(dir.file("plain"), "some plain text");
    fs::create_directory(dir.file("folder"));
    struct Command {
        const char* name;
        std::string input; // empty: the command reads no file
        std::function<std::vector<std::string>(const std::string& in, const std::string& out)> args;
    };
    const Command commands[] = {
        {"style new", "", [](auto&, auto& out) { return std::vector<std::string>{"style", "new", "ctb", out}; }},
        {"style convert", "table.ctb",
         [](auto& in, auto& out) { return std::vector<std::string>{"style", "convert", in, out}; }},
        {"style render", "table.ctb",
         [](auto& in, auto& out) { return std::vector<std::string>{"style", "render", in, out}; }},
        {"pia pack", "text.txt",
         [](auto& in, auto& out) { return std::vector<std::string>{"pia", "pack", in, out, "--kind", "ctb"}; }},
        {"cipher encode", "plain",
         [](auto& in, auto& out) {
             return std::vector<std::string>{"cipher", "encode", "--key-hex", "0011", in, out};
         }},
    };
    const auto with = [](std::vector<std::string> args, const char* flag) {
        args.push_back(flag);
        return args;
    };
    for (const Command& c : commands) {
        SCOPED_TRACE(c.name);
        const std::string in = c.input.empty() ? std::string() : dir.file(c.input);
        const std::string out = dir.file("existing");
        std::string err;

        // An existing file is replaced only with --force.
        writeFile(out, "keep me");
        EXPECT_EQ(1, runTool(c.args(in, out), nullptr, &err));
        EXPECT_EQ(out + ": already exists (--force replaces it)\n", err.substr(err.find(' ') + 1));
        EXPECT_EQ("keep me", readFile(out));
        EXPECT_EQ(0, runTool(with(c.args(in, out), "--force"), nullptr, &err)) << err;
        EXPECT_NE("keep me", readFile(out));
        std::remove(out.c_str());
        if (in.empty())
            continue;

        // The output is never the input, under its own name or through a link,
        // --force or not.
        const std::string original = readFile(in);
        fs::create_symlink(in, dir.file("link"));
        for (const std::string& same : {in, dir.file("link")}) {
            EXPECT_EQ(1, runTool(with(c.args(in, same), "--force"), nullptr, &err));
            EXPECT_TRUE(contains(err, "is the input")) << err;
            EXPECT_EQ(original, readFile(in));
        }
        fs::remove(dir.file("link"));

        // An input that is no regular file is refused before anything is written.
        EXPECT_EQ(1, runTool(c.args(dir.file("folder"), out), nullptr, &err));
        EXPECT_EQ(dir.file("folder") + ": is a directory\n", err.substr(err.find(' ') + 1));
        EXPECT_FALSE(fs::exists(out));
    }
    EXPECT_EQ((std::vector<std::string>{"folder", "plain", "table.ctb", "text.txt"}), dir.entries())
        << "nothing left behind";
}

// --force replaces a file, never a pipe, device or socket that sits at OUT (nor
// what a link there points at); commands whose output is a stream take "-" for
// standard output instead.
TEST(ToolFiles, OutputsThatAreNotRegularFilesAreNeverReplaced) {
    TempDir dir;
    fs::create_directory(dir.file("store"));
    fs::create_directory(dir.file("tmp"));
    EnvGuard store("DRUTILS_REGISTRY_DB", dir.file("store/registry.db").c_str());
    EnvGuard tmp("TMPDIR", dir.file("tmp").c_str());
    EnvGuard cups("CUPS_SERVER", dir.file("no-scheduler").c_str());
    writeFile(dir.file("table.ctb"), readFile(dataFile("color-dependent-factory.ctb")));
    writeFile(dir.file("text.txt"), "description=\"x\nplot_style{\n}\n");
    writeFile(dir.file("plain"), "some plain text");
    ASSERT_EQ(0, runTool({"config", "set", "Setup", "k", "v"}));
    ASSERT_EQ(0, runTool({"profile", "create", "P"}));

    // What sits at OUT, and how to tell it is still that.
    struct Special {
        std::string name;
        bool (*still)(const fs::path&);
    };
    std::vector<Special> specials;
    ASSERT_EQ(0, mkfifo(dir.file("pipe").c_str(), 0644));
    specials.push_back({"pipe", [](const fs::path& p) { return fs::is_fifo(fs::symlink_status(p)); }});
    fs::create_symlink(dir.file("pipe"), dir.file("link-to-pipe"));
    specials.push_back({"link-to-pipe", [](const fs::path& p) {
                            return fs::is_symlink(fs::symlink_status(p)) && fs::is_fifo(fs::status(p));
                        }});
    {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        const std::string path = dir.file("socket");
        ASSERT_LT(path.size(), sizeof addr.sun_path);
        std::strcpy(addr.sun_path, path.c_str());
        ASSERT_EQ(0, ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr));
        ::close(fd);
        specials.push_back({"socket", [](const fs::path& p) { return fs::is_socket(fs::symlink_status(p)); }});
    }
    // The null device under another name; only root may make one.
    if (::mknod(dir.file("device").c_str(), S_IFCHR | 0666, makedev(1, 3)) == 0)
        specials.push_back({"device", [](const fs::path& p) { return fs::is_character_file(fs::symlink_status(p)); }});

    struct Command {
        const char* name;
        bool stream; // takes "-" for standard output
        std::function<std::vector<std::string>(const std::string& out)> args;
    };
    const std::string table = dir.file("table.ctb"), text = dir.file("text.txt"), plain = dir.file("plain");
    const Command commands[] = {
        {"style new", false, [](auto& out) { return std::vector<std::string>{"style", "new", "ctb", out}; }},
        {"style convert", false, [&](auto& out) { return std::vector<std::string>{"style", "convert", table, out}; }},
        {"style render", true, [&](auto& out) { return std::vector<std::string>{"style", "render", table, out}; }},
        {"pia pack", false,
         [&](auto& out) { return std::vector<std::string>{"pia", "pack", text, out, "--kind", "ctb"}; }},
        {"cipher encode", true,
         [&](auto& out) { return std::vector<std::string>{"cipher", "encode", "--key-hex", "0011", plain, out}; }},
        {"pc3 new", false, [](auto& out) { return std::vector<std::string>{"pc3", "new", "Print As PDF", out}; }},
        {"profile export", true, [](auto& out) { return std::vector<std::string>{"profile", "export", "P", out}; }},
        {"reg export", true, [](auto& out) { return std::vector<std::string>{"reg", "export", "Setup", out}; }},
    };
    for (const Command& c : commands) {
        SCOPED_TRACE(c.name);
        for (const Special& special : specials) {
            SCOPED_TRACE(special.name);
            const std::string out = dir.file(special.name);
            for (bool force : {false, true}) {
                std::vector<std::string> args = c.args(out);
                if (force)
                    args.push_back("--force");
                std::string err;
                EXPECT_EQ(1, runTool(args, nullptr, &err));
                EXPECT_EQ(out + ": not a regular file (a pipe, device or socket), which is never replaced" +
                              (c.stream ? "; \"-\" writes to standard output" : "") + "\n",
                          err.substr(err.find(' ') + 1));
                EXPECT_TRUE(special.still(out));
            }
        }
        if (c.stream) {
            std::string out, err;
            EXPECT_EQ(0, runTool(c.args("-"), &out, &err)) << err;
            EXPECT_FALSE(out.empty());
            EXPECT_EQ("", err);
        }
    }
    // The editors read what they replace, and refuse it as their input.
    const std::vector<std::string> editors[] = {
        {"style", "set", "#0", "screen=5"},
        {"pc3", "set", "number_of_copies=2"},
        {"pc3", "custom", "set", "x", "1", "--kind", "int"},
        {"pc3", "papers", "add", "P", "10", "10"},
    };
    for (const auto& editor : editors) {
        for (const char* name : {"pipe", "link-to-pipe"}) {
            SCOPED_TRACE(editor[0] + " " + editor[1] + " " + name);
            std::vector<std::string> args = editor;
            args.insert(args.begin() + 2, dir.file(name));
            std::string err;
            EXPECT_EQ(1, runTool(args, nullptr, &err));
            EXPECT_TRUE(contains(err, dir.file(name) + "': not a regular file") ||
                        contains(err, dir.file(name) + ": not a regular file"))
                << err;
            EXPECT_TRUE(specials[size_t(name[0] == 'l')].still(dir.file(name)));
        }
    }

    // The writer refuses by itself, whoever checked before it, also a pipe that
    // appears while it writes.
    {
        ut::platform::AtomicFileWriter w(W(dir.file("link-to-pipe")));
        EXPECT_FALSE(w.file());
        EXPECT_EQ(ut::platform::FileStatus::NotRegularFile, w.status());
    }
    {
        ut::platform::AtomicFileWriter w(W(dir.file("late")));
        ASSERT_TRUE(w.file());
        ASSERT_EQ(0, mkfifo(dir.file("late").c_str(), 0644));
        EXPECT_FALSE(w.commit());
        EXPECT_EQ(ut::platform::FileStatus::NotRegularFile, w.status());
        EXPECT_TRUE(fs::is_fifo(dir.file("late")));
    }
    std::vector<std::string> expected{"late",  "link-to-pipe", "pipe",     "plain", "socket",
                                      "store", "table.ctb",    "text.txt", "tmp"};
    if (specials.back().name == "device")
        expected.insert(expected.begin(), "device");
    EXPECT_EQ(expected, dir.entries()) << "nothing left behind";
    EXPECT_TRUE(fs::is_empty(dir.file("tmp"))) << "standard output went through a file that is gone";
}

// A replacement keeps the owner, group and mode of the file it replaces: root
// editing a user's table leaves the user able to read it. Through a link, the
// link stays and its target keeps its owner.
TEST(ToolFiles, EditsKeepOwnerGroupAndMode) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "giving files to another user needs root";
    TempDir dir;
    const uid_t user = 12345;
    const gid_t group = 23456;
    struct Edit {
        const char *name, *file, *data;
        std::vector<std::string> args; // after the file
        std::string command;
    };
    const Edit edits[] = {
        {"style set", "t.ctb", "color-dependent-factory.ctb", {"#1", "screen=50"}, "style set"},
        {"pc3 set", "p.pc3", "printer-hpgl-raw-device-data.pc3", {"number_of_copies=3"}, "pc3 set"},
        {"pc3 custom set", "c.pc3", "printer-hpgl-raw-device-data.pc3", {"set", "extra", "1", "--kind", "int"},
         "pc3 custom"},
        {"pc3 papers add", "q.pc3", "printer-hpgl-raw-device-data.pc3", {"add", "Mine", "100", "200"},
         "pc3 papers"},
    };
    for (const Edit& e : edits) {
        SCOPED_TRACE(e.name);
        const std::string path = dir.file(e.file);
        writeFile(path, readFile(dataFile(e.data)));
        ASSERT_EQ(0, ::chown(path.c_str(), user, group));
        ASSERT_EQ(0, ::chmod(path.c_str(), 0640));
        fs::create_symlink(path, dir.file(std::string("link-") + e.file));
        const std::string original = readFile(path);
        for (const std::string& name : {path, dir.file(std::string("link-") + e.file)}) {
            const size_t space = e.command.find(' ');
            std::vector<std::string> args{e.command.substr(0, space), e.command.substr(space + 1), name};
            args.insert(args.end(), e.args.begin(), e.args.end());
            if (e.command == "pc3 papers" && name != path)
                args[4] = "Mine2";
            std::string err;
            ASSERT_EQ(0, runTool(args, nullptr, &err)) << err;
            struct stat st {};
            ASSERT_EQ(0, ::stat(path.c_str(), &st));
            EXPECT_EQ(user, st.st_uid);
            EXPECT_EQ(group, st.st_gid);
            EXPECT_EQ(0640u, st.st_mode & 07777u);
            EXPECT_TRUE(fs::is_symlink(dir.file(std::string("link-") + e.file)));
        }
        EXPECT_NE(original, readFile(path));
    }
    EXPECT_EQ(8u, dir.entries().size()) << "nothing left behind";
}

TEST(ToolFiles, FailuresAreOneLineNamingTheFileAndWhy) {
    TempDir dir;
    fs::create_directory(dir.file("folder"));
    writeFile(dir.file("words.stb"), "not a table at all, and longer than a header would be: sixty bytes");
    std::string corrupt = readFile(dataFile("named-small.stb"));
    corrupt.replace(100, 30, std::string(30, 'x'));
    writeFile(dir.file("corrupt.stb"), corrupt);
    const std::string table = dir.file("table.stb");
    writeFile(table, readFile(dataFile("named-small.stb")));
    const std::string original = readFile(table);
    EnvGuard page("DRUTILS_ANSI_CODEPAGE", "1252");
    struct Row {
        std::vector<std::string> args;
        std::string file, why;
    };
    const Row rows[] = {
        // files that cannot be read, each for its own reason
        {{"style", "show", dir.file("missing.stb")}, dir.file("missing.stb"), "no such file"},
        {{"style", "show", dir.file("folder")}, dir.file("folder"), "is a directory"},
        {{"pia", "cat", dir.file("words.stb")}, dir.file("words.stb"), "not a parameter file"},
        {{"style", "set", dir.file("corrupt.stb"), "#0", "screen=5"}, dir.file("corrupt.stb"),
         "compressed data is corrupt"},
        {{"pc3", "show", dir.file("missing.pc3")}, dir.file("missing.pc3"), "no such file"},
        {{"pmp", "show", dir.file("folder")}, dir.file("folder"), "is a directory"},
        // values the file cannot hold: refused, naming the style and why
        {{"style", "set", table, "#1", "description=Pens {A3}"}, table, "holds \"{\""},
        {{"style", "set", table, "#1", "description=two\nlines"}, table, "line break"},
        {{"style", "set", table, "#1", "description=" + std::string(600, 'd')}, table, "too long for a line"},
        {{"style", "set", table, "#1", "name=\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e"}, table,
         "has no form in code page 1252, in which the file is written; DRUTILS_ANSI_CODEPAGE chooses another"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.args[0] + " " + row.args[1] + " " + row.why);
        std::string out, err;
        EXPECT_EQ(1, runTool(row.args, &out, &err));
        EXPECT_EQ(1u, lineCount(err)) << err;
        EXPECT_TRUE(contains(err, row.file)) << err;
        EXPECT_TRUE(contains(err, row.why)) << err;
        EXPECT_FALSE(contains(err, "result")) << err;
    }
    EXPECT_EQ(original, readFile(table));
}

// A command stopped by a signal while it writes leaves neither its output nor
// the temporary file it was writing behind.
TEST(ToolFiles, AnInterruptedCommandLeavesNoTemporaryFile) {
    for (int signo : {SIGTERM, SIGINT, SIGHUP}) {
        TempDir dir;
        int fds[2];
        ASSERT_EQ(::pipe2(fds, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[0], 0);
        const std::string out = dir.file("out.bin");
        const char* argv[] = {DRUTILS_TOOL, "cipher", "encode", "--key-hex", "0011223344556677", "-", out.c_str(),
                              nullptr};
        pid_t pid = -1;
        ASSERT_EQ(posix_spawn(&pid, DRUTILS_TOOL, &actions, nullptr, const_cast<char**>(argv), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[0]);
        // The tool waits for more input with its temporary file open.
        ASSERT_EQ(::write(fds[1], "secret", 6), 6);
        for (int i = 0; i < 500 && dir.entries().empty(); ++i)
            ::usleep(10000);
        ASSERT_EQ(dir.entries().size(), 1u) << "the temporary file is there while the command runs";
        ::kill(pid, signo);
        int status = 0;
        ::waitpid(pid, &status, 0);
        ::close(fds[1]);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signo) << "ends as the signal ends a process";
        EXPECT_TRUE(dir.entries().empty()) << signo << ": " << dir.entries()[0];
    }
}

TEST(ToolFiles, NamesThatAreNotUtf8) {
    TempDir dir;
    const std::string table = dir.file("caf\xe9.stb"), drawing = dir.file("caf\xe9.dwg");
    writeFile(table, readFile(dataFile("named-small.stb")));
    writeFile(drawing, "x");
    // The JSON forms escape the byte as \udce9, the text forms print it as given.
    const struct {
        std::vector<std::string> args;
        std::string expected;
    } rows[] = {
        {{"path", "info", "--json", table}, "\"full_name\":\"caf\\udce9.stb\""},
        {{"style", "show", "--json", table}, "caf\\udce9.stb"},
        {{"pia", "check", "--json", table}, "caf\\udce9.stb\",\"ok\":true"},
        {{"lock", "status", "--json", drawing}, "\"state\":\"free\""},
        {{"style", "show", table}, "file:        " + table + "\n"},
        {{"style", "set", table, "#1", "screen=50"}, "1 style changed"},
        {{"pia", "check", table}, table + ": OK\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.args[0] + " " + row.args[1]);
        std::string out, err;
        EXPECT_EQ(0, runTool(row.args, &out, &err)) << err;
        EXPECT_TRUE(contains(out, row.expected)) << out;
        if (row.args[2] == "--json") {
            EXPECT_TRUE(ut::platform::isValidUtf8(out)) << out;
        }
    }
}

TEST(ToolFiles, OutputPeopleRead) {
    TempDir dir;
    std::string out, err, help;

    // Columns stay in line for long and non-ASCII names: counted in columns on
    // screen, where each of the three East Asian characters takes two.
    EnvGuard page("DRUTILS_ANSI_CODEPAGE", "65001");
    std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::create(false));
    ASSERT_EQ(1, t->addStyle(W("Gr\xc3\xb6\xc3\x9f" "e \xc3\xbc").c_str(), 0));
    ASSERT_EQ(2, t->addStyle(W(std::string(31, 'L')).c_str(), 1));
    const std::string wide = "\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e";
    ASSERT_EQ(3, t->addStyle(W(wide).c_str(), 2));
    ASSERT_TRUE(t->write(W(dir.file("names.stb"))));
    ASSERT_EQ(0, runTool({"style", "show", dir.file("names.stb")}, &out, &err)) << err;
    std::istringstream table(out.substr(out.find("\n#") + 1));
    std::vector<size_t> colourColumn; // where the header's "colour" and each row's colour start
    for (std::string line; std::getline(table, line);)
        colourColumn.push_back(ut::platform::utf8ToWide(line).find(colourColumn.empty() ? L"colour" : L"object") +
                               (contains(line, wide) ? 3 : 0));
    ASSERT_EQ(5u, colourColumn.size()) << out;
    EXPECT_EQ(std::vector<size_t>(5, colourColumn[0]), colourColumn) << out;

    // "help" as a group's command is its --help.
    for (const std::vector<std::string>& args : {std::vector<std::string>{"style"}, {"style", "set"}, {"lock"}}) {
        std::vector<std::string> asHelp = args, asFlag = args;
        asHelp.insert(asHelp.begin() + 1, "help");
        asFlag.push_back("--help");
        EXPECT_EQ(0, runTool(asHelp, &help));
        EXPECT_EQ(0, runTool(asFlag, &out));
        EXPECT_EQ(out, help);
    }

    // Wrong usage: status 2, nothing on standard output, the reason on standard
    // error; --json where it would be ignored is wrong usage too.
    writeFile(dir.file("plain"), "x");
    const std::vector<std::string> wrong[] = {
        {},
        {"style"},
        {"style", "frobnicate"},
        {"pia", "pack", dir.file("plain")},
        {"cipher", "encode", "--key-hex", "0011", "--json", dir.file("plain")},
        {"pc3", "custom", dataFile("printer-hpgl-raw-device-data.pc3"), "get", "x", "--json"},
        {"style", "render", "--json", dir.file("names.stb"), dir.file("x.svg")},
    };
    for (const auto& args : wrong) {
        SCOPED_TRACE(args.empty() ? std::string("(none)") : args.back());
        EXPECT_EQ(2, runTool(args, &out, &err));
        EXPECT_EQ("", out);
        EXPECT_FALSE(err.empty());
    }
}
