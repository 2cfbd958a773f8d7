// Registry files: the bytes ut::Config::exportGroup writes, what ut::Config::import
// accepts and where it puts it, the files other programs wrote, and ut::Registry's
// own export, import and copy.
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "store_fixture.h"
#include "ut_registry.h"

using namespace testing_support;
using ut::platform::RegStatus;
using ut::platform::RegValue;

namespace {

// UTF-16 little-endian with a byte-order mark, as the Windows registry editor writes.
std::string toUtf16le(const std::wstring& text) {
    std::string out("\xff\xfe", 2);
    for (wchar_t c : text) {
        const uint32_t u = uint32_t(c);
        auto put = [&](uint32_t unit) {
            out += char(unit & 0xFF);
            out += char(unit >> 8);
        };
        if (u >= 0x10000) {
            put(0xD800 + ((u - 0x10000) >> 10));
            put(0xDC00 + ((u - 0x10000) & 0x3FF));
        } else {
            put(u);
        }
    }
    return out;
}

std::wstring fromUtf16le(const std::string& bytes) {
    std::wstring out;
    for (size_t i = 2; i + 1 < bytes.size(); i += 2) {
        uint32_t u = uint8_t(bytes[i]) | uint8_t(bytes[i + 1]) << 8;
        if (u >= 0xD800 && u < 0xDC00) {
            const uint32_t low = uint8_t(bytes[i + 2]) | uint8_t(bytes[i + 3]) << 8;
            u = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
            i += 2;
        }
        out += wchar_t(u);
    }
    return out;
}

std::wstring replaced(std::wstring text, const std::wstring& from, const std::wstring& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::wstring::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

class RegistryFiles : public StoreTest {
protected:
    std::vector<std::wstring> subKeys(int root, const std::wstring& path) {
        std::vector<std::wstring> names;
        store()->subKeys(ut::platform::RegKeyPath(root, path), names);
        return names;
    }
    size_t valueCount(const std::wstring& key) {
        size_t k = 0, v = 0;
        store()->counts(product(key), k, v);
        return v;
    }
    bool importText(const std::string& text, const char* name = "in.reg") {
        writeFile(dir.file(name), text);
        return ut::Config::import(dir.wfile(name), true);
    }
};

TEST(RegistryText, EscapingIsUndoneInReverse) {
    struct Row {
        const wchar_t* text;
        const wchar_t* escaped;
    };
    const Row rows[] = {
        {L"plain", L"plain"},
        {L"C:\\dir\\", L"C:\\\\dir\\\\"},
        {L"say \"hi\"", L"say \\\"hi\\\""},
        {L"one\ntwo", L"one\r\ntwo"}, // a real line break in the file, not an escape
        {L"\\\"", L"\\\\\\\""},
        {L"end\\", L"end\\\\"},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(ut::escape(r.text), wxString(r.escaped)) << U(r.text);
        EXPECT_EQ(ut::unescape(r.escaped), wxString(r.text)) << U(r.text);
    }
}

TEST_F(RegistryFiles, ExportWritesTheRegistryEditorsBytes) {
    ut::Config::initProfile(L"Work");
    using ut::Config;
    ASSERT_TRUE(Config::writeString(ut::kCfgProfile, L"", L"default"));
    ASSERT_TRUE(Config::writeString(ut::kCfgProfile, L"text", L"say \"hi\" C:\\x\nnext line"));
    ASSERT_TRUE(Config::writeLong(ut::kCfgProfile, L"minus", -1));
    ASSERT_TRUE(Config::writeBool(ut::kCfgProfile, L"flag", true));
    ASSERT_TRUE(Config::writeDouble(ut::kCfgProfile, L"real", 0.1234567));
    wxMemoryBuffer b30, b50;
    for (int i = 0; i < 30; ++i)
        b30.AppendByte(char(i));
    for (int i = 0; i < 50; ++i)
        b50.AppendByte(char(i));
    ASSERT_TRUE(Config::writeBinary(ut::kCfgProfile, L"bin", b30));
    ASSERT_TRUE(Config::writeBinary(ut::kCfgProfile, L"long", b50));
    ASSERT_TRUE(Config::writeBinary(ut::kCfgProfile, L"none", wxMemoryBuffer()));
    const auto key = product(L"V17x64\\en_US\\Profiles\\Work");
    ASSERT_EQ(store()->setValue(key, L"multi", RegValue::string(std::wstring(L"a\0b", 3), ut::platform::kRegMultiSz)),
              RegStatus::Ok);
    ASSERT_EQ(store()->setValue(key, L"q", RegValue::qword(1)), RegStatus::Ok);
    ASSERT_TRUE(Config::writeLong(ut::kCfgProfile, L"B/x", 2));
    ASSERT_TRUE(Config::writeString(ut::kCfgProfile, L"a/deep/y", L"z"));

    ASSERT_TRUE(Config::exportProfile(L"Work", dir.wfile("out.reg")));
    const std::string expected =
        "Windows Registry Editor Version 5.00\n"
        "\n"
        "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\Work]\n"
        "@=\"default\"\n"
        "\"text\"=\"say \\\"hi\\\" C:\\\\x\r\nnext line\"\n"
        "\"minus\"=dword:ffffffff\n"
        "\"flag\"=dword:00000001\n"
        "\"real\"=\"0.123457\"\n"
        "\"bin\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,\\\n"
        "  17,18,19,1a,1b,1c,1d\n"
        "\"long\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\n"
        "  16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27,28,29,2a,2b,2c,2d,2e,\\\n"
        "  2f,30,31\n"
        "\"none\"=hex:\n"
        "\"multi\"=\"{{Unknown type: 7}}\"\n"
        "\"q\"=hex(b):01,00,00,00,00,00,00,00\n"
        "\n"
        "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\Work\\a]\n"
        "\n"
        "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\Work\\a\\deep]\n"
        "\"y\"=\"z\"\n"
        "\n"
        "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\Work\\B]\n"
        "\"x\"=dword:00000002\n"
        "\n";
    EXPECT_EQ(readFile(dir.file("out.reg")), expected);

    // Back in: every value as it was, the double as its "%g" text, line breaks restored.
    ASSERT_TRUE(Config::deleteGroup(ut::kCfgProfiles, L"Work"));
    ASSERT_TRUE(Config::import(dir.wfile("out.reg")));
    const std::wstring work = L"V17x64\\en_US\\Profiles\\Work";
    EXPECT_EQ(raw(work, L"").text, L"default");
    EXPECT_EQ(raw(work, L"text").text, L"say \"hi\" C:\\x\nnext line");
    EXPECT_EQ(raw(work, L"minus").number, -1);
    EXPECT_EQ(raw(work, L"real").type, ut::platform::kRegSz);
    EXPECT_EQ(raw(work, L"real").text, L"0.123457");
    EXPECT_EQ(raw(work, L"long").bytes, std::string(static_cast<const char*>(b50.GetData()), 50));
    EXPECT_EQ(raw(work, L"none").type, ut::platform::kRegBinary);
    EXPECT_EQ(raw(work + L"\\a\\deep", L"y").text, L"z");
}

TEST_F(RegistryFiles, ExportFailuresAreReportedOnlyWhenAsked) {
    ut::Config::initProfile();
    ASSERT_TRUE(ut::Config::writeLong(ut::kCfgSetup, L"k", 1));
    struct Row {
        const wchar_t* group;
        std::string file;
        std::string message;
    };
    const Row rows[] = {
        {L"", dir.file("a.reg"), "Bad arguments"},
        {L"V17x64/en_US/Setup", "", "Bad arguments"},
        {L"X/en_US", dir.file("a.reg"), "Bad group path: X/en_US"},
        {L"V17x64/none", dir.file("a.reg"), "Config group not found: V17x64/none"},
        {L"V17x64/en_US/Setup", dir.file("missing/a.reg"), "Failed to create file " + dir.file("missing/a.reg")},
    };
    for (const auto& r : rows) {
        LogCapture log;
        EXPECT_FALSE(ut::Config::exportGroup(r.group, W(r.file), true));
        ASSERT_EQ(log.records().size(), 1u) << r.message;
        EXPECT_EQ(log.records()[0].text, r.message);
        EXPECT_EQ(log.records()[0].file, "src/utils/ut_config");
        EXPECT_EQ(log.records()[0].function, "ut::Config::exportGroup");
        LogCapture quiet;
        EXPECT_FALSE(ut::Config::exportGroup(r.group, W(r.file), false));
        EXPECT_TRUE(quiet.records().empty());
    }
    // Without a profile, profile-level groups lie outside the version key.
    LogCapture log;
    EXPECT_FALSE(ut::Config::exportGroup(ut::kCfgWindows, dir.wfile("a.reg")));
    EXPECT_TRUE(log.contains("Bad group path: Windows/"));

    // An existing file is replaced whole, and nothing else is left in its folder.
    writeFile(dir.file("old.reg"), "old content");
    ASSERT_TRUE(ut::Config::exportGroup(ut::kCfgSetup, dir.wfile("old.reg")));
    EXPECT_EQ(readFile(dir.file("old.reg")).rfind("Windows Registry Editor Version 5.00\n\n[", 0), 0u);
    for (const auto& name : dir.entries())
        EXPECT_TRUE(name == "old.reg" || name.rfind("registry.db", 0) == 0) << name;
}

TEST_F(RegistryFiles, ImportReRootsBelowTheCurrentLanguageAndStaysInsideTheProduct) {
    ut::Config::initProfile();
    const std::string file =
        "Windows Registry Editor Version 5.00\r\n\r\n"
        // another version and language; the prefix in another case
        "[hkey_current_user\\software\\CORVANE\\Draftium\\V16x64\\de_DE\\Profiles\\Old\\Sub]\r\n"
        "\"a\"=\"1\"\r\n"
        // a version key without profiles has no place here
        "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V16x64\\de_DE\\Setup]\r\n"
        "\"lost\"=\"x\"\r\n"
        // neither has another product's or another root's key
        "[HKEY_CURRENT_USER\\Software\\Other\\V1\\Profiles\\P]\r\n"
        "[HKEY_LOCAL_MACHINE\\Software\\Corvane\\Draftium\\V1\\Profiles\\P]\r\n"
        // dots in key lines and names climb no higher than the product key
        "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V1\\Profiles\\..\\..\\..\\..\\..\\..\\Escaped]\r\n"
        "\"/abs\"=\"1\"\r\n"
        "\"../../up\"=\"2\"\r\n"
        // a key below the product that is no version key leaves the state as it was
        "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\Elsewhere]\r\n"
        "\"after\"=dword:00000005\r\n";
    ASSERT_TRUE(importText(file));
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\Old\\Sub", L"a").text, L"1");
    EXPECT_EQ(raw(L"V16x64\\de_DE\\Setup", L"lost").type, ut::platform::kRegNone);
    EXPECT_EQ(raw(L"Escaped", L"/abs").text, L"1") << "names are names, not paths";
    EXPECT_EQ(raw(L"Escaped", L"../../up").text, L"2");
    EXPECT_EQ(raw(L"Escaped", L"after").number, 5);

    EXPECT_EQ(subKeys(ut::platform::kCurrentUser, L""), std::vector<std::wstring>{L"Software"});
    EXPECT_EQ(subKeys(ut::platform::kCurrentUser, L"Software"), std::vector<std::wstring>{L"Corvane"});
    EXPECT_EQ(subKeys(ut::platform::kCurrentUser, L"Software\\Corvane"), std::vector<std::wstring>{L"Draftium"});
    EXPECT_TRUE(subKeys(ut::platform::kLocalMachine, L"").empty());
    EXPECT_EQ(ConfigState::object()->GetPath(), "") << "the object's path is restored";
}

TEST_F(RegistryFiles, ImportSkipsWhatItCannotReadAndKeepsTheRest) {
    ut::Config::initProfile();
    const std::string file =
        "Windows Registry Editor Version 5.00\n\n"
        "\"before any key\"=\"ignored\"\n"
        "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\P]\n"
        "@=\"default\"\n"
        "\"d\"=dword:0000000A\n"
        "\"bad dword\"=dword:xyz\n"
        "\"long dword\"=dword:123456789\n"
        "\"h\"=hex:01,02,\\\n"
        "  03,04\n"
        "\"bad hex\"=hex:01,zz,03\n"
        "\"exp\"=hex(2):25,00,41,00,\\\n"
        "  00,00\n"
        "\"q\"=hex(b):01,00,00,00,00,00,00,00\n"
        "\"deleted\"=-\n"
        "garbage without an equals sign\n"
        "\"multi\"=\"first\n"
        "second \\\"quoted\\\"\n"
        "third\"\n"
        "\"quoted\\\"end\"=\"x\\\"\"\n"
        "\"s\"=\"plain\"   \n";
    LogCapture log;
    ASSERT_TRUE(importText(file));
    const std::wstring p = L"V17x64\\en_US\\Profiles\\P";
    EXPECT_EQ(raw(p, L"").text, L"default");
    EXPECT_EQ(raw(p, L"d").number, 10);
    EXPECT_EQ(raw(p, L"h").bytes, std::string("\x01\x02\x03\x04", 4));
    EXPECT_EQ(raw(p, L"multi").text, L"first\nsecond \"quoted\"\nthird");
    EXPECT_EQ(raw(p, L"s").text, L"plain") << "blanks after the closing quote";
    EXPECT_EQ(raw(p, L"q").number, 1) << "a 64-bit number reads back as the number";
    for (const wchar_t* absent : {L"before any key", L"bad dword", L"long dword", L"bad hex", L"exp", L"deleted"})
        EXPECT_EQ(raw(p, absent).type, ut::platform::kRegNone) << U(absent);
    // The line of garbage counts among them, so that a user hears of it.
    EXPECT_TRUE(log.contains("5 lines skipped, the first at line 7"));
}

TEST_F(RegistryFiles, ExportsRefuseWhatWouldReadBackAsSomethingElse) {
    ut::Config::initProfile();
    const std::wstring setup = L"V17x64\\en_US\\Setup";
    struct Row {
        std::wstring name, text;
        std::string says;
    };
    const std::wstring notUtf8 = std::wstring(L"caf") + wchar_t(0xDCE9);
    const Row rows[] = {
        {L"=lead", L"v", "its name holds a \"=\""},
        {L"a\"=\"b", L"v", "its name holds a \"=\""},
        {L"two\nlines", L"v", "its name holds a line break"},
        {notUtf8, L"v", "its name holds a byte that is not UTF-8"},
        {L"cr", L"one\rtwo", "its text holds a carriage return"},
        {L"latin", notUtf8, "its text holds a byte that is not UTF-8"},
    };
    for (const auto& r : rows) {
        ASSERT_EQ(store()->setValue(product(setup), r.name, RegValue::string(r.text)), RegStatus::Ok);
        LogCapture log;
        EXPECT_FALSE(ut::Config::exportGroup(ut::kCfgSetup, dir.wfile("out.reg"), true)) << r.says;
        EXPECT_TRUE(log.contains(r.says)) << r.says;
        EXPECT_TRUE(log.contains("of [V17x64/en_US/Setup] cannot be written to a registry file")) << r.says;
        EXPECT_FALSE(std::filesystem::exists(dir.file("out.reg"))) << "nothing is written";
        EXPECT_FALSE(ut::Registry::exportKey(ut::kHKeyCurrentUser, L"Software\\Corvane", dir.wfile("out.reg"), true));
        EXPECT_FALSE(std::filesystem::exists(dir.file("out.reg")));
        store()->deleteValue(product(setup), r.name);
    }
    // A key name with "/" would come back as two keys.
    ASSERT_EQ(store()->setValue(product(setup).child(L"a/b"), L"x", RegValue::dword(1)), RegStatus::Ok);
    LogCapture log;
    EXPECT_FALSE(ut::Config::exportGroup(ut::kCfgSetup, dir.wfile("out.reg"), true));
    EXPECT_TRUE(log.contains("its name holds a \"/\""));

    // What can be carried travels whole: quotes, backslashes and line feeds of
    // texts, and names with quotes but no "=".
    ASSERT_EQ(store()->deleteKey(product(setup)), RegStatus::Ok);
    ASSERT_EQ(store()->setValue(product(L"V17x64\\en_US\\Profiles\\P"), L"say \"hi\"",
                                RegValue::string(L"C:\\x\n\"quoted\"")),
              RegStatus::Ok);
    ASSERT_TRUE(ut::Config::exportProfile(L"P", dir.wfile("ok.reg"), true));
    ASSERT_EQ(store()->deleteKey(product(L"V17x64\\en_US\\Profiles\\P")), RegStatus::Ok);
    ASSERT_TRUE(ut::Config::import(dir.wfile("ok.reg"), true));
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\P", L"say \"hi\"").text, L"C:\\x\n\"quoted\"");
}

