// Parameter files: the block tree, its text (parsing and printing), the zlib
// engine and the compressed container, and the pia tool commands.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <sys/stat.h>
#include <zlib.h>

#include "pia.h"
#include "test_support.h"
#include "ut_filename.h"

using testing_support::dataFile;
using testing_support::readFile;
using testing_support::runTool;
using testing_support::TempDir;
using testing_support::U;
using testing_support::W;
using testing_support::writeFile;

namespace fs = std::filesystem;

namespace {

// One line per item, children of a block inside braces: "n:a=1;b{s:c=x;};".
// Kind letters: x binary, y boolean, s string, n number.
std::string dump(const CPBlock* block) {
    std::string out;
    if (!block)
        return "<null>";
    for (const CPItem* item : block->items()) {
        const std::string name = U(item->name());
        switch (item->kind()) {
        case kPBin:
            out += "x:" + name + "=" + U(static_cast<const CPBin*>(item)->value()) + ";";
            break;
        case kPBool:
            out += "y:" + name + "=" + (static_cast<const CPBool*>(item)->value() ? "1" : "0") + ";";
            break;
        case kPStr:
            out += "s:" + name + "=" + U(static_cast<const CPStr*>(item)->value()) + ";";
            break;
        case kPNum:
            out += "n:" + name + "=" + U(static_cast<const CPNum*>(item)->value()) + ";";
            break;
        case kPBlock:
            out += name + "{" + dump(static_cast<const CPBlock*>(item)) + "};";
            break;
        default:
            out += "?;";
        }
    }
    return out;
}

void putLE(std::string& s, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        s[at + size_t(i)] = char((v >> (8 * i)) & 0xFF);
}

uint32_t getLE(const std::string& s, size_t at) {
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(s[at + size_t(i)]);
    return v;
}

// A container around text, as another program might write it: the header's
// fields are filled in, but nothing reads them.
std::string containerOf(const std::string& text, const std::string& headerText = "PIAFILEVERSION_2.0,CTBVER1,compress") {
    unsigned long size = ZlibEngine::compressedSize(text.size());
    std::string stream(size, '\0');
    EXPECT_EQ(Z_OK, ZlibEngine::compressMemory(reinterpret_cast<uint8_t*>(stream.data()), &size,
                                               reinterpret_cast<const uint8_t*>(text.data()), text.size(), 6));
    stream.resize(size);
    std::string header = headerText + "\r\npmzlibcodec" + std::string(12, '\0');
    header.resize(60, '\0');
    putLE(header, 52, uint32_t(text.size()));
    putLE(header, 56, uint32_t(stream.size()));
    return header + stream;
}

// The text inside a container, by the lengths its header gives.
std::string textOf(const std::string& container) {
    unsigned long size = getLE(container, 52);
    std::string text(size + 1, '\0');
    int rc = ZlibEngine::decompressMemory(reinterpret_cast<uint8_t*>(text.data()), &size,
                                          reinterpret_cast<const uint8_t*>(container.data()) + 60,
                                          container.size() - 60);
    EXPECT_EQ(Z_OK, rc);
    text.resize(size);
    return text;
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
class EnvGuard {
public:
    EnvGuard(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name))
            m_old = old, m_had = true;
        setenv(name, value, 1);
    }
    ~EnvGuard() {
        if (m_had)
            setenv(m_name, m_old.c_str(), 1);
        else
            unsetenv(m_name);
    }

private:
    const char* m_name;
    std::string m_old;
    bool m_had = false;
};

