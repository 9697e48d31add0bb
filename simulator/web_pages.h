#ifndef ZOR_SIMULATOR_WEB_PAGES_H
#define ZOR_SIMULATOR_WEB_PAGES_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "logging/log_recorder.h"
#include "mu/http_reply.h"
#include "simulator/parameters_document.h"

/// The recorder's pages in a browser:
///
///   /                what the recorder is, and its diagnostics
///   /log             the newest messages, the newest first; "?from=50" shows those before them
///   /parameters      the device parameters; /parameters.xml is the document itself
///   /threads         the active functions of all threads; /threads.txt is the text itself
///   /vocabulary      the texts of enumerated values
///   /style.css
///
/// They are HTML without scripts, and text that they show stays text. One thread at a time.
class CWebPages
{
public:
    /// Messages of a page.
    static constexpr int kPageSize = 50;

    /// The log and the document must outlive the pages. getUptime is called for each page that
    /// tells it.
    CWebPages(CLogRecorder& log, const SParametersDocument& document,
              std::function<std::chrono::milliseconds()> getUptime);

    /// Answers the request of the context. False if the reply was not taken whole.
    bool Reply(IWebServerExtContext* pContext);

private:
    std::string MakeStatus();
    std::string MakeLog(std::optional<int> iFrom); // without it, the newest
    void AppendMessages(int iFirst, int iTotal, int iCount, std::string& html);

    CLogRecorder& m_log;
    const SParametersDocument& m_document;
    const std::function<std::chrono::milliseconds()> m_getUptime;
    std::vector<std::pair<std::string, std::string>> m_device; // what the document tells of it
};

#endif
