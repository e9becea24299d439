// diag_bench: TessarineDiag explain over a large log.
//
// Makes logs of 20 MB and 100 MB from the README demo's log (the service's
// own lines, tests/diag/data/demo.log) repeated with its times moved on,
// each cut into ten files named as the file listener's rotation leaves them
// (Tessarine_0009.log oldest ... Tessarine_0001.log, Tessarine.log); then
// runs the built TessarineDiag.exe explain over them, three times each way,
// and prints the median time of each way and the peak working set of the
// process (GetProcessMemoryInfo) beside the targets: at most 5 s over the
// 100 MB log, and memory that does not grow with the log (the 100 MB log's
// peak against the 20 MB log's). The story goes to a file, as a script that
// keeps it would have it, and so does the page (--html); both are deleted
// with the logs. (Not to NUL: Wine writes to it far slower than to a file.)
#include "BenchClock.h"
#include "BenchTable.h"

#include "explain/LogLine.h"
#include "fakes/WindowsPath.h"
#include "platform/Console.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"

#include <windows.h>
#include <psapi.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kRuns = 3;
constexpr int kFiles = 10;
constexpr size_t kMegabyte = 1024 * 1024;
constexpr DWORD kRunLimitMilliseconds = 5 * 60 * 1000;
constexpr DWORD kPeakPollMilliseconds = 5;

std::vector<std::string> ReadLines(const std::wstring& path)
{
    std::vector<std::string> lines;
    FILE* file = _wfopen(path.c_str(), L"rb");
    if (file == nullptr)
        return lines;
    std::string bytes;
    char buffer[65536];
    for (size_t read; (read = std::fread(buffer, 1, sizeof(buffer), file)) > 0;)
        bytes.append(buffer, read);
    std::fclose(file);
    if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0)
        bytes.erase(0, 3);
    for (size_t at = 0; at < bytes.size();) {
        const size_t end = bytes.find("\r\n", at);
        if (end == std::string::npos)
            break;
        lines.push_back(bytes.substr(at, end - at));
        at = end + 2;
    }
    return lines;
}

void PutDigits(char* at, int value, int count)
{
    for (int i = count - 1; i >= 0; --i, value /= 10)
        at[i] = static_cast<char>('0' + value % 10);
}

// The line with its time moved on by `offset`; a line of another format as it is.
std::string Moved(const std::string& line, diag::Millis offset)
{
    diag::LogRecord record;
    if (!diag::ParseLogLine(line, record))
        return line;
    const diag::CivilTime t = diag::ToCivil(record.time + offset);
    std::string moved = line;
    PutDigits(&moved[0], t.year, 4);
    PutDigits(&moved[5], t.month, 2);
    PutDigits(&moved[8], t.day, 2);
    PutDigits(&moved[11], t.hour, 2);
    PutDigits(&moved[14], t.minute, 2);
    PutDigits(&moved[17], t.second, 2);
    PutDigits(&moved[20], t.millisecond, 3);
    return moved;
}

// Writes about `bytes` of the demo's lines, repeated, into kFiles files of
// `folder` in the rotation's names; returns them oldest first.
std::vector<std::wstring> MakeLog(const std::wstring& folder, const std::vector<std::string>& demo, size_t bytes)
{
    CreateDirectoryW(folder.c_str(), nullptr);
    diag::LogRecord first, last;
    diag::ParseLogLine(demo.front(), first);
    for (const std::string& line : demo)
        diag::ParseLogLine(line, last);
    const diag::Millis span = last.time - first.time + 1000;
    std::vector<std::wstring> files;
    size_t line = 0;
    diag::Millis offset = 0;
    for (int file = kFiles - 1; file >= 0; --file) {
        const std::wstring path =
            folder + (file == 0 ? std::wstring(L"\\Tessarine.log") : os::FormatString(L"\\Tessarine_%04d.log", file));
        FILE* out = _wfopen(path.c_str(), L"wb");
        if (out == nullptr)
            return {};
        std::string chunk = "\xEF\xBB\xBF";
        size_t written = 0;
        while (written < bytes / kFiles) {
            chunk += Moved(demo[line], offset) + "\r\n";
            if (++line == demo.size()) {
                line = 0;
                offset += span;
            }
            if (chunk.size() >= kMegabyte) {
                written += std::fwrite(chunk.data(), 1, chunk.size(), out);
                chunk.clear();
            }
        }
        std::fwrite(chunk.data(), 1, chunk.size(), out);
        std::fclose(out);
        files.push_back(path);
    }
    return files;
}

