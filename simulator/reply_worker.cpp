#include "simulator/reply_worker.h"

#include <cstring>
#include <new>

#include "diagnostics/function_state.h"
#include "mu/lengths.h"
#include "simulator/diagnostics.h"
#include "simulator/frames.h"
#include "threading/wait_time.h"

namespace
{

// Room for a reply that is not the document: it has at most so many bytes besides a name that it
// takes from the document.
constexpr int kReplyRoom = 65536;

// Stands for a request that gets no reply: shorter than any frame.
constexpr char kNoReply = 0;

} // namespace

CReplyWorker::CReplyWorker(const SParametersDocument& document, CRecorderLog& log,
                           std::optional<ECrashKind> eCrash)
    : m_document(document),
      m_log(log),
      m_eCrash(eCrash),
      m_pRequests(MakeBuffer()),
      m_pReplies(MakeBuffer())
{
}

CReplyWorker::CBufferReference CReplyWorker::MakeBuffer()
{
    auto* const pBuffer = new CBuffer;
    pBuffer->AddRef();
    return CBufferReference(pBuffer);
}

CReplyWorker::~CReplyWorker()
{
    if (m_bStarted)
    {
        m_pRequests->SetEndOfStream();
        m_pEnded->Wait(mu::kInfinite);
    }
}

bool CReplyWorker::Start()
{
    const int iReplies = mu::IntCount(m_document.m_strText.size()) + kReplyRoom;
    m_bStarted = m_pEnded->IsValid() && m_pRequests->SetBufferSize(sizeof(SRequest)) &&
                 m_pReplies->SetBufferSize(iReplies) && StartThread("Replies", nullptr, nullptr);
    return m_bStarted;
}

std::string CReplyWorker::GetReply(EPipeMessage eRequest, std::uint32_t dwArgument,
                                   std::chrono::milliseconds uptime)
{
    CFunctionSwitch fsGet("RSim::GetReply");
    const SRequest request{eRequest, dwArgument, uptime};
    m_pRequests->Write(&request, sizeof(request));

    int iSize = 0;
    void* const pFrame = m_pReplies->GetBlockToRead(iSize);
    std::string strFrame;
    if (iSize > static_cast<int>(sizeof(kNoReply)))
    {
        try
        {
            strFrame.assign(static_cast<const char*>(pFrame), static_cast<std::size_t>(iSize));
        }
        catch (const std::bad_alloc&)
        {
            // Dropped; but the block goes back, so that the next request gets a reply of its own.
        }
    }
    m_pReplies->CommitReadBlock(pFrame, iSize);
    return strFrame;
}

int CReplyWorker::ThreadMain(void*)
{
    // The destructor returns as soon as the event is signalled, perhaps before Signal() does here.
    // So the thread holds a reference of its own to the event.
    const std::shared_ptr<CPosixEventObject> pEnded = m_pEnded;
    AnswerRequests();
    m_pReplies->SetEndOfStream(); // whoever waits gets none
    pEnded->Signal();
    return 0;
}

void CReplyWorker::AnswerRequests()
{
    int iSize = 0;
    while (void* const pBlock = m_pRequests->GetBlockToRead(iSize))
    {
        SRequest request;
        std::memcpy(&request, pBlock, sizeof(request));
        m_pRequests->CommitReadBlock(pBlock, sizeof(request));

        std::string strFrame;
        try
        {
            strFrame = MakeReply(request);
        }
        catch (const std::bad_alloc&)
        {
            // The request gets no reply; the next one may.
        }
        // The frame goes into one block, for which there is room: the frame before it has been
        // read. An empty frame gets no block.
        const int iLength = mu::IntCount(strFrame.size());
        void* const pFrame = m_pReplies->AllocateBlock(iLength);
        if (pFrame == nullptr)
        {
            m_pReplies->Write(&kNoReply, sizeof(kNoReply));
            continue;
        }
        strFrame.copy(static_cast<char*>(pFrame), strFrame.size());
        m_pReplies->CommitWrittenBlock(pFrame, iLength);
    }
}

std::string CReplyWorker::MakeReply(const SRequest& request) const
{
    CFunctionSwitch fsMake("RSim::MakeReply");
    mu::CFunctionParam fpType(fsMake, "m_eType", &request.m_eType, FPT_DWORD);
    mu::CFunctionParam fpArgument(fsMake, "m_dwArgument", &request.m_dwArgument, FPT_DWORD);

    switch (request.m_eType)
    {
    case PM_REQUEST_PARAMETERS:
        return MakeFrame(PM_PARAMETERS, 0, m_document.m_strText);
    case PM_REQUEST_DIAGNOSTIC:
        return MakeFrame(PM_TEXT, 0, MakeDiagnostic(request));
    case PM_REQUEST_LOG:
        return MakeFrame(PM_CIRCULAR_TEXT, 0, m_log.GetText(kReplyRoom / 2));
    default:
        return {};
    }
}

std::string CReplyWorker::MakeDiagnostic(const SRequest& request) const
{
    CFunctionSwitch fsDiagnostic("RSim::MakeDiagnostic");
    const std::size_t uIndex = request.m_dwArgument;
    const char* const szName = uIndex < m_document.m_vDiagnostics.size()
                                   ? m_document.m_vDiagnostics[uIndex].c_str()
                                   : nullptr;
    mu::CFunctionParam fpName(fsDiagnostic, "szName", szName);

    if (m_eCrash)
    {
        Crash(*m_eCrash);
    }
    return DiagnosticText(m_document.m_vDiagnostics, request.m_dwArgument, request.m_uptime);
}
