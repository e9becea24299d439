// The sentences about the reading itself and the end of the log, shared by
// the text and HTML writers: which files, what was skipped, what was known
// when the log ended.
#pragma once

#include "explain/Story.h"

#include <string>
#include <vector>

namespace diag {

// "the service's own log, oldest first: A, B" or "the files given: A, B".
std::string SourcesSentence(const InputReport& input);
// One sentence per file with skipped lines; none when nothing was skipped.
std::vector<std::string> SkippedSentences(const InputReport& input);
// "no wire; Wi-Fi on, mobile broadband on; airplane mode off; awake", after
// "the service had stopped at ...; before that: " when it had.
std::string EndSentence(const StoryEnd& end);
// "Stored choices: Wi-Fi True, mobile broadband (nothing seen)."
std::string StoredSentence(const StoryEnd& end);
// "982 lines read, 12 events told; 14 notifications of ... set aside."
std::string CountsSentence(const StoryEnd& end, const InputReport& input);

}  // namespace diag
