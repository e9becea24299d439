// LoggingUnderPolicy: the fixture of the tests that write policy values as
// the template defines them and then start logging as this program would at
// its first log call (CreateProcessLogger), with its own log file,
// %APPDATA%\zvrLog\policy_tests.log. The policy values (fakes::LoggingPolicy)
// and every log file of this program are removed at the end, pass or fail.
#pragma once

#include "fakes/LoggingPolicy.h"
#include "logging/Logger.h"
#include "policy/GroupPolicyWrite.h"
#include "policy/PolicyTemplate.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace policy_tests {

class LoggingUnderPolicy : public ::testing::Test {
protected:
    LoggingUnderPolicy();
    ~LoggingUnderPolicy() override;

    // Stores a write of the template in the policy key.
    void Apply(const RegistryWrite& write) { policy_tests::Apply(m_policy, write); }
    // The logger the program would create now; the previous one is ended first.
    QX::Shared::CqxLogger& StartLogging();
    // Ends the logger (its writer has written all it was given) and deletes
    // the log files, for a fresh start within one test.
    void StopLoggingAndDeleteTheLog();

    // One record at each level from TraceIn to Diag, all written when it returns.
    void LogOneRecordAtEachLevel();
    // The levels of the records in the log file.
    std::set<int32_t> LevelsInTheLog() const;
    // The type of each listener of the logger, in slot order.
    std::vector<int32_t> ListenerTypes() const;

    // The log file and its older files ("_0001" is the newest).
    static std::wstring LogPath();
    static std::wstring OlderLogPath(int number);
    // Makes the log file begin with a line of this system and be `size`
    // bytes long; a large size costs no disk space (the rest is a hole).
    static void SeedTheLog(uint64_t size);
    // The file's size; -1 when it does not exist.
    static int64_t FileSize(const std::wstring& path);

    fakes::LoggingPolicy m_policy;
    std::unique_ptr<QX::Shared::CqxLogger> m_logger;
};

}  // namespace policy_tests
