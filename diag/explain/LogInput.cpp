#include "explain/LogInput.h"

#include "explain/LogReader.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

namespace diag {

namespace {

void ReadFile(const std::wstring& path, FileReport& report, StoryBuilder& builder)
{
    unsigned long error = 0;
    FILE* file = OpenForReading(path, error);
    if (file == nullptr) {
        report.opened = false;  // gone since it was listed (a rotation moved it)
        return;
    }
    LogReader reader(file);
    std::string_view line;
    LogRecord record;
    while (reader.Next(line)) {
        if (ParseLogLine(line, record)) {
            ++report.records;
            builder.Add(record);
        } else if (!line.empty()) {
            // Empty lines are not counted: a message that ends in a line end
            // of its own leaves one behind it.
            if (report.foreignLines++ == 0)
                report.firstForeignLine = reader.LineNumber();
        }
    }
    report.lines = reader.LineNumber() + (reader.Truncated() ? 1 : 0);
    report.truncatedLastLine = reader.Truncated();
    report.overlongLines = reader.OverlongLines();
    report.readError = reader.ReadError();
    std::fclose(file);
}

}  // namespace

FILE* OpenForReading(const std::wstring& path, unsigned long& error)
{
    const HANDLE handle =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        error = GetLastError();
        return nullptr;
    }
    const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_RDONLY | _O_BINARY);
    if (descriptor == -1) {
        error = ERROR_INVALID_HANDLE;
        CloseHandle(handle);
        return nullptr;
    }
    FILE* file = _fdopen(descriptor, "rb");
    if (file == nullptr) {
        error = ERROR_INVALID_HANDLE;
        _close(descriptor);
    }
    return file;
}

void ReadLogFiles(const std::vector<std::wstring>& files, InputReport& input, StoryBuilder& builder)
{
    for (size_t i = 0; i < files.size() && i < input.files.size(); ++i)
        ReadFile(files[i], input.files[i], builder);
}

}  // namespace diag
