// The drutils tool's common behaviour and the name and path groups.
#include <gtest/gtest.h>

#include "test_support.h"

using testing_support::runTool;

TEST(Tool, ExitCodesAndHelp) {
    std::string out, err;
    EXPECT_EQ(0, runTool({"--help"}, &out));
    EXPECT_NE(std::string::npos, out.find("name"));
    EXPECT_EQ(0, runTool({"--version"}, &out));
    EXPECT_EQ(0u, out.find("drutils "));
    EXPECT_EQ(2, runTool({}, nullptr, &err));
    EXPECT_EQ(2, runTool({"nosuchgroup"}, nullptr, &err));
    EXPECT_NE(std::string::npos, err.find("unknown group"));
    EXPECT_EQ(0, runTool({"name", "--help"}, &out));
    EXPECT_EQ(2, runTool({"name", "frobnicate"}));
    EXPECT_EQ(2, runTool({"path", "info"}));
}

TEST(Tool, NameCheck) {
    std::string out;
    EXPECT_EQ(0, runTool({"name", "check", "Layer 1", "\\U+00C4rger"}, &out));
    EXPECT_EQ("valid    Layer 1\nvalid    \\U+00C4rger\n", out);
    EXPECT_EQ(1, runTool({"name", "check", "ok", "a:b", std::string(256, 'x')}, &out));
    EXPECT_NE(std::string::npos, out.find("invalid  a:b  (character ':' is not allowed)"));
    EXPECT_NE(std::string::npos, out.find("longer than 255 characters (256)"));
    EXPECT_EQ(1, runTool({"name", "check", "--json", "ok", "a\\b"}, &out));
    EXPECT_EQ("[{\"name\":\"ok\",\"valid\":true},{\"name\":\"a\\\\b\",\"valid\":false,"
              "\"reason\":\"backslash outside a \\\\U+ or \\\\M+ escape\"}]\n",
              out);
}

TEST(Tool, PathInfo) {
    testing_support::TempDir dir;
    testing_support::writeFile(dir.file("plan.dwg"), "abc");
    std::string out;
    EXPECT_EQ(0, runTool({"path", "info", "--json", dir.file("plan.dwg")}, &out));
    EXPECT_NE(std::string::npos, out.find("\"name\":\"plan\",\"extension\":\"dwg\""));
    EXPECT_NE(std::string::npos, out.find("\"exists\":\"file\",\"size\":3"));
    EXPECT_EQ(0, runTool({"path", "info", "relative/x.tar.gz"}, &out));
    EXPECT_NE(std::string::npos, out.find("name       x.tar\n"));
    EXPECT_NE(std::string::npos, out.find("exists     no\n"));
}
