#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/files.h"
#include "test_support.h"
#include "ut_filelock.h"
#include "ut_filename.h"

using testing_support::TempDir;
using testing_support::W;
using ut::FileName;

namespace fs = std::filesystem;

namespace {

// Restores the application temporary path a test changed.
struct AppTempPathGuard {
    ~AppTempPathGuard() { FileName::setApplicationTempPath(OdString()); }
};

} // namespace

TEST(FileName, SplitsPathsAndAssigns) {
    FileName fn(L"/home/user/plans/site.plan.dwg");
    EXPECT_EQ(OdString(L"/home/user/plans"), fn.getPath());
    EXPECT_EQ(OdString(L"/home/user/plans/"), fn.getPath(FileName::PATH_GET_SEPARATOR));
    EXPECT_EQ(OdString(L"site.plan"), fn.getName());
    EXPECT_EQ(OdString(L"dwg"), fn.getExt());
    EXPECT_EQ(OdString(L"site.plan.dwg"), fn.getFullName());
    EXPECT_EQ(3u, fn.getDirCount());
    EXPECT_TRUE(fn.getVolume().isEmpty());
    EXPECT_FALSE(fn.hasVolume());
    EXPECT_TRUE(fn.isAbsolute());
    EXPECT_FALSE(fn.isRelative());
    EXPECT_FALSE(fn.isDir());

    FileName parts(L"/tmp/x", L"a", L"ctb");
    EXPECT_EQ(OdString(L"/tmp/x/a.ctb"), parts.getFullPath());
    FileName dirName(L"/tmp/x", L"b.stb");
    EXPECT_EQ(OdString(L"/tmp/x/b.stb"), dirName.getFullPath());

    fn.setExt(L"dwl");
    EXPECT_EQ(OdString(L"/home/user/plans/site.plan.dwl"), fn.getFullPath());
    fn.setName(L"other");
    fn.appendDir(L"sub");
    EXPECT_EQ(OdString(L"/home/user/plans/sub/other.dwl"), fn.getFullPath());
    fn.removeLastDir();
    fn.clearExt();
    EXPECT_EQ(OdString(L"/home/user/plans/other"), fn.getFullPath());
    fn.setFullName(L"n.e");
    EXPECT_EQ(OdString(L"e"), fn.getExt());
    fn = OdString(L"rel/file.txt");
    EXPECT_TRUE(fn.isRelative());
    fn.clear();
    EXPECT_FALSE(fn.isOk());
    EXPECT_TRUE(FileName(L"relative/but/fine").isOk());
}

TEST(FileName, HasExtRules) {
    FileName dwg(L"/p/a.dwg");
    EXPECT_TRUE(dwg.hasExt());
    for (const wchar_t* e : {L"dwg", L".dwg", L"DWG", L".Dwg"})
        EXPECT_TRUE(dwg.hasExt(e)) << testing_support::U(e);
    EXPECT_FALSE(dwg.hasExt(L"dw"));
    EXPECT_FALSE(dwg.hasExt(L"..dwg"));
    EXPECT_FALSE(dwg.hasExt(L"."));
    FileName bare(L"/p/README");
    EXPECT_FALSE(bare.hasExt());
    EXPECT_TRUE(bare.hasExt(L"."));
    EXPECT_TRUE(bare.hasExt(L""));
}