TEST_F(RegistryFiles, AFileThatBreaksOffKeepsWhatCameBefore) {
    ut::Config::initProfile();
    const std::string head = "Windows Registry Editor Version 5.00\n\n"
                             "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\P]\n"
                             "\"kept\"=dword:00000001\n";
    for (const std::string& tail : {std::string("\"open\"=\"never closed\nmore"), std::string("\"h\"=hex:01,\\\n")}) {
        ConfigState::reset();
        ::unlink(db().c_str());
        ut::Config::initProfile();
        LogCapture log;
        ASSERT_TRUE(importText(head + tail));
        EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\P", L"kept").number, 1);
        EXPECT_EQ(valueCount(L"V17x64\\en_US\\Profiles\\P"), 1u);
        EXPECT_TRUE(log.contains("line 5"));
    }
}

TEST_F(RegistryFiles, EveryEncodingAndLineEndReadsAlike) {
    ut::Config::initProfile();
    const std::wstring text = L"REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\E]\n"
                              L"\"name\"=\"\u00c4rger\"\n\"two\"=\"a\nb\"\n";
    std::string utf16be = "\xfe\xff";
    for (wchar_t c : text)
        utf16be += char(uint32_t(c) >> 8), utf16be += char(uint32_t(c) & 0xFF);
    std::string utf32le("\xff\xfe\0\0", 4);
    for (wchar_t c : text)
        for (int k = 0; k < 4; ++k)
            utf32le += char((uint32_t(c) >> (8 * k)) & 0xFF);
    // single-byte: "Ä" is 0xC4, which is no UTF-8
    const std::string utf8 = U(text);
    const size_t umlaut = utf8.find(U(L"\u00c4"));
    std::string ansi = utf8.substr(0, umlaut);
    ansi += '\xC4';
    ansi.append(utf8, umlaut + 2, std::string::npos);
    ::setenv("DRUTILS_ANSI_CODEPAGE", "1252", 1);
    struct Row {
        const char* what;
        std::string bytes;
    };
    const Row rows[] = {
        {"UTF-8", U(text)},
        {"UTF-8 with BOM, CR LF", "\xef\xbb\xbf" + U(replaced(text, L"\n", L"\r\n"))},
        {"UTF-16LE with BOM, CR LF", toUtf16le(replaced(text, L"\n", L"\r\n"))},
        {"UTF-16BE with BOM", utf16be},
        {"UTF-32LE with BOM", utf32le},
        {"ANSI (Windows-1252)", ansi},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        ut::Config::deleteGroup(ut::kCfgProfiles);
        ASSERT_TRUE(importText(r.bytes));
        EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\E", L"name").text, L"\u00c4rger");
        EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\E", L"two").text, L"a\nb");
    }
    ::unsetenv("DRUTILS_ANSI_CODEPAGE");

    // A lone surrogate in a UTF-16 file is kept, as the registry keeps one.
    const std::wstring odd = std::wstring(L"a") + wchar_t(0xDC80) + L"b";
    ASSERT_TRUE(importText(
        toUtf16le(L"REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\E]\n"
                  L"\"odd\"=\"" + odd + L"\"\n")));
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\E", L"odd").text, odd);
}

