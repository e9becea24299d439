#include "explain/Explain.h"

#include "explain/HtmlWriter.h"
#include "explain/JsonWriter.h"
#include "explain/LogFiles.h"
#include "explain/LogInput.h"
#include "explain/StoryBuilder.h"
#include "explain/TextWriter.h"
#include "explain/Texts.h"

#include <windows.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace diag {

namespace {

bool IsDirectory(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::string SystemMessage(unsigned long error)
{
    wchar_t* text = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring message = length > 0 && text != nullptr ? std::wstring(text, length) : L"";
    if (text != nullptr)
        LocalFree(text);
    while (!message.empty() &&
           (message.back() == L'\n' || message.back() == L'\r' || message.back() == L' ' || message.back() == L'.'))
        message.pop_back();
    return message.empty() ? Printf(L"error %lu", static_cast<unsigned long>(error)) : Utf8(message);
}

int Misuse(Output& err, const std::string& message)
{
    err.Write("TessarineDiag: " + message + " (TessarineDiag --help says more)\n");
    err.Flush();
    return kExitMisuse;
}

// Sends the story to every writer asked for.
class Writers : public StoryWriter {
public:
    void Add(StoryWriter& writer) { m_writers.push_back(&writer); }
    void Begin(const InputReport& input) override
    {
        for (StoryWriter* writer : m_writers)
            writer->Begin(input);
    }
    void Event(const StoryEvent& event) override
    {
        for (StoryWriter* writer : m_writers)
            writer->Event(event);
    }
    void LaneChange(Lane lane, Millis at, State state) override
    {
        for (StoryWriter* writer : m_writers)
            writer->LaneChange(lane, at, state);
    }
    void Finish(const StoryEnd& end, const InputReport& input) override
    {
        for (StoryWriter* writer : m_writers)
            writer->Finish(end, input);
    }

private:
    std::vector<StoryWriter*> m_writers;
};

}  // namespace

int RunExplain(const ExplainOptions& options, Output& out, Output& err)
{
    InputReport input;
    std::vector<std::wstring> files = options.files;
    if (files.empty()) {
        const ServiceLog log = FindServiceLog();
        for (const std::wstring& folder : log.looked)
            input.looked.push_back(Utf8(folder));
        files = log.files;
        input.serviceLog = !files.empty();
        input.folder = Utf8(log.folder);
    }
    // Every file given must open before anything is told.
    for (const std::wstring& path : options.files) {
        if (IsDirectory(path))
            return Misuse(err, "cannot read " + Utf8(path) + ": it is a folder");
        unsigned long error = 0;
        FILE* file = OpenForReading(path, error);
        if (file == nullptr)
            return Misuse(err, "cannot open " + Utf8(path) + ": " + SystemMessage(error));
        std::fclose(file);
    }
    std::unique_ptr<FileOutput> page;
    if (!options.htmlPath.empty()) {
        page = std::make_unique<FileOutput>(options.htmlPath);
        if (!page->IsOpen())
            return Misuse(err, "cannot write " + Utf8(options.htmlPath));
    }
    for (const std::wstring& path : files) {
        FileReport report;
        report.path = Utf8(path);
        input.files.push_back(report);
    }

    TextWriter text(out);
    JsonWriter json(out);
    std::unique_ptr<HtmlWriter> html;
    Writers writers;
    writers.Add(options.json ? static_cast<StoryWriter&>(json) : static_cast<StoryWriter&>(text));
    if (page) {
        html = std::make_unique<HtmlWriter>(*page);
        writers.Add(*html);
    }
    writers.Begin(input);
    StoryBuilder builder(writers);
    ReadLogFiles(files, input, builder);
    builder.Finish();
    writers.Finish(builder.End(), input);
    out.Flush();
    if (page && !page->Close())
        return Misuse(err, "could not write all of " + Utf8(options.htmlPath));
    return kExitRan;
}

int RunExplain(const ExplainOptions& options)
{
    StandardOutput out(stdout);
    StandardOutput err(stderr);
    return RunExplain(options, out, err);
}

}  // namespace diag