// Every test runs with the application temporary directory inside its own
// folder and ends by checking that no temporary "pia" file was left there.
class Pia : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(dir.file("tmp"));
        ut::FileName::setApplicationTempPath(W(dir.file("tmp") + "/"));
    }
    void TearDown() override {
        ut::FileName::setApplicationTempPath(OdString());
        std::vector<std::string> left;
        for (const auto& e : fs::directory_iterator(dir.file("tmp")))
            left.push_back(e.path().filename().string());
        EXPECT_TRUE(left.empty()) << "temporary files left: " << left.size() << ", first " << left.front();
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

    std::string writeContainer(const std::string& name, const std::string& bytes) {
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

std::string randomBytes(std::mt19937& rng, size_t n, const std::string& alphabet = std::string()) {
    std::string s(n, '\0');
    for (auto& c : s)
        c = alphabet.empty() ? char(rng() & 0xFF) : alphabet[rng() % alphabet.size()];
    return s;
}

} // namespace

// ---------------------------------------------------------------- tree

TEST_F(Pia, NumbersAreFormattedAsFixedPointText) {
    struct Row {
        double value;
        int precision;
        const char* text;
    };
    const Row rows[] = {
        {0.25, -1, "0.250000"},   // negative precision: six digits
        {0.1, 3, "0.100"},        //
        {2.5, 0, "2"},            // no point at precision 0; ties to even like printf
        {3.5, 0, "4"},            //
        {-1.5, 2, "-1.50"},       //
        {1e21, 0, "1000000000000000000000"}, // never exponent form
        {1e-7, -5, "0.000000"},   //
        {123.456, 1, "123.5"},    //
    };
    for (const auto& r : rows)
        EXPECT_EQ(r.text, U(CPNum(L"n", r.value, r.precision).value())) << r.value << " / " << r.precision;

    EXPECT_EQ("-1", U(CPNum(L"n", -1).value()));
    EXPECT_EQ("0", U(CPNum(L"n", 0).value()));
    EXPECT_EQ("-2147483648", U(CPNum(L"n", INT_MIN).value()));
    EXPECT_EQ(" 1,5 x", U(CPNum(L"n", L" 1,5 x").value())); // the parser's form: verbatim

    // A locale with a decimal comma must not change the text (only when one is installed).
    if (const char* old = setlocale(LC_NUMERIC, "de_DE.UTF-8")) {
        (void)old;
        EXPECT_EQ("0.500", U(CPNum(L"n", 0.5, 3).value()));
        double d = 0;
        CPBlock b(L"");
        b.add(new CPNum(L"v", L"0.5"));
        EXPECT_TRUE(readDouble(&b, L"v", d));
        EXPECT_EQ(0.5, d);
        setlocale(LC_NUMERIC, "C");
    }
}

TEST_F(Pia, BlockIdentityIsNameAndKind) {
    CPBlock block(L"");
    auto* num = new CPNum(L"x", 1);
    EXPECT_TRUE(block.add(num));
    // Same name, other kinds: all kept, in order.
    auto* str = new CPStr(L"x", L"1");
    EXPECT_TRUE(block.add(str));
    EXPECT_TRUE(block.add(new CPBlock(L"x")));
    EXPECT_EQ(num, block.find(L"x", kPNum));
    EXPECT_EQ(str, block.find(L"x", kPStr));
    EXPECT_EQ(block.item(2), block.findBlock(L"x"));
    EXPECT_EQ(nullptr, block.find(L"x", kPBool));

    // A second item of the same name and kind is refused and stays with the caller.
    CPNum duplicate(L"x", 2);
    EXPECT_FALSE(block.add(&duplicate));
    EXPECT_EQ(3u, block.size());
    EXPECT_FALSE(block.add(nullptr));

    // Names compare exactly: case, length and embedded prefixes matter.
    EXPECT_EQ(nullptr, block.find(L"X", kPNum));
    EXPECT_EQ(nullptr, block.find(L"x ", kPNum));
    EXPECT_EQ(nullptr, block.find(L"", kPNum));
    EXPECT_TRUE(block.add(new CPNum(L"xx", 3)));
    EXPECT_EQ(L"3", block.find(L"xx", kPNum) ? static_cast<CPNum*>(block.find(L"xx", kPNum))->value() : OdString());

    // The same rules in a block large enough to be indexed, across its growth.
    CPBlock big(L"plot_style");
    for (int i = 0; i < 300; ++i) {
        const std::wstring name = std::to_wstring(i);
        ASSERT_TRUE(big.add(new CPBlock(name.c_str())));
        ASSERT_TRUE(big.add(new CPStr(name.c_str(), L"s")));
        CPBlock again(name.c_str());
        ASSERT_FALSE(big.add(&again));
        for (int j = 0; j <= i; j += 37) {
            const std::wstring earlier = std::to_wstring(j);
            ASSERT_EQ(big.item(size_t(2 * j)), big.find(earlier.c_str(), kPBlock)) << i << " " << j;
            ASSERT_EQ(big.item(size_t(2 * j + 1)), big.find(earlier.c_str(), kPStr)) << i << " " << j;
        }
    }
    EXPECT_EQ(600u, big.size());
    EXPECT_EQ(nullptr, big.find(L"300", kPBlock));
    EXPECT_EQ(nullptr, big.find(L"12", kPNum));
    EXPECT_EQ(nullptr, big.find(L"", kPBlock));
}

TEST_F(Pia, TypedReadersScanNumbersOnly) {
    CPBlock block(L"");
    const struct {
        const wchar_t* text;
        bool intOk;
        int intValue;
        bool doubleOk;
        double doubleValue;
    } rows[] = {
        {L"12", true, 12, true, 12.0},
        {L" -7", true, -7, true, -7.0},               // leading blanks and sign
        {L"12abc", true, 12, true, 12.0},             // the rest after the number is ignored
        {L"0.28000000000 ([%&X'H7KT3]*M0)", true, 0, true, double(0.28f)}, // suffix written by newer releases
        {L"yes", false, 0, false, 0},                 //
        {L"", false, 0, false, 0},                    //
        {L"3000000000", true, INT_MAX, true, double(3e9f)}, // saturates
        {L"0.1", true, 0, true, double(0.1f)},        // single precision on purpose
        {L"1e3", true, 1, true, 1000.0},              //
    };
    int i = 0;
    for (const auto& r : rows) {
        std::wstring name = L"v" + std::to_wstring(i++);
        block.add(new CPNum(name.c_str(), r.text));
        int n = -99;
        double d = -99.0;
        EXPECT_EQ(r.intOk, readInt(&block, name.c_str(), n)) << U(r.text);
        EXPECT_EQ(r.intOk ? r.intValue : -99, n) << U(r.text);
        EXPECT_EQ(r.doubleOk, readDouble(&block, name.c_str(), d)) << U(r.text);
        EXPECT_EQ(r.doubleOk ? r.doubleValue : -99.0, d) << U(r.text);
    }

    // Only number items are read; the output stays untouched otherwise.
    block.add(new CPStr(L"s", L"5"));
    int n = 42;
    double d = 4.2;
    EXPECT_FALSE(readInt(&block, L"s", n));
    EXPECT_FALSE(readDouble(&block, L"missing", d));
    EXPECT_FALSE(readInt(nullptr, L"s", n));
    EXPECT_EQ(42, n);
    EXPECT_EQ(4.2, d);

    // Six decimals written, float accuracy read: 0.1 comes back as the float nearest to it.
    block.add(new CPNum(L"p", 0.1, 3));
    EXPECT_EQ(L"0.100", static_cast<CPNum*>(block.find(L"p", kPNum))->value());
    EXPECT_TRUE(readDouble(&block, L"p", d));
    EXPECT_EQ(double(0.1f), d);
    EXPECT_NE(0.1, d);
}

// ---------------------------------------------------------------- line syntax

TEST_F(Pia, LineSyntax) {
    const struct {
        const char* text;
        bool ok;
        const char* tree; // after the parse, also after a failure
        int line;         // the failing line
    } rows[] = {
        // values
        {"", true, "", 0},
        {"a=5\n", true, "n:a=5;", 0},
        {"  key  =5", true, "n:key=5;", 0},
        {"a==1", true, "n:a==1;", 0},
        {"\tk=1\nk\t=2", true, "n:\tk=1;n:k\t=2;", 0}, // a tab is part of the name
        {"}=1", true, "n:}=1;", 0},
        {"a=1\n\nb=2", true, "n:a=1;n:b=2;", 0},
        // strings: no closing quote, no escapes
        {"s=\"a\"b=}", true, "s:s=a\"b=};", 0},
        {"s=\"  x  ", true, "s:s=  x  ;", 0},
        {"s=\"", true, "s:s=;", 0},
        // booleans by whole-value comparison
        {"f=True\ng=fAlSe", true, "y:f=1;y:g=0;", 0},
        {"f=yes", true, "n:f=yes;", 0},
        {"f=TRUE ", true, "n:f=TRUE ;", 0},
        // binary values, over several lines, up to the next backslash
        {"x=\\abc\\", true, "x:x=abc;", 0},
        {"x=\\ab\ncd\\ignored\ny=1", true, "x:x=abcd;n:y=1;", 0},
        {"x=\\\\", true, "x:x=;", 0},
        {"a=1\nx=\\ab\ncd", false, "n:a=1;", 2}, // reported where the value began
        // names and identity
        {"my key=5", false, "", 1},
        {"=5", false, "", 1},
        {"   =5", false, "", 1},
        {"name=", false, "", 1},
        {"x=1\nx=2", false, "n:x=1;", 2},
        {"x=1\nx=\"1", true, "n:x=1;s:x=1;", 0},
        // lines that are neither or both
        {"s=\"a{b", false, "", 1},
        {"  \n", false, "", 1},
        {"a=1\n   \n", false, "n:a=1;", 2},
        {"}", false, "", 1},
        {"hello", false, "", 1},
        // blocks
        {"b{\n c=1\n}", true, "b{n:c=1;};", 0},
        {"b{\n c=1\n", true, "b{n:c=1;};", 0}, // a missing final brace is accepted
        {"a{\n b{\n  c=1", true, "a{b{n:c=1;};};", 0},
        {"a{\n b{\n  c=1\n }\n d=2\n}", true, "a{b{n:c=1;};n:d=2;};", 0},
        {"b{ trailing\n} trailing", true, "b{};", 0},
        {"a b{", false, "", 1},
        {"{", false, "", 1},
        {"b{\n}\nb{\n}", false, "b{};", 3},
        {"b{\nc=1\n}\nb=2", true, "b{n:c=1;};n:b=2;", 0},
        {"b{\n x}=1\n}", false, "", 2},                // "}" before "="
        {"b{\n x=}\n}", true, "b{n:x=};};", 0},        // "}" inside a value
        {"b{\n x{}\n}", false, "b{};", 3},             // "x{}" closes b; the last "}" is stray
        {"a=1\nb{\n c=1\nbad\n", false, "n:a=1;", 4}, // open blocks are dropped on failure
        // line ends
        {"a=1\r\nb=\"x\r\n", true, "n:a=1;s:b=x;", 0},
        {"s=\"a\rb\n", true, "s:s=a\rb;", 0},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.text);
        ParseResult p = parseText(r.text);
        EXPECT_EQ(r.ok, p.ok);
        EXPECT_EQ(r.tree, p.tree);
        EXPECT_EQ(r.line, p.line);
    }

    // NUL bytes end what is visible of a line, not the text.
    ParseResult nul = parseText(std::string("a=1\0junk\nb=2\n\0", 14));
    EXPECT_TRUE(nul.ok);
    EXPECT_EQ("n:a=1;n:b=2;", nul.tree);
}

