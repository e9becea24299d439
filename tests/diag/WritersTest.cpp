// The writers: the text's layout, JSON that parses (strings escaped, bytes
// that are not UTF-8 replaced), an HTML page that needs nothing from
// elsewhere, and the timeline's bounded lanes.
#include "explain/HtmlWriter.h"
#include "explain/JsonWriter.h"
#include "explain/LogInput.h"
#include "explain/TextWriter.h"
#include "explain/Timeline.h"

#include "JsonCheck.h"
#include "StoryHarness.h"

#include <gtest/gtest.h>

using namespace diagtest;

namespace {

// The demo's story, through one writer.
std::string DemoThrough(diag::StoryWriter& writer, diag::StringOutput& out, diag::InputReport& input)
{
    diag::StoryBuilder builder(writer);
    input.files.resize(1);
    input.files[0].path = "demo.log";
    writer.Begin(input);
    diag::ReadLogFiles({DemoLogPath()}, input, builder);
    builder.Finish();
    writer.Finish(builder.End(), input);
    return out.Text();
}

}  // namespace

TEST(JsonWriter, EscapesStringsAndReplacesBytesThatAreNotUtf8)
{
    EXPECT_EQ(diag::JsonString("plain"), "\"plain\"");
    EXPECT_EQ(diag::JsonString("a \"quote\" and \\ back"), "\"a \\\"quote\\\" and \\\\ back\"");
    EXPECT_EQ(diag::JsonString("tab\tline\n\x01"), "\"tab\\tline\\n\\u0001\"");
    EXPECT_EQ(diag::JsonString("caf\xC3\xA9"), "\"caf\xC3\xA9\"");
    EXPECT_EQ(diag::JsonString("bad \xC3 end \xFF"), "\"bad \\ufffd end \\ufffd\"");
}

TEST(JsonWriter, TheDemosStoryIsOneValidJsonObjectOfTheSchema)
{
    diag::StringOutput out;
    diag::JsonWriter writer(out);
    diag::InputReport input;
    const std::string json = DemoThrough(writer, out, input);
    std::string error;
    EXPECT_TRUE(JsonIsValid(json, error)) << error << "\n" << json;
    EXPECT_EQ(json.rfind("{\"schema\": \"tessarine-diag\", \"version\": 1, \"verb\": \"explain\",", 0), 0u);
    EXPECT_NE(json.find("\"kind\": \"airplane-off\""), std::string::npos);
    EXPECT_NE(json.find("\"end\": {\"first\": \"2026-11-23T18:13:02.806\", \"last\": \"2026-11-23T18:13:11.199\", "
                        "\"serviceStopped\": true"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("\"ownEchoes\": 10"), std::string::npos);
}

TEST(JsonWriter, AnEmptyStoryIsValidJsonToo)
{
    diag::StringOutput out;
    diag::JsonWriter writer(out);
    diag::InputReport input;
    writer.Begin(input);
    writer.Finish(diag::StoryEnd(), input);
    std::string error;
    EXPECT_TRUE(JsonIsValid(out.Text(), error)) << error << "\n" << out.Text();
    EXPECT_NE(out.Text().find("\"events\": []"), std::string::npos) << out.Text();
}

TEST(TextWriter, TellsEachEventOnALineWithItsEffectsBelow)
{
    diag::StringOutput out;
    diag::TextWriter writer(out);
    diag::InputReport input;
    const std::string text = DemoThrough(writer, out, input);
    EXPECT_NE(text.find("\n2026/11/23\n  18:13:03.015  The service started (version 1.0.0.0)\n"), std::string::npos)
        << text;
    EXPECT_NE(text.find("  18:13:07.949  The wire went: connection {00000002-FFFF-FFFF-0000-4E6574446576} (eth0), "
                        "up for 772 ms\n"
                        "                  - Wi-Fi stays as it is (off): the user's stored choice is False\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("At the end of the log (2026/11/23 18:13:11.199): the service had stopped at 18:13:11.061; "
                        "before that: no wire; Wi-Fi on, mobile broadband on; airplane mode off; awake.\n"),
              std::string::npos)
        << text;
}

TEST(HtmlWriter, ThePageIsSelfContainedWithLanesAndTheStory)
{
    diag::StringOutput out;
    diag::HtmlWriter writer(out);
    diag::InputReport input;
    const std::string page = DemoThrough(writer, out, input);
    EXPECT_EQ(page.rfind("<!DOCTYPE html>", 0), 0u);
    for (const char* lane : {">Wire<", ">Wi-Fi<", ">Mobile broadband<", ">Airplane mode<", ">Sleep<"})
        EXPECT_NE(page.find(lane), std::string::npos) << lane;
    EXPECT_NE(page.find("<li class=\"event k-wire-up\" id=\"e3\">"), std::string::npos);
    EXPECT_NE(page.find("<a href=\"#e3\">"), std::string::npos);  // the timeline's mark of the event
    // Nothing from elsewhere: no script, no stylesheet, image or frame, no address.
    for (const char* outside : {"<script", "<link", "<img", "<iframe", "src=", "http:", "https:", "@import"})
        EXPECT_EQ(page.find(outside), std::string::npos) << outside;
    EXPECT_NE(page.find("</html>\n"), std::string::npos);
}

TEST(HtmlWriter, EscapesTheLogsTexts)
{
    EXPECT_EQ(diag::HtmlText("<b>\"x\" & y</b>"), "&lt;b&gt;&quot;x&quot; &amp; y&lt;/b&gt;");
}

TEST(Timeline, KeepsEachLaneWithinItsBoundByMergingNeighbours)
{
    diag::Timeline timeline(8, 4);
    for (int i = 0; i < 100; ++i)
        timeline.Change(diag::Lane::Wifi, i * 1000, i % 2 == 0 ? diag::State::On : diag::State::Off);
    const auto& segments = timeline.Segments(diag::Lane::Wifi);
    EXPECT_LE(segments.size(), 8u);
    EXPECT_EQ(segments.front().from, 0);
    for (int i = 0; i < 100; ++i)
        timeline.AddMark(i * 1000, static_cast<uint64_t>(i) + 1, diag::EventKind::WireUp);
    EXPECT_LE(timeline.Marks().size(), 4u);
    EXPECT_EQ(timeline.Marks().front().id, 1u);
}

TEST(Timeline, DrawsASlowLaneAsItChanged)
{
    diag::Timeline timeline;
    timeline.Change(diag::Lane::Wire, 0, diag::State::Off);
    timeline.Change(diag::Lane::Wire, 500, diag::State::On);
    timeline.Change(diag::Lane::Wire, 500, diag::State::Off);  // the last change of a millisecond counts
    timeline.Change(diag::Lane::Wire, 900, diag::State::On);
    const auto& segments = timeline.Segments(diag::Lane::Wire);
    ASSERT_EQ(segments.size(), 2u);
    EXPECT_EQ(segments[0].from, 0);
    EXPECT_EQ(segments[0].shade, diag::Timeline::Shade::Off);
    EXPECT_EQ(segments[1].from, 900);
    EXPECT_EQ(segments[1].shade, diag::Timeline::Shade::On);
}