TEST(FileName, CopyRebuildsFromTextWhileAssignmentCopiesParts) {
    // "/tmp/dir.d" held as a directory: the copy constructor re-splits the text
    // "/tmp/dir.d/" (still a directory), and a name whose directory form depends
    // on the parts, not the text, shows the difference.
    FileName dirOnly;
    dirOnly.assignDir(L"/tmp/plans");
    EXPECT_TRUE(dirOnly.isDir());

    FileName assigned;
    assigned = dirOnly;
    EXPECT_TRUE(assigned.isDir());
    EXPECT_EQ(dirOnly.getDirCount(), assigned.getDirCount());

    // A name whose parts cannot be reproduced from its text: an empty name with an
    // extension prints as "/tmp/.ext" and re-splits as the hidden name ".ext".
    FileName odd;
    odd.assign(L"/tmp", L"", L"ext");
    FileName assignedOdd;
    assignedOdd = odd;
    EXPECT_EQ(OdString(L"ext"), assignedOdd.getExt());
    EXPECT_TRUE(assignedOdd.getName().isEmpty());
    FileName copiedOdd(odd);
    EXPECT_EQ(odd.getFullPath(), copiedOdd.getFullPath());
    EXPECT_EQ(OdString(L".ext"), copiedOdd.getName());
    EXPECT_TRUE(copiedOdd.getExt().isEmpty());
}

TEST(FileName, MakeAbsoluteAndRelative) {
    FileName fn(L"a/../b/c.txt");
    EXPECT_FALSE(fn.makeAbsolute(L".."));
    EXPECT_EQ(OdString(L"a/../b/c.txt"), fn.getFullPath());
    ASSERT_TRUE(fn.makeAbsolute(L"/base"));
    EXPECT_EQ(OdString(L"/base/b/c.txt"), fn.getFullPath());

    FileName cwdRelative(L"x.txt");
    ASSERT_TRUE(cwdRelative.makeAbsolute(L""));
    EXPECT_EQ(FileName::getCwd() + L"/x.txt", cwdRelative.getFullPath());

    FileName rel(L"/base/b/c.txt");
    ASSERT_TRUE(rel.makeRelativeTo(L"/base"));
    EXPECT_EQ(OdString(L"b/c.txt"), rel.getFullPath());
    EXPECT_TRUE(FileName(L"/a/./b/../c") == OdString(L"/a/c"));
    EXPECT_FALSE(FileName(L"/a/C") == FileName(L"/a/c"));
}

TEST(FileName, FileSystemQueries) {
    TempDir dir;
    const std::string file = dir.file("data.bin");
    testing_support::writeFile(file, "12345");
    FileName fn(W(file));
    EXPECT_TRUE(fn.fileExists());
    EXPECT_TRUE(fn.dirExists()); // the directory part
    EXPECT_FALSE(FileName(dir.wfile("nodir/x")).dirExists());
    EXPECT_FALSE(FileName::dirExists(W(file)));
    EXPECT_TRUE(FileName::dirExists(dir.wpath()));
    EXPECT_EQ(5u, fn.getSize());
    EXPECT_EQ(5u, FileName::getSize(W(file)));
    EXPECT_EQ(0u, FileName::getSize(dir.wfile("missing")));
    EXPECT_TRUE(fn.isFileReadable());
    EXPECT_TRUE(fn.isFileWritable());
    EXPECT_FALSE(fn.isFileExecutable());

    // Read-only means nobody may write: owner write alone is enough to be writable.
    EXPECT_FALSE(FileName::isFileReadOnly(W(file)));
    chmod(file.c_str(), 0444);
    EXPECT_TRUE(FileName::isFileReadOnly(W(file)));
    chmod(file.c_str(), 0464);
    EXPECT_FALSE(FileName::isFileReadOnly(W(file)));
    EXPECT_FALSE(FileName::isFileReadOnly(dir.wfile("missing")));
    EXPECT_FALSE(FileName::isFileReadOnly(dir.wpath()));
}

