// The streaming line reader: line ends, the byte-order mark, a last line cut
// short, lines longer than its buffer, and lines across buffer refills.
#include "explain/LogReader.h"

#include "StoryHarness.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct ReadBack {
    std::vector<std::string> lines;
    bool truncated;
    size_t overlong;
    size_t lastLineNumber;
};

ReadBack ReadBytes(const std::string& bytes, size_t buffer = diag::LogReader::kDefaultBuffer)
{
    diagtest::TempFolder folder;
    const std::wstring path = folder.Write(L"read.log", bytes);
    FILE* file = _wfopen(path.c_str(), L"rb");
    EXPECT_NE(file, nullptr);
    ReadBack back{{}, false, 0, 0};
    if (file == nullptr)
        return back;
    diag::LogReader reader(file, buffer);
    std::string_view line;
    while (reader.Next(line)) {
        back.lines.emplace_back(line);
        back.lastLineNumber = reader.LineNumber();
    }
    back.truncated = reader.Truncated();
    back.overlong = reader.OverlongLines();
    std::fclose(file);
    return back;
}

}  // namespace

TEST(LogReader, DropsTheByteOrderMarkAndTheLineEnds)
{
    const ReadBack back = ReadBytes("\xEF\xBB\xBF"
                                    "first\r\nsecond\n\r\nfourth\r\n");
    EXPECT_EQ(back.lines, (std::vector<std::string>{"first", "second", "", "fourth"}));
    EXPECT_FALSE(back.truncated);
    EXPECT_EQ(back.lastLineNumber, 4u);
}

TEST(LogReader, KeepsBackALastLineWithoutItsLineEnd)
{
    const ReadBack back = ReadBytes("whole\r\n2026/11/23 18:13:05.2");
    EXPECT_EQ(back.lines, (std::vector<std::string>{"whole"}));
    EXPECT_TRUE(back.truncated);
}

TEST(LogReader, ReadsAnEmptyFile)
{
    const ReadBack back = ReadBytes("");
    EXPECT_TRUE(back.lines.empty());
    EXPECT_FALSE(back.truncated);
}

TEST(LogReader, ReadsLinesAcrossRefillsOfItsBuffer)
{
    std::string bytes;
    std::vector<std::string> expected;
    for (int i = 0; i < 200; ++i) {
        expected.push_back("line " + std::to_string(i) + std::string(static_cast<size_t>(i % 13), 'x'));
        bytes += expected.back() + "\r\n";
    }
    const ReadBack back = ReadBytes(bytes, 64);
    EXPECT_EQ(back.lines, expected);
    EXPECT_EQ(back.lastLineNumber, 200u);
}

TEST(LogReader, SkipsALineLongerThanItsBufferAndGoesOn)
{
    const ReadBack back = ReadBytes("short\r\n" + std::string(300, 'y') + "\r\nafter\r\n", 64);
    EXPECT_EQ(back.lines, (std::vector<std::string>{"short", "after"}));
    EXPECT_EQ(back.overlong, 1u);
    EXPECT_EQ(back.lastLineNumber, 3u);
}
