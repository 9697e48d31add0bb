#ifndef ZOR_IO_COPY_STREAM_THREAD_H
#define ZOR_IO_COPY_STREAM_THREAD_H

#include "diagnostics/function_state.h"
#include "io/stream_interfaces.h"
#include "threading/simple_thread.h"

/// Passes a stream on to its end, by itself: the object is its thread's, which frees it when the
/// stream has ended or the output refuses. It holds references to both ends till then.
class CCopyStreamThread final : public CSimpleThread
{
public:
    /// False if there was no memory or no thread for it; both ends are let go then.
    static bool Start(IStreamReader* psrReader, IStreamWriter* pswWriter);

    ~CCopyStreamThread() = default;

    int ThreadMain(void* pParam) override;

private:
    CCopyStreamThread(IStreamReader* psrReader, IStreamWriter* pswWriter);

    IStreamReader* const m_psrReader;
    IStreamWriter* const m_pswWriter;
    const CStickyScope m_ssReader;
    const CStickyScope m_ssWriter;
};

#endif
