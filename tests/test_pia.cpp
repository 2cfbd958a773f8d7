// Parameter files: the block tree, its text (parsing and printing), the zlib
// engine and the compressed container, and the pia tool commands.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <limits>
#include <locale.h>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <sys/types.h>
#include <thread>
#include <tuple>
#include <vector>
#include <zlib.h>

#include "pia.h"
#include "platform/checksum.h"
#include "platform/cnumbers.h"
#include "test_support.h"
#include "ut_filename.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

// One entry per item, children of a block inside braces: "n:a=1;b{s:c=x;};".
// Kind letters: x binary, y boolean, s string, n number.
std::string dump(const CPBlock* block) {
    if (!block)
        return "<null>";
    std::string out;
    for (const CPItem* item : block->items()) {
        const std::string name = U(item->name());
        if (item->kind() == kPBlock)
            out += name + "{" + dump(static_cast<const CPBlock*>(item)) + "};";
        else if (item->kind() == kPBool)
            out += "y:" + name + (static_cast<const CPBool*>(item)->value() ? "=1;" : "=0;");
        else if (item->kind() == kPBin)
            out += "x:" + name + "=" + U(static_cast<const CPBin*>(item)->value()) + ";";
        else if (item->kind() == kPStr)
            out += "s:" + name + "=" + U(static_cast<const CPStr*>(item)->value()) + ";";
        else
            out += "n:" + name + "=" + U(static_cast<const CPNum*>(item)->value()) + ";";
    }
    return out;
}

uint32_t getLE(const std::string& s, size_t at) {
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(s[at + size_t(i)]);
    return v;
}

std::string deflated(const std::string& text, int level = 6) {
    unsigned long size = ZlibEngine::compressedSize(text.size());
    std::string stream(size, '\0');
    EXPECT_EQ(Z_OK, ZlibEngine::compressMemory(reinterpret_cast<uint8_t*>(stream.data()), &size,
                                               reinterpret_cast<const uint8_t*>(text.data()), text.size(), level));
    stream.resize(size);
    return stream;
}

// A container around text, as another program might write it (on a
// little-endian host): the lengths are filled in, but nothing reads them.
std::string containerOf(const std::string& text) {
    const std::string stream = deflated(text);
    std::string header = "PIAFILEVERSION_2.0,CTBVER1,compress\r\npmzlibcodec";
    header.resize(60, '\0');
    const uint32_t lengths[2] = {uint32_t(text.size()), uint32_t(stream.size())};
    std::memcpy(header.data() + 52, lengths, sizeof lengths);
    return header + stream;
}

// The text inside a container, by the lengths its header gives.
std::string textOf(const std::string& container) {
    unsigned long size = getLE(container, 52);
    std::string text(size + 1, '\0');
    EXPECT_EQ(Z_OK, ZlibEngine::decompressMemory(reinterpret_cast<uint8_t*>(text.data()), &size,
                                                 reinterpret_cast<const uint8_t*>(container.data()) + 60,
                                                 container.size() - 60));
    text.resize(size);
    return text;
}

// The lines a reader gives, each followed by "\n" when it ended with a line feed.
std::wstring linesOf(CPIAFileIn& in) {
    std::wstring got;
    while (const wchar_t* line = in.readLine())
        got += std::wstring(line) + (in.lineEnded() ? L"\n" : L"");
    return got;
}

struct ParseResult {
    bool ok;
    std::string tree;
    int line;
};

ParseResult parseText(const std::string& text) {
    CPIAParser p;
    bool ok = p.parseText(text.data(), text.size());
    return {ok, dump(p.root()), p.errorLine()};
}

// Sets an environment variable for the lifetime of the object.
struct EnvGuard {
    EnvGuard(const char* name, const char* value) : name(name) {
        if (const char* was = std::getenv(name))
            old = was;
        setenv(name, value, 1);
    }
    ~EnvGuard() { old ? setenv(name, old->c_str(), 1) : unsetenv(name); }
    const char* name;
    std::optional<std::string> old;
};

// Every test runs with the application temporary directory inside its own
// folder and ends by checking that no temporary file was left there.
class Pia : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(dir.file("tmp"));
        ut::FileName::setApplicationTempPath(W(dir.file("tmp") + "/"));
    }
    void TearDown() override {
        ut::FileName::setApplicationTempPath(OdString());
        EXPECT_TRUE(fs::is_empty(dir.file("tmp"))) << "temporary files left behind";
    }

    // Writes a tree as a container at name inside the test folder; returns the path.
    std::string writeTree(const CPBlock& root, const std::string& name, int type = CPIAFileOut::kColorTable) {
        CPIAFileOut out;
        out.setFileType(type);
        EXPECT_EQ(0, out.open());
        out.writeBlock(&root);
        EXPECT_EQ(0, out.close(W(dir.file(name))));
        return dir.file(name);
    }
    std::string printed(const CPBlock& root) { return textOf(readFile(writeTree(root, "printed.ctb"))); }
    std::string put(const std::string& name, const std::string& bytes) {
        writeFile(dir.file(name), bytes);
        return dir.file(name);
    }

    TempDir dir;
};

// Records what the engine reports through its hooks; optionally aborts.
class RecordingEngine : public ZlibEngine {
public:
    std::vector<int> percents;
    std::vector<std::string> statuses;
    int abortAtCall = -1;

protected:
    void progress(int p) override {
        percents.push_back(p);
        if (int(percents.size()) == abortAtCall)
            setAbortFlag(false); // sets the flag whatever the argument
    }
    void status(const wchar_t* text) override { statuses.push_back(U(text)); }
};

} // namespace

// ---------------------------------------------------------------- tree

TEST_F(Pia, NumberTextAndTypedReaders) {
    const std::tuple<double, int, const char*> written[] = {
        {0.25, -1, "0.250000"}, // negative precision: six digits
        {2.5, 0, "2"},          // no point at precision 0; ties to even like printf
        {3.5, 0, "4"},          {-1.5, 2, "-1.50"}, {1e21, 0, "1000000000000000000000"}, // never exponent form
    };
    for (const auto& [value, precision, text] : written)
        EXPECT_EQ(text, U(CPNum(L"n", value, precision).value())) << value << " / " << precision;

    // Numbers are scanned from the front, in single precision; outputs stay untouched on failure.
    const std::tuple<const wchar_t*, bool, int, double> read[] = {
        {L" -7", true, -7, -7.0},
        {L"0.28000000000 ([%&X'H7KT3]*M0)", true, 0, double(0.28f)}, // suffix of newer releases
        {L"3000000000", true, int(3000000000u), double(3e9f)},       // the low 32 bits
        {L"0.1", true, 0, double(0.1f)},
        {L"1e3", true, 1, 1000.0},
        {L"yes", false, -99, -99.0},
    };
    CPBlock block(L"");
    for (const auto& [text, ok, intValue, doubleValue] : read) {
        const std::wstring name = L"v" + std::to_wstring(block.size());
        block.add(new CPNum(name.c_str(), text));
        int n = -99;
        double d = -99.0;
        EXPECT_EQ(ok, readInt(&block, name.c_str(), n)) << U(text);
        EXPECT_EQ(ok, readDouble(&block, name.c_str(), d)) << U(text);
        EXPECT_EQ(intValue, n) << U(text);
        EXPECT_EQ(doubleValue, d) << U(text);
    }
    block.add(new CPStr(L"s", L"5"));
    int n = 42;
    EXPECT_FALSE(readInt(&block, L"s", n)); // only number items are read
}

