// The live page in a real browser: headless Chromium.

#include "simulator/web_pages.h"
#include "tests/simulator/live_page.h"
#include "tests/support/temporary_folder.h"

namespace
{

using std::chrono_literals::operator""s;

// What the browser prints; it leaves files in the folder only.
std::string Browse(const CTemporaryFolder& folder, std::vector<std::string> vecArguments)
{
    vecArguments.insert(vecArguments.begin(),
                        {"--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                         "--disable-background-networking", "--user-data-dir=" + folder.Path("p")});
    const auto setHome = [&] { ::setenv("HOME", folder.Path().c_str(), 1); };
    return CChildProcess("chromium", vecArguments, setHome).ReadOutput();
}

TEST(LivePage, ShowsInABrowserAndRunsNothing)
{
    const CTemporaryFolder folder;
    if (Browse(folder, {"--version"}).empty())
    {
        GTEST_SKIP() << "there is no Chromium: scripts/install-packages browser";
    }
    CLastingRecorder log;
    log.SetLowestLogSeverity(IBaseLogger::Status);
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
    EXPECT_THAT(Browse(folder, {"--dump-dom", server.GetAddress().GetURL() + "log"}),
                testing::HasSubstr("<td>&lt;/td&gt;&lt;script src='/evil'&gt;&lt;/script&gt;"
                                   "&lt;img src='/evil'&gt;</td>"));
    const std::lock_guard lock(mutex);
    EXPECT_EQ(targets, (std::multiset<std::string>{"/log", "/style.css"}));
}

} // namespace