TEST_F(RegistryFiles, FilesThatAreNotRegistryTextFailClearly) {
    ut::Config::initProfile();
    // NUL characters inside: not a text file
    LogCapture log;
    EXPECT_FALSE(importText(std::string("Windows Registry\0\0\0binary", 26)));
    EXPECT_TRUE(log.contains("not a text file"));
    // larger than any registry file: refused before it is read
    const int fd = ::open(dir.file("huge.reg").c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::ftruncate(fd, (64 << 20) + 1), 0);
    ::close(fd);
    EXPECT_FALSE(ut::Config::import(dir.wfile("huge.reg")));
    EXPECT_TRUE(log.contains("more than"));
    EXPECT_FALSE(ut::Config::import(dir.wfile("absent.reg")));
    EXPECT_TRUE(log.contains("File not found: " + dir.file("absent.reg")));
    // a hex value past the bound is skipped, the rest stays
    std::string hex = "Windows Registry Editor Version 5.00\n\n"
                      "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\H]\n\"big\"=hex:";
    for (int line = 0; line < 50000; ++line)
        hex += "00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,00,\\\n  ";
    hex += "00\n\"small\"=dword:00000001\n";
    EXPECT_TRUE(importText(hex));
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\H", L"big").type, ut::platform::kRegNone);
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\H", L"small").number, 1);
    EXPECT_TRUE(log.contains("a hex value of more than 1048576 bytes"));
}