TEST_F(Pia, LongLinesArriveInPieces) {
    // A binary value is joined from the 511-byte pieces of its line.
    const std::string payload(1500, 'f');
    ParseResult bin = parseText("x=\\" + payload + "\\\ny=1\n");
    EXPECT_TRUE(bin.ok);
    EXPECT_EQ("x:x=" + payload + ";n:y=1;", bin.tree);

    // A string is not: the second piece is a line of its own, and not a valid one.
    ParseResult str = parseText("s=\"" + std::string(600, 'a') + "\n");
    EXPECT_FALSE(str.ok);
    EXPECT_EQ(2, str.line);

    // Exactly 511 bytes before the line feed: the feed arrives as an empty line.
    ParseResult edge = parseText("s=\"" + std::string(508, 'a') + "\nt=1\n");
    EXPECT_TRUE(edge.ok);
    EXPECT_EQ("s:s=" + std::string(508, 'a') + ";n:t=1;", edge.tree);

    // A CR LF counts as one byte of a piece, also where a piece boundary falls
    // inside or right after it; the CR is never part of the line.
    for (size_t n : {size_t(506), size_t(507), size_t(508)}) {
        ParseResult crlf = parseText("s=\"" + std::string(n, 'a') + "\r\nt=1\r\n");
        EXPECT_TRUE(crlf.ok) << n;
        EXPECT_EQ("s:s=" + std::string(n, 'a') + ";n:t=1;", crlf.tree) << n;
    }

    // Nesting is bounded.
    std::string deep;
    for (int i = 0; i < CPIAParser::kMaxDepth; ++i)
        deep += "b{\n";
    EXPECT_TRUE(parseText(deep).ok);
    ParseResult tooDeep = parseText(deep + "b{\n");
    EXPECT_FALSE(tooDeep.ok);
    EXPECT_EQ(CPIAParser::kMaxDepth + 1, tooDeep.line);
}

// ---------------------------------------------------------------- printing