TEST(FileName, TimesRoundTripAndKeepWhatIsLeftOut) {
    TempDir dir;
    testing_support::writeFile(dir.file("t"), "x");
    FileName fn(dir.wfile("t"));
    const ut::DateTime access = ut::DateTime::fromLocal(2020, 3, 4, 5, 6, 7);
    const ut::DateTime modify = ut::DateTime::fromLocal(2021, 8, 9, 10, 11, 12);
    ASSERT_TRUE(fn.setTimes(&access, &modify, nullptr));
    ut::DateTime a, m, c;
    ASSERT_TRUE(fn.getTimes(&a, &m, &c));
    EXPECT_EQ(access, a);
    EXPECT_EQ(modify, m);
    EXPECT_TRUE(c.isValid());

    const ut::DateTime later = ut::DateTime::fromLocal(2022, 1, 1, 0, 0, 0);
    ASSERT_TRUE(fn.setTimes(nullptr, &later, nullptr));
    ASSERT_TRUE(fn.getTimes(&a, &m, nullptr));
    EXPECT_EQ(access, a);
    EXPECT_EQ(later, m);
    EXPECT_EQ(OdString(L"2022-01-01 00:00:00"), m.format());
    EXPECT_FALSE(FileName(dir.wfile("missing")).getTimes(&a, nullptr, nullptr));
}

TEST(FileName, TempDirAndSeparators) {
    AppTempPathGuard guard;
    EXPECT_EQ(OdString(L"/"), FileName::getPathSeparator());
    EXPECT_EQ(OdString(L"/"), FileName::getPathSeparators());
    EXPECT_TRUE(FileName::getVolumeSeparator().isEmpty());
    EXPECT_TRUE(FileName::isPathSeparator(L'/'));
    EXPECT_FALSE(FileName::isPathSeparator(L'\\'));

    EXPECT_EQ(OdString(L"/"), FileName::getTempDir().right(1));
    EXPECT_EQ(OdString(L"/opt/app/tmp"), FileName::setApplicationTempPath(L"/opt/app/tmp"));
    EXPECT_EQ(OdString(L"/opt/app/tmp/"), FileName::getTempDir());
    FileName::setApplicationTempPath(L"/opt/app/tmp/");
    EXPECT_EQ(OdString(L"/opt/app/tmp/"), FileName::getTempDir());
}