TEST_F(Pia, BlockIdentityIsNameAndKind) {
    CPBlock block(L"");
    auto* num = new CPNum(L"x", 1);
    auto* str = new CPStr(L"x", L"1");
    EXPECT_TRUE(block.add(num));
    EXPECT_TRUE(block.add(str)); // same name, other kind: kept
    EXPECT_EQ(num, block.find(L"x", kPNum));
    EXPECT_EQ(str, block.find(L"x", kPStr));
    EXPECT_EQ(nullptr, block.find(L"X", kPNum)); // names compare exactly
    EXPECT_EQ(nullptr, block.find(L"x ", kPNum));
    // A second item of the same name and kind is refused and stays with the caller.
    CPNum duplicate(L"x", 2);
    EXPECT_FALSE(block.add(&duplicate));

    // The same rules in a block large enough to be indexed.
    CPBlock big(L"plot_style");
    for (int i = 0; i < 300; ++i) {
        const std::wstring name = std::to_wstring(i);
        CPBlock again(name.c_str());
        ASSERT_TRUE(big.add(new CPBlock(name.c_str())) && big.add(new CPStr(name.c_str(), L"s")));
        ASSERT_FALSE(big.add(&again));
    }
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(big.item(size_t(2 * i)), big.find(std::to_wstring(i).c_str(), kPBlock)) << i;
        ASSERT_EQ(big.item(size_t(2 * i + 1)), big.find(std::to_wstring(i).c_str(), kPStr)) << i;
    }
    EXPECT_EQ(nullptr, big.find(L"12", kPNum));
}

// ---------------------------------------------------------------- trees a parse lays out

// A parse lays its items out in memory of its own and shares names and values
// among them; callers must not be able to tell.
TEST_F(Pia, ParsedTreesBehaveAsBuiltOnes) {
    // An item belongs to one block: a parsed item, the parser's root and an item
    // another block holds are refused and stay where they are.
    {
        CPIAParser p;
        ASSERT_TRUE(p.parseText("a=1\nb{\n c=2\n}\n", 13));
        CPBlock other(L"");
        EXPECT_FALSE(other.add(p.root()->item(0)));
        EXPECT_FALSE(other.add(p.root()->findBlock(L"b")));
        EXPECT_FALSE(other.add(p.root()));
        auto* held = new CPNum(L"n", 1);
        ASSERT_TRUE(other.add(held));
        EXPECT_FALSE(p.root()->add(held));
        EXPECT_EQ(1u, other.size());
        EXPECT_EQ("n:a=1;b{n:c=2;};", dump(p.root()));
    }
    // Items a caller adds to a parsed tree are deleted with it, also when the
    // parser reads the next file (the sanitizer builds check for leaks).
    {
        CPIAParser p;
        ASSERT_TRUE(p.parseText("b{\n c=2\n}\n", 10));
        auto* heap = new CPBlock(L"heap");
        heap->add(new CPStr(L"s", L"a value longer than a few characters"));
        ASSERT_TRUE(p.root()->findBlock(L"b")->add(heap));
        ASSERT_TRUE(p.root()->add(new CPBin(L"x", L"00FF")));
        EXPECT_EQ("b{n:c=2;heap{s:s=a value longer than a few characters;};};x:x=00FF;", dump(p.root()));
        ASSERT_TRUE(p.parseText("d=4\n", 4));
        EXPECT_EQ("n:d=4;", dump(p.root()));
    }
    // A value set on a parsed item is its own: the items that shared its text
    // keep theirs, and setting it again changes only it.
    {
        const std::string text = "s=\"same text\nt=\"same text\nx=\\00AA\\\ny=\\00AA\\\nb{\n s=\"same text\n}\n";
        CPIAParser p;
        ASSERT_TRUE(p.parseText(text.data(), text.size()));
        auto* s = static_cast<CPStr*>(p.root()->find(L"s", kPStr));
        auto* x = static_cast<CPBin*>(p.root()->find(L"x", kPBin));
        s->setValue(L"changed");
        x->setValue(L"11");
        s->setValue(L"changed again");
        EXPECT_EQ("s:s=changed again;s:t=same text;x:x=11;x:y=00AA;b{s:s=same text;};", dump(p.root()));
    }
    // Copies of parsed items outlive the parser, and so do the keys a table
    // keeps of another writer.
    {
        std::unique_ptr<CPItem> copy;
        {
            CPIAParser p;
            ASSERT_TRUE(p.parseText("b{\n name=\"kept\n n=0.500000\n f=TRUE\n x=\\0A\\\n}\n", 44));
            copy.reset(CPForeignItems::clone(*p.root()->findBlock(L"b")));
        }
        CPBlock holder(L"");
        ASSERT_TRUE(holder.add(copy.release()));
        EXPECT_EQ("b{s:name=kept;n:n=0.500000;y:f=1;x:x=0A;};", dump(&holder));
    }
}

// Blocks that repeat an earlier one item for item are taken on trust by the
// parser; a second item of a name and kind must still fail the file, whatever
// blocks came before, in ASCII texts and in others (read another way).
TEST_F(Pia, RepeatedBlocksStillRefuseSecondItems) {
    std::string big1 = "a{\n", big2 = "b{\n", bigTree = "a{";
    for (int i = 0; i < 40; ++i) {
        const std::string n = std::to_string(i);
        const std::string line = std::string(" k").append(n).append("=").append(n).append("\n");
        big1 += line, big2 += line;
        bigTree.append("n:k").append(n).append("=").append(n).append(";");
    }
    big1 += "}\n";
    bigTree += "};";
    // The text; whether it parses; the tree; the failing line.
    const std::tuple<std::string, bool, std::string, int> rows[] = {
        {"a{\n x=1\n y=2\n}\nb{\n x=1\n y=2\n x=3\n}", false, "a{n:x=1;n:y=2;};", 8},
        // positions 0-2 repeat b, position 3 repeats a: no single block is repeated
        {"a{\n p=1\n q=1\n r=1\n x=1\n}\nb{\n x=1\n y=1\n z=1\n}\nc{\n x=1\n y=1\n z=1\n x=2\n}", false,
         "a{n:p=1;n:q=1;n:r=1;n:x=1;};b{n:x=1;n:y=1;n:z=1;};", 16},
        {"a{\n x=1\n}\nb{\n x=1\n x=\"1\n}", true, "a{n:x=1;};b{n:x=1;s:x=1;};", 0},
        {"a{\n b{\n }\n}\nc{\n b{\n }\n b{\n }\n}", false, "a{b{};};", 8},
        // the same places with other names and values read as they stand
        {"a{\n v=1\n w=\"s\n}\nb{\n v=10\n w=\"s2\n}\nc{\n v=1\n u=\"s\n}", true,
         "a{n:v=1;s:w=s;};b{n:v=10;s:w=s2;};c{n:v=1;s:u=s;};", 0},
        // blocks too large to scan
        {std::string(big1).append(big2).append(" k5=5\n}\n"), false, bigTree, 84},
        {std::string(big1).append(big2).append(" k5=\"5\n}\n"), true,
         std::string(bigTree).append("b").append(bigTree, 1, bigTree.size() - 3).append("s:k5=5;};"), 0},
    };
    const std::string wide = "u=\"\xc3\xa9\n"; // a text with it is not ASCII
    for (const auto& [text, ok, tree, line] : rows) {
        SCOPED_TRACE(text.substr(0, 60));
        const ParseResult ascii = parseText(text);
        EXPECT_EQ(ok, ascii.ok);
        EXPECT_EQ(tree, ascii.tree);
        EXPECT_EQ(line, ascii.line);
        const ParseResult other = parseText(std::string(wide).append(text));
        EXPECT_EQ(ok, other.ok);
        EXPECT_EQ(std::string("s:u=\xc3\xa9;").append(tree), other.tree);
        EXPECT_EQ(line ? line + 1 : 0, other.line);
    }
}

