// The live page in a real browser: headless Chromium.

#include <gmock/gmock.h>

#include "simulator/web_pages.h"
#include "tests/simulator/live_page.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/testing.h"

namespace
{

using std::chrono_literals::operator""s;
using testing::HasSubstr;

// What the browser prints; it leaves files in the folder only.
std::string Browse(const CTemporaryFolder& folder, const std::vector<std::string>& vecArguments)
{
    std::vector<std::string> vecAll{"--headless", "--no-sandbox", "--hide-scrollbars"};
    vecAll.insert(vecAll.end(), {"--disable-gpu", "--disable-background-networking",
                                 "--no-first-run", "--user-data-dir=" + folder.Path("profile")});
    vecAll.insert(vecAll.end(), vecArguments.begin(), vecArguments.end());
    const CChildProcess browser("chromium", vecAll,
                                [&] { ::setenv("HOME", folder.Path().c_str(), 1); });
    return browser.ReadOutput();
}

TEST(LivePage, ShowsInABrowserAndRunsNothing)
{
    const CTemporaryFolder folder;
    if (Browse(folder, {"--version"}).empty())
    {
        GTEST_SKIP() << "there is no Chromium: scripts/install-packages browser";
    }
    CPageLog log;
    SParametersDocument document;
    ASSERT_EQ(LoadParametersDocument("", document), "");
    CWebPages pages(log, document, [] { return 301s; });
    log.LogMessage(IBaseLogger::Status, "</td><script src='/evil'></script><img src='/evil'>");

    std::mutex mutex;
    std::multiset<std::string> targets;
    CHttpServer server;
    ZOR_START_OR_SKIP(server, {},
                      [&](IWebServerExtContext* pContext)
                      {
                          const std::lock_guard lock(mutex);
                          targets.insert(pContext->GetRequestObject());
                          return pages.Reply(pContext);
                      });
    const std::string strURL = server.GetAddress().GetURL();

    EXPECT_THAT(Browse(folder, {"--dump-dom", strURL + "log"}),
                HasSubstr("<td>&lt;/td&gt;&lt;script src='/evil'&gt;&lt;/script&gt;"
                          "&lt;img src='/evil'&gt;</td>"));

    const std::string strImage = folder.Path("page.png");
    Browse(folder, {"--screenshot=" + strImage, "--window-size=1280,800", strURL + "log"});
    const std::string strPNG = ReadFile(strImage);
    EXPECT_EQ(strPNG.substr(16, 8), std::string("\0\0\5\0\0\0\3\x20", 8)) << "width and height";

    const std::lock_guard lock(mutex);
    EXPECT_EQ(targets, (std::multiset<std::string>{"/log", "/log", "/style.css", "/style.css"}));
}

} // namespace
