// CqxLogListenerFile: writes each record's line to a UTF-8 log file in
// %APPDATA%\zvrLog, named after the executable, and rotates it by size into
// numbered older files (<name>_0001.log newest); a rotation that finds
// exactly nine older files deletes the oldest.
//
// A machine-wide named mutex, derived from the file's full path, guards the
// file: it is opened, written, flushed and closed while the mutex is held, so
// several processes and listeners can share one file. Records are written on
// the logging thread (direct) or handed to a CqxLogQueue whose writer thread
// writes them (queued, the default listener of the process). The file
// itself (path, size limit, mutex, stream, rotation) is a CqxLogFile that
// the listener shares with its queue's writer; the file methods below are
// its.
#pragma once

#include "logging/LogListener.h"
#include "logging/PolicyKeys.h"

#include <memory>
#include <string>

namespace QX::Shared {

class CqxLogFile;
class CqxLogQueue;

class CqxLogListenerFile : public CqxLogListener {
public:
    // Log file named after this executable.
    CqxLogListenerFile(bool queuedDefault, int32_t defaultMinLevel);
    // Log file `fileName` in the same folder, so tests can keep their files apart.
    static std::unique_ptr<CqxLogListenerFile> CreateForTesting(bool queuedDefault, int32_t defaultMinLevel,
                                                                const std::wstring& fileName);
    // Gives a queued writer its bounded time, then closes the file if it is
    // still open, then the mutex; a writer still running after that keeps
    // the file and closes it itself.
    ~CqxLogListenerFile() override;

    void Write(const LogData& record) override;
    // The mode in force after the policy was read.
    int32_t GetType() const override { return m_queued ? TypeFileQueued : TypeFileDirect; }
    void Flush() override;

    // The size limit in kilobytes: read once ("MaxLogSize" by default; absent
    // or 0 in both keys: 2048), then kept.
    int32_t GetMaxLogSize(const PolicyKeys& keys, const wchar_t* valueName);

    // Moves the current file to <name>_0001.log after shifting the older
    // files up, when it exceeds the size limit or when `force` is set.
    // Always returns false.
    bool Rotate(bool force);

    // Takes the named mutex and opens the file; false when either fails.
    bool AcquireFile();
    // Flushes and closes the file and releases the mutex, if the file is open.
    void ReleaseFile();
    // Writes one record to the acquired file, with the size check cadence.
    size_t WriteRecord(const LogData& record);

    const std::wstring& Path() const;
    // Every record handed to a queued listener is in the file (always true
    // for a direct one).
    bool QueueDrained() const;
    // Records a queued listener keeps for a writer, and those it dropped at
    // the queue's bound (0 for a direct one).
    size_t QueuedRecords() const;
    // No queued writer is at work (always true for a direct listener).
    bool QueueIdle() const;
    size_t DroppedRecords() const;

    // The mutex name for a log file path: "Global\" and the path without its
    // drive part, with backslashes turned into dots.
    static std::wstring MutexNameForPath(const std::wstring& path);

private:
    CqxLogListenerFile(bool queuedDefault, int32_t defaultMinLevel, const std::wstring& fileName);
    void Initialize(const std::wstring& fileName, const PolicyKeys& keys, const wchar_t* valueName);

    bool m_queued;
    // The file, its limit and its mutex, shared with the queue's writer.
    std::shared_ptr<CqxLogFile> m_file;
    std::unique_ptr<CqxLogQueue> m_queue;
};

}  // namespace QX::Shared