// Numbers are read as "%d" and "%f" read them in the "C" locale: the shortcut
// for plain digits gives what the C library gives, and everything else still
// goes to it. Past 32 bits "%d" keeps the low bits of what strtol gives.
TEST_F(Pia, NumbersReadAsTheCLibraryReadsThem) {
    const wchar_t* texts[] = {
        L"0", L"-1", L"007", L"-0", L"123456789", L"999999999", L"1234567890", L"2147483647", L"2147483648",
        L"-2147483648", L"-2147483649", L"00000000000012", L"5abc", L"-", L"+5", L" 7", L"", L"1.0", L"0.500000",
        L"-0.0", L"1.", L".5", L"1e3", L"0.1", L"16777217", L"0.1000000000000000055511151231257827",
        L"340282356779733661637539395458142568448", L"340282366920938463463374607431768211456",
        L"0.00000000000000000000000000000000001", L"0.000000000000000000000000000000000000000000001",
        L"123456789012345678901234567890.5", L"1.5x", L"1.5.5", L"nan", L"inf", L"0x10", L"1,5",
        L"3271557125", L"-3271557120", L"4294967296", L"+4294967295", L" 2147483648x", L"9223372036854775808",
        L"99999999999999999999999", L"-9223372036854775809", L"-99999999999999999999999",
    };
    locale_t c = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
    ASSERT_NE(locale_t(nullptr), c);
    CPBlock block(L"");
    for (const wchar_t* text : texts) {
        SCOPED_TRACE(U(text));
        const std::wstring name = std::wstring(L"v").append(std::to_wstring(block.size()));
        block.add(new CPNum(name.c_str(), text));
        int expectedInt = -99;
        const bool intOk = std::swscanf(text, L"%d", &expectedInt) == 1;
        wchar_t* end = nullptr;
        const float f = wcstof_l(text, &end, c);
        const bool floatOk = end != text;
        int n = -99;
        double d = -99.0;
        EXPECT_EQ(intOk, readInt(&block, name.c_str(), n));
        if (intOk) {
            EXPECT_EQ(expectedInt, n);
        }
        // The same from the text's bytes, as the table reader takes them.
        int fromBytes = -99;
        EXPECT_EQ(intOk, ut::platform::scanInt(U(text), fromBytes));
        EXPECT_EQ(intOk ? expectedInt : -99, fromBytes);
        EXPECT_EQ(floatOk, readDouble(&block, name.c_str(), d));
        if (floatOk && std::isnan(f)) {
            EXPECT_TRUE(std::isnan(d));
        } else if (floatOk) {
            EXPECT_EQ(double(f), d);
        }
        EXPECT_EQ(std::signbit(floatOk ? double(f) : -99.0), std::signbit(d));
    }
    freelocale(c);
}

// Parses on several threads at once keep to their own trees (run under
// ThreadSanitizer by scripts/test.sh), and a tree may be dropped on another
// thread than the one that read it.
TEST_F(Pia, ParsingOnSeveralThreadsAtOnce) {
    std::string table = "description=\"t\n";
    for (int i = 0; i < 64; ++i)
        table.append(std::to_string(i)).append("{\n name=\"Color_").append(std::to_string(i)).append(
            "\n color=-1\n screen=100\n}\n");
    const std::string texts[] = {table, std::string("u=\"\xc3\xa9\n").append(table),
                                 "a{\n x=1\n}\nb{\n x=1\n y=2\n}\n"};
    std::string expected[3];
    for (int t = 0; t < 3; ++t)
        expected[t] = parseText(texts[t]).tree;

    std::vector<std::unique_ptr<CPIAParser>> kept(4);
    std::vector<std::string> got(4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            const std::string& text = texts[t % 3];
            for (int round = 0; round < 20; ++round) {
                CPIAParser p;
                if (!p.parseText(text.data(), text.size()) || dump(p.root()) != expected[t % 3])
                    return;
            }
            kept[size_t(t)] = std::make_unique<CPIAParser>();
            if (kept[size_t(t)]->parseText(text.data(), text.size()))
                got[size_t(t)] = dump(kept[size_t(t)]->root());
        });
    }
    for (std::thread& th : threads)
        th.join();
    for (int t = 0; t < 4; ++t)
        EXPECT_EQ(expected[t % 3], got[size_t(t)]) << t;
    kept.clear(); // trees read on other threads, dropped here
}

// A finished parse leaves its memory and texts to the next one on the thread;
// a tree still alive keeps its own whatever is parsed after it.
TEST_F(Pia, ParsesInTurnOnOneThreadKeepTheirOwnTexts) {
    const std::string longText(300, 'q');
    auto text = [&](const std::string& s, const std::string& n) {
        return "a=\"" + s + "\nb=" + n + "\nk{\n a=\"" + s + "\n}\nc=\\" + longText + "\\\n";
    };
    auto tree = [&](const std::string& s, const std::string& n) {
        return "s:a=" + s + ";n:b=" + n + ";k{s:a=" + s + ";};x:c=" + longText + ";";
    };
    auto first = std::make_unique<CPIAParser>();
    const std::string t1 = text("a rather long first value", "12345678");
    ASSERT_TRUE(first->parseText(t1.data(), t1.size()));
    CPIAParser second;
    const std::string t2 = text("x", "1");
    ASSERT_TRUE(second.parseText(t2.data(), t2.size()));
    first.reset();
    for (const auto& [s, n] : {std::pair<std::string, std::string>{"yy", "2"}, {"", "-0.500000"}}) {
        CPIAParser third;
        const std::string t3 = text(s, n);
        ASSERT_TRUE(third.parseText(t3.data(), t3.size()));
        EXPECT_EQ(tree(s, n), dump(third.root()));
    }
    EXPECT_EQ(tree("x", "1"), dump(second.root()));
}

