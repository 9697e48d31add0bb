#ifndef ZOR_TESTS_SIMULATOR_LIVE_PAGE_H
#define ZOR_TESTS_SIMULATOR_LIVE_PAGE_H

#include <gtest/gtest.h>

#include "logging/log_recorder.h"
#include "simulator/http_server.h"

/// A log that lives as long as its scope and keeps every severity.
class CPageLog final : public CLogRecorder
{
public:
    CPageLog() { SetLowestLogSeverity(Status); }
    int AddRef() override { return 1; }
    int Release() override { return 1; }
};

/// Starts a server, or ends the test where the build has none.
#define ZOR_START_OR_SKIP(server, ...)                                                             \
    if (const std::string strError = (server).Start(__VA_ARGS__); !strError.empty())               \
    {                                                                                              \
        ASSERT_NE(strError.find("without Boost"), std::string::npos) << strError;                  \
        GTEST_SKIP() << strError;                                                                  \
    }

#endif