TEST_F(Pia, PrintsTheTreeAsTheApplicationDoes) {
    {
        // Root items at the margin, one blank per level, braces at the siblings' indentation.
        CPBlock root(L"");
        root.add(new CPNum(L"version", 2));
        auto* pens = new CPBlock(L"pens");
        pens->add(new CPStr(L"name", L"Pen"));
        auto* inner = new CPBlock(L"0");
        inner->add(new CPBool(L"on", true));
        inner->add(new CPBool(L"off", false));
        inner->add(new CPNum(L"w", 0.25, -1));
        pens->add(inner);
        root.add(pens);
        root.add(new CPStr(L"after", L"q\"uo=te}"));
        EXPECT_EQ("version=2\npens{\n name=\"Pen\n 0{\n  on=TRUE\n  off=FALSE\n  w=0.250000\n }\n}\n"
                  "after=\"q\"uo=te}\n",
                  printed(root));
    }
    {
        // An empty tree is an empty text; an empty block still prints its braces;
        // an empty binary item and an unknown kind print nothing.
        CPBlock root(L"");
        EXPECT_EQ("", printed(root));
        root.add(new CPBlock(L"e"));
        root.add(new CPBin(L"nothing", L""));
        root.add(new CPItem(7, L"odd"));
        EXPECT_EQ("e{\n}\n", printed(root));
    }
    {
        // Lines are cut to the 512-character buffer, indentation included.
        CPBlock root(L"");
        root.add(new CPStr(L"s", std::wstring(600, L'a').c_str()));
        auto* b = new CPBlock(L"b");
        auto* c = new CPBlock(L"c");
        c->add(new CPNum(L"n", std::wstring(600, L'9').c_str()));
        b->add(c);
        root.add(b);
        EXPECT_EQ("s=\"" + std::string(508, 'a') + "\nb{\n c{\n  n=" + std::string(507, '9') + "\n }\n}\n",
                  printed(root));
    }
}

TEST_F(Pia, PrintsBinaryValuesInPieces) {
    const struct {
        size_t payload; // under the name "b" at the margin, so the line starts with 3 characters
        bool closed;    // whether the closing backslash is written
    } rows[] = {
        {1, true}, {498, true}, {499, false} /* exactly 502: the quirk */, {500, true}, {600, true},
        {1001, false} /* a later piece of exactly 502 */, {1003, true},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.payload);
        std::wstring payload;
        for (size_t i = 0; i < r.payload; ++i)
            payload += L"0123456789ABCDEF"[i % 16];
        CPBlock root(L"");
        root.add(new CPBin(L"b", payload.c_str()));
        root.add(new CPNum(L"n", 1));
        root.add(new CPBin(L"c", L"x"));
        const std::string text = printed(root);
        // One physical line whatever the length.
        const std::string line = text.substr(0, text.find('\n'));
        EXPECT_EQ("b=\\" + U(payload) + (r.closed ? "\\" : ""), line);
        EXPECT_EQ(line + "\nn=1\nc=\\x\\\n", text);

        ParseResult back = parseText(text);
        EXPECT_TRUE(back.ok);
        if (r.closed)
            EXPECT_EQ("x:b=" + U(payload) + ";n:n=1;x:c=x;", back.tree);
        else // the reader keeps collecting until the next backslash
            EXPECT_EQ("x:b=" + U(payload) + "n=1c=;", back.tree);
    }

    // At depth 2 the indentation counts toward the 502 characters.
    CPBlock root(L"");
    auto* a = new CPBlock(L"a");
    auto* b = new CPBlock(L"b");
    b->add(new CPBin(L"raw", std::wstring(495, L'e').c_str()));
    a->add(b);
    root.add(a);
    EXPECT_EQ("a{\n b{\n  raw=\\" + std::string(495, 'e') + "\n }\n}\n", printed(root));
}

// ---------------------------------------------------------------- container bytes

TEST_F(Pia, ContainerLayout) {
    CPBlock root(L"");
    root.add(new CPStr(L"description", L"Test"));
    root.add(new CPNum(L"scale_factor", L"1.0"));
    const struct {
        int type;
        const char* letters;
    } types[] = {{CPIAFileOut::kColorTable, "CTB"}, {CPIAFileOut::kNamedTable, "STB"}, {CPIAFileOut::kPrinterConfig, "PC3"}};
    for (const auto& t : types) {
        SCOPED_TRACE(t.letters);
        const std::string bytes = readFile(writeTree(root, "t.bin", t.type));
        ASSERT_GT(bytes.size(), 60u);
        EXPECT_EQ(std::string("PIAFILEVERSION_2.0,") + t.letters + "VER1,compress\r\npmzlibcodec", bytes.substr(0, 48));
        const std::string text = "description=\"Test\nscale_factor=1.0\n";
        EXPECT_EQ(text.size(), getLE(bytes, 52));
        EXPECT_EQ(bytes.size() - 60, getLE(bytes, 56));
        // Level 6 with zlib's defaults: the same bytes as compress2 at level 6.
        EXPECT_EQ(containerOf(text).substr(60), bytes.substr(60));
        // Adler-32 started at 0 over bytes 52..59 and the stream; zlib's usual start of 1 is not it.
        uLong sum0 = adler32(0, reinterpret_cast<const Bytef*>(bytes.data()) + 52, uInt(bytes.size() - 52));
        uLong sum1 = adler32(1, reinterpret_cast<const Bytef*>(bytes.data()) + 52, uInt(bytes.size() - 52));
        EXPECT_EQ(uint32_t(sum0), getLE(bytes, 48));
        EXPECT_NE(uint32_t(sum1), getLE(bytes, 48));
    }

    // An empty tree: text length 0 and the zlib encoding of nothing.
    const std::string empty = readFile(writeTree(CPBlock(L""), "empty.ctb"));
    EXPECT_EQ(0u, getLE(empty, 52));
    EXPECT_EQ(containerOf("").substr(60), empty.substr(60));
}