// ---------------------------------------------------------------- line syntax

TEST_F(Pia, LineSyntax) {
    std::string deep, deepTree;
    for (int i = 0; i < CPIAParser::kMaxDepth; ++i)
        deep += "b{\n", deepTree = "b{" + deepTree + "};";
    const std::string a508(508, 'a'), a507(507, 'a'), a506(506, 'a'), f1500(1500, 'f');
    // The text; whether it parses; the tree after the parse, also after a failure; the failing line.
    const std::tuple<std::string, bool, std::string, int> rows[] = {
        // values
        {"", true, "", 0},
        {"  key  =5", true, "n:key=5;", 0},
        {"a==1", true, "n:a==1;", 0},
        {"\tk=1\nk\t=2", true, "n:\tk=1;n:k\t=2;", 0}, // a tab is part of the name
        {"}=1", true, "n:}=1;", 0},
        {"a=1\n\nb=2", true, "n:a=1;n:b=2;", 0},
        {std::string("a=1\0junk\nb=2\n\0", 14), true, "n:a=1;n:b=2;", 0}, // NUL ends what is visible
        {"s=\"a\"b=}", true, "s:s=a\"b=};", 0},                           // no closing quote, no escapes
        // booleans by whole-value comparison
        {"f=True\ng=fAlSe", true, "y:f=1;y:g=0;", 0},
        {"f=yes", true, "n:f=yes;", 0},
        {"f=TRUE ", true, "n:f=TRUE ;", 0},
        // binary values, over several lines, up to the next backslash
        {"x=\\ab\ncd\\ignored\ny=1", true, "x:x=abcd;n:y=1;", 0},
        {"x=\\\\", true, "x:x=;", 0},
        {"a=1\nx=\\ab\ncd", false, "n:a=1;", 2}, // reported where the value began
        // names and identity
        {"my key=5", false, "", 1},
        {"   =5", false, "", 1},
        {"name=", false, "", 1},
        {"x=1\nx=2", false, "n:x=1;", 2},
        // lines that are neither or both
        {"s=\"a{b", false, "", 1},
        {"a=1\n   \n", false, "n:a=1;", 2},
        // blocks
        {"a{\n b{\n  c=1\n }\n d=2\n}", true, "a{b{n:c=1;};n:d=2;};", 0},
        {"a{\n b{\n  c=1", true, "a{b{n:c=1;};};", 0}, // missing final braces are accepted
        {"b{ trailing\n} trailing", true, "b{};", 0},
        {"b{\n}\nb{\n}", false, "b{};", 3},
        {"b{\n x}=1\n}", false, "", 2},               // "}" before "="
        {"b{\n x=}\n}", true, "b{n:x=};};", 0},       // "}" inside a value
        {"b{\n x{}\n}", false, "b{};", 3},            // "x{}" closes b; the last "}" is stray
        {"a=1\nb{\n c=1\nbad\n", false, "n:a=1;", 4}, // open blocks are dropped on failure
        {deep, true, deepTree, 0},                    // nesting is bounded
        {deep + "b{\n", false, "", CPIAParser::kMaxDepth + 1},
        // line ends and 511-byte pieces
        {"a=1\r\nb=\"x\r\n", true, "n:a=1;s:b=x;", 0},
        {"s=\"a\rb\n", true, "s:s=a\rb;", 0},
        {"x=\\" + f1500 + "\\\ny=1\n", true, "x:x=" + f1500 + ";n:y=1;", 0}, // a binary value joins its pieces
        {"s=\"" + a508 + "aa\n", false, "s:s=" + a508 + ";", 1},             // a string's second piece: too long
        {"s=\"" + a508 + "\nt=1\n", true, "s:s=" + a508 + ";n:t=1;", 0},     // the feed alone: an empty line
        // a CR LF counts as one byte of a piece, also where a boundary falls inside or after it
        {"s=\"" + a506 + "\r\nt=1\r\n", true, "s:s=" + a506 + ";n:t=1;", 0},
        {"s=\"" + a507 + "\r\nt=1\r\n", true, "s:s=" + a507 + ";n:t=1;", 0},
        {"s=\"" + a508 + "\r\nt=1\r\n", true, "s:s=" + a508 + ";n:t=1;", 0},
    };
    for (const auto& [text, ok, tree, line] : rows) {
        SCOPED_TRACE(text.substr(0, 40));
        ParseResult p = parseText(text);
        EXPECT_EQ(ok, p.ok);
        EXPECT_EQ(tree, p.tree);
        EXPECT_EQ(line, p.line);
    }
}

// ---------------------------------------------------------------- printing

TEST_F(Pia, PrintsTheTreeAsTheApplicationDoes) {
    // Root items at the margin, one blank per level, braces at the siblings'
    // indentation; an empty block keeps its braces, an empty binary item and an
    // unknown kind print nothing; lines are cut to the 512-character buffer.
    CPBlock root(L"");
    root.add(new CPNum(L"version", 2));
    auto* pens = new CPBlock(L"pens");
    pens->add(new CPStr(L"name", L"Pen"));
    auto* inner = new CPBlock(L"0");
    inner->add(new CPBool(L"on", true));
    inner->add(new CPBool(L"off", false));
    inner->add(new CPNum(L"n", std::wstring(600, L'9').c_str()));
    pens->add(inner);
    root.add(pens);
    root.add(new CPStr(L"after", L"q\"uo=te}"));
    root.add(new CPBlock(L"e"));
    root.add(new CPBin(L"nothing", L""));
    root.add(new CPItem(7, L"odd"));
    root.add(new CPStr(L"s", std::wstring(600, L'a').c_str()));
    EXPECT_EQ("version=2\npens{\n name=\"Pen\n 0{\n  on=TRUE\n  off=FALSE\n  n=" + std::string(507, '9') +
                  "\n }\n}\nafter=\"q\"uo=te}\ne{\n}\ns=\"" + std::string(508, 'a') + "\n",
              printed(root));
    EXPECT_EQ("", printed(CPBlock(L"")));
}