// ---- files from other programs ------------------------------------------------------------

TEST_F(RegistryFiles, ARegistryEditorExportInUtf16) {
    ut::Config::initProfile();
    // The other product's key words become this product's, of another version.
    std::wstring text = fromUtf16le(readFile(dataFile("registry-export-utf16.reg")));
    text = replaced(text, L"Software\\Autodesk\\AutoCAD\\R21.0\\ACAD-0001:409", L"Software\\Corvane\\Draftium\\V21x64\\en_US");
    text = replaced(text, L"Software\\Autodesk\\AutoCAD\\R21.0\\ACAD-0001:804", L"Software\\Corvane\\Draftium\\V21x64\\zh_CN");
    LogCapture log;
    ASSERT_TRUE(importText(toUtf16le(text)));
    const std::wstring profile = L"V17x64\\en_US\\Profiles\\<<Unnamed Profile>>";
    EXPECT_EQ(raw(profile + L"\\SysvarMonitor", L"FONTALT").text, L"&\u4e07\u80fd\u5b57\u4f53");
    EXPECT_EQ(valueCount(profile + L"\\SysvarMonitor"), 23u);
    EXPECT_EQ(raw(profile + L"\\StatusBar", L"DockAboveStatusbar").number, 1);
    EXPECT_EQ(valueCount(profile + L"\\StatusBar\\Application"), 15u);
    EXPECT_EQ(raw(profile + L"\\StatusBar\\Application", L"Paper/ModelPane").type, ut::platform::kRegDword);
    // keys outside profiles (FixedProfile, InfoCenter) are not imported
    EXPECT_EQ(subKeys(ut::platform::kCurrentUser, L"Software\\Corvane\\Draftium"), std::vector<std::wstring>{L"V17x64"});
    EXPECT_EQ(subKeys(ut::platform::kCurrentUser, L"Software\\Corvane\\Draftium\\V17x64\\en_US"),
              std::vector<std::wstring>{L"Profiles"});
    EXPECT_TRUE(log.records().empty()) << log.records()[0].text;
}

