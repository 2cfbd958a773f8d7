#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "test_support.h"
#include "ut_strings.h"

using testing_support::W;

namespace {

std::vector<std::wstring> parts(const OdArray<OdString>& a) {
    std::vector<std::wstring> v;
    for (const auto& s : a)
        v.push_back(s.str());
    return v;
}

} // namespace

TEST(StringParser, AttributeRules) {
    struct Row {
        const wchar_t* text;
        bool ok;
        const wchar_t* message;
        std::vector<std::pair<std::wstring, std::wstring>> attributes;
    };
    const Row rows[] = {
        {L"priority={0}  message", true, L"message", {{L"priority", L"0"}}},
        {L"priority={1} entity={hf56} message", true, L"message", {{L"entity", L"hf56"}, {L"priority", L"1"}}},
        // leading blanks go, blanks inside and at the end of the message stay
        {L"   new message \n", true, L"new message \n", {}},
        {L"  attrib1={value1}", true, L"", {{L"attrib1", L"value1"}}},
        // an unclosed value stays in the message as written
        {L"  attrib1={value1", false, L"attrib1={value1", {}},
        {L"  attrib1={value1} attrib2={value2 message", false, L"attrib2={value2 message", {{L"attrib1", L"value1"}}},
        // a blank on either side of "=" ends the attributes
        {L"priority ={0}  message", true, L"priority ={0}  message", {}},
        {L"priority= {0}  message", true, L"priority= {0}  message", {}},
        {L"priority={1} x = 5  y= 3    z =8", true, L"x = 5  y= 3    z =8", {{L"priority", L"1"}}},
        // the first value of a repeated attribute wins; values may hold blanks and "{"
        {L"a={1} a={2} b={x {y} rest", true, L"rest", {{L"a", L"1"}, {L"b", L"x {y"}}},
        {L"a={}text", true, L"text", {{L"a", L""}}},
        {L"", true, L"", {}},
        {L"name=", true, L"name=", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "text: " << testing_support::U(row.text));
        ut::CStringParser p;
        EXPECT_EQ(row.ok, p.parse(row.text));
        EXPECT_EQ(std::wstring(row.message), p.message().str());
        std::vector<std::pair<std::wstring, std::wstring>> got;
        for (const auto& [k, v] : p.attributes())
            got.emplace_back(k.str(), v.str());
        EXPECT_EQ(row.attributes, got);
    }
}

TEST(StringParser, ReparseForgetsAndCopiesAreIndependent) {
    ut::CStringParser p;
    ASSERT_TRUE(p.parse(L"priority={2} one"));
    ut::CStringParser copy(p);
    ASSERT_TRUE(p.parse(L"two"));
    EXPECT_TRUE(p.attribute(L"priority").isEmpty());
    EXPECT_EQ(OdString(L"two"), p.message());
    EXPECT_EQ(OdString(L"2"), copy.attribute(L"priority"));
    EXPECT_EQ(OdString(L"one"), copy.message());
    p.init();
    EXPECT_TRUE(p.message().isEmpty());
    EXPECT_TRUE(p.attributes().empty());
}