TEST_F(Pia, PrintsBinaryValuesInPieces) {
    // Depth of the item "b" (its line starts with that many blanks and "b=\"), payload
    // length, and whether the closing backslash is written: not when the line's last
    // 502-character piece is exactly full, indentation included.
    const std::tuple<int, size_t, bool> rows[] = {
        {0, 498, true},  {0, 499, false}, {0, 500, true}, {0, 1001, false},
        {0, 1003, true}, {2, 497, false}, {2, 498, true},
    };
    for (const auto& [depth, length, closed] : rows) {
        SCOPED_TRACE(testing::Message() << depth << " / " << length);
        std::wstring payload;
        for (size_t i = 0; i < length; ++i)
            payload += L"0123456789ABCDEF"[i % 16];
        CPBlock root(L"");
        CPBlock* parent = &root;
        for (int d = 0; d < depth; ++d)
            parent->add(new CPBlock(L"k")), parent = parent->findBlock(L"k");
        parent->add(new CPBin(L"b", payload.c_str()));
        parent->add(new CPNum(L"n", 1));
        root.add(new CPBin(L"c", L"x"));
        const std::string indent(size_t(depth), ' '), text = printed(root);
        const std::string opening = depth ? "k{\n k{\n" : "", closing = depth ? " }\n}\n" : "";
        // One physical line whatever the length.
        EXPECT_EQ(opening + indent + "b=\\" + U(payload) + (closed ? "\\" : "") + "\n" + indent + "n=1\n" + closing +
                      "c=\\x\\\n",
                  text);
        // Unclosed, the reader keeps collecting into the value up to the next backslash.
        ParseResult back = parseText(text);
        EXPECT_TRUE(back.ok);
        EXPECT_EQ(closed, back.tree == dump(&root));
    }
}

// ---------------------------------------------------------------- container bytes

TEST_F(Pia, ContainerLayout) {
    CPBlock root(L"");
    root.add(new CPStr(L"description", L"Test"));
    root.add(new CPNum(L"scale_factor", L"1.0"));
    const std::string text = "description=\"Test\nscale_factor=1.0\n";
    const std::pair<int, std::string> kinds[] = {
        {CPIAFileOut::kColorTable, "CTB"}, {CPIAFileOut::kNamedTable, "STB"}, {CPIAFileOut::kPrinterConfig, "PC3"}};
    for (const auto& [type, letters] : kinds) {
        SCOPED_TRACE(letters);
        const std::string bytes = readFile(writeTree(root, "t.bin", type));
        ASSERT_GT(bytes.size(), 60u);
        EXPECT_EQ("PIAFILEVERSION_2.0," + letters + "VER1,compress\r\npmzlibcodec", bytes.substr(0, 48));
        EXPECT_EQ(text.size(), getLE(bytes, 52));
        EXPECT_EQ(bytes.size() - 60, getLE(bytes, 56));
        EXPECT_EQ(deflated(text), bytes.substr(60)); // level 6 with zlib's defaults
        // Adler-32 started at 0 (not zlib's usual 1) over bytes 52..59 and the stream.
        EXPECT_EQ(adler32(0, reinterpret_cast<const Bytef*>(bytes.data()) + 52, uInt(bytes.size() - 52)),
                  getLE(bytes, 48));
    }
    const std::string empty = readFile(writeTree(CPBlock(L""), "empty.ctb"));
    EXPECT_EQ(0u, getLE(empty, 52));
    EXPECT_EQ(deflated(""), empty.substr(60));
}

// The reader checks nothing in the header. Some 64-bit writers hold its three
// numbers 8 bytes wide, so the stream starts at 72, whatever the 12 extra bytes
// hold; where a stream starts at 60 it is read from there, even when the bytes
// at 72 happen to look like the start of another.
TEST_F(Pia, ReaderFindsTheStreamAfterEitherHeader) {
    const std::string text = "a=1\nb{\n c=\"x\n}\n";
    const std::string narrow = containerOf(text),
                      wide =
                          narrow.substr(0, 60) + "\xA5\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B" + narrow.substr(60);
    std::string arbitrary = narrow, wideCorrupt = wide;
    for (size_t i = 0; i < 60; ++i)
        arbitrary[i] = char(0xA5 ^ i); // wrong text, checksum and lengths
    wideCorrupt.replace(76, 6, 6, '\xFF');
    // Stored (level 0): the text lies unchanged 7 bytes into the stream, so its
    // 6th and 7th bytes sit at 72 and 73; "x^" there is a valid zlib start.
    const std::string decoy = "d=\"abx^y\n", decoyFile = narrow.substr(0, 60) + deflated(decoy, 0);
    ASSERT_EQ("x^", decoyFile.substr(72, 2));
    const std::tuple<std::string, int, std::string> rows[] = {
        {narrow, 0, text},
        {arbitrary, 0, text},
        {wide, 0, text},
        {decoyFile, 0, decoy},
        {wideCorrupt, Z_DATA_ERROR, ""}, // failures keep zlib's codes
        {narrow.substr(0, 60) + std::string(40, 'U'), Z_DATA_ERROR, ""},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        const auto& [bytes, result, expected] = rows[i];
        SCOPED_TRACE(i);
        CPIAFileIn in;
        ASSERT_EQ(result, in.open(W(put("odd.ctb", bytes))));
        EXPECT_EQ(expected, U(linesOf(in)));
        EXPECT_TRUE(result != 0 || in.percent() == 100);
    }
    std::string winPath = put("win.ctb", narrow);
    std::replace(winPath.begin(), winPath.end(), '/', '\\');
    EXPECT_EQ(0, CPIAFileIn().open(W(winPath))); // a path written the Windows way names the same file
}

TEST_F(Pia, WritingReplacesTheDestinationAtomically) {
    CPBlock root(L"");
    root.add(new CPNum(L"v", 1));
    const std::string path = writeTree(root, "table.ctb");
    chmod(path.c_str(), 0640);
    struct stat before, after;
    ASSERT_EQ(0, stat(path.c_str(), &before));
    root.add(new CPNum(L"w", 2));
    writeTree(root, "table.ctb");
    ASSERT_EQ(0, stat(path.c_str(), &after));
    EXPECT_NE(before.st_ino, after.st_ino);  // a new file renamed into place
    EXPECT_EQ(0640u, after.st_mode & 0777u); // with the old one's permissions
    EXPECT_EQ("v=1\nw=2\n", textOf(readFile(path)));

    // A symbolic link keeps pointing at the replaced file.
    fs::create_symlink(path, dir.file("link.ctb"));
    root.add(new CPNum(L"x", 3));
    writeTree(root, "link.ctb");
    EXPECT_TRUE(fs::is_symlink(dir.file("link.ctb")));
    EXPECT_EQ("v=1\nw=2\nx=3\n", textOf(readFile(path)));

    // Failures: a missing folder, a directory in the way; nothing is left beside them.
    fs::create_directory(dir.file("adir"));
    for (const char* dest : {"missing/t.ctb", "adir"}) {
        CPIAFileOut out;
        EXPECT_EQ(0, out.open());
        out.writeBlock(&root);
        EXPECT_EQ(-2, out.close(W(dir.file(dest)))) << dest;
    }
    EXPECT_TRUE(fs::is_directory(dir.file("adir")));
    EXPECT_EQ((std::vector<std::string>{"adir", "link.ctb", "table.ctb", "tmp"}), dir.entries());
}

// ---------------------------------------------------------------- what a writer may store

