#include "private_scheduler.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace testing_support {

namespace {
std::string g_dir;
}

const std::string& PrivateScheduler::dir() { return g_dir; }

void PrivateScheduler::SetUp() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "drutils-cups-XXXXXX").string();
    ASSERT_NE(nullptr, mkdtemp(tmpl.data()));
    m_root = tmpl;
    g_dir = m_root + "/scheduler";
    const std::string command = std::string("'") + DRUTILS_CUPS_TEST_SERVER + "' start '" + g_dir + "' " +
                                std::to_string(getpid()) + " >'" + m_root + "/start.log' 2>&1";
    const int rc = std::system(command.c_str());
    std::ifstream log(m_root + "/start.log");
    const std::string output((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
    ASSERT_EQ(0, rc) << "the private printing scheduler did not start:\n" << output;
    std::ifstream env(g_dir + "/env");
    for (std::string line; std::getline(env, line);) {
        const size_t eq = line.find('=');
        ASSERT_NE(std::string::npos, eq) << line;
        setenv(line.substr(0, eq).c_str(), line.substr(eq + 1).c_str(), 1);
    }
    // A default printer chosen by the environment would hide the scheduler's.
    unsetenv("PRINTER");
    unsetenv("LPDEST");
}

void PrivateScheduler::TearDown() {
    if (m_root.empty())
        return;
    const std::string command = std::string("'") + DRUTILS_CUPS_TEST_SERVER + "' stop '" + g_dir + "'";
    EXPECT_EQ(0, std::system(command.c_str()));
    std::error_code ec;
    std::filesystem::remove_all(m_root, ec);
}

bool PrivateScheduler::run(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

} // namespace testing_support