TEST_F(Pia, ReaderChecksNothingInTheHeader) {
    const std::string text = "a=1\nb{\n c=\"x\n}\n";
    std::string bytes = containerOf(text);
    for (size_t i = 0; i < 60; ++i)
        bytes[i] = char(0xA5 ^ i); // arbitrary header: wrong text, checksum and lengths
    CPIAParser parser;
    EXPECT_TRUE(parser.parse(W(writeContainer("odd.ctb", bytes))));
    EXPECT_EQ("n:a=1;b{s:c=x;};", dump(parser.root()));

    // Paths written the Windows way name the same file.
    std::string winPath = dir.file("odd.ctb");
    std::replace(winPath.begin(), winPath.end(), '/', '\\');
    EXPECT_TRUE(parser.parse(W(winPath)));
}

TEST_F(Pia, WritingReplacesTheDestinationAtomically) {
    CPBlock root(L"");
    root.add(new CPNum(L"v", 1));
    const std::string path = writeTree(root, "table.ctb");
    chmod(path.c_str(), 0640);
    struct stat before;
    ASSERT_EQ(0, stat(path.c_str(), &before));

    root.add(new CPNum(L"w", 2));
    writeTree(root, "table.ctb");
    struct stat after;
    ASSERT_EQ(0, stat(path.c_str(), &after));
    EXPECT_NE(before.st_ino, after.st_ino); // a new file renamed into place
    EXPECT_EQ(0640u, after.st_mode & 0777u); // with the old one's permissions
    EXPECT_EQ("v=1\nw=2\n", textOf(readFile(path)));

    // A symbolic link keeps pointing at the replaced file.
    fs::create_symlink(path, dir.file("link.ctb"));
    root.add(new CPNum(L"x", 3));
    writeTree(root, "link.ctb");
    EXPECT_TRUE(fs::is_symlink(dir.file("link.ctb")));
    EXPECT_EQ("v=1\nw=2\nx=3\n", textOf(readFile(path)));

    // Failures: a missing folder, a directory in the way, a writer that never opened.
    const std::string old = readFile(path);
    CPIAFileOut out;
    EXPECT_EQ(0, out.open());
    out.writeBlock(&root);
    EXPECT_EQ(-2, out.close(W(dir.file("missing/t.ctb"))));
    fs::create_directory(dir.file("adir"));
    EXPECT_EQ(0, out.open());
    EXPECT_EQ(-2, out.close(W(dir.file("adir"))));
    EXPECT_TRUE(fs::is_directory(dir.file("adir")));
    CPIAFileOut never;
    EXPECT_EQ(-2, never.writeLine(L"a=1"));
    EXPECT_EQ(-2, never.close(W(path)));
    EXPECT_EQ(old, readFile(path));
    // Nothing but the files the test made is left beside them.
    EXPECT_EQ((std::vector<std::string>{"adir", "link.ctb", "table.ctb", "tmp"}), dir.entries());
}

// Files whose header holds its three numbers 8 bytes wide, as some 64-bit
// writers make them: the stream starts at 72, whatever the 12 extra bytes hold.
// Where a stream starts at 60 it is read from there, even when the bytes at 72
// happen to look like the start of another.
TEST_F(Pia, ReaderFindsTheStreamAfterAWideHeader) {
    const std::string text = "a=1\nb{\n c=\"x\n}\n";
    const std::string narrow = containerOf(text);
    auto widened = [&](const std::string& extra) { return narrow.substr(0, 60) + extra + narrow.substr(60); };

    // Stored (level 0): the text lies unchanged 7 bytes into the stream, so its
    // 6th and 7th bytes sit at 72 and 73; "x^" there is a valid zlib start.
    const std::string decoy = "d=\"abx^y\n";
    unsigned long size = ZlibEngine::compressedSize(decoy.size());
    std::string stored(size, '\0');
    ASSERT_EQ(Z_OK, ZlibEngine::compressMemory(reinterpret_cast<uint8_t*>(stored.data()), &size,
                                               reinterpret_cast<const uint8_t*>(decoy.data()), decoy.size(), 0));
    stored.resize(size);
    const std::string decoyFile = narrow.substr(0, 60) + stored;
    ASSERT_EQ("x^", decoyFile.substr(72, 2));

    std::string wideCorrupt = widened(std::string(12, '\0'));
    wideCorrupt.replace(76, 6, 6, '\xFF');
    const struct {
        const char* what;
        std::string bytes;
        int result;
        std::string text;
    } rows[] = {
        {"60-byte header", narrow, 0, text},
        {"72-byte header, high halves zero", widened(std::string(12, '\0')), 0, text},
        {"72-byte header, other bytes in 60..71", widened("\xA5\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B"), 0, text},
        {"stream at 60 wins over one at 72", decoyFile, 0, decoy},
        // Failures keep their codes: a broken stream after the wide header is zlib's
        // data error, and one cut short is zlib's buffer error, as at 60.
        {"72-byte header, broken stream", wideCorrupt, Z_DATA_ERROR, ""},
        {"72-byte header, cut short", widened(std::string(12, '\0')).substr(0, 76), Z_BUF_ERROR, ""},
        {"nothing at 60 or 72", narrow.substr(0, 60) + std::string(40, '\x55'), Z_DATA_ERROR, ""},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        const std::string path = writeContainer("wide.ctb", r.bytes);
        CPIAFileIn in;
        ASSERT_EQ(r.result, in.open(W(path)));
        if (r.result != 0)
            continue;
        std::string got;
        while (const wchar_t* line = in.readLine())
            got += U(line) + (in.lineEnded() ? "\n" : "");
        EXPECT_EQ(r.text, got);
        EXPECT_EQ(100, in.percent());
        CPIAParser parser;
        EXPECT_TRUE(parser.parse(W(path)));
    }
}