TEST_F(Pia, CanStoreRefusesWhatWouldNotReadBack) {
    // One item in the block "b": empty when the printed tree must read back as it
    // is, else a word of why not.
    struct Row {
        int kind;
        std::wstring name, value;
        const char* codePage;
        const char* why;
    };
    const Row rows[] = {
        // strings: braces and line breaks cannot be carried, "}", "=" and quotes can
        {kPStr, L"d", L"Pens {A3}", "1252", "holds \"{\""},
        {kPStr, L"d", L"two\nlines", "1252", "line break"},
        {kPStr, L"d", L"Stra\u00dfe }=\"q", "1252", ""},
        // lines: 511 characters at most, and 511 bytes in the code page
        {kPStr, L"d", std::wstring(507, L'a'), "1252", ""},
        {kPStr, L"d", std::wstring(508, L'a'), "1252", "too long for a line of the file (512 characters"},
        {kPStr, L"d", std::wstring(169, L'\u65e5'), "65001", ""},
        {kPStr, L"d", std::wstring(170, L'\u65e5'), "65001", "514 bytes in code page 65001"},
        // characters the code page lacks are never written as "?"
        {kPStr, L"d", L"\u65e5\u672c", "1252", "has no form in code page 1252"},
        {kPStr, L"d", L"\u65e5\u672c", "932", ""},
        // numbers must read back as numbers, names as names
        {kPNum, L"n", L"", "1252", "empty number"},
        {kPNum, L"n", L"True", "1252", "another kind"},
        {kPNum, L"n", L"\"5", "1252", "another kind"},
        {kPStr, L"my key", L"x", "1252", "name holding a blank"},
        {kPBlock, L"a}b", L"", "1252", "name holding"},
        // binary values: no backslash inside, none empty (the printer drops it)
        {kPBin, L"x", L"AB\\CD", "1252", "backslash"},
        {kPBin, L"x", L"", "1252", "empty binary"},
        {kPBin, L"x", std::wstring(1500, L'A'), "1252", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(U(row.name + L"=" + row.value.substr(0, 20)) + " in " + row.codePage);
        EnvGuard page("DRUTILS_ANSI_CODEPAGE", row.codePage);
        CPBlock root(L"");
        auto* b = new CPBlock(L"b");
        switch (row.kind) {
        case kPStr: b->add(new CPStr(row.name.c_str(), row.value.c_str())); break;
        case kPNum: b->add(new CPNum(row.name.c_str(), row.value.c_str())); break;
        case kPBin: b->add(new CPBin(row.name.c_str(), row.value.c_str())); break;
        default: b->add(new CPBlock(row.name.c_str())); break;
        }
        root.add(b);
        OdString why;
        const bool storable = CPIAFileOut::canStore(&root, &why);
        EXPECT_EQ(*row.why == '\0', storable);
        if (!storable) {
            EXPECT_EQ(0, why.find((L"b/" + row.name + L":").c_str())) << U(why);
            EXPECT_NE(-1, why.find(W(row.why).c_str())) << U(why);
            continue;
        }
        CPIAParser back;
        ASSERT_TRUE(back.parse(W(writeTree(root, "stored.ctb"))));
        EXPECT_EQ(dump(&root), dump(back.root()));
    }

    // Numbers made from values are read back in single precision: one past its
    // range, or never finite, does not come back; all else does, within the
    // rounding to six decimals and to single precision.
    const double inf = std::numeric_limits<double>::infinity();
    const std::pair<double, const char*> numbers[] = {
        {1e39, "too large for the file"},
        {-1e39, "too large for the file"},
        {1e308, "too large for the file"},
        {inf, "not a finite number"},
        {std::nan(""), "not a finite number"},
        {double(std::numeric_limits<float>::max()), ""},
        {-3.4e38, ""},
        {215.9, ""},
        {123456789.123, ""},
        {1e-7, ""},
        {-0.0, ""},
    };
    for (const auto& [value, why] : numbers) {
        SCOPED_TRACE(value);
        CPBlock root(L"");
        auto* num = new CPNum(L"n", value, 6);
        root.add(num);
        EXPECT_EQ(*why == '\0', num->readsBack());
        OdString reason;
        EXPECT_EQ(*why == '\0', CPIAFileOut::canStore(&root, &reason));
        if (*why) {
            EXPECT_EQ(0, reason.find(L"n: ")) << U(reason);
            EXPECT_NE(-1, reason.find(W(why).c_str())) << U(reason);
            continue;
        }
        CPIAParser back;
        ASSERT_TRUE(back.parse(W(writeTree(root, "number.ctb"))));
        double read = 0;
        ASSERT_TRUE(readDouble(back.root(), L"n", read));
        EXPECT_NEAR(value, read, 0.5e-6 + std::fabs(value) * 0x1p-24);
    }
}

// ---------------------------------------------------------------- engine

TEST_F(Pia, EngineResultCodesAndHooks) {
    std::string plain;
    for (int i = 0; i < 4000; ++i)
        plain += std::to_string(i * 7919 % 10007) + "\n";
    const std::string src = put("plain", plain), packed = dir.file("packed"), back = dir.file("back");
    RecordingEngine e;
    ASSERT_EQ(0, e.compress(W(src), W(packed), 6));
    EXPECT_EQ(std::vector<std::string>{"Success"}, e.statuses);
    EXPECT_EQ(100, e.percents.empty() ? -1 : e.percents.back());
    EXPECT_TRUE(std::is_sorted(e.percents.begin(), e.percents.end()));
    ASSERT_EQ(0, RecordingEngine().decompress(W(packed), W(back)));
    EXPECT_EQ(plain, readFile(back));

    // Files that cannot be opened give -2, no status and no destination; zlib's
    // own codes come back as they are, with "Zlib Error".
    const std::string stream = readFile(packed);
    const std::string corrupt = put("corrupt", stream.substr(0, 10) + std::string(50, 'U') + stream.substr(60));
    const std::string cut = put("cut", stream.substr(0, stream.size() / 2));
    // Deflating or not, source, destination, progress call that aborts, result, status.
    const std::tuple<bool, std::string, std::string, int, int, const char*> rows[] = {
        {true, src, packed, 1, -7, "User Abort"},
        {true, dir.file("nope"), dir.file("out"), -1, -2, nullptr},
        {false, src, dir.file("missing/out"), -1, -2, nullptr},
        {false, corrupt, back, -1, Z_DATA_ERROR, "Zlib Error"},
        {false, cut, back, -1, Z_BUF_ERROR, "Zlib Error"},
    };
    for (const auto& [deflating, from, to, abortAt, result, status] : rows) {
        SCOPED_TRACE(from);
        RecordingEngine engine;
        engine.abortAtCall = abortAt;
        EXPECT_EQ(result, deflating ? engine.compress(W(from), W(to), 6) : engine.decompress(W(from), W(to)));
        EXPECT_EQ(status ? std::vector<std::string>{status} : std::vector<std::string>{}, engine.statuses);
        engine.abortAtCall = -1;
        EXPECT_EQ(0, abortAt > 0 ? engine.compress(W(from), W(to), 6) : 0); // the next run clears the flag
    }
    EXPECT_FALSE(fs::exists(dir.file("out")));

    // Progress divides by whole steps first: 20000099 bytes make steps of 200000, not 200000.99.
    const std::tuple<uint32_t, uint64_t, int> percents[] = {
        {0, 5, 100}, {200, 199, 99}, {4000000000u, 4000000000u, 100}, {20000099, 200000, 1}};
    for (const auto& [total, consumed, percent] : percents)
        EXPECT_EQ(percent, ZlibEngine::percentOf(total, consumed)) << total << "/" << consumed;
}

TEST_F(Pia, ReaderRefusesWhatItCannotRead) {
    {
        CPIAFileIn in;
        in.setMaxTextSize(1000);
        EXPECT_EQ(0, in.open(W(put("fits.ctb", containerOf(std::string(1000, '\n'))))));
        EXPECT_EQ(ZlibEngine::kTooLarge, in.open(W(put("over.ctb", containerOf(std::string(1001, '\n'))))));
        EXPECT_EQ(nullptr, in.readLine());
    }
    // A real bomb (65 MiB of blanks in some 65 KiB) at the default limit, missing
    // files, and containers cut short, also inside the header; each failure says
    // why in words, never with its bare code, and a pipe does not block the reader.
    const std::string bomb = containerOf(std::string((65u << 20), ' '));
    EXPECT_LT(bomb.size(), 100000u);
    const std::string real = readFile(dataFile("color-dependent-factory.ctb"));
    std::string corrupt = real;
    corrupt.replace(200, 40, std::string(40, 'x'));
    fs::create_directory(dir.file("folder.ctb"));
    ASSERT_EQ(0, mkfifo(dir.file("pipe.ctb").c_str(), 0600));
    const std::tuple<std::string, int, const char*> rows[] = {
        {put("bomb.ctb", bomb), ZlibEngine::kTooLarge, "the text inside is larger than 32 MiB"},
        {dir.file("does-not-exist.ctb"), -2, "no such file"},
        {dir.file("folder.ctb"), -2, "is a directory"},
        {dir.file("pipe.ctb"), -2, "not a regular file"},
        {put("empty.ctb", ""), Z_BUF_ERROR, "not a parameter file"},
        {put("words.ctb", "these are just words, longer than a header of sixty bytes"), Z_BUF_ERROR,
         "not a parameter file"},
        {put("cut59.ctb", real.substr(0, 59)), Z_BUF_ERROR, "compressed data is truncated"},
        {put("cut61.ctb", real.substr(0, 61)), Z_BUF_ERROR, "compressed data is truncated"},
        {put("cut-5.ctb", real.substr(0, real.size() - 5)), Z_BUF_ERROR, "compressed data is truncated"},
        {put("corrupt.ctb", corrupt), Z_DATA_ERROR, "compressed data is corrupt"},
    };
    CPIAParser parser;
    for (const auto& [path, result, why] : rows) {
        SCOPED_TRACE(path);
        EXPECT_FALSE(parser.parse(W(path)));
        EXPECT_EQ(result, parser.openResult());
        EXPECT_EQ(nullptr, parser.root());
        EXPECT_EQ(why, U(parser.errorText()));
    }
}

// The reader checks the stream's Adler-32 itself: the same values as zlib's for
// any bytes and start, and a mismatch refused wherever the four stored bytes lie
// across the reader's 4 KiB reads.
TEST_F(Pia, ReaderChecksTheTextAgainstTheStreamChecksum) {
    std::string bytes(70000, '\0');
    uint32_t seed = 12345;
    for (char& c : bytes)
        c = char((seed = seed * 1103515245u + 12345u) >> 23);
    const std::string ones(20000, '\xFF'); // the largest sums
    const std::string* const inputs[] = {&bytes, &ones};
    for (const std::string* data : inputs) {
        for (size_t size : {size_t(0), size_t(1), size_t(15), size_t(16), size_t(17), size_t(5551), size_t(5552),
                            size_t(5553), size_t(11104), data->size()}) {
            for (uint32_t start : {1u, 0u, 0xFFF0FFF0u}) {
                const auto* p = reinterpret_cast<const Bytef*>(data->data());
                EXPECT_EQ(adler32(start, p, uInt(size)), ut::platform::adler32(start, p, size))
                    << size << " from " << start;
            }
        }
        // In two calls, split anywhere, as the reader feeds it.
        const auto* p = reinterpret_cast<const Bytef*>(data->data());
        const uint32_t whole = adler32(1, p, uInt(data->size()));
        for (size_t cut : {size_t(1), size_t(4096), size_t(5557)})
            EXPECT_EQ(whole, ut::platform::adler32(ut::platform::adler32(1, p, cut), p + cut, data->size() - cut));
    }

    // A stored stream of text is 11 bytes longer than the text.
    std::string header = "PIAFILEVERSION_2.0,CTBVER1,compress\r\npmzlibcodec";
    header.resize(60, '\0');
    for (size_t into = 0; into <= 4; ++into) {
        SCOPED_TRACE(into);
        const std::string text(4096 + into - 11, '\n');
        const std::string file = header + deflated(text, 0);
        ASSERT_EQ(4096 + into, file.size() - 60);
        CPIAFileIn in;
        EXPECT_EQ(0, in.open(W(put("fits.ctb", file))));
        for (size_t back : {size_t(1), size_t(4)}) {
            std::string wrong = file;
            wrong[wrong.size() - back] ^= 0x10;
            EXPECT_EQ(Z_DATA_ERROR, in.open(W(put("wrong.ctb", wrong))));
            EXPECT_EQ("the text does not match the checksum stored with it", U(in.errorText()));
        }
    }
}

// ---------------------------------------------------------------- what one file may cost

TEST_F(Pia, BoundsWhatOneFileMayCost) {
    // Items: a block and its items count alike; the bound admits a file at it.
    const auto itemsText = [](size_t count) {
        std::string text = "b{\n";
        for (size_t i = 1; i < count; ++i)
            text += " k" + std::to_string(i) + "=1\n";
        return text + "}\n";
    };
    CPIAParser parser;
    const std::string atBound = itemsText(CPIAParser::kMaxItems);
    EXPECT_TRUE(parser.parseText(atBound.data(), atBound.size()));
    const std::string past = itemsText(CPIAParser::kMaxItems + 1);
    EXPECT_FALSE(parser.parseText(past.data(), past.size()));
    EXPECT_EQ("more items than a parameter file may hold", U(parser.errorText()));

    // Characters of names and values, in lines and in one binary value of many pieces.
    const std::string value(490, 'v');
    std::string strings;
    for (size_t i = 0; strings.size() < CPIAParser::kMaxTextLength + 100000; ++i)
        strings.append("s").append(std::to_string(i)).append("=\"").append(value).append("\n");
    const std::string binary = "x=\\" + std::string(CPIAParser::kMaxTextLength + 1, 'A') + "\\\n";
    const std::string* pastTexts[] = {&strings, &binary};
    for (const std::string* text : pastTexts) {
        SCOPED_TRACE(text->substr(0, 10));
        EXPECT_FALSE(parser.parseText(text->data(), text->size()));
        EXPECT_EQ("more text than a parameter file may hold", U(parser.errorText()));
    }
    const std::string fits = strings.substr(0, strings.size() / 2);
    EXPECT_TRUE(parser.parseText(fits.data(), fits.size()));
}

// ---------------------------------------------------------------- encodings

TEST_F(Pia, TextEncodings) {
    // Well-formed UTF-8 is read as such; one byte that is not UTF-8 anywhere in
    // the text makes all of it text in the ANSI code page.
    const std::tuple<const char*, std::string, bool, std::wstring> rows[] = {
        {"1252",
         "d=\"Stra\xc3\x9f"
         "e \xe2\x82\xac\n",
         true, L"d=\"Stra\u00dfe \u20ac\n"},
        {"1252", "a=\"\xc3\x9f\nb=\"caf\xe9", false, L"a=\"\u00c3\u0178\nb=\"caf\u00e9"},
        {"1251", "n=\"\xcf\xe5\xf0\xee\n", false, L"n=\"\u041f\u0435\u0440\u043e\n"},
    };
    for (const auto& [codePage, text, utf8, lines] : rows) {
        SCOPED_TRACE(text);
        EnvGuard page("DRUTILS_ANSI_CODEPAGE", codePage);
        CPIAFileIn in;
        EXPECT_EQ(0, in.open(W(put("e.ctb", containerOf(text)))));
        EXPECT_EQ(utf8, in.isUtf8());
        EXPECT_EQ(lines, linesOf(in));
    }
    // A character cut by a 511-byte piece shows replacement characters on both sides.
    ParseResult cut = parseText("x=\\" + std::string(507, 'a') + "\xe2\x82\xac" + "\\\n");
    EXPECT_TRUE(cut.ok);
    EXPECT_EQ("x:x=" + std::string(507, 'a') + "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd;", cut.tree);

    // The writer converts to the ANSI code page; what it cannot hold becomes "?".
    EnvGuard page("DRUTILS_ANSI_CODEPAGE", "1252");
    CPBlock root(L"");
    root.add(new CPStr(L"d", L"caf\u00e9 \u4e2d"));
    EXPECT_EQ("d=\"caf\xe9 ?\n", printed(root));
}

// ---------------------------------------------------------------- real files

TEST_F(Pia, RealFilesParseAndRoundTrip) {
    // File, kind, sub-blocks of plot_style.
    const std::tuple<const char*, int, size_t> files[] = {
        {"color-dependent-factory.ctb", CPIAFileOut::kColorTable, 255},
        {"color-dependent-custom.ctb", CPIAFileOut::kColorTable, 255},
        {"color-dependent-basic.ctb", CPIAFileOut::kColorTable, 255},
        {"named-factory.stb", CPIAFileOut::kNamedTable, 2},
        {"named-ttb-header.stb", CPIAFileOut::kNamedTable, 0},
        {"named-custom-300.stb", CPIAFileOut::kNamedTable, 0},
        {"named-small.stb", CPIAFileOut::kNamedTable, 0},
        {"printer-hpgl-raw-device-data.pc3", CPIAFileOut::kPrinterConfig, 0},
    };
    for (const auto& [file, type, styles] : files) {
        SCOPED_TRACE(file);
        CPIAParser parser, again;
        ASSERT_TRUE(parser.parse(W(dataFile(file))));
        if (styles) {
            ASSERT_NE(nullptr, parser.root()->findBlock(L"plot_style"));
            EXPECT_EQ(styles, parser.root()->findBlock(L"plot_style")->size());
        }
        // Printing the tree and reading it again gives the same tree.
        ASSERT_TRUE(again.parse(W(writeTree(*parser.root(), "copy.bin", type))));
        EXPECT_EQ(dump(parser.root()), dump(again.root()));
        // The long binary value of a printer configuration arrives whole.
        const CPBlock* custom = parser.root()->findBlock(L"custom");
        const CPBlock* entry = custom ? custom->findBlock(L"3") : nullptr;
        const CPItem* raw = entry ? entry->find(L"value", kPBin) : nullptr;
        EXPECT_EQ(type == CPIAFileOut::kPrinterConfig,
                  raw && static_cast<const CPBin*>(raw)->value().getLength() > 5000);
    }
}

// ---------------------------------------------------------------- tool

TEST_F(Pia, ToolCommands) {
    EnvGuard tmp("TMPDIR", dir.file("tmp").c_str());
    std::string out, err;
    // cat prints the text inside, long lines whole.
    EXPECT_EQ(0, runTool({"pia", "cat", dataFile("printer-hpgl-raw-device-data.pc3")}, &out));
    const std::string inside = textOf(readFile(dataFile("printer-hpgl-raw-device-data.pc3")));
    EXPECT_EQ(inside.substr(0, inside.find('\0')), out);

    // pack builds a container of the kind its name or --kind says; a broken text is refused.
    put("t.txt", "description=\"Mine\r\nplot_style{\r\n 0{\r\n  color=-1\r\n }\r\n}\r\n");
    EXPECT_EQ(0, runTool({"pia", "pack", dir.file("t.txt"), dir.file("t.stb")}, &out, &err)) << err;
    const std::string packed = readFile(dir.file("t.stb"));
    EXPECT_EQ("PIAFILEVERSION_2.0,STBVER1,compress", packed.substr(0, 35));
    EXPECT_EQ("description=\"Mine\nplot_style{\n 0{\n  color=-1\n }\n}\n", textOf(packed));
    EXPECT_EQ(0, runTool({"pia", "pack", dir.file("t.txt"), dir.file("t.out"), "--kind", "pc3"}));
    EXPECT_EQ("PC3", readFile(dir.file("t.out")).substr(19, 3));
    put("bad.txt", "a=1\nb{\n my key=2\n}\n");
    EXPECT_EQ(1, runTool({"pia", "pack", dir.file("bad.txt"), dir.file("bad.ctb")}, nullptr, &err));
    EXPECT_NE(std::string::npos, err.find("line 3: blank inside a name")) << err;
    EXPECT_FALSE(fs::exists(dir.file("bad.ctb")));

    // check reports each file; exit 1 when any cannot be read.
    const std::string broken = put("broken.ctb", containerOf("a=1\nb{\n my key=2\n}\n"));
    const std::string cut = put("short.ctb", "PIAFILE");
    EXPECT_EQ(1, runTool({"pia", "check", dir.file("t.stb"), broken, cut}, &out));
    EXPECT_EQ(dir.file("t.stb") + ": OK\n" + broken + ": line 3: blank inside a name\n" + cut +
                  ": cannot read: not a parameter file\n",
              out);
    EXPECT_EQ(1, runTool({"pia", "check", "--json", broken}, &out));
    EXPECT_EQ("[{\"file\":\"" + broken + "\",\"ok\":false,\"line\":3,\"reason\":\"blank inside a name\"}]\n", out);
}
