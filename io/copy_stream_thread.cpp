#include "io/copy_stream_thread.h"

#include <memory>
#include <new>

CCopyStreamThread::CCopyStreamThread(IStreamReader* psrReader, IStreamWriter* pswWriter)
    : m_psrReader(psrReader), m_pswWriter(pswWriter), m_ssReader(psrReader), m_ssWriter(pswWriter)
{
}

bool CCopyStreamThread::Start(IStreamReader* psrReader, IStreamWriter* pswWriter)
try
{
    // Once it is started, the object belongs to its thread, which may have freed it already.
    auto* const pThread = new CCopyStreamThread(psrReader, pswWriter);
    if (!pThread->StartThread("Copy Stream", nullptr, nullptr))
    {
        delete pThread;
        return false;
    }
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

int CCopyStreamThread::ThreadMain(void* /*pParam*/)
{
    const std::unique_ptr<CCopyStreamThread> pSelf(this); // freed after the entry below is closed
    CFunctionSwitch fsMain("CST::thMain");
    mu::CFunctionParam fpReader(fsMain, "m_psrReader", m_psrReader);

    m_psrReader->WriteTo(m_pswWriter);
    return 0;
}
