#ifndef ZOR_TESTS_SIMULATOR_LIVE_SERVER_H
#define ZOR_TESTS_SIMULATOR_LIVE_SERVER_H

#include <gtest/gtest.h>

#include "simulator/http_server.h"

/// Starts a server, or ends the test where the build has none.
#define ZOR_START_OR_SKIP(server, ...)                                                             \
    if (const std::string strError = (server).Start(__VA_ARGS__); !strError.empty())               \
    {                                                                                              \
        ASSERT_NE(strError.find("without Boost"), std::string::npos) << strError;                  \
        GTEST_SKIP() << strError;                                                                  \
    }

#endif
