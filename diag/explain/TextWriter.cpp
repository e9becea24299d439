#include "explain/TextWriter.h"

#include "explain/ReportTexts.h"
#include "explain/Texts.h"

namespace diag {

void TextWriter::Begin(const InputReport& input)
{
    m_out.Write("TessarineDiag explain: the story of the service's decisions, from its log\n");
    m_out.Write(SourcesSentence(input) + "\n");
}

void TextWriter::Event(const StoryEvent& event)
{
    const std::string date = DateText(event.start);
    if (date != m_date) {
        m_date = date;
        m_out.Write("\n" + date + "\n");
    }
    m_out.Write("  " + ClockText(event.start) + "  " + event.text + "\n");
    for (const Effect& effect : event.effects)
        if (!effect.inTitle)
            m_out.Write("                  - " + effect.text + "\n");
}

void TextWriter::Finish(const StoryEnd& end, const InputReport& input)
{
    m_out.Write("\n");
    if (end.anyRecord)
        m_out.Write("At the end of the log (" + DateText(end.last) + " " + ClockText(end.last) +
                    "): " + EndSentence(end) + ".\n" + StoredSentence(end) + "\n");
    else if (!input.files.empty())
        m_out.Write("No line of the service's log format in what was read.\n");
    m_out.Write(CountsSentence(end, input) + "\n");
    for (const std::string& skipped : SkippedSentences(input))
        m_out.Write("Skipped: " + skipped + "\n");
    m_out.Flush();
}

}  // namespace diag
