#include "StoryHarness.h"

#include "explain/Texts.h"
#include "fakes/WindowsPath.h"
#include "platform/Format.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace diagtest {

namespace {

const char* PaddedLevel(int level)
{
    static const char* const kNames[] = {"TraceIn    ", "TraceOut   ", "Verbose    ", "Information",
                                         "Warning    ", "Error      ", "Diag       "};
    return level >= 0 && level <= 6 ? kNames[level] : "Undefined  ";
}

}  // namespace

std::string Line(const char* clock, uint32_t thread, int level, const char* function, const std::string& message)
{
    return diag::Printf(L"2026/11/23 %S|%08X|%S|", clock, static_cast<unsigned>(thread), PaddedLevel(level)) +
           function + "|" + message;
}

std::string Info(const char* clock, uint32_t thread, const char* function, const std::string& message)
{
    return Line(clock, thread, kInformation, function, message);
}

Told Tell(const std::vector<std::string>& lines)
{
    RecordingWriter writer;
    diag::StoryBuilder builder(writer);
    for (const std::string& line : lines) {
        diag::LogRecord record;
        EXPECT_TRUE(diag::ParseLogLine(line, record)) << line;
        builder.Add(record);
    }
    builder.Finish();
    writer.Finish(builder.End(), diag::InputReport());
    return {writer.events, writer.lanes, writer.end};
}

diag::Millis At(const char* clock)
{
    diag::LogRecord record;
    const std::string line = Line(clock, 1, kInformation, "F", "");
    EXPECT_TRUE(diag::ParseLogLine(line, record)) << clock;
    return record.time;
}

std::vector<diag::Effect> EffectsOf(const diag::StoryEvent& event, diag::EffectKind kind)
{
    std::vector<diag::Effect> effects;
    for (const diag::Effect& effect : event.effects)
        if (effect.kind == kind)
            effects.push_back(effect);
    return effects;
}

diag::Effect SwitchOf(const diag::StoryEvent& event, diag::Radio radio)
{
    std::vector<diag::Effect> found;
    for (const diag::Effect& effect : EffectsOf(event, diag::EffectKind::Switched))
        if (effect.hasRadio && effect.radio == radio)
            found.push_back(effect);
    EXPECT_EQ(found.size(), 1u) << event.text;
    return found.empty() ? diag::Effect() : found.front();
}

diag::State LaneAt(const std::vector<LaneChange>& lanes, diag::Lane lane, diag::Millis at)
{
    diag::State state = diag::State::Unknown;
    for (const LaneChange& change : lanes)
        if (change.lane == lane && change.at <= at)
            state = change.state;
    return state;
}

TempFolder::TempFolder()
{
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    m_path = os::FormatString(L"%sTessarineDiagTest-%lu-%lu", temp, GetCurrentProcessId(), GetTickCount());
    CreateDirectoryW(m_path.c_str(), nullptr);
}

TempFolder::~TempFolder()
{
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((m_path + L"\\*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
                DeleteFileW((m_path + L"\\" + found.cFileName).c_str());
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    RemoveDirectoryW(m_path.c_str());
}

std::wstring TempFolder::Write(const std::wstring& name, const std::string& bytes) const
{
    const std::wstring path = m_path + L"\\" + name;
    FILE* file = _wfopen(path.c_str(), L"wb");
    EXPECT_NE(file, nullptr);
    if (file != nullptr) {
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }
    return path;
}

std::string FileBytes(const std::vector<std::string>& lines, bool byteOrderMark)
{
    std::string bytes = byteOrderMark ? "\xEF\xBB\xBF" : "";
    for (const std::string& line : lines)
        bytes += line + "\r\n";
    return bytes;
}

std::wstring DemoLogPath() { return fakes::WindowsPathOf(TESSARINE_DIAG_DATA "/demo.log"); }

}  // namespace diagtest
