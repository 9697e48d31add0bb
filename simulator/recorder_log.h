#ifndef ZOR_SIMULATOR_RECORDER_LOG_H
#define ZOR_SIMULATOR_RECORDER_LOG_H

#include <string>

#include "config/media_recorder_configuration.h"
#include "logging/daily_debug_log.h"
#include "logging/log_recorder.h"
#include "threading/auto_delete.h"
#include "threading/scheduler.h"

/// The recorder's log: what happens is kept in memory, for whoever asks, and goes into the day's
/// file under the root directory, if there is one. While it lives, the daily log is the process's
/// text logger.
class CRecorderLog
{
public:
    /// The configuration must outlive the log and stay as it is.
    CRecorderLog(CMediaRecorderConfiguration& configuration, const SLoggingParameters& parameters);
    ~CRecorderLog(); ///< writes what the file lacks

    CRecorderLog(const CRecorderLog&) = delete;
    CRecorderLog& operator=(const CRecorderLog&) = delete;

    /// Whether the day's file can be written, which a file of a single byte beside it finds out.
    enum class EPlace
    {
        Good,   ///< also without a root directory
        NotNow, ///< a full disk: there may be room later
        Never,
    };
    /// Otherwise than for Good, strError tells where and what it is.
    EPlace TryPlace(std::string& strError) const;

    /// Begins the file. Nothing to do, and true, without a root directory; false if there is no
    /// memory or thread for it.
    bool Start();

    /// Of one thread at a time, GetText() included.
    void Log(const std::string& strText);
    /// The newest lines that fit into so many bytes, oldest first.
    std::string GetText(std::size_t uMaxLength);

    CLogRecorder& GetRecorder() { return m_recorder; }

private:
    // Both live as long as this object.
    template <typename T>
    class CMember final : public T
    {
    public:
        int AddRef() override { return 1; }
        int Release() override { return 1; }
    };
    class CDailyLog : public CDailyDebugLog
    {
    protected:
        ~CDailyLog() { ReleaseResources(); }
    };

    CMediaRecorderConfiguration& m_configuration;
    CMember<CLogRecorder> m_recorder;
    CMember<CDailyLog> m_dailyLog;
    AutoDeleteThreadObjectImpl<mu::CScheduler>* m_pScheduler = nullptr; // null: no file
};

#endif