TEST(Split, DelimiterRules) {
    struct Row {
        const wchar_t* text;
        std::vector<std::wstring> delimiters;
        bool keepEmpty, keepDelimiters;
        std::vector<std::wstring> expected;
    };
    const Row rows[] = {
        {L"a|b||c", {L"|"}, false, false, {L"a", L"b", L"c"}},
        {L"a|b||c", {L"|"}, true, false, {L"a", L"b", L"", L"c"}},
        {L"a|b||c", {L"|"}, false, true, {L"a", L"|", L"b", L"|", L"|", L"c"}},
        // the longer of two delimiters found at the same place wins, whatever the list order
        {L"a|b||c", {L"|", L"||"}, true, true, {L"a", L"|", L"b", L"||", L"c"}},
        // the earliest occurrence wins over a longer one further on
        {L"x-y--z", {L"--", L"-"}, false, false, {L"x", L"y", L"z"}},
        // a trailing delimiter gives a final empty part only with keepEmpty
        {L"a,b,", {L","}, false, false, {L"a", L"b"}},
        {L"a,b,", {L","}, true, false, {L"a", L"b", L""}},
        {L",a", {L","}, true, false, {L"", L"a"}},
        // empty delimiters are dropped; none left means the text whole
        {L"abc", {L""}, false, false, {L"abc"}},
        {L"", {L""}, false, false, {}},
        {L"", {L""}, true, false, {L""}},
        {L"", {L","}, false, false, {}},
        {L"", {L","}, true, false, {L""}},
        {L"no delimiter", {L";"}, false, false, {L"no delimiter"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "text: " << testing_support::U(row.text));
        OdArray<OdString> delimiters, out;
        for (const auto& d : row.delimiters)
            delimiters.append(OdString(d));
        ut::split(out, row.text, delimiters, row.keepEmpty, row.keepDelimiters);
        EXPECT_EQ(row.expected, parts(out));
    }
}

TEST(Split, SingleDelimiterCharAndLinesAppend) {
    OdArray<OdString> out;
    out.append(L"kept");
    ut::split(out, L"1::2", OdString(L"::"));
    EXPECT_EQ((std::vector<std::wstring>{L"kept", L"1", L"2"}), parts(out));

    out.clear();
    ut::splitByChar(out, L";a;;b;", L';');
    EXPECT_EQ((std::vector<std::wstring>{L"", L"a", L"", L"b", L""}), parts(out));
    out.clear();
    ut::splitByChar(out, L"", L';');
    EXPECT_TRUE(out.isEmpty());

    out.clear();
    ut::splitLines(out, L"one\r\ntwo\n\nthree\rfour\n", false);
    EXPECT_EQ((std::vector<std::wstring>{L"one", L"two", L"three", L"four"}), parts(out));
    out.clear();
    ut::splitLines(out, L"a\r\n\r\nb", true);
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"", L"b"}), parts(out));
}

TEST(IsValidName, CharactersEscapesAndLimit) {
    struct Row {
        std::wstring name;
        bool valid;
    };
    const std::wstring a255(255, L'a');
    const Row rows[] = {
        {L"", false},
        {L"Layer 1", true},
        {L"Ebene-\u00C4\u00D6\u00DC_\u6F22\u5B57", true},
        {a255, true},
        {a255 + L"a", false},
        // every forbidden character, alone and inside a name
        {L"\"", false}, {L"a*b", false}, {L"a,b", false}, {L"a/b", false}, {L"a:b", false},
        {L"a;b", false}, {L"a<b", false}, {L"a=b", false}, {L"a>b", false}, {L"a?b", false},
        {L"a\\b", false}, {L"a`b", false}, {L"a|b", false},
        // the escapes are the only backslashes allowed
        {L"\\U+00C4rger", true},
        {L"\\M+18140", true},
        {L"\\U+00G4", false},
        {L"\\U+00C", false},
        {L"\\M+X8140", false},
        // upper-case U and M only
        {L"a\\u+0041", false},
        {L"a\\m+10041", false},
        {L"\\U+00c4", true},
        {L"ab\\", false},
        // escapes count at their written length: 249 + 6 = 255 fits, 250 + 6 does not
        {std::wstring(249, L'a') + L"\\U+0041", true},
        {std::wstring(250, L'a') + L"\\U+0041", false},
        {std::wstring(248, L'a') + L"\\M+18140", true},
        {std::wstring(249, L'a') + L"\\M+18140", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "name: " << testing_support::U(OdString(row.name)));
        EXPECT_EQ(row.valid, ut::isValidName(row.name.c_str()));
    }
    EXPECT_FALSE(ut::isValidName(nullptr));
}