TEST_F(RegistryFiles, AnOlderRegedit4ProfileExport) {
    ut::Config::initProfile();
    std::string text = readFile(dataFile("profile-export-regedit4.arg"));
    const std::string from = "Software\\Autodesk\\AutoCAD\\R16.2\\ACAD-4001:409";
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos;)
        text.replace(at, from.size(), "Software\\Corvane\\Draftium\\V16x64\\de_DE");
    ASSERT_TRUE(importText(text, "lae.arg"));
    const std::wstring lae = L"V17x64\\en_US\\Profiles\\lae";
    EXPECT_EQ(raw(lae, L"UserName").text, L"Lance Endres, University of California");
    EXPECT_EQ(raw(lae, L"").type, ut::platform::kRegSz) << "\"\"=\"\" is the default value";
    EXPECT_EQ(raw(lae + L"\\Command Line Windows", L"CmdLine.BackColor").number, 0x00FFFFFF);
    EXPECT_EQ(raw(lae + L"\\Command Line Windows", L"CmdLine.FontPitchAndFamily").number, -21)
        << "dword:FFFFFFEB, in upper case, is the 32-bit number";
    EXPECT_EQ(raw(lae + L"\\General", L"TemplatePath").text, L"C:\\Custom Program Files\\AutoCAD\\Templates");
    // every value of the profile's 80 keys, and nothing of the fixed profile or the XML after it
    size_t keys = 0, values = 0;
    std::function<void(const std::wstring&)> walk = [&](const std::wstring& k) {
        ++keys;
        values += valueCount(k);
        for (const auto& s : subKeys(ut::platform::kCurrentUser, L"Software\\Corvane\\Draftium\\" + k))
            walk(k + L"\\" + s);
    };
    walk(lae);
    EXPECT_EQ(keys, 80u);
    EXPECT_EQ(values, 565u);
    EXPECT_EQ(subKeys(ut::platform::kCurrentUser, L"Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles"),
              std::vector<std::wstring>{L"lae"});
}