// ---------------------------------------------------------------- engine

TEST_F(Pia, EngineResultCodesAndHooks) {
    std::mt19937 rng(7);
    const std::string plain = randomBytes(rng, 20000, "abcdefgh\n");
    writeFile(dir.file("plain"), plain);
    const std::string src = dir.file("plain"), packed = dir.file("packed"), back = dir.file("back");
    {
        // A round trip, with progress reported along the way and 100 at the end.
        RecordingEngine e;
        EXPECT_EQ(0, e.compress(W(src), W(packed), 6));
        EXPECT_EQ(std::vector<std::string>{"Success"}, e.statuses);
        ASSERT_FALSE(e.percents.empty());
        EXPECT_EQ(100, e.percents.back());
        EXPECT_TRUE(std::is_sorted(e.percents.begin(), e.percents.end()));
        RecordingEngine d;
        EXPECT_EQ(0, d.decompress(W(packed), W(back)));
        EXPECT_EQ(plain, readFile(back));
        EXPECT_EQ(100, d.percent());
    }
    {
        // Abort from the progress hook: -7, "User Abort"; the flag is cleared by the next run.
        RecordingEngine e;
        e.abortAtCall = 1;
        EXPECT_EQ(-7, e.compress(W(src), W(packed), 6));
        EXPECT_EQ(std::vector<std::string>{"User Abort"}, e.statuses);
        e.abortAtCall = -1;
        EXPECT_EQ(0, e.compress(W(src), W(packed), 6));
    }
    {
        // Files that cannot be opened: -2 without a status, and no destination made.
        RecordingEngine e;
        EXPECT_EQ(-2, e.compress(W(dir.file("nope")), W(dir.file("out")), 6));
        EXPECT_FALSE(fs::exists(dir.file("out")));
        EXPECT_EQ(-2, e.decompress(W(src), W(dir.file("missing/out"))));
        EXPECT_TRUE(e.statuses.empty());
        EXPECT_EQ(Z_STREAM_ERROR, e.compress(W(src), W(dir.file("level")), 42)); // zlib refuses the level
    }
    {
        // zlib's own codes come back as they are, with "Zlib Error".
        const std::string stream = readFile(packed);
        writeFile(dir.file("corrupt"), stream.substr(0, 10) + std::string(50, '\x55') + stream.substr(60));
        RecordingEngine e;
        EXPECT_EQ(Z_DATA_ERROR, e.decompress(W(dir.file("corrupt")), W(back)));
        EXPECT_EQ(std::vector<std::string>{"Zlib Error"}, e.statuses);
        writeFile(dir.file("truncated"), stream.substr(0, stream.size() / 2));
        EXPECT_EQ(Z_BUF_ERROR, e.decompress(W(dir.file("truncated")), W(back)));
        writeFile(dir.file("empty"), "");
        EXPECT_EQ(Z_BUF_ERROR, e.decompress(W(dir.file("empty")), W(back)));
    }

    const struct {
        uint32_t total;
        uint64_t consumed;
        int percent;
    } rows[] = {
        {0, 0, 100},          {0, 5, 100},          {200, 0, 0},           {200, 199, 99},
        {10000000, 9999999, 99}, {10000001, 100000, 1}, {4000000000u, 4000000000u, 100},
        {20000099, 200000, 1}, // divided by 200000 (not 200000.99): integer steps first
    };
    for (const auto& r : rows)
        EXPECT_EQ(r.percent, ZlibEngine::percentOf(r.total, r.consumed)) << r.total << "/" << r.consumed;
}

TEST_F(Pia, MemoryFunctionsAreZlibs) {
    const std::string text(5000, 'z');
    unsigned long size = ZlibEngine::compressedSize(text.size());
    EXPECT_EQ(compressBound(text.size()), size);
    std::string packed(size, '\0');
    ASSERT_EQ(Z_OK, ZlibEngine::compressMemory(reinterpret_cast<uint8_t*>(packed.data()), &size,
                                               reinterpret_cast<const uint8_t*>(text.data()), text.size(), 9));
    packed.resize(size);
    std::string out(text.size(), '\0');
    unsigned long outSize = out.size();
    EXPECT_EQ(Z_OK, ZlibEngine::decompressMemory(reinterpret_cast<uint8_t*>(out.data()), &outSize,
                                                 reinterpret_cast<const uint8_t*>(packed.data()), packed.size()));
    EXPECT_EQ(text, out);
    outSize = 10;
    EXPECT_EQ(Z_BUF_ERROR, ZlibEngine::decompressMemory(reinterpret_cast<uint8_t*>(out.data()), &outSize,
                                                        reinterpret_cast<const uint8_t*>(packed.data()),
                                                        packed.size()));
}

TEST_F(Pia, ReaderBoundsWhatItInflates) {
    {
        CPIAFileIn in;
        in.setMaxTextSize(1000);
        EXPECT_EQ(0, in.open(W(writeContainer("fits.ctb", containerOf(std::string(1000, '\n'))))));
        EXPECT_EQ(ZlibEngine::kTooLarge, in.open(W(writeContainer("over.ctb", containerOf(std::string(1001, '\n'))))));
        EXPECT_EQ(nullptr, in.readLine());
    }
    // A real bomb: 65 MiB of blanks in some 65 KiB, refused at the default limit.
    const std::string bomb = containerOf(std::string((65u << 20), ' '));
    EXPECT_LT(bomb.size(), 100000u);
    CPIAParser parser;
    EXPECT_FALSE(parser.parse(W(writeContainer("bomb.ctb", bomb))));
    EXPECT_EQ(ZlibEngine::kTooLarge, parser.openResult());
    EXPECT_EQ(nullptr, parser.root());
}