TEST(IsValidName, SameVerdictUnderAnotherCodePage) {
    // The check switches the character-type locale for its duration; another ANSI
    // code page must neither change verdicts nor leave the locale changed.
    const char* old = std::getenv("DRUTILS_ANSI_CODEPAGE");
    std::string saved = old ? old : "";
    setenv("DRUTILS_ANSI_CODEPAGE", "932", 1);
    EXPECT_TRUE(ut::isValidName(L"\u56F3\u9762"));
    EXPECT_FALSE(ut::isValidName(L"\u56F3:\u9762"));
    if (old)
        setenv("DRUTILS_ANSI_CODEPAGE", saved.c_str(), 1);
    else
        unsetenv("DRUTILS_ANSI_CODEPAGE");
}

TEST(StringChecks, WildcardsHandlesHexAndQuotes) {
    for (const wchar_t* s : {L"*", L"a?", L"a,b", L"a.b", L"#1", L"@x", L"`", L"[a]", L"~x"})
        EXPECT_TRUE(ut::hasWildcard(s)) << testing_support::U(s);
    EXPECT_FALSE(ut::hasWildcard(L"plain name-1_2"));
    EXPECT_FALSE(ut::hasWildcard(nullptr));

    EXPECT_TRUE(ut::isValidHandleString(L"1A2b"));
    EXPECT_TRUE(ut::isValidHandleString(L"  ff"));
    EXPECT_TRUE(ut::isValidHandleString(L"   "));
    EXPECT_FALSE(ut::isValidHandleString(L"ff "));
    EXPECT_FALSE(ut::isValidHandleString(L"0x1F"));
    EXPECT_FALSE(ut::isValidHandleString(L""));
    EXPECT_FALSE(ut::isValidHandleString(nullptr));
    EXPECT_TRUE(ut::isValidHexDigit(L'f') && ut::isValidHexDigit(L'F') && ut::isValidHexDigit(L'9'));
    EXPECT_FALSE(ut::isValidHexDigit(L'g') || ut::isValidHexDigit(L' '));

    const wchar_t* text = L"say \\\"hi\\\" then\" rest";
    EXPECT_EQ(text + 15, ut::findEndingQuote(text));
    EXPECT_EQ(nullptr, ut::findEndingQuote(L"no \\\" end"));
    EXPECT_EQ(nullptr, ut::findEndingQuote(nullptr));

    EXPECT_TRUE(ut::checkSlashes(L"a\\b"));
    EXPECT_FALSE(ut::checkSlashes(L"a/b"));
}

TEST(StringChecks, CompareNamesLowercase) {
    EXPECT_EQ(0, ut::compareNamesLowercase(L"Layer", L"LAYER"));
    EXPECT_LT(ut::compareNamesLowercase(L"abc", L"ABD"), 0);
    EXPECT_GT(ut::compareNamesLowercase(L"abcd", L"ABC"), 0);
    EXPECT_LT(ut::compareNamesLowercase(L"ab", L"abc"), 0);
    // only A-Z fold: accented capitals differ from their small letters
    EXPECT_NE(0, ut::compareNamesLowercase(L"\u00C4", L"\u00E4"));
    // n limits the comparison; 0 means no limit
    EXPECT_EQ(0, ut::compareNamesLowercase(L"abcX", L"ABCy", 3));
    EXPECT_NE(0, ut::compareNamesLowercase(L"abcX", L"ABCy", 0));
}

TEST(StringEditing, SlashesAndSymbols) {
    OdString s(L"a/b|c");
    OdString& same = ut::correctSlashes(s);
    EXPECT_EQ(&s, &same);
    EXPECT_EQ(OdString(L"a\\b c"), s);
    EXPECT_EQ(OdString(L"x\\y z"), ut::correctSlashes(OdString(L"x/y|z")));
    EXPECT_EQ(OdString(L"\\\\srv\\share"), ut::correctSlashes(L"//srv/share"));
    EXPECT_EQ(OdString(L"a\\b\\c"), ut::makeBackSlashes(L"a/b\\c"));

    wchar_t buf[] = L"a-b-c";
    ut::replaceSymbol(buf, L'-', L'+');
    EXPECT_STREQ(L"a+b+c", buf);
    ut::replaceSymbol(nullptr, L'-', L'+');
}

