// CqxLogFile: the log file of a file listener and the machine-wide named
// mutex that guards it: its path, size limit and size-check counter, the
// mutex, and the stream while the file is acquired. Acquiring, writing a
// record (with the size check), rotating and releasing all happen here.
//
// The listener and its queue's writer thread share it (std::shared_ptr), so
// that a writer still running when its listener is destroyed (a process
// ending with a backlog, after the bounded wait for the writer) finishes its
// record, releases the file and the mutex, and ends without touching what
// the listener has freed.
#pragma once

#include "logging/LogListener.h"
#include "platform/UniqueHandle.h"

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace QX::Shared {

// The size check of the rotation: the file is moved away once it is larger
// than its limit in kilobytes x 1024, computed in 32 bits as the limit is
// kept. A limit of 0 or below rotates nothing by size (RotationLimitBytes
// is then 0 and not used).
uint32_t RotationLimitBytes(int32_t maxSizeKilobytes);
// The largest limit whose bytes fit the 32-bit check; above it the product
// wraps (4194304 KB gives 0 bytes: every non-empty file is rotated).
inline constexpr uint32_t kLargestMaxLogSize = UINT32_MAX / 1024;

class CqxLogFile {
public:
    CqxLogFile() = default;
    // A stream still open is closed before the mutex.
    ~CqxLogFile() = default;
    CqxLogFile(const CqxLogFile&) = delete;
    CqxLogFile& operator=(const CqxLogFile&) = delete;

    // Set up once, by the listener's initialisation.
    void SetPath(std::wstring path) { m_path = std::move(path); }
    void SetMaxSize(int32_t kilobytes);
    void SetMutex(HANDLE mutex) { m_mutex.reset(mutex); }

    const std::wstring& Path() const { return m_path; }
    int32_t MaxSize() const { return m_maxSize; }
    // The open stream between Acquire and Release (and across a rotation).
    FILE* Stream() const { return m_file.get(); }

    // Takes the named mutex and opens the file; false when either fails.
    bool Acquire();
    // Flushes and closes the file and releases the mutex, if the file is open.
    void Release();
    // Writes one record to the acquired file, with the size check cadence.
    size_t WriteRecord(const CqxLogListener::LogData& record);
    // Moves the current file to <name>_0001.log after shifting the older
    // files up, when it exceeds the size limit or when `force` is set.
    // Always returns false.
    bool Rotate(bool force);

private:
    bool OpenStream();

    std::wstring m_path;         // empty when no usable folder exists
    int32_t m_maxSize = -1;      // kilobytes; -1 until read
    int32_t m_writeCounter = 0;  // records written since the last size check
    // Declared before the stream, so that a stream still open when the file
    // goes away is closed before the mutex.
    os::UniqueHandle m_mutex;
    os::UniqueStdioFile m_file;
};

}  // namespace QX::Shared