TEST(FileName, CreateTempFileName) {
    AppTempPathGuard guard;
    TempDir dir;
    // Relative prefixes go to the application temporary path, whose missing
    // directories are created; the prefix is appended without a separator.
    FileName::setApplicationTempPath(W(dir.file("app/nested/")));
    const OdString first = FileName::createTempFileName(L"pia");
    ASSERT_FALSE(first.isEmpty());
    EXPECT_TRUE(first.find(W(dir.file("app/nested/pia")).c_str()) == 0) << testing_support::U(first);
    struct stat st{};
    ASSERT_EQ(0, stat(testing_support::U(first).c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777u);
    EXPECT_EQ(0, st.st_size);
    const OdString second = FileName::createTempFileName(L"pia");
    EXPECT_NE(first, second);

    // An absolute prefix is used as given.
    const OdString absolute = FileName::createTempFileName(W(dir.file("abs-")));
    EXPECT_EQ(0, absolute.find(W(dir.file("abs-")).c_str()));
    EXPECT_TRUE(FileName::fileExists(absolute));

    // A suffix follows the unique part (a copy that must keep its extension).
    const std::string copy = testing_support::U(ut::platform::createUniqueFile(W(dir.file("copy-")), L".reg"));
    EXPECT_TRUE(copy.starts_with(dir.file("copy-")) && copy.ends_with(".reg") &&
                copy.size() == dir.file("copy-.reg").size() + 6)
        << copy;
    EXPECT_TRUE(FileName::fileExists(W(copy)));

    // When the application path cannot hold a file, the bare prefix is tried once
    // more, which lands in the system temporary directory.
    testing_support::writeFile(dir.file("blocker"), "");
    FileName::setApplicationTempPath(W(dir.file("blocker/sub/")));
    const OdString fallback = FileName::createTempFileName(L"pia");
    ASSERT_FALSE(fallback.isEmpty());
    EXPECT_TRUE(FileName::fileExists(fallback));
    EXPECT_EQ(-1, fallback.find(L"blocker"));
    std::remove(testing_support::U(fallback).c_str());
}

TEST(FileName, DirectoriesCreateAndRemove) {
    TempDir dir;
    const OdString deep = W(dir.file("a/b/c"));
    EXPECT_FALSE(FileName::mkdir(deep, 0777, 0));
    ASSERT_TRUE(FileName::mkdir(deep, 0777, FileName::PATH_MKDIR_FULL));
    testing_support::writeFile(dir.file("a/one.txt"), "1");
    testing_support::writeFile(dir.file("a/b/two.txt"), "2");
    fs::create_directories(dir.file("a/b/c/d"));

    // Not empty: the plain form refuses, the recursive form empties it.
    EXPECT_FALSE(FileName::rmdir(W(dir.file("a")), false));
    EXPECT_TRUE(FileName::rmdir(W(dir.file("a")), true));
    EXPECT_FALSE(fs::exists(dir.file("a")));
    EXPECT_FALSE(FileName::rmdir(W(dir.file("a")), true));

    // Hidden entries are not listed, so their directories survive.
    fs::create_directories(dir.file("h/visible"));
    fs::create_directories(dir.file("h/keep"));
    testing_support::writeFile(dir.file("h/keep/.hidden"), "");
    testing_support::writeFile(dir.file("h/file"), "");
    EXPECT_FALSE(FileName::rmdir(W(dir.file("h")), true));
    EXPECT_TRUE(fs::exists(dir.file("h/keep/.hidden")));
    EXPECT_FALSE(fs::exists(dir.file("h/visible")));
    EXPECT_FALSE(fs::exists(dir.file("h/file")));

    FileName emptyDir;
    emptyDir.assignDir(W(dir.file("e")));
    ASSERT_TRUE(emptyDir.mkdir());
    EXPECT_TRUE(emptyDir.dirExists());
    EXPECT_TRUE(emptyDir.isDirWritable());
    EXPECT_TRUE(emptyDir.rmdir());
}

TEST(FileName, CurrentAndHomeDirectories) {
    TempDir dir;
    const OdString before = FileName::getCwd();
    ASSERT_TRUE(FileName::setCwd(dir.wpath()));
    EXPECT_TRUE(FileName(FileName::getCwd()) == dir.wpath());
    EXPECT_FALSE(FileName::setCwd(dir.wfile("missing")));
    ASSERT_TRUE(FileName::setCwd(before));
    EXPECT_FALSE(FileName::getHomeDir().isEmpty());
}

// ---------------------------------------------------------------- names are bytes

namespace {

// A wide name from the bytes of a file name, and back.
OdString fromBytes(const std::string& bytes) { return ut::platform::fromNativePath(bytes); }
std::string toBytes(const OdString& name) { return ut::platform::nativePath(name); }

bool utf8Locale() {
    for (const char* var : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* v = std::getenv(var);
        if (v && *v) {
            const std::string s = v;
            const size_t dot = s.find('.');
            if (dot == std::string::npos)
                return true;
            std::string set = s.substr(dot + 1);
            return set.rfind("UTF-8", 0) == 0 || set.rfind("utf8", 0) == 0 || set.rfind("utf-8", 0) == 0;
        }
    }
    return true;
}

} // namespace

TEST(FileNameBytes, EveryNameComesBackAsTheSameBytes) {
    if (!utf8Locale())
        GTEST_SKIP() << "the table below is for UTF-8 names; the locale names another codeset";
    // Bytes of a name, and the wide name: valid UTF-8 gives its characters, every
    // other byte b the character U+DC00+b.
    const std::pair<std::string, std::wstring> rows[] = {
        {"plan.dwg", L"plan.dwg"},
        {"caf\xc3\xa9.stb", L"caf\u00e9.stb"},
        {"caf\xe9.stb", L"caf\xdce9.stb"},                     // Latin-1
        {"\xed\xb3\xa9", L"\xdced\xdcb3\xdca9"},                // an encoded U+DCE9 is bytes, not a character
        {"\xc0\xaf", L"\xdcc0\xdcaf"},                          // overlong "/"
        {"\xf4\x90\x80\x80", L"\xdcf4\xdc90\xdc80\xdc80"},       // above U+10FFFF
        {"a\xe2\x82", L"a\xdce2\xdc82"},                        // cut short
        {"\xf0\x9f\x98\x80\xff", L"\U0001F600\xdcff"},
    };
    for (const auto& [bytes, wide] : rows) {
        SCOPED_TRACE(bytes);
        EXPECT_EQ(wide, fromBytes(bytes).str());
        EXPECT_EQ(bytes, toBytes(OdString(wide)));
    }
}

TEST(FileNameBytes, FilesWhoseNamesAreNotUtf8) {
    // A folder and a drawing whose names are not UTF-8: every operation on them
    // reaches the same files.
    TempDir dir;
    const std::string folderBytes = dir.path() + "/caf\xe9", drawingBytes = folderBytes + "/pl\xe4n.dwg";
    ASSERT_EQ(0, ::mkdir(folderBytes.c_str(), 0777));
    testing_support::writeFile(drawingBytes, "12345");
    const OdString folder = fromBytes(folderBytes), drawing = fromBytes(drawingBytes);

    EXPECT_TRUE(FileName::dirExists(folder));
    EXPECT_TRUE(FileName(drawing).fileExists());
    EXPECT_EQ(5u, FileName::getSize(drawing));
    ut::DateTime modified;
    EXPECT_TRUE(FileName(drawing).getTimes(nullptr, &modified, nullptr));
    EXPECT_TRUE(FileName(drawing) == fromBytes(folderBytes + "/./pl\xe4n.dwg"));

    const OdString before = FileName::getCwd();
    ASSERT_TRUE(FileName::setCwd(folder));
    EXPECT_EQ(folderBytes, toBytes(FileName::getCwd()));
    FileName relative(L"x.dwg");
    ASSERT_TRUE(relative.makeAbsolute());
    EXPECT_EQ(folderBytes + "/x.dwg", toBytes(relative.getFullPath()));
    ASSERT_TRUE(FileName::setCwd(before));

    const OdString temp = FileName::createTempFileName(folder + L"/t");
    ASSERT_FALSE(temp.isEmpty());
    EXPECT_EQ(0, toBytes(temp).rfind(folderBytes + "/t", 0));

    {
        ut::FileLocker locker(drawing);
        ASSERT_TRUE(locker.isLocked());
        EXPECT_TRUE(fs::exists(folderBytes + "/pl\xe4n.dwl"));
        EXPECT_FALSE(ut::FileLocker::isLockedByOther(drawing));
    }
    EXPECT_FALSE(fs::exists(folderBytes + "/pl\xe4n.dwl"));

    EXPECT_TRUE(FileName::rmdir(folder, true));
    EXPECT_FALSE(fs::exists(folderBytes));
}

TEST(FileNameBytes, RecursiveRemovalLeavesWhatLinksPointAt) {
    TempDir dir;
    fs::create_directories(dir.file("keep/inner"));
    testing_support::writeFile(dir.file("keep/inner/precious"), "x");
    fs::create_directories(dir.file("gone"));
    fs::create_directory_symlink(dir.file("keep"), dir.file("gone/link"));
    EXPECT_TRUE(FileName::rmdir(dir.wfile("gone"), true));
    EXPECT_TRUE(fs::exists(dir.file("keep/inner/precious")));
}

// ---------------------------------------------------------------- writing a file whole

TEST(AtomicFileWriter, TemporaryFileIsPrivateAndNeverLeftBehind) {
    using ut::platform::AtomicFileWriter;
    using ut::platform::FileStatus;
    TempDir dir;
    const mode_t mask = ::umask(022);
    {
        // While written the new file is its owner's only; once in place it has
        // the permissions of a new file.
        AtomicFileWriter w(dir.wfile("out"));
        ASSERT_TRUE(w.file());
        struct stat st {};
        ASSERT_EQ(0, ::fstat(fileno(w.file()), &st));
        EXPECT_EQ(0600u, st.st_mode & 0777u);
        std::fputs("new", w.file());
        ASSERT_TRUE(w.commit());
        ASSERT_EQ(0, ::stat(dir.file("out").c_str(), &st));
        EXPECT_EQ(0644u, st.st_mode & 0777u);
    }
    // Failures leave the destination as it was and nothing beside it: never
    // committed; a directory put in the way; told to keep an existing file, also
    // one that appeared while the new one was written.
    {
        AtomicFileWriter w(dir.wfile("out"));
        std::fputs("lost", w.file());
    }
    {
        AtomicFileWriter w(dir.wfile("late"));
        std::fputs("x", w.file());
        fs::create_directories(dir.file("late/sub"));
        EXPECT_FALSE(w.commit());
    }
    {
        AtomicFileWriter w(dir.wfile("out"), false);
        EXPECT_FALSE(w.file());
        EXPECT_EQ(FileStatus::Exists, w.status());
    }
    {
        AtomicFileWriter w(dir.wfile("raced"), false);
        ASSERT_TRUE(w.file());
        std::fputs("mine", w.file());
        testing_support::writeFile(dir.file("raced"), "theirs");
        EXPECT_FALSE(w.commit());
        EXPECT_EQ(FileStatus::Exists, w.status());
    }
    ::umask(mask);
    EXPECT_EQ("new", testing_support::readFile(dir.file("out")));
    EXPECT_EQ("theirs", testing_support::readFile(dir.file("raced")));
    EXPECT_EQ((std::vector<std::string>{"late", "out", "raced"}), dir.entries());
}

// A replacement keeps the owner, group and mode of the file it replaces. A
// writer that may not give the file away (here a user allowed to write another
// user's file through its group) makes it its own, keeping the group and the
// permission bits, but no set-user-ID bit that would now run as the writer.
TEST(AtomicFileWriter, ReplacementKeepsOwnerGroupAndMode) {
    using ut::platform::AtomicFileWriter;
    if (::geteuid() != 0)
        GTEST_SKIP() << "giving files to other users needs root";
    TempDir dir;
    const uid_t owner = 12345, writer = 12346;
    const gid_t group = 23456;
    const auto replace = [](const std::string& path, const char* text) {
        AtomicFileWriter w(W(path));
        return w.file() && std::fputs(text, w.file()) >= 0 && w.commit();
    };
    const auto statOf = [](const std::string& path) {
        struct stat st {};
        EXPECT_EQ(0, ::stat(path.c_str(), &st));
        return st;
    };

    const std::string mine = dir.file("users.ctb");
    testing_support::writeFile(mine, "old");
    ASSERT_EQ(0, ::chown(mine.c_str(), owner, group));
    ASSERT_EQ(0, ::chmod(mine.c_str(), 0640));
    ASSERT_TRUE(replace(mine, "new"));
    struct stat st = statOf(mine);
    EXPECT_EQ(owner, st.st_uid);
    EXPECT_EQ(group, st.st_gid);
    EXPECT_EQ(0640u, st.st_mode & 07777u);

    const std::string shared = dir.file("shared.ctb");
    testing_support::writeFile(shared, "old");
    ASSERT_EQ(0, ::chown(shared.c_str(), owner, group));
    ASSERT_EQ(0, ::chmod(shared.c_str(), 04664));
    ASSERT_EQ(0, ::chmod(dir.path().c_str(), 0777));
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const bool dropped = ::setgroups(0, nullptr) == 0 && ::setgid(group) == 0 && ::setuid(writer) == 0;
        ::_exit(dropped && replace(shared, "theirs") ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ("theirs", testing_support::readFile(shared));
    st = statOf(shared);
    EXPECT_EQ(writer, st.st_uid);
    EXPECT_EQ(group, st.st_gid);
    EXPECT_EQ(0664u, st.st_mode & 07777u);
    EXPECT_EQ((std::vector<std::string>{"shared.ctb", "users.ctb"}), dir.entries());
}