TEST(StringEditing, TrimTrailingZeros) {
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"2.500", L"2.5"}, {L"3.000", L"3"}, {L"100", L"100"},  {L"7.", L"7"},
        {L"0.0", L"0"},     {L"10.10", L"10.1"}, {L".50", L".50"}, {L"", L""},
    };
    for (const auto& [in, out] : rows) {
        OdString s(in);
        EXPECT_EQ(OdString(out), ut::trimTrailingZeros(s, L'.')) << testing_support::U(in);
    }
    OdString comma(L"1,2300");
    EXPECT_EQ(OdString(L"1,23"), ut::trimTrailingZeros(comma, L','));
}

TEST(StringEditing, TruncateWithDots) {
    struct Row {
        const wchar_t* in;
        int maxLen;
        const wchar_t* mode;
        const wchar_t* out;
    };
    const Row rows[] = {
        {L"abcdefghij", 7, L"e", L"abcd..."},
        {L"abcdefghij", 7, L"End", L"abcd..."},
        {L"abcdefghij", 7, L"b", L"...ghij"},
        {L"abcdefghij", 7, L"B", L"...ghij"},
        {L"abcdefghij", 7, L"x", L"abcdefghij"},
        {L"abcdefghij", 3, L"e", L"abcdefghij"},
        {L"abcdefghij", 10, L"e", L"abcdefghij"},
        {L"abcdefghij", 4, L"b", L"...j"},
    };
    for (const auto& row : rows) {
        wchar_t buf[32];
        wcscpy(buf, row.in);
        ut::truncateWithDots(buf, row.maxLen, row.mode);
        EXPECT_STREQ(row.out, buf) << row.maxLen << " " << testing_support::U(row.mode);
    }
    ut::truncateWithDots(nullptr, 5, L"e");
}

TEST(StringHelpers, SmallEditors) {
    EXPECT_EQ(OdString(L"a b"), ut::trimQuotes(L"\"a b\""));
    EXPECT_EQ(OdString(L"\"a b'"), ut::trimQuotes(L"\"a b'"));
    EXPECT_EQ(OdString(L"\""), ut::trimQuotes(L"\""));
    EXPECT_EQ(OdString(L"007"), ut::padAtLeftSide(L"7", 3, L'0'));
    EXPECT_EQ(OdString(L"ab  "), ut::padAtRightSide(L"ab", 4));
    EXPECT_EQ(OdString(L"long"), ut::padAtLeftSide(L"long", 2));
    EXPECT_EQ(OdString(L"abc"), ut::removeSpaces(L" a\tb\nc "));
    EXPECT_TRUE(ut::startsWith(L"Drawing1.dwg", L"draw", true));
    EXPECT_FALSE(ut::startsWith(L"Drawing1.dwg", L"draw"));
    EXPECT_TRUE(ut::endsWith(L"Drawing1.DWG", L".dwg", true));
    EXPECT_FALSE(ut::endsWith(L"g", L".dwg", true));
    OdArray<OdString> prefixes;
    prefixes.append(L"x");
    prefixes.append(L"Dr");
    EXPECT_TRUE(ut::startsWithAny(L"Drawing", prefixes));
    EXPECT_EQ(OdString(L"ab"), ut::removeLast(L"abc"));
    EXPECT_EQ(OdString(), ut::removeLast(L"abc", 5));
    EXPECT_EQ(OdString(L"key"), ut::beforeFirst(L"key=value=2", L'='));
    EXPECT_EQ(OdString(L"value=2"), ut::afterFirst(L"key=value=2", L'='));
    EXPECT_EQ(OdString(L"none"), ut::beforeFirst(L"none", L'='));
    EXPECT_EQ(OdString(), ut::afterFirst(L"none", L'='));
    EXPECT_EQ(4, ut::findSubstringNoCase(L"the LAYER", L"layer"));
    EXPECT_EQ(-1, ut::findSubstringNoCase(L"the LAYER", L"layer", 5));

    wchar_t small[4];
    EXPECT_STREQ(L"abc", ut::safe_tcsncpy(small, L"abcdef", 4));
    EXPECT_STREQ(L"", ut::safe_tcsncpy(small, nullptr, 4));
}

