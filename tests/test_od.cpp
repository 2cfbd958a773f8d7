// The SDK stand-in types and the code-page service that the file formats rely on.
#include <gtest/gtest.h>

#include <cstdlib>

#include "od/OdArray.h"
#include "od/OdString.h"
#include "platform/codepage.h"
#include "test_support.h"
#include "ut_log.h"

using namespace ut::platform;

TEST(OdString, EditingAndFormatting) {
    OdString s(L"  Layer 7  ");
    s.trimLeft().trimRight();
    EXPECT_EQ(OdString(L"Layer 7"), s);
    EXPECT_EQ(OdString(L"Lay"), s.left(3));
    EXPECT_EQ(OdString(L"7"), s.right(1));
    EXPECT_EQ(OdString(L"er"), s.mid(3, 2));
    EXPECT_EQ(OdString(), s.mid(50));
    EXPECT_EQ(0, OdString(L"ABC").iCompare(L"abc"));
    EXPECT_EQ(2, OdString(L"a.b.c").replace(L'.', L'/'));
    OdString f;
    f.format(L"%ls=%d %.3f", L"x", -1, 0.25);
    EXPECT_EQ(OdString(L"x=-1 0.250"), f);
    // formatting grows past any fixed buffer
    f.format(L"%ls", std::wstring(5000, L'z').c_str());
    EXPECT_EQ(5000, f.getLength());
    EXPECT_EQ(OdString(L"\u00C4"), OdString("\xC3\x84"));
}

TEST(OdArray, BasicUse) {
    OdArray<int> a;
    a.append(3);
    a.append(5);
    a.insertAt(0, 1);
    EXPECT_EQ(3u, a.size());
    unsigned at = 0;
    EXPECT_TRUE(a.find(5, at));
    EXPECT_EQ(2u, at);
    a.removeAt(1);
    EXPECT_EQ(5, a.last());
    EXPECT_FALSE(a.contains(3));
}

TEST(CodePage, ChosenFromLocaleLikeWindows) {
    const std::pair<const char*, int> rows[] = {
        {"C", 1252},          {"POSIX", 1252},      {"en_US.UTF-8", 1252}, {"de_DE.UTF-8", 1252},
        {"pl_PL.UTF-8", 1250}, {"ru_RU.UTF-8", 1251}, {"el_GR", 1253},       {"tr_TR.UTF-8", 1254},
        {"he_IL", 1255},      {"ar_EG", 1256},      {"lt_LT", 1257},       {"vi_VN", 1258},
        {"th_TH", 874},       {"ja_JP.UTF-8", 932}, {"zh_CN.UTF-8", 936},  {"ko_KR.EUC-KR", 949},
        {"zh_TW.UTF-8", 950}, {"sr_RS@latin", 1250},
    };
    for (const auto& [locale, cp] : rows)
        EXPECT_EQ(cp, codePageForLocale(locale)) << locale;

    const char* old = std::getenv("DRUTILS_ANSI_CODEPAGE");
    std::string saved = old ? old : "";
    setenv("DRUTILS_ANSI_CODEPAGE", "1251", 1);
    EXPECT_EQ(1251, ansiCodePage());
    setenv("DRUTILS_ANSI_CODEPAGE", "not-a-number", 1);
    EXPECT_NE(0, ansiCodePage());
    if (old)
        setenv("DRUTILS_ANSI_CODEPAGE", saved.c_str(), 1);
    else
        unsetenv("DRUTILS_ANSI_CODEPAGE");
}

TEST(CodePage, ConversionsSubstituteInsteadOfFailing) {
    EXPECT_EQ(std::string("\xC4rger"), wideToCodePage(L"\u00C4rger", 1252));
    EXPECT_EQ(std::wstring(L"\u00C4rger"), codePageToWide("\xC4rger", 1252));
    EXPECT_EQ(std::wstring(L"\u0416"), codePageToWide("\xC6", 1251));
    EXPECT_EQ(std::string("\x82\xA0"), wideToCodePage(L"\u3042", 932));
    // a character the code page lacks becomes "?", an undecodable byte U+FFFD
    EXPECT_EQ(std::string("a?b"), wideToCodePage(L"a\u6F22b", 1252));
    EXPECT_EQ(std::wstring(L"a\uFFFDb"), utf8ToWide("a\xFF" "b"));
    EXPECT_EQ(std::string("\xE6\xBC\xA2"), wideToUtf8(L"\u6F22"));
    EXPECT_TRUE(isValidUtf8("plain ascii"));
    EXPECT_TRUE(isValidUtf8("\xC3\x84"));
    EXPECT_FALSE(isValidUtf8("\xC4rger"));
    EXPECT_FALSE(isValidUtf8("\xE0\x80\x80")); // overlong
    EXPECT_FALSE(isValidUtf8("\xED\xA0\x80")); // surrogate
    EXPECT_FALSE(isValidUtf8("\xC3"));         // truncated
}

TEST(Log, RecordsCarrySourceAndFunction) {
    testing_support::LogCapture log;
    ut::logError("src/utils/ut_config", "ut::Config::exportGroup", L"Cannot open file '%ls'", L"a.reg");
    ut::logWarning("src/utils/ut_x", "ut::f", "%d problems", 2);
    wxLog::FlushActive();
    ASSERT_EQ(2u, log.records().size());
    EXPECT_EQ(wxLOG_Error, log.records()[0].level);
    EXPECT_EQ("Cannot open file 'a.reg'", log.records()[0].text);
    EXPECT_EQ("src/utils/ut_config", log.records()[0].file);
    EXPECT_EQ("ut::Config::exportGroup", log.records()[0].function);
    EXPECT_EQ(wxLOG_Warning, log.records()[1].level);
    EXPECT_EQ("2 problems", log.records()[1].text);
}