// ---- ut::Registry -----------------------------------------------------------------------------

class RegistryKeys : public StoreTest {};

TEST_F(RegistryKeys, AnOpenKeyAndItsValues) {
    ut::Registry reg;
    EXPECT_FALSE(reg.open(ut::kHKeyLocalMachine, L"Software\\Vendor")) << "open does not create";
    EXPECT_FALSE(reg.write(L"x", 1L)) << "nothing is open";
    ASSERT_TRUE(reg.create(ut::kHKeyLocalMachine, L"Software\\Vendor"));
    EXPECT_TRUE(ut::Registry::verifyKey(ut::kHKeyLocalMachine, L"SOFTWARE\\vendor"));
    ASSERT_TRUE(reg.write(L"n", -2147483648L));
    ASSERT_TRUE(reg.write(L"s", OdString(L"text")));
    EXPECT_EQ(reg.valueType(L"n"), ut::kRegTypeDword);
    EXPECT_EQ(reg.valueType(L"S"), ut::kRegTypeString);
    EXPECT_EQ(reg.valueType(L"none"), ut::kRegTypeNone);
    long n = 0;
    EXPECT_TRUE(reg.read(L"n", n));
    EXPECT_EQ(n, -2147483648L);
    EXPECT_FALSE(reg.read(L"s", n)) << "a string is no number";

    // numbers are DWORDs, as on Windows: one past 32 bits is refused and logged,
    // also when verifyData would write it
    {
        LogCapture log;
        EXPECT_FALSE(reg.write(L"n", 4000000000L));
        EXPECT_FALSE(reg.verifyData(L"n", true, 4000000000L));
        ASSERT_EQ(2u, log.records().size());
        EXPECT_EQ(log.records()[0].file, "src/utils/ut_registry");
        EXPECT_EQ(log.records()[0].function, "ut::Registry::write");
        EXPECT_TRUE(log.contains("4000000000 does not fit a 32-bit registry number"));
    }
    EXPECT_TRUE(reg.read(L"n", n));
    EXPECT_EQ(n, -2147483648L) << "the value before stays";
    EXPECT_EQ(reg.valueType(L"n"), ut::kRegTypeDword);

    // verifyData compares, and writes only when asked
    EXPECT_TRUE(reg.verifyData(L"s", false, OdString(L"text")));
    EXPECT_FALSE(reg.verifyData(L"s", false, OdString(L"other")));
    EXPECT_TRUE(reg.verifyData(L"s", true, OdString(L"other")));
    OdString s;
    EXPECT_TRUE(reg.read(L"s", s));
    EXPECT_EQ(U(s), "other");

    // expandable strings: expanded unless the object was made not to
    ::setenv("DRUTILS_REG_TEST", "expanded", 1);
    ASSERT_EQ(store()->setValue(ut::platform::RegKeyPath(2, L"Software\\Vendor"), L"e",
                                RegValue::string(L"%DRUTILS_REG_TEST%!", ut::platform::kRegExpandSz)),
              RegStatus::Ok);
    EXPECT_TRUE(reg.read(L"e", s));
    EXPECT_EQ(U(s), "expanded!");
    ut::Registry rawReg(false);
    ASSERT_TRUE(rawReg.open(ut::kHKeyLocalMachine, L"Software\\Vendor"));
    EXPECT_TRUE(rawReg.read(L"e", s));
    EXPECT_EQ(U(s), "%DRUTILS_REG_TEST%!");
    ::unsetenv("DRUTILS_REG_TEST");

    ut::Registry copy = reg;
    EXPECT_TRUE(copy.deleteValue(L"n"));
    EXPECT_FALSE(reg.verifyValue(L"n"));
    EXPECT_TRUE(ut::Registry::deleteKey(ut::kHKeyLocalMachine, L"Software"));
    EXPECT_FALSE(reg.verifyKey());
}