void RemoveLog(const std::wstring& folder, const std::vector<std::wstring>& files)
{
    for (const std::wstring& file : files)
        DeleteFileW(file.c_str());
    DeleteFileW((folder + L"\\story.html").c_str());
    DeleteFileW((folder + L"\\story.txt").c_str());
    RemoveDirectoryW(folder.c_str());
}

struct Run {
    double seconds = 0.0;
    double peakMegabytes = 0.0;
    bool ok = false;
};

Run Explain(const std::wstring& exe, const std::wstring& options, const std::vector<std::wstring>& files,
            const std::wstring& storyPath)
{
    std::wstring commandLine = L"\"" + exe + L"\" explain " + options;
    for (const std::wstring& file : files)
        commandLine += L" \"" + file + L"\"";
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    const os::UniqueHandle story(CreateFileW(storyPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS,
                                             FILE_ATTRIBUTE_NORMAL, nullptr));
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nullptr;
    startup.hStdOutput = story.get();
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process{};
    Run run;
    const int64_t start = bench::Ticks();
    if (!CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
        os::Print(L"diag_bench: CreateProcessW failed with %lu\n", GetLastError());
        return run;
    }
    const os::UniqueHandle child(process.hProcess);
    const os::UniqueHandle childThread(process.hThread);
    // The peak is read while the process lives, every few milliseconds: Wine
    // has no memory figures of a process that has ended. The peak only grows,
    // so the last reading is the process's peak to within its last moments.
    size_t peak = 0;
    for (DWORD waited = 0;; waited += kPeakPollMilliseconds) {
        PROCESS_MEMORY_COUNTERS counters{};
        if (GetProcessMemoryInfo(child.get(), &counters, sizeof(counters)) && counters.PeakWorkingSetSize > peak)
            peak = counters.PeakWorkingSetSize;
        if (WaitForSingleObject(child.get(), kPeakPollMilliseconds) == WAIT_OBJECT_0)
            break;
        if (waited >= kRunLimitMilliseconds) {
            TerminateProcess(child.get(), 1);
            WaitForSingleObject(child.get(), INFINITE);
            os::Print(L"diag_bench: explain did not end within five minutes\n");
            return run;
        }
    }
    run.seconds = bench::TicksToSeconds(bench::Ticks() - start);
    run.peakMegabytes = static_cast<double>(peak) / static_cast<double>(kMegabyte);
    DWORD exitCode = 1;
    GetExitCodeProcess(child.get(), &exitCode);
    run.ok = exitCode == 0;
    if (!run.ok)
        os::Print(L"diag_bench: explain %s ended with exit code %lu\n", options.c_str(), exitCode);
    return run;
}

struct Measured {
    bench::Figure time;
    std::vector<double> peaks;
    bool ok = true;
};

Measured Measure(const std::wstring& exe, const std::wstring& name, const std::wstring& options,
                 const std::vector<std::wstring>& files, bool targeted)
{
    Measured measured;
    measured.time.name = name;
    measured.time.unit = L"s";
    measured.time.decimals = 2;
    if (targeted) {
        measured.time.goal = bench::Figure::Goal::AtMost;
        measured.time.target = 5.0;
    }
    const std::wstring storyPath = files.back().substr(0, files.back().rfind(L'\\')) + L"\\story.txt";
    for (int i = 0; i < kRuns; ++i) {
        const Run run = Explain(exe, options, files, storyPath);
        measured.ok = measured.ok && run.ok;
        measured.time.samples.push_back(run.seconds);
        measured.peaks.push_back(run.peakMegabytes);
    }
    return measured;
}

