// A line of about 80 bytes into the daily log, beside another logger and beside its formatting
// alone; and a message into the recorder.

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>
#include <spdlog/async.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/ringbuffer_sink.h>
#include <spdlog/spdlog.h>

#include "config/media_recorder_configuration.h"
#include "logging/daily_debug_log.h"
#include "logging/log_recorder.h"
#include "mu/calendar.h"
#include "threading/auto_delete.h"
#include "threading/scheduler.h"
#include "threading/system_clock.h"

namespace
{

constexpr int kDevice = 12;
constexpr unsigned kFrame = 1234567;
constexpr int kBytes = 65432;
constexpr char kFile[] = "2026/11 November/15/Video_7";
constexpr int kMilliseconds = 38;

[[gnu::noinline, gnu::format(printf, 3, 4)]] int Format(char* szOut, std::size_t uCapacity,
                                                        const char* szFormat, ...)
{
    va_list args;
    va_start(args, szFormat);
    const int iLength = std::vsnprintf(szOut, uCapacity, szFormat, args);
    va_end(args);
    return iLength;
}

void LineVsnprintf(benchmark::State& state)
{
    char szLine[1024];
    for (auto unused : state)
    {
        const int iLength =
            Format(szLine, sizeof(szLine), "Channel %d: frame %u of %d bytes to %s in %d ms",
                   kDevice, kFrame, kBytes, kFile, kMilliseconds);
        benchmark::DoNotOptimize(iLength);
        benchmark::ClobberMemory();
    }
}

class CBenchLog final : public CDailyDebugLog
{
public:
    explicit CBenchLog(CMediaRecorderConfiguration& config)
    {
        SetBufferSize(4 << 20);
        SetRecConfig(&config);
        m_pScheduler->AddRef();
        m_pScheduler->Start("bench");
        SetStorageScheduler(m_pScheduler);
        ScheduleNextLogFlush(false);
    }
    ~CBenchLog()
    {
        m_pScheduler->Stop();
        ReleaseResources();
        m_pScheduler->Release();
    }

    int AddRef() override { return ++m_iReferences; }
    int Release() override { return --m_iReferences; }

private:
    std::atomic<int> m_iReferences{1};
    AutoDeleteThreadObjectImpl<mu::CScheduler>* m_pScheduler =
        new AutoDeleteThreadObjectImpl<mu::CScheduler>;
};

// The process's log, whose file leads to the null device: the flush runs, the disk is not measured.
CBenchLog& GetLog()
{
    static std::string strRoot = "/tmp/zor_bench_XXXXXX";
    static CMediaRecorderConfiguration config;
    static const bool bMade = []
    {
        if (::mkdtemp(strRoot.data()) == nullptr)
        {
            std::abort();
        }
        config.m_wsRootDirectory.assign(strRoot.begin(), strRoot.end());
        mu::STimeComponents now;
        mu::GetLocalTimeComponents(mu::GetCurrentUTCTime(), now);
        std::wstring wsRelative;
        std::wstring wsFolder;
        config.CreateDirectoryForNewFile(EFileTransferCategory::Recording, now, 0, wsRelative,
                                         wsFolder);
        char szName[60];
        std::snprintf(szName, sizeof(szName), "DebugLog_%04d_%02d_%02d.txt", now.m_iYear,
                      now.m_iMonth, now.m_iDay);
        std::filesystem::create_symlink("/dev/null", std::filesystem::path(wsFolder) / szName);
        return true;
    }();
    static CBenchLog log(config);
    static const std::shared_ptr<void> pRemover(nullptr, [](void*)
                                                { std::filesystem::remove_all(strRoot); });
    benchmark::DoNotOptimize(bMade);
    return log;
}

void LineZor(benchmark::State& state)
{
    CBenchLog& log = GetLog();
    for (auto unused : state)
    {
        // No line is lost: a full buffer is waited for, as by the asynchronous peer.
        while (!log.AddTextF("Channel %d: frame %u of %d bytes to %s in %d ms", kDevice, kFrame,
                             kBytes, kFile, kMilliseconds))
        {
            std::this_thread::yield();
        }
    }
}

void LogLines(benchmark::State& state, spdlog::logger& logger)
{
    for (auto unused : state)
    {
        logger.info("Channel {}: frame {} of {} bytes to {} in {} ms", kDevice, kFrame, kBytes,
                    kFile, kMilliseconds);
    }
}

void LineNull(benchmark::State& state)
{
    static spdlog::logger logger("null", std::make_shared<spdlog::sinks::null_sink_mt>());
    LogLines(state, logger);
}

void LineRing(benchmark::State& state)
{
    static spdlog::logger logger("ring",
                                 std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(16384));
    LogLines(state, logger);
}

void LineAsync(benchmark::State& state)
{
    static const auto pPool = std::make_shared<spdlog::details::thread_pool>(16384, 1);
    static const auto pLogger = std::make_shared<spdlog::async_logger>(
        "async", std::make_shared<spdlog::sinks::null_sink_mt>(), pPool);
    LogLines(state, *pLogger);
}

class CBenchRecorder final : public CLogRecorder
{
public:
    int AddRef() override { return 1; }
    int Release() override { return 1; }
};

void RecorderText(benchmark::State& state)
{
    CBenchRecorder recorder;
    for (auto unused : state)
    {
        recorder.LogMessageF(IBaseLogger::Error, "Channel %d: frame %u of %d bytes to %s in %d ms",
                             kDevice, kFrame, kBytes, kFile, kMilliseconds);
    }
}

void RecorderDocument(benchmark::State& state)
{
    CBenchRecorder recorder;
    CEasyXML exmlMessage;
    CLogRecorder::GetXMLLogMessage("Frame written", exmlMessage);
    for (const wchar_t* const wszName : {L"channel", L"bytes"})
    {
        CEasyXMLNode parameter = exmlMessage.GetRoot().AppendChild(L"zor:Parameter", nullptr);
        parameter.SetAttributeValue(L"zor:Name", nullptr, wszName);
        parameter.SetAttributeValue(L"zor:Value", nullptr, kBytes);
    }
    for (auto unused : state)
    {
        recorder.LogMessage(IBaseLogger::Error, exmlMessage);
    }
}

BENCHMARK(LineZor)->Name("Log/line/zor");
BENCHMARK(LineVsnprintf)->Name("Log/line/vsnprintf");
BENCHMARK(LineNull)->Name("Log/line/spdlog-null");
BENCHMARK(LineRing)->Name("Log/line/spdlog-ring");
// What the calling thread has to wait for counts here.
BENCHMARK(LineZor)->Name("Log/line-elapsed/zor")->UseRealTime();
BENCHMARK(LineAsync)->Name("Log/line-elapsed/spdlog-async")->UseRealTime();
BENCHMARK(LineZor)->Name("Log/line-of-4-threads/zor")->Threads(4)->UseRealTime();
BENCHMARK(LineZor)->Name("Log/line-of-4-threads/of-1-thread")->UseRealTime();
BENCHMARK(LineNull)->Name("Log/line-of-4-threads/spdlog-null")->Threads(4)->UseRealTime();
BENCHMARK(LineRing)->Name("Log/line-of-4-threads/spdlog-ring")->Threads(4)->UseRealTime();
BENCHMARK(LineAsync)->Name("Log/line-of-4-threads/spdlog-async")->Threads(4)->UseRealTime();
BENCHMARK(RecorderText)->Name("Recorder/text/zor");
BENCHMARK(RecorderDocument)->Name("Recorder/document/zor");

} // namespace