TEST_F(RegistryKeys, ExportImportAndCopyKeepEveryKind) {
    auto s = store();
    const ut::platform::RegKeyPath key(ut::platform::kUsers, L"S-1\\App");
    ASSERT_EQ(s->setValue(key, L"sz", RegValue::string(L"a\"b")), RegStatus::Ok);
    ASSERT_EQ(s->setValue(key, L"exp", RegValue::string(L"%PATH%", ut::platform::kRegExpandSz)), RegStatus::Ok);
    ASSERT_EQ(s->setValue(key, L"dw", RegValue::dword(16)), RegStatus::Ok);
    ASSERT_EQ(s->setValue(key, L"qw", RegValue::qword(0x0102030405060708LL)), RegStatus::Ok);
    ASSERT_EQ(s->setValue(key, L"bin", RegValue::binary("\xff")), RegStatus::Ok);
    ASSERT_EQ(s->setValue(key, L"multi", RegValue::string(std::wstring(L"x\0y", 3), ut::platform::kRegMultiSz)),
              RegStatus::Ok);
    ASSERT_EQ(s->setValue(key.child(L"Sub"), L"", RegValue::dword(0)), RegStatus::Ok);

    ASSERT_TRUE(ut::Registry::exportKey(ut::kHKeyUsers, L"S-1\\App", dir.wfile("key.reg")));
    EXPECT_EQ(readFile(dir.file("key.reg")),
              "Windows Registry Editor Version 5.00\n\n"
              "[HKEY_USERS\\S-1\\App]\n"
              "\"sz\"=\"a\\\"b\"\n"
              "\"exp\"=hex(2):25,00,50,00,41,00,54,00,48,00,25,00,00,00\n"
              "\"dw\"=dword:00000010\n"
              "\"qw\"=hex(b):08,07,06,05,04,03,02,01\n"
              "\"bin\"=hex:ff\n"
              "\"multi\"=\"[[Unknown type: 7]]\"\n"
              "\n"
              "[HKEY_USERS\\S-1\\App\\Sub]\n"
              "@=dword:00000000\n"
              "\n");

    ASSERT_TRUE(ut::Registry::deleteKey(ut::kHKeyUsers, L"S-1"));
    ASSERT_TRUE(ut::Registry::importKey(dir.wfile("key.reg")));
    RegValue v;
    ASSERT_EQ(s->getValue(key, L"exp", v), RegStatus::Ok);
    EXPECT_EQ(v.type, ut::platform::kRegExpandSz);
    EXPECT_EQ(v.text, L"%PATH%");
    ASSERT_EQ(s->getValue(key, L"qw", v), RegStatus::Ok);
    EXPECT_EQ(v.number, 0x0102030405060708LL);
    ASSERT_EQ(s->getValue(key, L"sz", v), RegStatus::Ok);
    EXPECT_EQ(v.text, L"a\"b");

    // copies keep kinds; the unknown kind is marked with brackets, not braces
    ASSERT_EQ(s->setValue(key, L"multi", RegValue::string(std::wstring(L"x\0y", 3), ut::platform::kRegMultiSz)),
              RegStatus::Ok);
    ASSERT_TRUE(ut::Registry::copyKey(ut::kHKeyUsers, L"S-1\\App", ut::kHKeyCurrentConfig, L"Copy"));
    const ut::platform::RegKeyPath copy(ut::platform::kCurrentConfig, L"Copy");
    ASSERT_EQ(s->getValue(copy, L"multi", v), RegStatus::Ok);
    EXPECT_EQ(v.text, L"[[Unknown type: 7]]");
    ASSERT_EQ(s->getValue(copy, L"exp", v), RegStatus::Ok);
    EXPECT_EQ(v.type, ut::platform::kRegExpandSz);
    EXPECT_EQ(s->keyExists(copy.child(L"Sub")), RegStatus::Ok);
    EXPECT_FALSE(ut::Registry::copyKey(ut::kHKeyUsers, L"S-1", ut::kHKeyUsers, L"s-1\\App\\Inside"));
}