size_t TotalBytes(const std::vector<std::wstring>& files)
{
    size_t total = 0;
    for (const std::wstring& file : files) {
        WIN32_FILE_ATTRIBUTE_DATA data;
        if (GetFileAttributesExW(file.c_str(), GetFileExInfoStandard, &data))
            total += static_cast<size_t>(data.nFileSizeLow) + (static_cast<size_t>(data.nFileSizeHigh) << 32);
    }
    return total;
}

bench::Figure Peak(const std::wstring& name, std::vector<double> peaks)
{
    bench::Figure figure;
    figure.name = name;
    figure.unit = L"MB";
    figure.decimals = 1;
    figure.samples = std::move(peaks);
    return figure;
}

}  // namespace

int wmain()
{
    const std::wstring exe = fakes::WindowsPathOf(TESSARINE_DIAG_EXE);
    const std::vector<std::string> demo = ReadLines(fakes::WindowsPathOf(TESSARINE_DEMO_LOG));
    if (demo.size() < 2) {
        os::Print(L"diag_bench: cannot read the demo's log %S\n", TESSARINE_DEMO_LOG);
        return 1;
    }
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    const std::wstring small = std::wstring(temp) + L"TessarineDiagBench20";
    const std::wstring large = std::wstring(temp) + L"TessarineDiagBench100";
    const std::vector<std::wstring> smallLog = MakeLog(small, demo, 20 * kMegabyte);
    const std::vector<std::wstring> largeLog = MakeLog(large, demo, 100 * kMegabyte);
    if (smallLog.empty() || largeLog.empty()) {
        os::Print(L"diag_bench: cannot write the logs under %s\n", temp);
        RemoveLog(small, smallLog);
        RemoveLog(large, largeLog);
        return 1;
    }
    os::Print(L"TessarineDiag explain over the README demo's log repeated (%Iu lines a round), in %d rotated files: "
              L"%.1f MB and %.1f MB; median of %d runs\n",
              demo.size(), kFiles, static_cast<double>(TotalBytes(smallLog)) / kMegabyte,
              static_cast<double>(TotalBytes(largeLog)) / kMegabyte, kRuns);

    const Measured text = Measure(exe, L"explain, 100 MB log", L"", largeLog, true);
    const Measured json = Measure(exe, L"explain --json, 100 MB log", L"--json", largeLog, true);
    const Measured html =
        Measure(exe, L"explain --html FILE, 100 MB log", L"--html \"" + large + L"\\story.html\"", largeLog, true);
    const Measured smallText = Measure(exe, L"explain, 20 MB log", L"", smallLog, false);

    bench::Figure ratio;
    ratio.name = L"peak working set, 100 MB log against 20 MB log";
    ratio.unit = L"%";
    ratio.goal = bench::Figure::Goal::AtMost;
    ratio.target = 110.0;
    for (size_t i = 0; i < text.peaks.size() && i < smallText.peaks.size(); ++i)
        ratio.samples.push_back(smallText.peaks[i] > 0 ? 100.0 * text.peaks[i] / smallText.peaks[i] : 0.0);

    bench::PrintTable({text.time, json.time, html.time, smallText.time,
                       Peak(L"peak working set, explain, 20 MB log", smallText.peaks),
                       Peak(L"peak working set, explain, 100 MB log", text.peaks),
                       Peak(L"peak working set, explain --json, 100 MB log", json.peaks),
                       Peak(L"peak working set, explain --html, 100 MB log", html.peaks), ratio});
    RemoveLog(small, smallLog);
    RemoveLog(large, largeLog);
    return text.ok && json.ok && html.ok && smallText.ok ? 0 : 1;
}