// ---------------------------------------------------------------- encodings

TEST_F(Pia, TextEncodings) {
    EnvGuard cp("DRUTILS_ANSI_CODEPAGE", "1252");
    {
        // Well-formed UTF-8 is read as UTF-8.
        CPIAFileIn in;
        EXPECT_EQ(0, in.open(W(writeContainer("u.ctb", containerOf("d=\"Stra\xc3\x9f" "e \xe2\x82\xac\n")))));
        EXPECT_TRUE(in.isUtf8());
        EXPECT_EQ(std::wstring(L"d=\"Stra\u00dfe \u20ac"), in.readLine());
        EXPECT_TRUE(in.lineEnded());
        EXPECT_EQ(nullptr, in.readLine());
    }
    {
        // One byte that is not UTF-8 anywhere in the text makes all of it ANSI.
        CPIAFileIn in;
        EXPECT_EQ(0, in.open(W(writeContainer("a.ctb", containerOf("a=\"\xc3\x9f\nb=\"caf\xe9")))));
        EXPECT_FALSE(in.isUtf8());
        EXPECT_EQ(std::wstring(L"a=\"\u00c3\u0178"), in.readLine());
        EXPECT_EQ(std::wstring(L"b=\"caf\u00e9"), in.readLine());
        EXPECT_FALSE(in.lineEnded());
        EXPECT_EQ(nullptr, in.readLine());
    }
    {
        EnvGuard cyrillic("DRUTILS_ANSI_CODEPAGE", "1251");
        CPIAFileIn in;
        EXPECT_EQ(0, in.open(W(writeContainer("c.ctb", containerOf("n=\"\xcf\xe5\xf0\xee\n")))));
        EXPECT_EQ(std::wstring(L"n=\"\u041f\u0435\u0440\u043e"), in.readLine());
    }
    {
        // A character cut by a 511-byte piece shows replacement characters on both sides.
        std::string text = "x=\\" + std::string(507, 'a') + "\xe2\x82\xac" + "\\\n";
        ParseResult p = parseText(text);
        EXPECT_TRUE(p.ok);
        EXPECT_EQ("x:x=" + std::string(507, 'a') + "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd;", p.tree);
    }
    {
        // The writer converts to the ANSI code page; what it cannot hold becomes "?".
        CPBlock root(L"");
        root.add(new CPStr(L"d", L"caf\u00e9 \u4e2d"));
        EXPECT_EQ("d=\"caf\xe9 ?\n", printed(root));
    }
}

// ---------------------------------------------------------------- real files

TEST_F(Pia, RealFilesParseAndRoundTrip) {
    const struct {
        const char* file;
        int type;
        size_t styles; // sub-blocks of plot_style
    } files[] = {
        {"color-dependent-factory.ctb", CPIAFileOut::kColorTable, 255},
        {"color-dependent-custom.ctb", CPIAFileOut::kColorTable, 255},
        {"color-dependent-basic.ctb", CPIAFileOut::kColorTable, 255},
        {"named-factory.stb", CPIAFileOut::kNamedTable, 2},
        {"named-ttb-header.stb", CPIAFileOut::kNamedTable, 0},
        {"named-custom-300.stb", CPIAFileOut::kNamedTable, 0},
        {"named-small.stb", CPIAFileOut::kNamedTable, 0},
        {"printer-hpgl-raw-device-data.pc3", CPIAFileOut::kPrinterConfig, 0},
    };
    for (const auto& f : files) {
        SCOPED_TRACE(f.file);
        CPIAParser parser;
        ASSERT_TRUE(parser.parse(W(dataFile(f.file))));
        ASSERT_NE(nullptr, parser.root());
        if (f.styles) {
            ASSERT_NE(nullptr, parser.root()->findBlock(L"plot_style"));
            EXPECT_EQ(f.styles, parser.root()->findBlock(L"plot_style")->size());
        }
        // Printing the tree and reading it again gives the same tree.
        const std::string path = writeTree(*parser.root(), "copy.bin", f.type);
        CPIAParser again;
        ASSERT_TRUE(again.parse(W(path)));
        EXPECT_EQ(dump(parser.root()), dump(again.root()));
    }

    CPIAParser parser;
    ASSERT_TRUE(parser.parse(W(dataFile("color-dependent-basic.ctb"))));
    double scale = 0;
    EXPECT_TRUE(readDouble(parser.root(), L"scale_factor", scale));
    EXPECT_EQ(1.0, scale);
    const CPBlock* style = parser.root()->findBlock(L"plot_style")->findBlock(L"0");
    ASSERT_NE(nullptr, style);
    int color = 0;
    EXPECT_TRUE(readInt(style, L"color", color));

    // The long binary value of a printer configuration arrives whole.
    ASSERT_TRUE(parser.parse(W(dataFile("printer-hpgl-raw-device-data.pc3"))));
    const CPBlock* custom = parser.root()->findBlock(L"custom");
    ASSERT_NE(nullptr, custom);
    const CPBlock* entry = custom->findBlock(L"3");
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(L"RawPrivateDeviceData", static_cast<const CPStr*>(entry->find(L"name", kPStr))->value());
    const CPItem* raw = entry->find(L"value", kPBin);
    ASSERT_NE(nullptr, raw);
    EXPECT_GT(static_cast<const CPBin*>(raw)->value().getLength(), 5000);
}

// ---------------------------------------------------------------- bad input

