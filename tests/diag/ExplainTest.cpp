// The explain verb over files: a hand-made log with lines of another format,
// a rotation in the middle of a handling and a last line cut short; misuse
// (a file that cannot be opened, a page that cannot be written) as one line
// and exit code 2; an empty story still exit code 0.
#include "explain/Explain.h"
#include "explain/Texts.h"

#include "StoryHarness.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace diagtest;

namespace {

// A wire's handling cut in two by a rotation: it begins in the older file
// and ends in the current one, which also holds lines of another format
// and a last line cut short.
struct RotatedLog {
    TempFolder folder;
    std::wstring older;
    std::wstring current;

    RotatedLog()
    {
        older =
            folder.Write(L"Tessarine_0001.log",
                         FileBytes({
                             Info("12:00:00.000", 0x20, kNlm, "------------------start----------------------"),
                             Info("12:00:00.000", 0x20, kNlm, "Connection ID : {A}"),
                             Info("12:00:00.001", 0x20, kNlm, "Connectivity state : 1 "),
                             Info("12:00:00.003", 0x20, kNlm, "Ethernet state : 1 "),
                             Info("12:00:00.004", 0x20, kNlm, "Ethernet is connected"),
                             Info("12:00:00.004", 0x20, kNlm, "Connecting to Ethernet. Stop WLAN service..."),
                             Info("12:00:00.005", 0x20, kCheckWlan, "Phy state : 1"),
                             Info("12:00:00.005", 0x20, kSwitchWlan, "Current WLAN Status : 1, To Change Status = 0"),
                         }));
        current = folder.Write(L"Tessarine.log",
                               FileBytes({
                                   Info("12:00:00.008", 0x20, kCheckWlan, "Phy state : 0"),
                                   "a line some other program wrote",
                                   Info("12:00:00.008", 0x20, kSwitchWlan, "New WIFI state : 0"),
                                   "",
                                   "12:00:00 half a line",
                                   Info("12:00:00.010", 0x20, kNlm, "-------------------end-----------------------"),
                               }) + "2026/11/23 12:00:01.000|00000020|Informa");
    }
};

}  // namespace

TEST(Explain, TellsAHandlingAcrossARotationAndSaysWhatItSkipped)
{
    RotatedLog log;
    diag::ExplainOptions options;
    options.files = {log.older, log.current};
    diag::StringOutput out, err;
    ASSERT_EQ(diag::RunExplain(options, out, err), diag::kExitRan);
    const std::string& text = out.Text();
    EXPECT_TRUE(err.Text().empty()) << err.Text();
    EXPECT_NE(text.find("  12:00:00.000  A wire came: connection {A}\n"
                        "                  - Wi-Fi switched off by the service after 8 ms (a wire is up)\n"),
              std::string::npos)
        << text;
    const std::string current = diag::Utf8(log.current);
    EXPECT_NE(text.find("Skipped: " + current +
                        ": 2 lines of another format skipped (the first is line 2); its last line was cut short "
                        "and not read.\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("15 lines read from 2 files, 1 event told."), std::string::npos) << text;
}

TEST(Explain, WritesTheSameStoryAsJson)
{
    RotatedLog log;
    diag::ExplainOptions options;
    options.json = true;
    options.files = {log.older, log.current};
    diag::StringOutput out, err;
    ASSERT_EQ(diag::RunExplain(options, out, err), diag::kExitRan);
    const std::string& json = out.Text();
    EXPECT_EQ(json.rfind("{\"schema\": \"tessarine-diag\", \"version\": 1, \"verb\": \"explain\",", 0), 0u) << json;
    EXPECT_NE(json.find("\"kind\": \"wire-up\""), std::string::npos);
    EXPECT_NE(json.find("{\"what\": \"switched\", \"radio\": \"wifi\", \"at\": \"2026-11-23T12:00:00.008\", \"from\": "
                        "\"on\", \"to\": \"off\", \"by\": \"service\", \"afterMs\": 8"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("\"foreignLines\": 2, \"firstForeignLine\": 2, \"overlongLines\": 0, \"truncatedLastLine\": "
                        "true"),
              std::string::npos)
        << json;
}

TEST(Explain, AFileThatCannotBeOpenedIsMisuseInOneLine)
{
    TempFolder folder;
    diag::ExplainOptions options;
    options.files = {folder.Path() + L"\\missing.log"};
    diag::StringOutput out, err;
    EXPECT_EQ(diag::RunExplain(options, out, err), diag::kExitMisuse);
    EXPECT_TRUE(out.Text().empty());
    const std::string& line = err.Text();
    EXPECT_EQ(line.rfind("TessarineDiag: cannot open " + diag::Utf8(folder.Path()) + "\\missing.log: ", 0), 0u) << line;
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
}

TEST(Explain, AFolderGivenAsAFileIsMisuse)
{
    TempFolder folder;
    diag::ExplainOptions options;
    options.files = {folder.Path()};
    diag::StringOutput out, err;
    EXPECT_EQ(diag::RunExplain(options, out, err), diag::kExitMisuse);
    EXPECT_NE(err.Text().find("it is a folder"), std::string::npos) << err.Text();
}

TEST(Explain, APageThatCannotBeWrittenIsMisuse)
{
    RotatedLog log;
    diag::ExplainOptions options;
    options.files = {log.current};
    options.htmlPath = log.folder.Path() + L"\\no such folder\\story.html";
    diag::StringOutput out, err;
    EXPECT_EQ(diag::RunExplain(options, out, err), diag::kExitMisuse);
    EXPECT_TRUE(out.Text().empty());
    EXPECT_NE(err.Text().find("cannot write"), std::string::npos) << err.Text();
}

TEST(Explain, AnEmptyStoryStillRan)
{
    TempFolder folder;
    diag::ExplainOptions options;
    options.files = {folder.Write(L"empty.log", "")};
    diag::StringOutput out, err;
    EXPECT_EQ(diag::RunExplain(options, out, err), diag::kExitRan);
    EXPECT_NE(out.Text().find("0 lines read from 1 file, 0 events told."), std::string::npos) << out.Text();
}

TEST(Explain, WritesTheHtmlPageBesideTheText)
{
    RotatedLog log;
    diag::ExplainOptions options;
    options.files = {log.older, log.current};
    options.htmlPath = log.folder.Path() + L"\\story.html";
    diag::StringOutput out, err;
    ASSERT_EQ(diag::RunExplain(options, out, err), diag::kExitRan);
    EXPECT_NE(out.Text().find("A wire came"), std::string::npos);
    FILE* file = _wfopen(options.htmlPath.c_str(), L"rb");
    ASSERT_NE(file, nullptr);
    std::string page;
    char buffer[4096];
    for (size_t read; (read = std::fread(buffer, 1, sizeof(buffer), file)) > 0;)
        page.append(buffer, read);
    std::fclose(file);
    EXPECT_NE(page.find("A wire came: connection {A}"), std::string::npos);
    EXPECT_NE(page.find("<svg"), std::string::npos);
}
