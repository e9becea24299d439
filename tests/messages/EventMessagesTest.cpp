// The texts Event Viewer shows for the events of the source "Tessarine", read
// from the built TessarineMessages.dll as Event Viewer reads an
// EventMessageFile: loaded as data, each event's message formatted with the
// event's own strings. The events are the ones the real code reports (caught
// at the seam's event log), so a changed identifier, category or string in
// the service or the logging library fails here as well as a changed text.
#include "fakes/FakeEventLog.h"
#include "fakes/LoggingPolicy.h"
#include "logging/LogLevels.h"
#include "logging/LogListenerEvent.h"
#include "service/ServiceBase.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using fakes::FakeEventLog;
using QX::Shared::CqxLogListener;

// The DLL's build-tree path as Wine sees it.
std::wstring MessagesPath()
{
    std::wstring path = L"Z:";
    for (const char* c = TESSARINE_MESSAGES_PATH; *c; ++c)
        path.push_back(*c == '/' ? L'\\' : static_cast<wchar_t>(*c));
    return path;
}

class EventMessagesTest : public testing::Test {
protected:
    EventMessagesTest() : m_module(LoadLibraryExW(MessagesPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE)) {}
    ~EventMessagesTest() override
    {
        if (m_module)
            FreeLibrary(m_module);
    }
    void SetUp() override { ASSERT_NE(m_module, nullptr) << "cannot load " << GetLastError(); }

    // What Event Viewer shows for `report`. An insert the event has no
    // string for stays as it stands ("%2"), as the event log protocol asks
    // of a client (MS-EVEN 3.2.4.1.5.1).
    std::wstring Text(const FakeEventLog::Report& report) const
    {
        std::vector<std::wstring> inserts = report.strings;
        while (inserts.size() < 99)
            inserts.push_back(L"%" + std::to_wstring(inserts.size() + 1));
        std::vector<DWORD_PTR> arguments;
        for (const std::wstring& insert : inserts)
            arguments.push_back(reinterpret_cast<DWORD_PTR>(insert.c_str()));
        wchar_t* text = nullptr;
        const DWORD length = FormatMessageW(
            FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_ARGUMENT_ARRAY, m_module,
            report.id, 0, reinterpret_cast<LPWSTR>(&text), 0, reinterpret_cast<va_list*>(arguments.data()));
        if (length == 0)
            return L"<no text for " + std::to_wstring(report.id) + L": error " + std::to_wstring(GetLastError()) + L">";
        std::wstring result(text, length);
        LocalFree(text);
        return result;
    }

    HMODULE m_module;
};

TEST_F(EventMessagesTest, TheServiceEntriesShowTheServiceNameAndTheMessage)
{
    FakeEventLog eventLog;
    CServiceBase service(L"Tessarine");
    service.WriteEventLogEntry(L"LAN/WLAN | LAN/WWAN Switching Service in OnStart", EVENTLOG_INFORMATION_TYPE);
    service.WriteEventLogEntry(L"Service failed to start.", EVENTLOG_ERROR_TYPE);
    service.WriteErrorLogEntry(L"Service Stop", ERROR_ACCESS_DENIED);

    ASSERT_EQ(eventLog.reports.size(), 3u);
    for (const FakeEventLog::Report& report : eventLog.reports)
        EXPECT_EQ(report.category, 0) << "the source registers no category texts";
    EXPECT_EQ(Text(eventLog.reports[0]), L"Tessarine\r\nLAN/WLAN | LAN/WWAN Switching Service in OnStart");
    EXPECT_EQ(Text(eventLog.reports[1]), L"Tessarine\r\nService failed to start.");
    EXPECT_EQ(Text(eventLog.reports[2]), L"Tessarine\r\nService Stop failed w/err 0x00000005");
}

TEST_F(EventMessagesTest, TheListenersRecordsShowTheirLogLine)
{
    // This program's own levels, whatever another test writes for the product.
    fakes::LoggingPolicy policy;
    policy.SetText(fakes::LoggingPolicy::Key::Module, L"MinLogLevel", L"TraceIn");
    policy.SetText(fakes::LoggingPolicy::Key::Module, L"MaxLogLevel", L"Error");
    FakeEventLog eventLog;
    QX::Shared::CqxLogListenerEvent listener(QX::Shared::LevelTraceIn);
    const SYSTEMTIME time = {2026, 11, 1, 23, 17, 44, 5, 123};
    for (int32_t level = QX::Shared::LevelTraceIn; level <= QX::Shared::LevelError; ++level)
        listener.Write(CqxLogListener::LogData("ServiceUtils::SwitchWlanStatus", L"WlanSetInterface failed 0x5", level,
                                               time, 0x1A2B));

    ASSERT_EQ(eventLog.reports.size(), 6u);
    for (const FakeEventLog::Report& report : eventLog.reports)
        EXPECT_EQ(report.category, 0) << "the source registers no category texts";
    const std::wstring head = L"2026/11/23 17:44:05.123|00001A2B|";
    const std::wstring tail = L"|ServiceUtils::SwitchWlanStatus|WlanSetInterface failed 0x5";
    // A TraceIn record shares identifier 0 with the service's entries, whose
    // text has a second insert that such a record does not fill.
    EXPECT_EQ(Text(eventLog.reports[0]), head + L"TraceIn    " + tail + L"\r\n%2");
    EXPECT_EQ(Text(eventLog.reports[1]), head + L"TraceOut   " + tail);
    EXPECT_EQ(Text(eventLog.reports[2]), head + L"Verbose    " + tail);
    EXPECT_EQ(Text(eventLog.reports[3]), head + L"Information" + tail);
    EXPECT_EQ(Text(eventLog.reports[4]), head + L"Warning    " + tail);
    EXPECT_EQ(Text(eventLog.reports[5]), head + L"Error      " + tail);
}

}  // namespace