TEST_F(Pia, BadInputFailsCleanly) {
    const std::string real = readFile(dataFile("color-dependent-factory.ctb"));
    CPIAParser parser;
    // Truncated containers, also shorter than the header.
    for (size_t cut : {size_t(0), size_t(10), size_t(59), size_t(60), size_t(61), size_t(200), real.size() / 2,
                       real.size() - 5}) {
        SCOPED_TRACE(cut);
        EXPECT_FALSE(parser.parse(W(writeContainer("cut.ctb", real.substr(0, cut)))));
        EXPECT_NE(0, parser.openResult());
        EXPECT_EQ(nullptr, parser.root());
    }
    EXPECT_FALSE(parser.parse(W(dir.file("does-not-exist.ctb"))));
    EXPECT_EQ(-2, parser.openResult());

    // Random bytes, as a container and as a text (bounded, fixed seed).
    std::mt19937 rng(20240521);
    for (int i = 0; i < 200; ++i) {
        const std::string bytes = randomBytes(rng, 1 + rng() % 2000);
        parser.parse(W(writeContainer("random.ctb", bytes)));
        parser.parseText(bytes.data(), bytes.size());
        const std::string text = randomBytes(rng, rng() % 3000, "ab =\"{}\\\n\r \t1");
        parser.parseText(text.data(), text.size());
        parser.parse(W(writeContainer("rtext.ctb", containerOf(text))));
    }

    // Ten megabytes on one line, as a string value and as an unterminated binary value.
    const std::string big(10u << 20, 'A');
    EXPECT_FALSE(parser.parse(W(writeContainer("big.ctb", containerOf("s=\"" + big)))));
    EXPECT_EQ(2, parser.errorLine());
    EXPECT_FALSE(parser.parse(W(writeContainer("bigbin.ctb", containerOf("x=\\" + big)))));
    EXPECT_EQ(1, parser.errorLine());
    EXPECT_EQ(std::wstring(L"binary value not closed"), parser.errorText());
    EXPECT_TRUE(parser.parse(W(writeContainer("bigok.ctb", containerOf("x=\\" + big + "\\")))));
    EXPECT_EQ(big.size(), size_t(static_cast<const CPBin*>(parser.root()->item(0))->value().getLength()));

    // Stray braces.
    EXPECT_FALSE(parser.parse(W(writeContainer("brace.ctb", containerOf("a=1\n}\n}\n")))));
    EXPECT_EQ(2, parser.errorLine());
    EXPECT_EQ("n:a=1;", dump(parser.root()));
}

// ---------------------------------------------------------------- tool

TEST_F(Pia, ToolCommands) {
    EnvGuard tmp("TMPDIR", dir.file("tmp").c_str());
    std::string out, err;
    EXPECT_EQ(0, runTool({"pia", "--help"}, &out));
    EXPECT_NE(std::string::npos, out.find("pack TEXT OUT"));
    EXPECT_EQ(2, runTool({"pia", "frob"}, nullptr, &err));

    // cat prints the text inside, long lines whole.
    EXPECT_EQ(0, runTool({"pia", "cat", dataFile("printer-hpgl-raw-device-data.pc3")}, &out));
    const std::string inside = textOf(readFile(dataFile("printer-hpgl-raw-device-data.pc3")));
    EXPECT_EQ(inside.substr(0, inside.find('\0')), out);

    // pack builds a container that reads back to the same text; a broken text is refused.
    writeFile(dir.file("t.txt"), "description=\"Mine\r\nplot_style{\r\n 0{\r\n  color=-1\r\n }\r\n}\r\n");
    EXPECT_EQ(0, runTool({"pia", "pack", dir.file("t.txt"), dir.file("t.stb")}, &out, &err)) << err;
    const std::string packed = readFile(dir.file("t.stb"));
    EXPECT_EQ("PIAFILEVERSION_2.0,STBVER1,compress", packed.substr(0, 35));
    EXPECT_EQ("description=\"Mine\nplot_style{\n 0{\n  color=-1\n }\n}\n", textOf(packed));
    EXPECT_EQ(0, runTool({"pia", "pack", dir.file("t.txt"), dir.file("t.out"), "--kind", "pc3"}));
    EXPECT_EQ("PC3", readFile(dir.file("t.out")).substr(19, 3));
    EXPECT_EQ(2, runTool({"pia", "pack", dir.file("t.txt"), dir.file("t.out"), "--kind", "dwg"}));
    EXPECT_EQ(2, runTool({"pia", "pack", dir.file("t.txt"), dir.file("t.noext")}));
    writeFile(dir.file("bad.txt"), "a=1\nb{\n my key=2\n}\n");
    EXPECT_EQ(1, runTool({"pia", "pack", dir.file("bad.txt"), dir.file("bad.ctb")}, nullptr, &err));
    EXPECT_NE(std::string::npos, err.find("line 3: blank inside a name")) << err;
    EXPECT_FALSE(fs::exists(dir.file("bad.ctb")));

    // check reports each file; exit 1 when any cannot be read.
    writeContainer("broken.ctb", containerOf("a=1\nb{\n my key=2\n}\n"));
    writeContainer("short.ctb", "PIAFILE");
    EXPECT_EQ(0, runTool({"pia", "check", dir.file("t.stb"), dataFile("named-small.stb")}, &out));
    EXPECT_EQ(dir.file("t.stb") + ": OK\n" + dataFile("named-small.stb") + ": OK\n", out);
    EXPECT_EQ(1, runTool({"pia", "check", dir.file("broken.ctb"), dir.file("short.ctb")}, &out));
    EXPECT_EQ(dir.file("broken.ctb") + ": line 3: blank inside a name\n" + dir.file("short.ctb") +
                  ": cannot read: compressed data is truncated or missing\n",
              out);
    EXPECT_EQ(1, runTool({"pia", "check", "--json", dir.file("broken.ctb")}, &out));
    EXPECT_EQ("[{\"file\":\"" + dir.file("broken.ctb") +
                  "\",\"ok\":false,\"line\":3,\"reason\":\"blank inside a name\"}]\n",
              out);
}
