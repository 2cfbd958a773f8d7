// A private CUPS scheduler for the suites that talk to system printers: started
// once before the first test (scripts/cups-test-server.sh) with its known queues,
// stopped after the last one. libcups in this process and in the tools it runs is
// pointed at it through the environment (CUPS_SERVER, CUPS_SERVERROOT, HOME), so
// the machine's own printers and the user's own options are never touched. Should
// the process die, the script's watcher stops the scheduler.
#pragma once

#include <string>

#include <gtest/gtest.h>

namespace testing_support {

class PrivateScheduler : public ::testing::Environment {
public:
    void SetUp() override;
    void TearDown() override;

    // The scheduler's folder (its logs are in DIR/log).
    static const std::string& dir();
    // Runs a command of the printing system's client tools (lpoptions, lpadmin)
    // against the scheduler; true when it exits with 0.
    static bool run(const std::string& command);

private:
    std::string m_root;
};

} // namespace testing_support
