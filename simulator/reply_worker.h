#ifndef ZOR_SIMULATOR_REPLY_WORKER_H
#define ZOR_SIMULATOR_REPLY_WORKER_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "console/pipe_protocol.h"
#include "io/safe_stream_buffer.h"
#include "simulator/crash_kinds.h"
#include "simulator/parameters_document.h"
#include "simulator/recorder_log.h"
#include "threading/auto_delete.h"
#include "threading/event.h"
#include "threading/simple_thread.h"

/// Makes the replies on a thread of its own: requests go to it through one stream buffer, frames
/// come back through another.
class CReplyWorker final : private CSimpleThread
{
public:
    /// Both must outlive the worker, which reads the log only inside GetReply(). A crash kind is
    /// for the first diagnostic that is asked for.
    CReplyWorker(const SParametersDocument& document, CRecorderLog& log,
                 std::optional<ECrashKind> eCrash);
    ~CReplyWorker(); ///< waits for the thread's end

    CReplyWorker(const CReplyWorker&) = delete;
    CReplyWorker& operator=(const CReplyWorker&) = delete;

    /// False without memory for the buffers or a thread.
    bool Start();

    /// The frame that answers a request, after the recorder has run for a while. Waits for it.
    /// Empty: there is no reply to that, or no memory for it.
    std::string GetReply(EPipeMessage eRequest, std::uint32_t dwArgument,
                         std::chrono::milliseconds uptime);

private:
    struct SRequest
    {
        EPipeMessage m_eType;
        std::uint32_t m_dwArgument;
        std::chrono::milliseconds m_uptime;
    };

    using CBuffer = AutoDeleteThreadObjectImpl<CSafeStreamBuffer>;
    struct SBufferReleaser
    {
        void operator()(CBuffer* pBuffer) const { pBuffer->Release(); }
    };
    using CBufferReference = std::unique_ptr<CBuffer, SBufferReleaser>;

    static CBufferReference MakeBuffer();
    int ThreadMain(void* pParam) override;
    void AnswerRequests();
    std::string MakeReply(const SRequest& request) const;
    std::string MakeDiagnostic(const SRequest& request) const;

    const SParametersDocument& m_document;
    CRecorderLog& m_log;
    const std::optional<ECrashKind> m_eCrash;
    const CBufferReference m_pRequests;
    const CBufferReference m_pReplies;
    const std::shared_ptr<CPosixEventObject> m_pEnded = std::make_shared<CPosixEventObject>();
    bool m_bStarted = false;
};

#endif