TEST(StringHelpers, NumbersAndFormats) {
    for (const wchar_t* s : {L"1", L"-2.5", L"+.5", L"3.", L" 1e-3 ", L"6.02E23"})
        EXPECT_TRUE(ut::isNumber(s)) << testing_support::U(s);
    for (const wchar_t* s : {L"", L".", L"-", L"1.2.3", L"1e", L"12a", L"0x10"})
        EXPECT_FALSE(ut::isNumber(s)) << testing_support::U(s);
    EXPECT_TRUE(ut::isNumber(L"2,5", L','));
    EXPECT_TRUE(ut::isInteger(L" -42 "));
    EXPECT_FALSE(ut::isInteger(L"4.2"));
    EXPECT_FALSE(ut::isInteger(L"+"));
    EXPECT_EQ(OdString(L"%.3f"), ut::getNumberFormat(L"1.250"));
    EXPECT_EQ(OdString(L"%.0f"), ut::getNumberFormat(L"12"));
}

TEST(StringHelpers, FormattingCodesAndDirection) {
    EXPECT_EQ(OdString(L"Hello big world"), ut::removeFormatting(L"{\\H2.5;Hello} \\C1;big\\Pworld"));
    EXPECT_EQ(OdString(L"a\\b{c}"), ut::removeFormatting(L"\\La\\\\b\\{c\\}\\l"));
    EXPECT_EQ(OdString(L"1/2 inch"), ut::removeFormatting(L"\\S1^2; inch"));
    EXPECT_TRUE(ut::isFormattingChar(L'P'));
    EXPECT_FALSE(ut::isFormattingChar(L'Z'));
    EXPECT_TRUE(ut::isMTextFormatCodeWithValue(L'H'));
    EXPECT_FALSE(ut::isMTextFormatCodeWithValue(L'L'));
    EXPECT_TRUE(ut::isRightToLeftChar(L'\u05D0'));
    EXPECT_TRUE(ut::isRightToLeftChar(L'\u0627'));
    EXPECT_FALSE(ut::isRightToLeftChar(L'a'));
    EXPECT_TRUE(ut::isLeftToRightChar(L'a'));
    EXPECT_FALSE(ut::isLeftToRightChar(L'\u05D0'));
    EXPECT_FALSE(ut::isLeftToRightChar(L'1'));

    OdString lib, slide;
    EXPECT_TRUE(ut::splitSlideSpecification(L"acad(box)", lib, slide));
    EXPECT_EQ(OdString(L"acad"), lib);
    EXPECT_EQ(OdString(L"box"), slide);
    EXPECT_TRUE(ut::splitSlideSpecification(L"box", lib, slide));
    EXPECT_TRUE(lib.isEmpty());
    EXPECT_EQ(OdString(L"box"), slide);
    EXPECT_FALSE(ut::splitSlideSpecification(L"acad(box", lib, slide));
}

TEST(StringHelpers, NfgetsReadsUtf8LinesInPieces) {
    testing_support::TempDir dir;
    testing_support::writeFile(dir.file("t.txt"), "\xC3\x84rger\r\nabcdefgh\nlast");
    FILE* f = std::fopen(dir.file("t.txt").c_str(), "rb");
    ASSERT_NE(nullptr, f);
    wchar_t buf[6];
    EXPECT_STREQ(L"\u00C4rger", ut::nfgets(buf, 6, f));
    EXPECT_STREQ(L"abcde", ut::nfgets(buf, 6, f));
    EXPECT_STREQ(L"fgh", ut::nfgets(buf, 6, f));
    EXPECT_STREQ(L"last", ut::nfgets(buf, 6, f));
    EXPECT_EQ(nullptr, ut::nfgets(buf, 6, f));
    std::fclose(f);
}