TEST_F(RegistryKeys, FailuresSayWhatWentWrong) {
    struct Row {
        std::function<bool()> call;
        const char* message;
    };
    writeFile(dir.file("roots.reg"), "Windows Registry Editor Version 5.00\n\n[HKEY_NOWHERE\\x]\n\"v\"=\"1\"\n"
                                     "[HKEY_CURRENT_USER\\ok]\n\"v\"=\"2\"\n");
    const Row rows[] = {
        {[&] { return ut::Registry::exportKey(ut::ERootKey(9), L"x", dir.wfile("a.reg")); }, "Bad root"},
        {[&] { return ut::Registry::exportKey(ut::kHKeyCurrentUser, L"missing", dir.wfile("a.reg")); },
         "Failed to open registry key"},
        {[&] { return ut::Registry::exportKey(ut::kHKeyCurrentUser, L"", OdString()); }, "Bad arguments"},
        {[&] { return ut::Registry::importKey(OdString()); }, "Bad arguments"},
        {[&] { return ut::Registry::importKey(dir.wfile("absent.reg")); }, "File not found"},
        {[&] { return ut::Registry::importKey(dir.wfile("roots.reg")); }, "Failed to create 1 registry keys"},
    };
    for (const auto& r : rows) {
        LogCapture log;
        EXPECT_FALSE(r.call()) << r.message;
        ASSERT_EQ(log.records().size(), 1u) << r.message;
        EXPECT_EQ(log.records()[0].text, r.message);
        EXPECT_EQ(log.records()[0].file, "src/utils/ut_registry");
    }
    EXPECT_EQ(raw(L"", L"v").type, ut::platform::kRegNone);
    RegValue v;
    EXPECT_EQ(store()->getValue(ut::platform::RegKeyPath(1, L"ok"), L"v", v), RegStatus::Ok)
        << "the keys that could be made were imported";
}

} // namespace
